// Basic estimates: mean, raw and central moments and sums of orders 2 to 4, kurtosis, skewness,
// variation, covariance, correlation and cross-products, accumulated across calls.
//
// Every method reduces a block of observations to the same summary: the weight sum W and the sum
// of squared weights, per variable the mean, the central sums M2..M4 and the raw sums R1..R4, and
// the central cross-product matrix C. Summaries combine exactly (up to rounding) by the pairwise
// formulas of Chan, Golub and LeVeque (M2, C) and Pebay (M3, M4); so threads, blocks and calls
// are merged the same way, and central quantities are never formed by subtracting raw moments.
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <utility>

#include "frame/core_link.hpp"
#include "stats/common.hpp"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

// ---- the compact estimate mask ------------------------------------------------------------------

enum Bit : int {
  kMean, kR2m, kR3m, kR4m, kC2m, kC3m, kC4m, kCov, kCor, kKurtosis, kSkewness, kVariation,
  kSum, kR2s, kR3s, kR4s, kC2s, kC3s, kC4s, kCp, kUnavailable, kBits
};
constexpr uint32_t bit(int b) { return 1u << b; }

struct Result {
  uint64_t estimate;
  size_t offset;  // of the task's pointer
  int status;     // when needed and null
};
constexpr Result kResults[kBits] = {
    {SsEstimateMean, offsetof(SsTask, mean), SsStatusMean},
    {SsEstimateR2m, offsetof(SsTask, r2m), SsStatusR2m},
    {SsEstimateR3m, offsetof(SsTask, r3m), SsStatusR3m},
    {SsEstimateR4m, offsetof(SsTask, r4m), SsStatusR4m},
    {SsEstimateC2m, offsetof(SsTask, c2m), SsStatusC2m},
    {SsEstimateC3m, offsetof(SsTask, c3m), SsStatusC3m},
    {SsEstimateC4m, offsetof(SsTask, c4m), SsStatusC4m},
    {SsEstimateCov, offsetof(SsTask, cov), SsStatusCov},
    {SsEstimateCor, offsetof(SsTask, cor), SsStatusCor},
    {SsEstimateKurtosis, offsetof(SsTask, kurtosis), SsStatusKurtosis},
    {SsEstimateSkewness, offsetof(SsTask, skewness), SsStatusSkewness},
    {SsEstimateVariation, offsetof(SsTask, variation), SsStatusVariation},
    {SsEstimateSum, offsetof(SsTask, sum), SsStatusSum},
    {SsEstimateR2s, offsetof(SsTask, r2s), SsStatusR2s},
    {SsEstimateR3s, offsetof(SsTask, r3s), SsStatusR3s},
    {SsEstimateR4s, offsetof(SsTask, r4s), SsStatusR4s},
    {SsEstimateC2s, offsetof(SsTask, c2s), SsStatusC2s},
    {SsEstimateC3s, offsetof(SsTask, c3s), SsStatusC3s},
    {SsEstimateC4s, offsetof(SsTask, c4s), SsStatusC4s},
    {SsEstimateCp, offsetof(SsTask, cp), SsStatusCp},
    {0, 0, SsStatusMethod},
};

// What each result needs computed with it: one-pass and user-mean methods, the fast method, and
// from sums.
constexpr uint32_t kNeedsOnePass[kBits - 1] = {
    0x1, 0x2, 0x4, 0x8, 0x13, 0x27, 0x4f, 0x81, 0x101, 0x25f, 0x437, 0x813,
    0x1000, 0x2000, 0x4000, 0x8000, 0x10001, 0x20001, 0x40001, 0x80001};
constexpr uint32_t kNeedsFast[kBits - 1] = {
    0x1, 0x2, 0x4, 0x8, 0x13, 0x27, 0x4f, 0x81, 0x101, 0x25f, 0x437, 0x813,
    0x1000, 0x2000, 0x4000, 0x8000, 0x10003, 0x20007, 0x4000f, 0x80001};
constexpr uint32_t kNeedsFromSums[kBits - 1] = {
    0x1001, 0x2002, 0x4004, 0x8008, 0x10010, 0x20020, 0x40040, 0x80080, 0x80100, 0x251, 0x431,
    0x811, 0x100000, 0x100000, 0x100000, 0x100000, 0x100000, 0x100000, 0x100000, 0x100000};

constexpr uint64_t kOwnMethods =
    SsMethodFast | SsMethodOnePass | SsMethodFastUserMean | SsMethodFromSums |
    SsMethodFromSumsPopulation;

enum class Method { one_pass, fast, user_mean };

// ---- what a kernel computes ---------------------------------------------------------------------

// Levels select how much per-variable work a kernel does. For the one-pass and fast methods:
// 0 the mean, 1 adds M2, 2 adds R2, 3 adds M3, M4, R3, R4. For the user-mean method (sums about
// the caller's mean, which is never computed): 0 M2 and R2, 1 adds M3, 2 adds M4, 3 adds R3, R4.
struct Orders {
  bool m2, r2, m3, m4, r34;
  int top;  // highest power of the centred data that is summed
};
constexpr Orders orders(Method m, int level) {
  Orders o{};
  if (m == Method::user_mean) {
    o = {true, true, level >= 1, level >= 2, level >= 3, 0};
    if (o.r34) o.m3 = o.m4 = true;
  } else {
    o = {level >= 1, level >= 2, level >= 3, level >= 3, level >= 3, 0};
  }
  o.top = (o.m4 || o.r34) ? 4 : o.m3 ? 3 : (o.m2 || o.r2) ? 2 : 1;
  return o;
}

// ---- per-block summaries -------------------------------------------------------------------------

template <class T>
struct Acc {
  T W, W2;
  T *mean, *M1, *M2, *M3, *M4, *R1, *R2, *R3, *R4, *C;  // C: q x q, upper triangle by columns
};
constexpr int64_t kAccArrays = 9;

