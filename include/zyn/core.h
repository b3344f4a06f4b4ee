/* zyn core services: the layer beneath the kernel module.
 *
 * libzyn_core.so provides memory, locks, environment access, numbered messages, process exit,
 * the threading service, the BLAS/LAPACK names the kernels call, and the tridiagonal solvers
 * used by spline construction. The kernel module binds each of these names on its first call,
 * so a program that only calls vector kernels runs without this library. */
#ifndef ZYN_CORE_H
#define ZYN_CORE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus)
#define ZYN_EXTERN_C extern "C"
#define ZYN_NORETURN __attribute__((noreturn)) /* after a GNU attribute clang takes no [[...]] */
#else
#define ZYN_EXTERN_C
#define ZYN_NORETURN __attribute__((noreturn))
#endif
#define ZYN_API ZYN_EXTERN_C __attribute__((visibility("default")))
#if defined(__cplusplus)
#define ZYN_API_DATA extern "C" __attribute__((visibility("default")))
#else
#define ZYN_API_DATA extern __attribute__((visibility("default")))
#endif

/* ---- services ---------------------------------------------------------------------------- */

/* An aligned block of `size` bytes, or null. `alignment` is a power of two; values below 16
 * are raised to 16. */
ZYN_API void *zyn_serv_allocate(size_t size, int alignment);
/* Gives back a block from zyn_serv_allocate; null is ignored. */
ZYN_API void zyn_serv_deallocate(void *block);
/* A simple lock on a 32-bit word; a zeroed word is a free lock. */
ZYN_API void zyn_serv_lock(volatile int *word);
ZYN_API void zyn_serv_unlock(volatile int *word);
/* Copies the value of environment variable `name` into `buffer`, cut to `size` bytes
 * (NUL-terminated within the buffer when size > 0). Returns the number of bytes of the value
 * that were copied, below 1 when the variable is absent or empty. */
ZYN_API int zyn_serv_getenv(const char *name, char *buffer, int size);
/* Formats message `number` of the catalogue with `count` arguments on standard error.
 * `destination` must be 1; other destinations print nothing. */
ZYN_API void zyn_serv_print(int destination, int number, int count, ...);
ZYN_API ZYN_NORETURN void zyn_serv_exit(int code);
/* Checked copy: 0 on success; ZYN_EINVAL for a null pointer (destination zeroed when possible);
 * ZYN_ERANGE when count exceeds dest_size (destination zeroed). */
ZYN_API int zyn_serv_memcpy_s(void *dest, size_t dest_size, const void *src, size_t count);
/* Processor query; with 0 it answers whether the vector AES instructions (VAES) are usable:
 * 1 yes, 0 no. Other queries answer 0. */
ZYN_API int zyn_serv_cpuisicx(int query);
/* The address of a threading-layer function by name, or null. Known names:
 * "zyn_rnx_serv_threader_for", "zyn_rnx_serv_threader_get_num_threads_limit". */
ZYN_API void *zyn_serv_load_thread_fun(const char *name);

#define ZYN_EINVAL 22
#define ZYN_ERANGE 34

/* Message numbers of the catalogue. */
enum {
  ZYN_MSG_BAD_ARGUMENT = 748, /* name, index */
  ZYN_MSG_BAD_CALL = 749,     /* name */
  ZYN_MSG_DOMAIN = 750,       /* name */
  ZYN_MSG_SINGULARITY = 751,  /* name */
  ZYN_MSG_OVERFLOW = 752,     /* name */
  ZYN_MSG_UNDERFLOW = 753,    /* name */
  ZYN_MSG_UNKNOWN = 754,      /* name */
  /* value lines: index, value */
  ZYN_MSG_1IN1OUT_ARG = 755, ZYN_MSG_1IN1OUT_RES = 756,
  ZYN_MSG_1IN2OUT_ARG = 757, ZYN_MSG_1IN2OUT_RES1 = 758, ZYN_MSG_1IN2OUT_RES2 = 759,
  ZYN_MSG_2IN1OUT_ARG1 = 760, ZYN_MSG_2IN1OUT_ARG2 = 761, ZYN_MSG_2IN1OUT_RES = 762,
  ZYN_MSG_2IN2OUT_ARG1 = 763, ZYN_MSG_2IN2OUT_ARG2 = 764, ZYN_MSG_2IN2OUT_RES1 = 765,
  ZYN_MSG_2IN2OUT_RES2 = 766,
  ZYN_MSG_THREAD_STATE = 773  /* no arguments */
};

/* ---- threading service ------------------------------------------------------------------- */

/* Body of a threaded loop: called once per index, on some thread of the pool. */
typedef void (*zyn_loop_body)(int64_t index, int thread, void *context);
/* Body run once per thread: `thread` in [0, threads). */
typedef void (*zyn_thread_body)(int thread, int threads, void *context);

