// Tridiagonal factor and solve without pivoting (LAPACK has no such routine: its gttrf
// pivots). Meant for diagonally dominant systems such as the spline equations, where
// elimination without pivoting is stable. One template serves double and float.
#include "zyn/core.h"

namespace {

// Powers of two that keep the continuants below in range; scaling by them is exact.
template <class T>
struct Range;
template <>
struct Range<double> {
  static constexpr double big = 0x1p400, small = 0x1p-400, down = 0x1p-400, up = 0x1p400;
};
template <>
struct Range<float> {
  static constexpr float big = 0x1p50f, small = 0x1p-50f, down = 0x1p-50f, up = 0x1p50f;
};

// Elimination without pivoting. The pivots follow d[i+1] = d[i+1] - dl[i]*du[i]/d[i], a chain
// with a division in every step. They are computed instead as ratios of the continuants
// p[i+1] = d[i+1]*p[i] - dl[i]*du[i]*p[i-1] (d[i] = p[i]/p[i-1]), whose chain is one multiply
// and one subtraction; the divisions then run off the chain. The continuants are rescaled by
// exact powers of two, so the ratios are unchanged. When `b` is given, the forward substitution
// of that right-hand side runs in the same loop.
template <class T>
void factor(const int *n, T *dl, T *d, const T *du, int *info, T *b = nullptr) {
  *info = 0;
  const int m = *n;
  if (m < 0) {
    *info = -1;
    return;
  }
  if (m == 0) return;
  T pm = T(1), p = d[0], piv = d[0];
  if (piv == T(0)) {
    *info = 1;
    return;
  }
  T z = b ? b[0] : T(0);  // carried in a register, not through memory
  for (int i = 0; i + 1 < m; ++i) {
    const T pn = d[i + 1] * p - (dl[i] * du[i]) * pm;
    // One division a step: 1/p gives both the multiplier of row i and the pivot of row i + 1.
    const T rp = T(1) / p;
    const T l = dl[i] * (pm * rp);
    dl[i] = l;
    if (b) {
      z = b[i + 1] - l * z;
      b[i + 1] = z;
    }
    piv = pn * rp;
    d[i + 1] = piv;
    if (piv == T(0) || !(piv == piv)) {  // zero pivot (or one that follows a lost continuant)
      *info = i + 2;
      return;
    }
    pm = p;
    p = pn;
    const T a = p < T(0) ? -p : p;
    if (a > Range<T>::big) p *= Range<T>::down, pm *= Range<T>::down;
    else if (a < Range<T>::small) p *= Range<T>::up, pm *= Range<T>::up;
  }
}

// Back substitution with U: x[i] = x[i]/d[i] - (du[i]/d[i]) x[i+1]; the reciprocal is off the
// chain, so each step waits for one multiply and one subtraction.
template <class T>
void backward(int m, const T *d, const T *du, T *x) {
  T v = x[m - 1] / d[m - 1];
  x[m - 1] = v;
  for (int i = m - 2; i >= 0; --i) {
    const T r = T(1) / d[i];
    v = x[i] * r - (du[i] * r) * v;
    x[i] = v;
  }
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