template <class T>
void bind(Acc<T> &a, T *block, int64_t q, bool matrix) {
  a.W = a.W2 = 0;
  T **arrays[] = {&a.mean, &a.M1, &a.M2, &a.M3, &a.M4, &a.R1, &a.R2, &a.R3, &a.R4};
  for (T **p : arrays) {
    *p = block;
    block += q;
  }
  a.C = matrix ? block : nullptr;
}

// Adds the summary b (weights Wb, W2b) to a. Raw sums are added by the caller.
template <class T>
void merge(Acc<T> &a, T Wb, T W2b, const T *mb, const T *M2b, const T *M3b, const T *M4b,
           const T *Cb, int64_t q, const Orders &o) {
  if (Wb == 0 && W2b == 0) return;
  const T Wa = a.W, W = Wa + Wb;
  if (Wa == 0) {
    for (int64_t k = 0; k < q; ++k) {
      a.mean[k] = mb[k];
      if (o.m2) a.M2[k] = M2b[k];
      if (o.m3) a.M3[k] = M3b[k];
      if (o.m4) a.M4[k] = M4b[k];
    }
    if (a.C) std::copy(Cb, Cb + q * q, a.C);
  } else {
    const T r = 1 / W, f = Wa * Wb * r;
    const T ra = Wa * r, rb = Wb * r;
    if (a.C) {  // before the means move
      for (int64_t l = 0; l < q; ++l) {
        const T sl = f * (mb[l] - a.mean[l]);
        for (int64_t i = 0; i <= l; ++i)
          a.C[i + l * q] += Cb[i + l * q] + sl * (mb[i] - a.mean[i]);
      }
    }
    for (int64_t k = 0; k < q; ++k) {
      const T d = mb[k] - a.mean[k];
      const T m2a = o.m2 ? a.M2[k] : 0, m3a = o.m3 ? a.M3[k] : 0;
      const T m2b = o.m2 ? M2b[k] : 0, m3b = o.m3 ? M3b[k] : 0;
      if (o.m4)
        a.M4[k] += M4b[k] + d * d * d * d * f * (ra * ra - ra * rb + rb * rb) +
                   6 * d * d * (ra * ra * m2b + rb * rb * m2a) + 4 * d * (ra * m3b - rb * m3a);
      if (o.m3) a.M3[k] += m3b + d * d * d * f * (ra - rb) + 3 * d * (ra * m2b - rb * m2a);
      if (o.m2) a.M2[k] += m2b + d * d * f;
      a.mean[k] += d * rb;
    }
  }
  a.W = W;
  a.W2 += W2b;
}

// Adds summary b to a: by the pairwise formulas, or, for sums about one fixed centre (the
// caller's mean), by plain addition.
template <class T>
void combine(Acc<T> &a, const Acc<T> &b, int64_t q, const Orders &o, bool fixed_centre) {
  T *to[] = {a.R1, a.R2, a.R3, a.R4, a.M1, a.M2, a.M3, a.M4};
  const T *from[] = {b.R1, b.R2, b.R3, b.R4, b.M1, b.M2, b.M3, b.M4};
  for (int s = 0; s < (fixed_centre ? 8 : 4); ++s)
    for (int64_t k = 0; k < q; ++k) to[s][k] += from[s][k];
  if (!fixed_centre) {
    merge(a, b.W, b.W2, b.mean, b.M2, b.M3, b.M4, b.C, q, o);
    return;
  }
  if (a.C)
    for (int64_t e = 0; e < q * q; ++e) a.C[e] += b.C[e];
  a.W += b.W;
  a.W2 += b.W2;
}

// ---- the inner loops ----------------------------------------------------------------------------

template <class T>
struct VecOf {
  typedef T type __attribute__((vector_size(16)));
};

// t[1..Top] = sums of w * (x - c)^k over len elements at the given stride (w = 1 unweighted).
// The contiguous form runs two vector accumulators per order to cover the add latency.
template <class T, int Top, bool Weighted>
void centred_sums(const T *x, int64_t stride, const T *w, int64_t len, T c, T *t) {
  T s[5] = {0, 0, 0, 0, 0};
  int64_t j = 0;
  if (stride == 1) {
    using V = typename VecOf<T>::type;
    constexpr int L = 16 / sizeof(T);
    V a[2][5] = {};
    const V cv = V{} + c;
    for (; j + 2 * L <= len; j += 2 * L) {
      for (int u = 0; u < 2; ++u) {
        V xv, wd;
        std::memcpy(&xv, x + j + u * L, 16);
        const V d = xv - cv;
        wd = d;
        if constexpr (Weighted) {
          V wv;
          std::memcpy(&wv, w + j + u * L, 16);
          wd = wv * d;
        }
        a[u][1] += wd;
        if constexpr (Top >= 2) {
          const V p2 = wd * d;
          a[u][2] += p2;
          if constexpr (Top >= 3) {
            const V p3 = p2 * d;
            a[u][3] += p3;
            if constexpr (Top >= 4) a[u][4] += p3 * d;
          }
        }
      }
    }
    for (int k = 1; k <= Top; ++k) {
      const V v = a[0][k] + a[1][k];
      for (int l = 0; l < L; ++l) s[k] += v[l];
    }
  }
  for (; j < len; ++j) {
    const T d = x[j * stride] - c;
    const T wd = Weighted ? w[j] * d : d;
    s[1] += wd;
    if constexpr (Top >= 2) {
      const T p2 = wd * d;
      s[2] += p2;
      if constexpr (Top >= 3) {
        const T p3 = p2 * d;
        s[3] += p3;
        if constexpr (Top >= 4) s[4] += p3 * d;
      }
    }
  }
  for (int k = 1; k <= Top; ++k) t[k] = s[k];
}

// ---- BLAS by element type -----------------------------------------------------------------------

