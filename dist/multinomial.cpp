// Multinomial by conditional binomials (Davis 1993): x_j ~ Binomial(m_j, p_j / S_j), m_j the
// trials left and S_j the suffix sum of p, the last category the rest. Column by column over a
// block of vectors, a run of vectors with the same trials left drawn by one binomial call; the
// binomial set-up is made per draw (no chunk) and kept while its parameters repeat.
#include <cfloat>
#include <cmath>
#include <vector>

#include "dist/discrete.hpp"

namespace zyn::dist::discrete {
namespace {

int Multinomial(int method, StreamState *stream, int n, int *r, int ntrial, int k, const double *p) {
  if (method != MultinomialMethodConditional || ntrial < 0 || k < 1) return RNX_STATUS_BAD_PARAM;
  // Suffix sums, once a call: p needs no normalising.
  std::vector<double> suffix(size_t(k) + 1, 0.0);
  for (int j = k - 1; j >= 0; --j) {
    if (!(p[j] >= 0 && p[j] <= DBL_MAX)) return RNX_STATUS_BAD_PARAM;
    suffix[j] = suffix[j + 1] + p[j];
  }
  if (!(suffix[0] > 0 && suffix[0] <= DBL_MAX)) return RNX_STATUS_BAD_PARAM;
  if (ntrial == 0) {
    std::fill(r, r + int64_t{n} * k, 0);
    return int{RNX_STATUS_OK};
  }
  int left[kBlock], x[kBlock];
  BinomialSetUp b;
  b.ntrial = -1;
  int status = RNX_STATUS_OK;
  for (int done = 0; done < n;) {
    const int m = std::min(n - done, kBlock);
    int *out = r + int64_t{done} * k;
    std::fill(left, left + m, ntrial);
    for (int j = 0; j + 1 < k; ++j) {
      const double ratio = suffix[j] > 0 ? std::min(1.0, p[j] / suffix[j]) : 0.0;
      for (int v = 0, w; v < m; v = w) {
        for (w = v + 1; w < m && left[w] == left[v];) ++w;
        const int trials = left[v];
        if (trials == 0 || ratio == 0 || ratio == 1) {
          std::fill(x + v, x + w, ratio == 1 ? trials : 0);
          continue;
        }
        if (!Matches(b, trials, ratio)) SetUp(b, trials, ratio);
        if ((status = Draw(stream, w - v, x + v, b)) < 0) return status;
      }
      for (int v = 0; v < m; ++v) {
        out[int64_t{v} * k + j] = x[v];
        left[v] -= x[v];
      }
    }
    for (int v = 0; v < m; ++v) out[int64_t{v} * k + k - 1] = left[v];
    done += m;
  }
  return status;
}

}  // namespace
}  // namespace zyn::dist::discrete

ZYN_API int _rnxiRngMultinomial(int method, StreamState *stream, int n, int *r, int ntrial, int k, const double *p) {
  return zyn::dist::discrete::Multinomial(method, stream, n, r, ntrial, k, p);
}
