// BLAS and LAPACK names forwarded to OpenBLAS with the published (Fortran) argument lists.
// Character arguments get their hidden lengths, as gfortran-compiled LAPACK expects them.
// The sequential forms call the same routines: inside a pool job OpenBLAS is held to one
// thread (see pool.cpp), and the multivariate samplers' matrices are small.
#include "zyn/core.h"

using flen = size_t;

extern "C" {
#define F_GEMM(T, f) void f(const char *, const char *, const int *, const int *, const int *, const T *, const T *, const int *, const T *, const int *, const T *, T *, const int *, flen, flen)
#define F_GEMV(T, f) void f(const char *, const int *, const int *, const T *, const T *, const int *, const T *, const int *, const T *, T *, const int *, flen)
#define F_SYR(T, f) void f(const char *, const int *, const T *, const T *, const int *, T *, const int *, flen)
#define F_SYRK(T, f) void f(const char *, const char *, const int *, const int *, const T *, const T *, const int *, const T *, T *, const int *, flen, flen)
#define F_SYMM(T, f) void f(const char *, const char *, const int *, const int *, const T *, const T *, const int *, const T *, const int *, const T *, T *, const int *, flen, flen)
#define F_TRMM(T, f) void f(const char *, const char *, const char *, const char *, const int *, const int *, const T *, const T *, const int *, T *, const int *, flen, flen, flen, flen)
#define F_TPMV(T, f) void f(const char *, const char *, const char *, const int *, const T *, T *, const int *, flen, flen, flen)
#define F_SCAL(T, f) void f(const int *, const T *, T *, const int *)
F_GEMM(double, dgemm_); F_GEMM(float, sgemm_);
F_GEMV(double, dgemv_); F_GEMV(float, sgemv_);
F_SYR(double, dsyr_); F_SYR(float, ssyr_);
F_SYRK(double, dsyrk_); F_SYRK(float, ssyrk_);
F_SYMM(double, dsymm_); F_SYMM(float, ssymm_);
F_TRMM(double, dtrmm_); F_TRMM(float, strmm_);
F_TPMV(double, dtpmv_); F_TPMV(float, stpmv_);
F_SCAL(double, dscal_); F_SCAL(float, sscal_);
void dpotrf_(const char *, const int *, double *, const int *, int *, flen);
void spotrf_(const char *, const int *, float *, const int *, int *, flen);
void dpotri_(const char *, const int *, double *, const int *, int *, flen);
void spotri_(const char *, const int *, float *, const int *, int *, flen);
void dtrtri_(const char *, const char *, const int *, double *, const int *, int *, flen, flen);
void strtri_(const char *, const char *, const int *, float *, const int *, int *, flen, flen);
void dsyev_(const char *, const char *, const int *, double *, const int *, double *, double *, const int *, int *, flen, flen);
void ssyev_(const char *, const char *, const int *, float *, const int *, float *, float *, const int *, int *, flen, flen);
void dspevd_(const char *, const char *, const int *, double *, double *, double *, const int *, double *, const int *, int *, const int *, int *, flen, flen);
void sspevd_(const char *, const char *, const int *, float *, float *, float *, const int *, float *, const int *, int *, const int *, int *, flen, flen);
}

#define GEMM_BODY(f) { f(transa, transb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, 1, 1); }
#define GEMV_BODY(f) { f(trans, m, n, alpha, a, lda, x, incx, beta, y, incy, 1); }
#define SYR_BODY(f) { f(uplo, n, alpha, x, incx, a, lda, 1); }
#define SYRK_BODY(f) { f(uplo, trans, n, k, alpha, a, lda, beta, c, ldc, 1, 1); }
#define SYMM_BODY(f) { f(side, uplo, m, n, alpha, a, lda, b, ldb, beta, c, ldc, 1, 1); }
#define TRMM_BODY(f) { f(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, 1, 1, 1, 1); }

ZYN_BLAS_GEMM(double, zyn_blas_dgemm) GEMM_BODY(dgemm_)
ZYN_BLAS_GEMM(float, zyn_blas_sgemm) GEMM_BODY(sgemm_)
ZYN_BLAS_GEMV(double, zyn_blas_dgemv) GEMV_BODY(dgemv_)
ZYN_BLAS_GEMV(float, zyn_blas_sgemv) GEMV_BODY(sgemv_)
ZYN_BLAS_SYR(double, zyn_blas_dsyr) SYR_BODY(dsyr_)
ZYN_BLAS_SYR(float, zyn_blas_ssyr) SYR_BODY(ssyr_)
ZYN_BLAS_SYRK(double, zyn_blas_dsyrk) SYRK_BODY(dsyrk_)
ZYN_BLAS_SYRK(float, zyn_blas_ssyrk) SYRK_BODY(ssyrk_)
ZYN_BLAS_TRMM(double, zyn_blas_dtrmm) TRMM_BODY(dtrmm_)
ZYN_BLAS_TRMM(float, zyn_blas_strmm) TRMM_BODY(strmm_)