void syrk(int n, int k, double beta, const double *a, double *c) {
  const double one = 1;
  core::zyn_blas_xdsyrk("U", "N", &n, &k, &one, a, &n, &beta, c, &n);
}
void syrk(int n, int k, float beta, const float *a, float *c) {
  const float one = 1;
  core::zyn_blas_xssyrk("U", "N", &n, &k, &one, a, &n, &beta, c, &n);
}
void gemm_abt(int n, int k, double beta, const double *a, const double *b, double *c) {
  const double one = 1;
  core::zyn_blas_xdgemm("N", "T", &n, &n, &k, &one, a, &n, b, &n, &beta, c, &n);
}
void gemm_abt(int n, int k, float beta, const float *a, const float *b, float *c) {
  const float one = 1;
  core::zyn_blas_xsgemm("N", "T", &n, &n, &k, &one, a, &n, b, &n, &beta, c, &n);
}

// ---- the call context and the 64 kernels --------------------------------------------------------

template <class T>
struct Ctx {
  const T *x, *w;
  int64_t n, p, q;
  const int64_t *act;    // the q processed variables
  const T *centre;       // the caller's mean, compact (user-mean method)
  bool matrix;
  int64_t rows;          // block length of the blocked kernels
  int threads;
  Acc<T> *acc;           // one per thread
  T *const *scratch;     // one per thread
  std::atomic<int> status;
};

using Range = std::pair<int64_t, int64_t>;
template <class T>
using Kernel = void (*)(Ctx<T> &, Range, Acc<T> &, T *);

// One update per observation: with running weight W and new weight w, a = W / (W + w) and
// b = w / (W + w) are formed once; d = x - mean; C += w a d d^T; the central sums follow Pebay's
// single-observation case of the pairwise formulas.
template <class T, bool Matrix, int Level, bool Weighted, bool OM>
void one_pass(Ctx<T> &c, Range r, Acc<T> &a, T *scratch) {
  constexpr Orders o = orders(Method::one_pass, Level);
  const int64_t q = c.q;
  // The running mean is kept relative to a shift K, the range's first observation, so that its
  // rounding scales with the spread of the data and not with its offset.
  T *d = scratch, *K = scratch + q;
  for (int64_t k = 0; k < q; ++k) {
    K[k] = OM ? c.x[r.first * c.p + c.act[k]] : c.x[c.act[k] * c.n + r.first];
    a.mean[k] -= K[k];
  }
  for (int64_t j = r.first; j < r.second; ++j) {
    const T w = Weighted ? c.w[j] : T(1);
    if (Weighted && w == 0) continue;
    T b, aa;
    if constexpr (Weighted) {
      const T W2 = a.W + w;
      b = w / W2;
      aa = a.W / W2;
    } else {
      b = 1 / (1 + a.W);
      aa = a.W * b;
    }
    const T wa = w * aa;
    for (int64_t k = 0; k < q; ++k) {
      const T x = OM ? c.x[j * c.p + c.act[k]] : c.x[c.act[k] * c.n + j];
      const T dk = (x - K[k]) - a.mean[k];
      if constexpr (o.m4)
        a.M4[k] += wa * (aa * aa - aa * b + b * b) * dk * dk * dk * dk +
                   6 * b * b * a.M2[k] * dk * dk - 4 * b * a.M3[k] * dk;
      if constexpr (o.m3) a.M3[k] += wa * (aa - b) * dk * dk * dk - 3 * b * a.M2[k] * dk;
      if constexpr (o.m2) a.M2[k] += wa * dk * dk;
      a.mean[k] += b * dk;
      const T wx = w * x;
      a.R1[k] += wx;
      if constexpr (o.r2) a.R2[k] += wx * x;
      if constexpr (o.r34) {
        a.R3[k] += wx * x * x;
        a.R4[k] += wx * x * x * x;
      }
      if constexpr (Matrix) d[k] = dk;
    }
    if constexpr (Matrix) {
      for (int64_t l = 0; l < q; ++l) {
        const T s = wa * d[l];
        T *col = a.C + l * q;
        for (int64_t i = 0; i <= l; ++i) col[i] += s * d[i];
      }
    }
    a.W += w;
    a.W2 += w * w;
  }
  for (int64_t k = 0; k < q; ++k) a.mean[k] += K[k];
}

// Observation-major blocks, a row at a time so that the inner loops run along memory across the
// variables: the sums of w (x - centre)^k in s1..s4, and with Copy the centred block into A
// (q x len, a column per observation).
template <class T, int Top, bool Weighted, bool Copy>
void rowwise(const Ctx<T> &c, int64_t j0, int64_t len, const T *w, const T *centre, T *s1,
             T *s2, T *s3, T *s4, T *A) {
  const int64_t q = c.q, p = c.p;
  const int64_t *act = c.act;
  const bool all = q == p;  // then act[k] == k
  const T *x = c.x + j0 * p;
  for (T *s : {s1, s2, s3, s4}) std::fill(s, s + q, T(0));
  auto step = [&](int64_t k, T xv, T wj, T *col) {
    const T d = xv - centre[k];
    const T wd = Weighted ? wj * d : d;
    s1[k] += wd;
    if constexpr (Top >= 2) {
      const T p2 = wd * d;
      s2[k] += p2;
      if constexpr (Top >= 3) {
        const T p3 = p2 * d;
        s3[k] += p3;
        if constexpr (Top >= 4) s4[k] += p3 * d;
      }
    }
    if constexpr (Copy) col[k] = d;
  };
  for (int64_t j = 0; j < len; ++j) {
    const T *row = x + j * p;
    const T wj = Weighted ? w[j] : T(1);
    T *col = A + j * q;
    if (all)
      for (int64_t k = 0; k < q; ++k) step(k, row[k], wj, col);
    else
      for (int64_t k = 0; k < q; ++k) step(k, row[act[k]], wj, col);
  }
}

