// Tridiagonal factor and solve without pivoting (LAPACK has no such routine: its gttrf
// pivots). Meant for diagonally dominant systems such as the spline equations, where
// elimination without pivoting is stable. One template serves double and float.
#include "zyn/core.h"

namespace {

template <class T>
void factor(const int *n, T *dl, T *d, T *du, int *info) {
  (void)du;
  *info = 0;
  const int m = *n;
  if (m < 0) {
    *info = -1;
    return;
  }
  for (int i = 0; i + 1 < m; ++i) {
    if (d[i] == T(0)) {
      *info = i + 1;
      return;
    }
    const T l = dl[i] / d[i];
    dl[i] = l;
    d[i + 1] -= l * du[i];
  }
  if (m > 0 && d[m - 1] == T(0)) *info = m;
}

template <class T>
void solve(const char *trans, const int *n, const int *nrhs, const T *dl, const T *d, const T *du,
           T *b, const int *ldb, int *info) {
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
      for (int i = 1; i < m; ++i) x[i] -= dl[i - 1] * x[i - 1];
      x[m - 1] /= d[m - 1];
      for (int i = m - 2; i >= 0; --i) x[i] = (x[i] - du[i] * x[i + 1]) / d[i];
    } else {  // U^T y = b, then L^T x = y
      x[0] /= d[0];
      for (int i = 1; i < m; ++i) x[i] = (x[i] - du[i - 1] * x[i - 1]) / d[i];
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
  factor(n, dl, d, du, info);
  if (*info == 0) solve("N", n, nrhs, dl, d, du, b, ldb, info);
}
void sdtsvb_4dfl(const int *n, const int *nrhs, float *dl, float *d, float *du, float *b,
                 const int *ldb, int *info) {
  factor(n, dl, d, du, info);
  if (*info == 0) solve("N", n, nrhs, dl, d, du, b, ldb, info);
}
