// BLAS and LAPACK by element type, column-major, for the covariance estimators.
#pragma once

#include "frame/core_link.hpp"

namespace zyn::stats::la {

// C (upper) = alpha A A^T + beta C, A n x k (trans "N") or A^T A, A k x n (trans "T").
inline void syrk(const char *trans, int n, int k, double alpha, const double *a, int lda,
                 double beta, double *c, int ldc) {
  core::zyn_blas_xdsyrk("U", trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
}
inline void syrk(const char *trans, int n, int k, float alpha, const float *a, int lda,
                 float beta, float *c, int ldc) {
  core::zyn_blas_xssyrk("U", trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
}
// C = A B^T + beta C, A and B n x k.
inline void gemm_abt(int n, int k, double beta, const double *a, const double *b, double *c) {
  const double one = 1;
  core::zyn_blas_xdgemm("N", "T", &n, &n, &k, &one, a, &n, b, &n, &beta, c, &n);
}
inline void gemm_abt(int n, int k, float beta, const float *a, const float *b, float *c) {
  const float one = 1;
  core::zyn_blas_xsgemm("N", "T", &n, &n, &k, &one, a, &n, b, &n, &beta, c, &n);
}
// Lower Cholesky factor in place; info > 0 when not positive definite.
inline int potrf_lower(int n, double *a) {
  int info = 0;
  core::zyn_lapack_dpotrf("L", &n, a, &n, &info);
  return info;
}
inline int potrf_lower(int n, float *a) {
  int info = 0;
  core::zyn_lapack_spotrf("L", &n, a, &n, &info);
  return info;
}
inline int trtri_lower(int n, double *a) {
  int info = 0;
  core::zyn_lapack_dtrtri("L", "N", &n, a, &n, &info);
  return info;
}
inline int trtri_lower(int n, float *a) {
  int info = 0;
  core::zyn_lapack_strtri("L", "N", &n, a, &n, &info);
  return info;
}
// B (m x n) = L B, L lower m x m.
inline void trmm_lower_left(int m, int n, const double *l, double *b) {
  const double one = 1;
  core::zyn_blas_dtrmm("L", "L", "N", "N", &m, &n, &one, l, &m, b, &m);
}
inline void trmm_lower_left(int m, int n, const float *l, float *b) {
  const float one = 1;
  core::zyn_blas_strmm("L", "L", "N", "N", &m, &n, &one, l, &m, b, &m);
}
// Eigenvalues (ascending) and eigenvectors (columns of z) of the packed upper matrix ap.
inline int spevd(int n, double *ap, double *w, double *z, double *work, int lwork, int *iwork,
                 int liwork) {
  int info = 0;
  core::zyn_lapack_dspevd("V", "U", &n, ap, w, z, &n, work, &lwork, iwork, &liwork, &info);
  return info;
}
inline int spevd(int n, float *ap, float *w, float *z, float *work, int lwork, int *iwork,
                 int liwork) {
  int info = 0;
  core::zyn_lapack_sspevd("V", "U", &n, ap, w, z, &n, work, &lwork, iwork, &liwork, &info);
  return info;
}

// C (m x n) = A B, A symmetric m x m (its upper triangle read), B m x n.
inline void symm_left(int m, int n, const double *a, const double *b, double *c) {
  const double one = 1, zero = 0;
  core::zyn_blas_xdsymm("L", "U", &m, &n, &one, a, &m, b, &m, &zero, c, &m);
}
inline void symm_left(int m, int n, const float *a, const float *b, float *c) {
  const float one = 1, zero = 0;
  core::zyn_blas_xssymm("L", "U", &m, &n, &one, a, &m, b, &m, &zero, c, &m);
}

}  // namespace zyn::stats::la