// Blocks of `rows` observations. Per block and variable: a centre (near the block's mean, or the
// caller's mean), then the sums of w (x - centre)^k, from which the raw sums follow by the
// binomial expansion and the central sums by a shift to the exact block mean. Cross-products of
// the centred block by the level-3 routines. Fast blocks are merged into the thread's summary;
// sums about the caller's mean simply add.
template <class T, bool UserMean, int Level, bool Weighted, bool OM>
void blocked(Ctx<T> &c, Range r, Acc<T> &a, T *scratch) {
  constexpr Orders o = orders(UserMean ? Method::user_mean : Method::fast, Level);
  // The fast method always forms the second power: it decides whether a block's centre is kept.
  constexpr int top = UserMean ? o.top : std::max(o.top, 2);
  const int64_t q = c.q, R = c.rows;
  // Scratch: block summary (centre, T1..T4), block cross-products, centred copies.
  T *centre = scratch, *t1 = centre + q, *t2 = t1 + q, *t3 = t2 + q, *t4 = t3 + q;
  T *mean = t4 + q, *Cb = mean + q, *A = Cb + (c.matrix ? q * q : 0), *B = A + q * R;
  for (int64_t j0 = r.first; j0 < r.second; j0 += R) {
    const int64_t len = std::min(R, r.second - j0);
    const T *w = Weighted ? c.w + j0 : nullptr;
    T Wb = static_cast<T>(len), W2b = static_cast<T>(len);
    if constexpr (Weighted) {
      T ws[5];
      centred_sums<T, 2, false>(w, 1, nullptr, len, T(0), ws);
      Wb = ws[1];
      W2b = ws[2];
    }
    // Per variable, in t1..t4, the sums of w (x - centre)^k (and the centred block in A).
    auto sums_about_centre = [&] {
      if constexpr (OM) {
        if (c.matrix)
          rowwise<T, top, Weighted, true>(c, j0, len, w, centre, t1, t2, t3, t4, A);
        else
          rowwise<T, top, Weighted, false>(c, j0, len, w, centre, t1, t2, t3, t4, A);
      } else {
        for (int64_t k = 0; k < q; ++k) {
          const T *xk = c.x + c.act[k] * c.n + j0;
          T s[5] = {0, 0, 0, 0, 0};
          centred_sums<T, top, Weighted>(xk, 1, w, len, centre[k], s);
          t1[k] = s[1];
          t2[k] = s[2];
          t3[k] = s[3];
          t4[k] = s[4];
          if (c.matrix)
            for (int64_t j = 0; j < len; ++j) A[k + j * q] = xk[j] - centre[k];
        }
      }
    };
    if constexpr (UserMean) {
      std::copy(c.centre, c.centre + q, centre);
      sums_about_centre();
    } else {
      // Centre on the previous block's mean (the first observation for the first block): one
      // pass over the data. The block is kept when the centre lies within sigma / sqrt(3) of the
      // block's mean, e^2 <= (sum w (x - centre)^2 / W) / 4, so that shifting the sums to the
      // mean loses at most a factor 4/3 to cancellation; otherwise it is summed again about its
      // own mean, an exact two-pass.
      for (int64_t k = 0; k < q; ++k)
        centre[k] = j0 > r.first ? mean[k]
                                 : c.x[c.act[k] * (OM ? 1 : c.n) + j0 * (OM ? c.p : 1)];
      sums_about_centre();
      bool near = true;
      for (int64_t k = 0; k < q && Wb != 0; ++k) {
        const T e = t1[k] / Wb;
        near = near && 4 * e * e * Wb <= t2[k];
      }
      if (!near) {
        for (int64_t k = 0; k < q; ++k) centre[k] += t1[k] / Wb;
        sums_about_centre();
      }
    }
    for (int64_t k = 0; k < q; ++k) {
      const T ctr = centre[k], s1 = t1[k], s2 = t2[k], s3 = t3[k], s4 = t4[k];
      // Raw sums: sum w x^k with x = ctr + d.
      const T c2 = ctr * ctr;
      a.R1[k] += Wb * ctr + s1;
      if constexpr (o.r2) a.R2[k] += Wb * c2 + 2 * ctr * s1 + s2;
      if constexpr (o.r34) {
        a.R3[k] += Wb * c2 * ctr + 3 * c2 * s1 + 3 * ctr * s2 + s3;
        a.R4[k] += Wb * c2 * c2 + 4 * c2 * ctr * s1 + 6 * c2 * s2 + 4 * ctr * s3 + s4;
      }
      if constexpr (UserMean) {
        a.M1[k] += s1;
        if constexpr (o.m2) a.M2[k] += s2;
        if constexpr (o.m3) a.M3[k] += s3;
        if constexpr (o.m4) a.M4[k] += s4;
      } else {
        // Shift from the centre to the exact block mean, e = T1 / W (tiny).
        const T e = Wb != 0 ? s1 / Wb : T(0);
        mean[k] = ctr + e;
        t2[k] = s2 - e * s1;
        t3[k] = s3 - 3 * e * s2 + 2 * e * e * s1;
        t4[k] = s4 - 4 * e * s3 + 6 * e * e * s2 - 3 * e * e * e * s1;
      }
    }
    if (c.matrix) {
      T *target = UserMean ? a.C : Cb;
      const T beta = UserMean ? T(1) : T(0);
      if constexpr (Weighted) {
        for (int64_t j = 0; j < len; ++j)
          for (int64_t k = 0; k < q; ++k) B[k + j * q] = w[j] * A[k + j * q];
        gemm_abt(static_cast<int>(q), static_cast<int>(len), beta, A, B, target);
      } else {
        syrk(static_cast<int>(q), static_cast<int>(len), beta, A, target);
      }
      if (!UserMean && Wb != 0)  // about the exact block mean
        for (int64_t l = 0; l < q; ++l)
          for (int64_t i = 0; i <= l; ++i) Cb[i + l * q] -= t1[i] * t1[l] / Wb;
    }
    if constexpr (UserMean) {
      a.W += Wb;
      a.W2 += W2b;
    } else {
      merge(a, Wb, W2b, mean, t2, t3, t4, Cb, q, o);
    }
  }
}

