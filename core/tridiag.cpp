// Tridiagonal factor and solve without pivoting (LAPACK has no such routine: its gttrf
// pivots). Meant for diagonally dominant systems such as the spline equations, where
// elimination without pivoting is stable. One template serves double and float.
#include <cmath>

#include "zyn/core.h"

namespace {

// The band in which the continuants below are left alone; outside it they are brought back to
// magnitude 1 by an exact power of two. Each two-row step can grow or shrink them by the square
// of the largest ratio of matrix entries, which the margin to the overflow and underflow
// thresholds must absorb (2^88 for float, 2^600 for double).
template <class T>
struct Range;
template <>
struct Range<double> {
  static constexpr double big = 0x1p400, small = 0x1p-400;
};
template <>
struct Range<float> {
  static constexpr float big = 0x1p40f, small = 0x1p-40f;
};

// Elimination without pivoting. The pivots follow d[i+1] = d[i+1] - dl[i]*du[i]/d[i], a chain
// with a division in every step. They are computed instead as ratios of the continuants
// p[i+1] = a[i+1] p[i] - e[i] p[i-1] (a = d, e[i] = dl[i]*du[i], pivot i = p[i]/p[i-1]). Two
// steps at a time, p[i+2] = (a[i+2] a[i+1] - e[i+1]) p[i] - a[i+2] e[i] p[i-1], so the chain is
// one multiply and one subtraction for every two rows; p[i+1] and the divisions (two in one
// vector division) run beside it. The continuants are rescaled by exact powers of two, so the
// ratios are unchanged. When `b` is given, its forward substitution runs in the same loop, also
// two rows a step: z[i+2] = (b[i+2] - l[i+1] b[i+1]) + l[i+1] l[i] z[i].
template <class T>
void factor(const int *n, T *dl, T *d, const T *du, int *info, T *b = nullptr) {
  typedef T V __attribute__((vector_size(2 * sizeof(T))));
  *info = 0;
  const int m = *n;
  if (m < 0) {
    *info = -1;
    return;
  }
  if (m == 0) return;
  T pm = T(1), p = d[0];
  if (p == T(0)) {
    *info = 1;
    return;
  }
  T z = b ? b[0] : T(0);  // carried in a register, not through memory
  auto bad = [](T piv) { return piv == T(0) || !(piv == piv); };  // zero, or a lost continuant
  int i = 0;
  for (; i + 2 < m; i += 2) {
    const T a1 = d[i + 1], a2 = d[i + 2], e0 = dl[i] * du[i], e1 = dl[i + 1] * du[i + 1];
    const T p1 = a1 * p - e0 * pm;
    const T p2 = (a2 * a1 - e1) * p - (a2 * e0) * pm;
    const V r = T(1) / V{p, p1};
    const T l0 = dl[i] * (pm * r[0]), l1 = dl[i + 1] * (p * r[1]);
    const T piv1 = p1 * r[0], piv2 = p2 * r[1];
    dl[i] = l0, dl[i + 1] = l1;
    d[i + 1] = piv1, d[i + 2] = piv2;
    if (b) {
      const T b1 = b[i + 1] - l0 * z;
      z = (b[i + 2] - l1 * b[i + 1]) + (l1 * l0) * z;
      b[i + 1] = b1, b[i + 2] = z;
    }
    if (bad(piv1) || bad(piv2)) {
      *info = bad(piv1) ? i + 2 : i + 3;
      return;
    }
    pm = p1;
    p = p2;
    const T a = p < T(0) ? -p : p;
    if (a > Range<T>::big || a < Range<T>::small) {  // rare: back to magnitude 1, exactly
      int e = 0;
      p = std::frexp(p, &e);
      pm = std::ldexp(pm, -e);
    }
  }
  if (i + 1 < m) {  // one row left
    const T p1 = d[i + 1] * p - (dl[i] * du[i]) * pm;
    const T r = T(1) / p;
    const T l0 = dl[i] * (pm * r), piv1 = p1 * r;
    dl[i] = l0;
    d[i + 1] = piv1;
    if (b) b[i + 1] -= l0 * z;
    if (bad(piv1)) *info = i + 2;
  }
}

// Back substitution with U: x[i] = A[i] - B[i] x[i+1], A = x/d, B = du/d, off the chain. Two rows
// a step: x[i-1] = (A[i-1] - B[i-1] A[i]) + B[i-1] B[i] x[i+1], one multiply and one addition of
// latency for every two rows.
template <class T>
void backward(int m, const T *d, const T *du, T *x) {
  typedef T V __attribute__((vector_size(2 * sizeof(T))));
  T v = x[m - 1] / d[m - 1];
  x[m - 1] = v;
  int i = m - 2;
  for (; i >= 1; i -= 2) {  // two reciprocals from one vector division
    const V r = T(1) / V{d[i], d[i - 1]};
    const T A0 = x[i] * r[0], B0 = du[i] * r[0], A1 = x[i - 1] * r[1], B1 = du[i - 1] * r[1];
    x[i] = A0 - B0 * v;
    v = (A1 - B1 * A0) + (B1 * B0) * v;
    x[i - 1] = v;
  }
  if (i == 0) x[0] = x[0] / d[0] - (du[0] / d[0]) * v;
}

template <class T>
void solve(const char *trans, const int *n, const int *nrhs, const T *dl, const T *d, const T *du,
           T *b, const int *ldb, int *info, bool forwardDone = false) {
  *info = 0;
  const int m = *n, k = *nrhs;
  if (m < 0) { *info = -2; return; }
  if (k < 0) { *info = -3; return; }
  if (*ldb < (m > 1 ? m : 1)) { *info = -8; return; }
  const bool plain = (*trans & ~0x20) == 'N';
  for (int r = 0; r < k; ++r) {
    T *x = b + static_cast<ptrdiff_t>(r) * *ldb;
    if (m == 0) continue;
    if (plain) {  // L y = b, then U x = y
      if (!(forwardDone && r == 0)) {
        T v = x[0];
        for (int i = 1; i < m; ++i) v = x[i] - dl[i - 1] * v, x[i] = v;
      }
      backward(m, d, du, x);
    } else {  // U^T y = b, then L^T x = y
      x[0] /= d[0];
      for (int i = 1; i < m; ++i) {
        const T q = T(1) / d[i];
        x[i] = x[i] * q - (du[i - 1] * q) * x[i - 1];
      }
      for (int i = m - 2; i >= 0; --i) x[i] -= dl[i] * x[i + 1];
    }
  }
}

}  // namespace