ZYN_BLAS_GEMM(double, zyn_blas_xdgemm) GEMM_BODY(dgemm_)
ZYN_BLAS_GEMM(float, zyn_blas_xsgemm) GEMM_BODY(sgemm_)
ZYN_BLAS_SYMM(double, zyn_blas_xdsymm) SYMM_BODY(dsymm_)
ZYN_BLAS_SYMM(float, zyn_blas_xssymm) SYMM_BODY(ssymm_)
ZYN_BLAS_SYR(double, zyn_blas_xdsyr) SYR_BODY(dsyr_)
ZYN_BLAS_SYR(float, zyn_blas_xssyr) SYR_BODY(ssyr_)
ZYN_BLAS_SYRK(double, zyn_blas_xdsyrk) SYRK_BODY(dsyrk_)
ZYN_BLAS_SYRK(float, zyn_blas_xssyrk) SYRK_BODY(ssyrk_)
ZYN_BLAS_TRMM(double, zyn_blas4vex_dtrmm) TRMM_BODY(dtrmm_)
ZYN_BLAS_TRMM(float, zyn_blas4vex_strmm) TRMM_BODY(strmm_)
ZYN_BLAS_TRMM(double, zyn_blas_xdtrmm_4vex) TRMM_BODY(dtrmm_)
ZYN_BLAS_TRMM(float, zyn_blas_xstrmm_4vex) TRMM_BODY(strmm_)

namespace {
bool is(const char *c, char up) { return (*c & ~0x20) == up; }

// B := alpha * op(A) * B or alpha * B * op(A), A triangular and packed: one packed
// triangular matrix-vector product per column (side L) or per row (side R, with op(A)
// transposed, since (B op(A))^T = op(A)^T B^T).
template <class T, class Tpmv, class Scal>
void ptrmm(Tpmv tpmv, Scal scal, const char *side, const char *uplo, const char *transa,
           const char *diag, const int *m, const int *n, const T *alpha, const T *ap, T *b,
           const int *ldb) {
  const bool left = is(side, 'L');
  const int rows = *m, cols = *n;
  if (rows <= 0 || cols <= 0) return;
  const int one = 1;
  if (left) {
    for (int j = 0; j < cols; ++j) {
      T *col = b + static_cast<ptrdiff_t>(j) * *ldb;
      tpmv(uplo, transa, diag, m, ap, col, &one, 1, 1, 1);
      if (*alpha != T(1)) scal(m, alpha, col, &one);
    }
  } else {
    const char flipped = is(transa, 'N') ? 'T' : 'N';
    for (int i = 0; i < rows; ++i) {
      tpmv(uplo, &flipped, diag, n, ap, b + i, ldb, 1, 1, 1);
      if (*alpha != T(1)) scal(n, alpha, b + i, ldb);
    }
  }
}
}  // namespace

ZYN_BLAS_PTRMM(double, zyn_blas4vex_dptrmm) {
  ptrmm<double>(dtpmv_, dscal_, side, uplo, transa, diag, m, n, alpha, ap, b, ldb);
}
ZYN_BLAS_PTRMM(float, zyn_blas4vex_sptrmm) {
  ptrmm<float>(stpmv_, sscal_, side, uplo, transa, diag, m, n, alpha, ap, b, ldb);
}

void zyn_lapack_dpotrf(const char *uplo, const int *n, double *a, const int *lda, int *info) { dpotrf_(uplo, n, a, lda, info, 1); }
void zyn_lapack_spotrf(const char *uplo, const int *n, float *a, const int *lda, int *info) { spotrf_(uplo, n, a, lda, info, 1); }
void zyn_lapack_dpotri(const char *uplo, const int *n, double *a, const int *lda, int *info) { dpotri_(uplo, n, a, lda, info, 1); }
void zyn_lapack_spotri(const char *uplo, const int *n, float *a, const int *lda, int *info) { spotri_(uplo, n, a, lda, info, 1); }
void zyn_lapack_dtrtri(const char *uplo, const char *diag, const int *n, double *a, const int *lda, int *info) { dtrtri_(uplo, diag, n, a, lda, info, 1, 1); }
void zyn_lapack_strtri(const char *uplo, const char *diag, const int *n, float *a, const int *lda, int *info) { strtri_(uplo, diag, n, a, lda, info, 1, 1); }
void zyn_lapack_dsyev(const char *jobz, const char *uplo, const int *n, double *a, const int *lda, double *w, double *work, const int *lwork, int *info) { dsyev_(jobz, uplo, n, a, lda, w, work, lwork, info, 1, 1); }
void zyn_lapack_ssyev(const char *jobz, const char *uplo, const int *n, float *a, const int *lda, float *w, float *work, const int *lwork, int *info) { ssyev_(jobz, uplo, n, a, lda, w, work, lwork, info, 1, 1); }
void zyn_lapack_dspevd(const char *jobz, const char *uplo, const int *n, double *ap, double *w, double *z, const int *ldz, double *work, const int *lwork, int *iwork, const int *liwork, int *info) { dspevd_(jobz, uplo, n, ap, w, z, ldz, work, lwork, iwork, liwork, info, 1, 1); }
void zyn_lapack_sspevd(const char *jobz, const char *uplo, const int *n, float *ap, float *w, float *z, const int *ldz, float *work, const int *lwork, int *iwork, const int *liwork, int *info) { sspevd_(jobz, uplo, n, ap, w, z, ldz, work, lwork, iwork, liwork, info, 1, 1); }