template <class T, int Row>
constexpr Kernel<T> kernel_of() {
  if constexpr (Row < 32)
    return &one_pass<T, (Row & 1) != 0, (Row >> 1) & 3, ((Row >> 3) & 1) != 0,
                     ((Row >> 4) & 1) != 0>;
  else
    return &blocked<T, (Row >= 48), (Row - 32) & 3, (((Row - 32) >> 2) & 1) != 0,
                    (((Row - 32) >> 3) & 1) != 0>;
}
template <class T, size_t... Rows>
constexpr std::array<Kernel<T>, 64> make_table(std::index_sequence<Rows...>) {
  return {kernel_of<T, Rows>()...};
}
// Rows 0-31 one-pass (matrix + 2 level + 8 weighted + 16 observation-major), 32-47 fast and
// 48-63 user-mean (level + 4 weighted + 8 observation-major).
template <class T>
constexpr std::array<Kernel<T>, 64> kKernels = make_table<T>(std::make_index_sequence<64>());

template <class T>
struct Job {
  Ctx<T> *ctx;
  Kernel<T> kernel;
};

template <class T>
void body(int thread, int threads, void *context) {
  auto *job = static_cast<Job<T> *>(context);
  Ctx<T> &c = *job->ctx;
  const int64_t per = c.n / threads;
  const int64_t lo = thread * per, hi = thread == threads - 1 ? c.n : lo + per;
  job->kernel(c, {lo, hi}, c.acc[thread], c.scratch[thread]);
}

// ---- square matrices in the caller's storage ----------------------------------------------------

enum class Form { full, lower, upper };

Form form_of(int64_t v, bool cp_rule) {
  if (cp_rule) return (v & SsMatrixUpperBit) ? Form::upper : (v & SsMatrixPackedBit) ? Form::lower : Form::full;
  return (v & SsMatrixPackedBit) ? ((v & SsMatrixUpperBit) ? Form::upper : Form::lower) : Form::full;
}

// Position of the symmetric element (i, l) in storage of dimension p.
inline int64_t position(Form f, int64_t i, int64_t l, int64_t p) {
  if (f == Form::full) return i * p + l;
  const int64_t lo = std::min(i, l), hi = std::max(i, l);
  if (f == Form::lower) return hi * (hi + 1) / 2 + lo;
  return lo * p - lo * (lo - 1) / 2 + (hi - lo);
}

// ---- the entry ----------------------------------------------------------------------------------

template <class T>
struct Call {
  SsTask *task;
  bool wide;
  int64_t p, q;
  int64_t *act;
  uint32_t needed;
  T *res[kBits];  // result arrays by compact bit
  Form cov_form, cor_form, cp_form;

  bool has(int b) const { return (needed & bit(b)) != 0; }
  T &at(int b, int64_t k) const { return res[b][act[k]]; }
  T &mat(int b, Form f, int64_t k, int64_t m) const {
    return res[b][position(f, act[k], act[m], p)];
  }
};

template <class T>
void zero_results(const Call<T> &cl, bool keep_mean) {
  for (int b = 0; b < kUnavailable; ++b) {
    if (!cl.has(b) || (b == kMean && keep_mean)) continue;
    if (b == kCov || b == kCor || b == kCp) {
      const Form f = b == kCp ? cl.cp_form : b == kCov ? cl.cov_form : cl.cor_form;
      for (int64_t l = 0; l < cl.q; ++l)
        for (int64_t i = 0; i < cl.q; ++i) cl.mat(b, f, i, l) = 0;
    } else {
      for (int64_t k = 0; k < cl.q; ++k) cl.at(b, k) = 0;
    }
  }
}

// Rebuilds the running summary of earlier calls from the result arrays, taking each quantity
// from the most direct array present: sums over moments, central over raw.
template <class T>
void previous(const Call<T> &cl, Acc<T> &a, T W, T W2, bool user_mean, const T *centre) {
  const int64_t q = cl.q;
  a.W = W;
  a.W2 = W2;
  const T D = W - W2 / W;
  for (int64_t k = 0; k < q; ++k) {
    const T m = user_mean ? centre[k] : cl.has(kMean) ? cl.at(kMean, k) : T(0);
    a.mean[k] = m;
    a.R1[k] = cl.has(kSum) ? cl.at(kSum, k) : W * m;
    const int rs[3] = {kR2s, kR3s, kR4s}, rm[3] = {kR2m, kR3m, kR4m};
    T *R[3] = {a.R2, a.R3, a.R4};
    bool known[3];
    for (int o = 0; o < 3; ++o) {
      known[o] = cl.has(rs[o]) || cl.has(rm[o]);
      R[o][k] = cl.has(rs[o]) ? cl.at(rs[o], k) : cl.has(rm[o]) ? W * cl.at(rm[o], k) : T(0);
    }
    const T r2 = a.R2[k] / W, r3 = a.R3[k] / W, r4 = a.R4[k] / W;
    a.M2[k] = cl.has(kC2s) ? cl.at(kC2s, k)
              : cl.has(kC2m) ? D * cl.at(kC2m, k)
              : known[0]     ? W * (r2 - m * m)
                             : T(0);
    a.M3[k] = cl.has(kC3s) ? cl.at(kC3s, k)
              : cl.has(kC3m) ? W * cl.at(kC3m, k)
              : known[1]     ? W * (r3 - 3 * m * r2 + 2 * m * m * m)
                             : T(0);
    a.M4[k] = cl.has(kC4s) ? cl.at(kC4s, k)
              : cl.has(kC4m) ? W * cl.at(kC4m, k)
              : known[2]     ? W * (r4 - 4 * m * r3 + 6 * m * m * r2 - 3 * m * m * m * m)
                             : T(0);
    a.M1[k] = 0;
  }
  if (a.C) {
    for (int64_t l = 0; l < q; ++l)
      for (int64_t i = 0; i <= l; ++i)
        a.C[i + l * q] = cl.has(kCp)    ? cl.mat(kCp, cl.cp_form, i, l)
                         : cl.has(kCov) ? D * cl.mat(kCov, cl.cov_form, i, l)
                                        : T(0);
  }
}