/* Runs body(i, thread, context) for every i in [0, count); all done on return. `flags` must be
 * 0; further arguments are accepted and ignored. Returns 0. Called from inside a pool worker it
 * runs serially on that worker. */
ZYN_API int zyn_rnx_serv_threader_for(int64_t count, int flags, void *context, zyn_loop_body body,
                                      ...);
/* The number of threads the pool may use: the hardware threads, capped by ZYN_NUM_THREADS.
 * 1 means serial. */
ZYN_API int zyn_rnx_serv_threader_get_num_threads_limit(void);

/* The statistics `threader` table: slot 0 `for`, slot 2 `run`, slot 4 `limit`. */
typedef void (*zyn_threader_for_fn)(int64_t iterations, int threads, void *context,
                                    zyn_loop_body body);
typedef void (*zyn_threader_run_fn)(int threads, void *context, zyn_thread_body body);
typedef int (*zyn_threader_limit_fn)(void);
typedef struct ZynThreader {
  zyn_threader_for_fn for_;   /* runs body over [0, iterations) on at most `threads` threads */
  void *reserved1;
  zyn_threader_run_fn run;    /* runs body once on each of `threads` threads */
  void *reserved3;
  zyn_threader_limit_fn limit;
} ZynThreader;

/* The fitting `threading` table: entry 0 runs a worker on several threads, entry 4 gives the
 * number of threads. */
typedef void (*zyn_threading_run_fn)(int threads, int threads_again, void *params,
                                     zyn_thread_body worker);
typedef int (*zyn_threading_count_fn)(void);
typedef struct ZynThreading {
  zyn_threading_run_fn run;
  void *reserved1;
  void *reserved2;
  void *reserved3;
  zyn_threading_count_fn num_threads;
} ZynThreading;

/* Default tables over the core library's worker pool, for callers of the statistics and
 * fitting entries. */
ZYN_API_DATA const ZynThreader zyn_serv_ss_threader;
ZYN_API_DATA const ZynThreading zyn_serv_df_threading;

/* ---- BLAS and LAPACK, published (Fortran) argument lists, 32-bit integers ------------------- */

#define ZYN_BLAS_GEMM(T, name)                                                                   \
  ZYN_API void name(const char *transa, const char *transb, const int *m, const int *n,           \
                    const int *k, const T *alpha, const T *a, const int *lda, const T *b,          \
                    const int *ldb, const T *beta, T *c, const int *ldc)
#define ZYN_BLAS_GEMV(T, name)                                                                   \
  ZYN_API void name(const char *trans, const int *m, const int *n, const T *alpha, const T *a,    \
                    const int *lda, const T *x, const int *incx, const T *beta, T *y,             \
                    const int *incy)
#define ZYN_BLAS_SYR(T, name)                                                                    \
  ZYN_API void name(const char *uplo, const int *n, const T *alpha, const T *x, const int *incx,  \
                    T *a, const int *lda)
#define ZYN_BLAS_SYRK(T, name)                                                                   \
  ZYN_API void name(const char *uplo, const char *trans, const int *n, const int *k,              \
                    const T *alpha, const T *a, const int *lda, const T *beta, T *c,               \
                    const int *ldc)
#define ZYN_BLAS_SYMM(T, name)                                                                   \
  ZYN_API void name(const char *side, const char *uplo, const int *m, const int *n,               \
                    const T *alpha, const T *a, const int *lda, const T *b, const int *ldb,        \
                    const T *beta, T *c, const int *ldc)
#define ZYN_BLAS_TRMM(T, name)                                                                   \
  ZYN_API void name(const char *side, const char *uplo, const char *transa, const char *diag,     \
                    const int *m, const int *n, const T *alpha, const T *a, const int *lda, T *b,  \
                    const int *ldb)
/* Packed triangular matrix times a general matrix: B := alpha * op(A) * B (side "L") or
 * alpha * B * op(A) (side "R"), A triangular in packed storage. */
#define ZYN_BLAS_PTRMM(T, name)                                                                  \
  ZYN_API void name(const char *side, const char *uplo, const char *transa, const char *diag,     \
                    const int *m, const int *n, const T *alpha, const T *ap, T *b,                 \
                    const int *ldb)

