// Multinomial by conditional binomials (Davis 1993): x_j ~ Binomial(m_j, p_j / S_j), m_j the
// trials left and S_j the suffix sum of p, the last category the rest. Column by column over a
// block of vectors: small means by inversion from 0 over the column, the others by BTPE with the
// binomial set-up made per draw (no chunk) and kept while its parameters repeat.
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
  alignas(16) double f0[kBlock], u[kBlock];
  int left[kBlock], x[kBlock], walk[kBlock];
  BinomialSetUp b;
  b.ntrial = -1;
  int status = RNX_STATUS_OK;
  for (int done = 0; done < n;) {
    const int m = std::min(n - done, kBlock);
    int *out = r + int64_t{done} * k;
    std::fill(left, left + m, ntrial);
    for (int j = 0; j + 1 < k; ++j) {
      const double ratio = suffix[j] > 0 ? std::min(1.0, p[j] / suffix[j]) : 0.0;
      const bool mapped = ratio > 0.5;
      const double t = mapped ? 1 - ratio : ratio, q = 1 - t, odds = t / q, ln_q = std::log1p(-t);
      // Draws with trials * t below 30 invert from 0: q^trials of the column by one Exp call, one
      // uniform each drawn together; the others (BTPE) by the binomial core, a call per run of
      // equal trials.
      int walks = 0;
      for (int v = 0; v < m; ++v) {
        x[v] = ratio == 1 ? left[v] : 0;
        if (left[v] == 0 || ratio == 0 || ratio == 1) continue;
        if (left[v] * t < 30) {
          f0[walks] = left[v] * ln_q;
          walk[walks++] = v;
          continue;
        }
        if (!Matches(b, left[v], ratio)) SetUp(b, left[v], ratio);
        int w = v + 1;
        while (w < m && left[w] == left[v]) ++w;
        if ((status = Draw(stream, w - v, x + v, b)) < 0) return status;
        v = w - 1;
      }
      if (walks > 0) {
        CallKernel(row::Exp<double>(), walks, f0, f0);
        if ((status = Uniform<double>(0, stream, walks, u, 0.0, 1.0)) < 0) return status;
        for (int i = 0; i < walks; ++i) {
          const int v = walk[i], trials = left[v];
          const double g = (trials + 1) * odds;
          double f = f0[i], sum = f;
          int c = 0;
          while (sum <= u[i] && c < trials) sum += (f *= g / ++c - odds);
          x[v] = mapped ? trials - c : c;
        }
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