// Writes cov = cp / D, cor and (with write_cp) cp itself from the cross-products cp_at(i, l),
// i <= l, of the processed variables, in each matrix's storage.
template <class T, class Get>
void write_matrices(const Call<T> &cl, Get cp_at, T D, bool write_cp) {
  for (int64_t l = 0; l < cl.q; ++l)
    for (int64_t i = 0; i <= l; ++i) {
      const T v = cp_at(i, l);
      const T r = i == l ? T(1) : v / std::sqrt(cp_at(i, i) * cp_at(l, l));
      const std::pair<int, T> out[] = {{kCp, v}, {kCov, v / D}, {kCor, r}};
      for (auto [b, value] : out) {
        if (!cl.has(b) || (b == kCp && !write_cp)) continue;
        const Form f = b == kCp ? cl.cp_form : b == kCov ? cl.cov_form : cl.cor_form;
        cl.mat(b, f, i, l) = value;
        cl.mat(b, f, l, i) = value;
      }
    }
}

// Writes the normalised results of a summary. `sample` selects the divisor W - W2 / W for c2m
// and cov (n - 1 without weights); otherwise every divisor is W.
template <class T>
void store(const Call<T> &cl, const Acc<T> &a, bool write_mean, bool sample) {
  const int64_t q = cl.q;
  const T W = a.W, D = sample ? W - a.W2 / W : W, rW = 1 / W;
  // Square roots by a scalar loop until the vector square-root row is available.
  for (int64_t k = 0; k < q; ++k) {
    const T M2 = a.M2[k], M3 = a.M3[k], M4 = a.M4[k];
    if (write_mean && cl.has(kMean)) cl.at(kMean, k) = a.mean[k];
    if (cl.has(kSum)) cl.at(kSum, k) = a.R1[k];
    if (cl.has(kR2s)) cl.at(kR2s, k) = a.R2[k];
    if (cl.has(kR3s)) cl.at(kR3s, k) = a.R3[k];
    if (cl.has(kR4s)) cl.at(kR4s, k) = a.R4[k];
    if (cl.has(kR2m)) cl.at(kR2m, k) = a.R2[k] * rW;
    if (cl.has(kR3m)) cl.at(kR3m, k) = a.R3[k] * rW;
    if (cl.has(kR4m)) cl.at(kR4m, k) = a.R4[k] * rW;
    if (cl.has(kC2s)) cl.at(kC2s, k) = M2;
    if (cl.has(kC3s)) cl.at(kC3s, k) = M3;
    if (cl.has(kC4s)) cl.at(kC4s, k) = M4;
    if (cl.has(kC2m)) cl.at(kC2m, k) = M2 / D;
    if (cl.has(kC3m)) cl.at(kC3m, k) = M3 * rW;
    if (cl.has(kC4m)) cl.at(kC4m, k) = M4 * rW;
    const T m2 = M2 * rW;  // the population second moment for the shape ratios
    if (cl.has(kKurtosis)) cl.at(kKurtosis, k) = M4 * rW / (m2 * m2) - 3;
    if (cl.has(kSkewness)) cl.at(kSkewness, k) = M3 * rW / std::sqrt(m2 * m2 * m2);
    if (cl.has(kVariation)) cl.at(kVariation, k) = std::sqrt(M2 / D) / a.mean[k];
  }
  if (a.C) write_matrices(cl, [&](int64_t i, int64_t l) { return a.C[i + l * q]; }, D, true);
}

// Moments from existing sums. For each order whose sum and moment are both wanted the moment is
// the sum over its divisor; the shape ratios and variation then come from the moment arrays.
template <class T>
int from_sums(const Call<T> &cl, T W, T W2, bool sample) {
  const T D = sample ? W - W2 / W : W, rW = 1 / W;
  const T m2_of_c2m = D * rW;  // population second moment per unit of c2m
  const int sums[7] = {kSum, kR2s, kR3s, kR4s, kC2s, kC3s, kC4s};
  const int moms[7] = {kMean, kR2m, kR3m, kR4m, kC2m, kC3m, kC4m};
  for (int64_t k = 0; k < cl.q; ++k) {
    for (int o = 0; o < 7; ++o)
      if (cl.has(sums[o]) && cl.has(moms[o]))
        cl.at(moms[o], k) = moms[o] == kC2m ? cl.at(sums[o], k) / D : cl.at(sums[o], k) * rW;
    if (cl.has(kKurtosis)) {
      const T m2 = cl.at(kC2m, k) * m2_of_c2m;
      cl.at(kKurtosis, k) = cl.at(kC4m, k) / (m2 * m2) - 3;
    }
    if (cl.has(kSkewness)) {
      const T m2 = cl.at(kC2m, k) * m2_of_c2m;
      cl.at(kSkewness, k) = cl.at(kC3m, k) / std::sqrt(m2 * m2 * m2);
    }
    if (cl.has(kVariation)) cl.at(kVariation, k) = std::sqrt(cl.at(kC2m, k)) / cl.at(kMean, k);
  }
  if (cl.has(kCp))
    write_matrices(cl, [&](int64_t i, int64_t l) { return cl.mat(kCp, cl.cp_form, i, l); }, D,
                   false);
  return SsStatusOk;
}