ZYN_BLAS_GEMM(double, zyn_blas_dgemm);
ZYN_BLAS_GEMM(float, zyn_blas_sgemm);
ZYN_BLAS_GEMV(double, zyn_blas_dgemv);
ZYN_BLAS_GEMV(float, zyn_blas_sgemv);
ZYN_BLAS_SYR(double, zyn_blas_dsyr);
ZYN_BLAS_SYR(float, zyn_blas_ssyr);
ZYN_BLAS_SYRK(double, zyn_blas_dsyrk);
ZYN_BLAS_SYRK(float, zyn_blas_ssyrk);
ZYN_BLAS_TRMM(double, zyn_blas_dtrmm);
ZYN_BLAS_TRMM(float, zyn_blas_strmm);

/* Sequential forms: never start threads, safe inside a worker. */
ZYN_BLAS_GEMM(double, zyn_blas_xdgemm);
ZYN_BLAS_GEMM(float, zyn_blas_xsgemm);
ZYN_BLAS_SYMM(double, zyn_blas_xdsymm);
ZYN_BLAS_SYMM(float, zyn_blas_xssymm);
ZYN_BLAS_SYR(double, zyn_blas_xdsyr);
ZYN_BLAS_SYR(float, zyn_blas_xssyr);
ZYN_BLAS_SYRK(double, zyn_blas_xdsyrk);
ZYN_BLAS_SYRK(float, zyn_blas_xssyrk);

/* Triangular multiplies used by the multivariate samplers (sequential). */
ZYN_BLAS_PTRMM(double, zyn_blas4vex_dptrmm);
ZYN_BLAS_PTRMM(float, zyn_blas4vex_sptrmm);
ZYN_BLAS_TRMM(double, zyn_blas4vex_dtrmm);
ZYN_BLAS_TRMM(float, zyn_blas4vex_strmm);
ZYN_BLAS_TRMM(double, zyn_blas_xdtrmm_4vex);
ZYN_BLAS_TRMM(float, zyn_blas_xstrmm_4vex);

ZYN_API void zyn_lapack_dpotrf(const char *uplo, const int *n, double *a, const int *lda, int *info);
ZYN_API void zyn_lapack_spotrf(const char *uplo, const int *n, float *a, const int *lda, int *info);
ZYN_API void zyn_lapack_dpotri(const char *uplo, const int *n, double *a, const int *lda, int *info);
ZYN_API void zyn_lapack_spotri(const char *uplo, const int *n, float *a, const int *lda, int *info);
ZYN_API void zyn_lapack_dtrtri(const char *uplo, const char *diag, const int *n, double *a,
                               const int *lda, int *info);
ZYN_API void zyn_lapack_strtri(const char *uplo, const char *diag, const int *n, float *a,
                               const int *lda, int *info);
ZYN_API void zyn_lapack_dsyev(const char *jobz, const char *uplo, const int *n, double *a,
                              const int *lda, double *w, double *work, const int *lwork, int *info);
ZYN_API void zyn_lapack_ssyev(const char *jobz, const char *uplo, const int *n, float *a,
                              const int *lda, float *w, float *work, const int *lwork, int *info);
ZYN_API void zyn_lapack_dspevd(const char *jobz, const char *uplo, const int *n, double *ap,
                               double *w, double *z, const int *ldz, double *work,
                               const int *lwork, int *iwork, const int *liwork, int *info);
ZYN_API void zyn_lapack_sspevd(const char *jobz, const char *uplo, const int *n, float *ap,
                               float *w, float *z, const int *ldz, float *work, const int *lwork,
                               int *iwork, const int *liwork, int *info);

/* ---- tridiagonal solvers without pivoting ------------------------------------------------- *
 * The matrix has sub-diagonal dl[0..n-2], diagonal d[0..n-1], super-diagonal du[0..n-2].
 * Factor: in place, L has unit diagonal and sub-diagonal dl, U has diagonal d and super-diagonal
 * du. info = 0 on success, i > 0 when the i-th pivot (1-based) is zero, < 0 for a bad argument. */
ZYN_API void ddttrfb_4dfl(const int *n, double *dl, double *d, double *du, int *info);
ZYN_API void sdttrfb_4dfl(const int *n, float *dl, float *d, float *du, int *info);
/* Solve with the factors; trans 'N' (or 'T' for the transposed system). */
ZYN_API void ddttrsb_4dfl(const char *trans, const int *n, const int *nrhs, const double *dl,
                          const double *d, const double *du, double *b, const int *ldb, int *info);
ZYN_API void sdttrsb_4dfl(const char *trans, const int *n, const int *nrhs, const float *dl,
                          const float *d, const float *du, float *b, const int *ldb, int *info);
/* Factor and solve in one call. */
ZYN_API void ddtsvb_4dfl(const int *n, const int *nrhs, double *dl, double *d, double *du,
                         double *b, const int *ldb, int *info);
ZYN_API void sdtsvb_4dfl(const int *n, const int *nrhs, float *dl, float *d, float *du, float *b,
                         const int *ldb, int *info);

#endif