void ddttrfb_4dfl(const int *n, double *dl, double *d, double *du, int *info) { factor(n, dl, d, du, info); }
void sdttrfb_4dfl(const int *n, float *dl, float *d, float *du, int *info) { factor(n, dl, d, du, info); }
void ddttrsb_4dfl(const char *trans, const int *n, const int *nrhs, const double *dl, const double *d,
                  const double *du, double *b, const int *ldb, int *info) {
  solve(trans, n, nrhs, dl, d, du, b, ldb, info);
}
void sdttrsb_4dfl(const char *trans, const int *n, const int *nrhs, const float *dl, const float *d,
                  const float *du, float *b, const int *ldb, int *info) {
  solve(trans, n, nrhs, dl, d, du, b, ldb, info);
}
void ddtsvb_4dfl(const int *n, const int *nrhs, double *dl, double *d, double *du, double *b,
                 const int *ldb, int *info) {
  factor(n, dl, d, du, info, *nrhs > 0 && *ldb >= *n ? b : nullptr);
  if (*info == 0) solve("N", n, nrhs, dl, d, du, b, ldb, info, *nrhs > 0);
}
void sdtsvb_4dfl(const int *n, const int *nrhs, float *dl, float *d, float *du, float *b,
                 const int *ldb, int *info) {
  factor(n, dl, d, du, info, *nrhs > 0 && *ldb >= *n ? b : nullptr);
  if (*info == 0) solve("N", n, nrhs, dl, d, du, b, ldb, info, *nrhs > 0);
}