int level_of(Method m, uint32_t needed) {
  auto any = [&](std::initializer_list<int> bs) {
    for (int b : bs)
      if (needed & bit(b)) return true;
    return false;
  };
  if (m == Method::user_mean) {
    if (any({kR3m, kR4m, kR3s, kR4s})) return 3;
    if (any({kC4m, kC4s})) return 2;
    if (any({kC3m, kC3s})) return 1;
    return 0;
  }
  if (any({kR3m, kR4m, kC3m, kC4m, kR3s, kR4s, kC3s, kC4s})) return 3;
  if (any({kR2m, kR2s})) return 2;
  if (any({kC2m, kC2s})) return 1;
  return 0;
}

// The data methods: thread summaries by the kernel of the call's row, merged with each other
// and with the state of earlier calls, then stored.
template <class T>
int data_path(Call<T> &cl, SsTask *task, uint64_t method, int64_t n,
              const ZynThreader *threader) {
  const int64_t p = cl.p, q = cl.q;
  const int64_t *act = cl.act;
  const uint32_t needed = cl.needed;
  T *accw = static_cast<T *>(task->accumulatedWeights);
  const Method m = (method & SsMethodFast)       ? Method::fast
                   : (method & SsMethodOnePass) ? Method::one_pass
                                                : Method::user_mean;
  const bool matrix = (needed & (bit(kCov) | bit(kCor) | bit(kCp))) != 0;
  const bool weighted = task->weights != nullptr;
  const bool om = p > 1 && !(read_int(cl.wide, task->storage) & SsStorageByVariable);
  const int level = level_of(m, needed);
  int row;
  if (m == Method::one_pass)
    row = matrix + 2 * level + 8 * weighted + 16 * om;
  else
    row = (m == Method::fast ? 32 : 48) + level + 4 * weighted + 8 * om;

  // Threads: at least 16 observations and about 8192 element operations each.
  const int64_t work = matrix ? n * p * p : n * p;
  int64_t threads = threader && threader->limit && threader->run ? threader->limit() : 1;
  threads = std::min({threads, work >> 13, n >> 4});
  if (threads < 1) threads = 1;

  Ctx<T> c{};
  c.x = static_cast<const T *>(task->data);
  c.w = static_cast<const T *>(task->weights);
  c.n = n;
  c.p = p;
  c.q = q;
  c.act = act;
  c.matrix = matrix;
  // Blocks stay in the first-level cache by observation, in the second by variable. For the
  // fast method's cross-products with sums of at most second order, the centred block fills about
  // the second-level cache (1 MB): fewer calls of the rank-k update, each packing a larger panel
  // (8192 rows of 16 variables: 10% faster than 2048, and than 32768, which leaves the cache).
  // Higher powers keep the shorter blocks, whose sums of d^3 and d^4 round less.
  const bool long_blocks = matrix && m == Method::fast && level <= 1;
  c.rows = long_blocks ? std::clamp<int64_t>(131072 / q, 16, 8192)
                       : std::clamp<int64_t>((om && !matrix ? 4096 : 32768) / q, 16, 2048);
  c.threads = static_cast<int>(threads);
  c.status = SsStatusOk;

  // One block: summaries of the threads and of earlier calls, each thread's scratch, the
  // caller's mean in compact order.
  auto round = [](int64_t e) { return (e + 15) & ~int64_t(15); };
  const int64_t acc_elems = round(kAccArrays * q + (matrix ? q * q : 0));
  const int64_t scratch_elems =
      round(6 * q + (matrix ? q * q + q * c.rows * (weighted ? 2 : 1) : 0));
  const int64_t total = (threads + 1) * acc_elems + threads * scratch_elems + round(q);
  T *block = static_cast<T *>(core::zyn_serv_allocate(sizeof(T) * total, 128));
  Acc<T> *accs = static_cast<Acc<T> *>(
      core::zyn_serv_allocate(sizeof(Acc<T>) * (threads + 1) + sizeof(T *) * threads, 128));
  if (block == nullptr || accs == nullptr) {
    core::zyn_serv_deallocate(block);
    core::zyn_serv_deallocate(accs);
    return SsStatusMemory;
  }
  std::memset(block, 0, sizeof(T) * total);
  T **scratch = reinterpret_cast<T **>(accs + threads + 1);
  for (int64_t t = 0; t <= threads; ++t) bind(accs[t], block + t * acc_elems, q, matrix);
  for (int64_t t = 0; t < threads; ++t)
    scratch[t] = block + (threads + 1) * acc_elems + t * scratch_elems;
  T *centre = block + (threads + 1) * acc_elems + threads * scratch_elems;
  const bool user_mean = m == Method::user_mean;
  if (user_mean)
    for (int64_t k = 0; k < q; ++k) centre[k] = cl.at(kMean, k);
  c.centre = centre;
  c.acc = accs;
  c.scratch = scratch;

  // A zero accumulated weight marks the first block: the arrays of this call start at zero
  // (the caller's mean, an input of the user-mean method, excepted).
  if (accw == nullptr || accw[0] == 0) zero_results(cl, user_mean);

  Job<T> job{&c, kKernels<T>[row]};
  if (threads > 1)
    threader->run(static_cast<int>(threads), &job, &body<T>);
  else
    body<T>(0, 1, &job);
  int status = c.status.load();

  if (status == SsStatusOk) {
    // Merge the threads into thread 0, in order.
    const Orders o = orders(m, level);
    Acc<T> &a = accs[0];
    for (int64_t t = 1; t < threads; ++t) combine(a, accs[t], q, o, user_mean);
    // Earlier calls, if any.
    Acc<T> &prev = accs[threads];
    const T Wp = accw ? accw[0] : T(0), W2p = accw ? accw[1] : T(0);
    if (Wp != 0) {
      const T *pm = static_cast<const T *>(task->previousMean);
      previous(cl, prev, Wp, W2p, user_mean, centre);
      if (user_mean) {
        // Sums about the mean of earlier calls, moved to the present one.
        for (int64_t k = 0; k < q; ++k) {
          const T dl = pm ? pm[act[k]] - centre[k] : T(0);
          const T S2 = prev.M2[k], S3 = prev.M3[k];
          prev.M4[k] += 4 * dl * S3 + 6 * dl * dl * S2 + Wp * dl * dl * dl * dl;
          prev.M3[k] += 3 * dl * S2 + Wp * dl * dl * dl;
          prev.M2[k] += Wp * dl * dl;
        }
        if (matrix && pm)
          for (int64_t l = 0; l < q; ++l)
            for (int64_t i = 0; i <= l; ++i)
              prev.C[i + l * q] += Wp * (pm[act[i]] - centre[i]) * (pm[act[l]] - centre[l]);
      }
      combine(prev, a, q, o, user_mean);
    }
    const Acc<T> &total_acc = Wp != 0 ? prev : a;
    if (user_mean)  // moments about the caller's mean
      for (int64_t k = 0; k < q; ++k) const_cast<Acc<T> &>(total_acc).mean[k] = centre[k];
    store(cl, total_acc, !user_mean, true);
    if (accw) {
      accw[0] = total_acc.W;
      accw[1] = total_acc.W2;
    }
    if (user_mean) {
      // A fresh block each time: p may have changed since the last call.
      void *kept = core::zyn_serv_allocate(sizeof(T) * p, 128);
      if (kept == nullptr) {
        status = SsStatusMemory;
      } else {
        std::memcpy(kept, cl.res[kMean], sizeof(T) * p);
        core::zyn_serv_deallocate(task->previousMean);
        task->previousMean = kept;
      }
    }
  }
  core::zyn_serv_deallocate(accs);
  core::zyn_serv_deallocate(block);
  return status;
}

template <class T>
int basic(SsTask *task, uint64_t estimates, uint64_t method, const ZynThreader *threader) {
  if (task == nullptr) return SsStatusNullTask;
  const bool wide = task->integerWidth != 0;
  if (task->dimension == nullptr) return SsStatusDimension;
  const int64_t p = read_int(wide, task->dimension);
  if (p < 1) return SsStatusDimension;

  // Method and the table of what each result needs.
  const int method_count = ((method & SsMethodFast) != 0) + ((method & SsMethodOnePass) != 0) +
                           ((method & SsMethodFastUserMean) != 0);
  const bool from_sums_bits = (method & (SsMethodFromSums | SsMethodFromSumsPopulation)) != 0;
  if ((method & ~kOwnMethods) != 0 || !(method_count == 1 || (method_count == 0 && from_sums_bits)))
    return SsStatusMethod;
  const uint32_t *needs = (method & SsMethodFast)  ? kNeedsFast
                          : method_count == 1      ? kNeedsOnePass
                                                   : kNeedsFromSums;
  uint32_t needed = 0, available = 0;
  Call<T> cl{};
  cl.task = task;
  cl.wide = wide;
  cl.p = p;
  for (int b = 0; b < kUnavailable; ++b) {
    if (estimates & kResults[b].estimate) needed |= needs[b];
    cl.res[b] = *reinterpret_cast<T **>(reinterpret_cast<char *>(task) + kResults[b].offset);
    if (cl.res[b] != nullptr) available |= bit(b);
  }
  for (int b = 0; b < kBits; ++b)
    if ((needed & bit(b)) && !(available & bit(b))) return kResults[b].status;
  cl.needed = needed;

  // Data checks.
  int64_t n = 0;
  if (method_count == 1) {
    if (task->observations == nullptr || (n = read_int(wide, task->observations)) < 1)
      return SsStatusObservations;
    if (task->data == nullptr) return SsStatusData;
    if (task->storage == nullptr) return SsStatusStorage;
    if ((read_int(wide, task->storage) & (SsStorageByVariable | SsStorageByObservation)) == 0)
      return SsStatusStorageValue;
  } else if (task->accumulatedWeights == nullptr) {
    if (task->observations == nullptr || task->weights != nullptr)
      return SsStatusAccumulatedWeights;
    if ((n = read_int(wide, task->observations)) < 1) return SsStatusObservations;
  }

  // Storage kinds of the square results.
  struct {
    int bit;
    void *storage;
    Form *form;
    bool cp_rule;
  } squares[] = {{kCov, task->covStorage, &cl.cov_form, false},
                 {kCor, task->corStorage, &cl.cor_form, false},
                 {kCp, task->cpStorage, &cl.cp_form, true}};
  for (auto &s : squares) {
    if (!(needed & bit(s.bit))) continue;
    if (s.storage == nullptr) return SsStatusStorage;
    *s.form = form_of(read_int(wide, s.storage), s.cp_rule);
  }

  if (needed == 0) return SsStatusOk;

  // The processed variables.
  auto *act = static_cast<int64_t *>(core::zyn_serv_allocate(sizeof(int64_t) * p, 128));
  if (act == nullptr) return SsStatusMemory;
  int64_t q = 0;
  for (int64_t i = 0; i < p; ++i)
    if (task->indices == nullptr || read_int(wide, task->indices, i) != 0) act[q++] = i;
  cl.act = act;
  cl.q = q;

  int status = SsStatusOk;
  if (q > 0 && method_count == 0) {
    T *accw = static_cast<T *>(task->accumulatedWeights);
    const T W = accw ? accw[0] : static_cast<T>(n), W2 = accw ? accw[1] : static_cast<T>(n);
    const bool sample = !(method & SsMethodFromSumsPopulation) || (method & SsMethodFromSums);
    status = from_sums(cl, W, W2, sample);
  } else if (q > 0) {
    status = data_path(cl, task, method, n, threader);
  }
  core::zyn_serv_deallocate(act);
  return status;
}

}  // namespace
}  // namespace zyn::stats

ZYN_SS_ENTRIES(Basic, zyn::stats::basic, (task, estimates, method, threader))
