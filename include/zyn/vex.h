/* zyn vector functions: the per-thread mode word, error status and callback, the level index
 * route, and the entry stubs of every vector function.
 *
 * Every function <t><Stem> (t = s float, d double, c ZynComplex8, z ZynComplex16) has a row of
 * three kernels, one per accuracy level, and four exported names on three stubs:
 *
 *   level   row index   mode value   s, c suffix   d, z suffix
 *   LA      0           VEX_LA       _21           _50
 *   HA      1           VEX_HA       none, _HA     none, _HA
 *   EP      2           VEX_EP       _11           _26
 *
 * A stub always runs its own level; only the index route (zyn_vex_kernel_GetTTableIndex and the
 * row's _ttab) follows the thread's mode word. Rows are described in zyn/vex_rows.def. */
#ifndef ZYN_VEX_H
#define ZYN_VEX_H

#include "zyn/core.h"

/* ---- element types ---------------------------------------------------------------------- */

typedef struct ZynComplex8 {
  float re, im;
} ZynComplex8;
typedef struct ZynComplex16 {
  double re, im;
} ZynComplex16;

/* ---- the mode word ------------------------------------------------------------------------ */

/* Fields of the mode word (masks). */
enum {
  ModeAccuracy = 0xf,
  ModeConsistency = 0xf0,
  ModeErrorHandling = 0xff00,
  ModeDenormals = 0x3c0000,
  ModeTraps = 0xf000000
};

/* Values, by field. These are also the values of the VEX_ tokens of the mode environment
 * variable ZYN_VEX_MODE (a comma-separated list such as "VEX_EP,VEX_ERRMODE_IGNORE"). */
enum {
  VEX_LA = 0x1,
  VEX_HA = 0x2,
  VEX_EP = 0x3,
  VEX_DEFAULT_PRECISION = 0x0,
  VEX_FLOAT_CONSISTENT = 0x10,
  VEX_DOUBLE_CONSISTENT = 0x20, /* its environment token is spelled VEX_DOUBLE_CONSISTEN */
  VEX_RESTORE = 0x30,
  VEX_ERRMODE_IGNORE = 0x100,   /* record the status only */
  VEX_ERRMODE_ERRNO = 0x200,    /* set errno */
  VEX_ERRMODE_STDERR = 0x400,   /* print to standard error */
  VEX_ERRMODE_EXCEPT = 0x800,   /* raise the x87 exception */
  VEX_ERRMODE_CALLBACK = 0x1000,/* call the thread's callback */
  VEX_ERRMODE_NOERR = 0x2000,   /* no error handling at all, not even the status */
  VEX_ERRMODE_DEFAULT = 0x1a00, /* errno, exception and callback */
  VEX_TRAP_INVALID = 0x1000000,
  VEX_TRAP_DIVBYZERO = 0x2000000,
  VEX_TRAP_OVERFLOW = 0x4000000,
  VEX_TRAP_UNDERFLOW = 0x8000000,
  MODE_DENORMALS_FLUSH = 0x280000,
  MODE_DENORMALS_KEEP = 0x140000,
  VEX_MODE_DEFAULT = 0x1a02     /* HA with VEX_ERRMODE_DEFAULT */
};

/* ---- statuses ----------------------------------------------------------------------------- */

enum {
  STATUS_OK = 0,
  STATUS_DOMAIN = 1,       /* errno EDOM */
  STATUS_SINGULARITY = 2,  /* errno ERANGE */
  STATUS_OVERFLOW = 3,     /* errno ERANGE */
  STATUS_UNDERFLOW = 4,    /* errno ERANGE */
  STATUS_BAD_ARGUMENT = -1,/* errno EINVAL */
  STATUS_BAD_CALL = -2     /* errno EACCES; any other status sets EFAULT */
};

/* ---- the error callback ------------------------------------------------------------------- */

/* One report, as the callback sees it. Values of float elements are widened to double; the
 * imaginary parts are written only for complex functions. A function of one input has
 * arg2 == arg1, one of one result res2 == res1. The callback may change res1 (and res1Im):
 * when it returns 0, res2 then res1 are written back into the result vectors. */
typedef struct ErrorContext {
  int code;           /* the status */
  int index;          /* the element's index in the whole vector */
  double arg1;
  double arg2;
  double res1;
  double res2;
  char funcName[64];  /* "vdLn": NUL-terminated, at most 47 characters */
  int funcNameLen;
  double arg1Im;
  double arg2Im;
  double res1Im;
  double res2Im;
} ErrorContext;

/* Returns 0 to let the remaining handling (errno, printing, exception, write-back) proceed,
 * nonzero to stop it. */
typedef int (*VexErrorCallBack)(ErrorContext *context);

/* ---- services: each also exported as zyn_vex_kernel_<Name> -------------------------------- */

#define ZYN_VEX_SERVICES(X)                                                         \
  X(unsigned int, GetMode, (void))                                                  \
  X(unsigned int, SetMode, (unsigned int mode))                                     \
  X(int, GetErrStatus, (void))                                                      \
  X(int, SetErrStatus, (int status))                                                \
  X(int, ClearErrStatus, (void))                                                    \
  X(VexErrorCallBack, GetErrorCallBack, (void))                                     \
  X(VexErrorCallBack, SetErrorCallBack, (VexErrorCallBack callback))                \
  X(VexErrorCallBack, ClearErrorCallBack, (void))                                   \
  X(const void *, SetInterfInputVectorPointer, (const void *input))

#define ZYN_VEX_DECLARE_SERVICE(ret, name, params) \
  ZYN_API ret _vex##name params;                   \
  ZYN_API ret zyn_vex_kernel_##name params;
ZYN_VEX_SERVICES(ZYN_VEX_DECLARE_SERVICE)
#undef ZYN_VEX_DECLARE_SERVICE
/* GetMode: the thread's mode word, read from ZYN_VEX_MODE on the thread's first use.
 * SetMode: replaces each of the fields ModeAccuracy, ModeErrorHandling, ModeDenormals and
 *   ModeTraps by the field of `mode` where that is nonzero (a field is never cleared;
 *   ModeConsistency never changes); returns the old word.
 * SetErrStatus, ClearErrStatus: return the old status.
 * SetErrorCallBack: also sets VEX_ERRMODE_CALLBACK (clears it for null); returns the old one.
 * SetInterfInputVectorPointer: the start of the whole input vector of a chunked call, so that
 *   reports count indices from it; returns its argument. */

/* The row index of the thread's level (mode & ModeAccuracy) - 1; not range-checked. */
ZYN_API int zyn_vex_kernel_GetTTableIndex(void);
/* (mode & ModeAccuracy) - 1; `unused` is ignored and no thread state is touched. */
ZYN_API int zyn_vex_kernel_GetTTableIndexM(int unused, unsigned int mode);

/* The processor level of this module: 4 (SSE4.1). */
ZYN_API int dll_cpu_version(void);

/* ---- the rows ----------------------------------------------------------------------------- */

#define ZYN_VEX_T_s float
#define ZYN_VEX_T_d double
#define ZYN_VEX_T_c ZynComplex8
#define ZYN_VEX_T_z ZynComplex16
#define ZYN_VEX_SFX_LA_s _21
#define ZYN_VEX_SFX_LA_c _21
#define ZYN_VEX_SFX_LA_d _50
#define ZYN_VEX_SFX_LA_z _50
#define ZYN_VEX_SFX_EP_s _11
#define ZYN_VEX_SFX_EP_c _11
#define ZYN_VEX_SFX_EP_d _26
#define ZYN_VEX_SFX_EP_z _26
#define ZYN_VEX_CAT_(a, b) a##b
#define ZYN_VEX_CAT(a, b) ZYN_VEX_CAT_(a, b)

/* Argument lists by shape: contiguous (C), strided (I), pack kernel (K, with the width flag). */
#define ZYN_VEX_C_unary(I, O) (int n, const I *a, O *y)
#define ZYN_VEX_I_unary(I, O) (int n, const I *a, int inca, O *y, int incy)
#define ZYN_VEX_C_unary2(I, O) (int n, const I *a, O *y, O *z)
#define ZYN_VEX_I_unary2(I, O) (int n, const I *a, int inca, O *y, int incy, O *z, int incz)
#define ZYN_VEX_C_binary(I, O) (int n, const I *a, const I *b, O *y)
#define ZYN_VEX_I_binary(I, O) (int n, const I *a, int inca, const I *b, int incb, O *y, int incy)
#define ZYN_VEX_C_scalar(I, O) (int n, const I *a, I b, O *y)
#define ZYN_VEX_I_scalar(I, O) (int n, const I *a, int inca, I b, O *y, int incy)
#define ZYN_VEX_C_linearfrac(I, O) \
  (int n, const I *a, const I *b, I scalea, I shifta, I scaleb, I shiftb, O *y)
#define ZYN_VEX_I_linearfrac(I, O)                                                     \
  (int n, const I *a, int inca, const I *b, int incb, I scalea, I shifta, I scaleb, I shiftb, \
   O *y, int incy)
#define ZYN_VEX_C_packi(I, O) (int n, const I *a, int inca, O *y)
#define ZYN_VEX_C_packm(I, O) (int n, const I *a, const int *mask, O *y)
#define ZYN_VEX_C_packv(I, O) (int n, const I *a, const int *index, O *y)
#define ZYN_VEX_C_unpacki(I, O) (int n, const I *a, O *y, int incy)
#define ZYN_VEX_C_unpackm(I, O) (int n, const I *a, O *y, const int *mask)
#define ZYN_VEX_C_unpackv(I, O) (int n, const I *a, O *y, const int *index)
#define ZYN_VEX_K_packi(I, O) (long long n, const I *a, long long inca, O *y, int width)
#define ZYN_VEX_K_packm(I, O) (long long n, const I *a, const void *mask, O *y, int width)
#define ZYN_VEX_K_packv(I, O) (long long n, const I *a, const void *index, O *y, int width)
#define ZYN_VEX_K_unpacki(I, O) (long long n, const I *a, O *y, long long incy, int width)
#define ZYN_VEX_K_unpackm(I, O) (long long n, const I *a, O *y, const void *mask, int width)
#define ZYN_VEX_K_unpackv(I, O) (long long n, const I *a, O *y, const void *index, int width)
/* The kernel of every other shape takes the stub's arguments. */
#define ZYN_VEX_K_unary ZYN_VEX_C_unary
#define ZYN_VEX_K_unary2 ZYN_VEX_C_unary2
#define ZYN_VEX_K_binary ZYN_VEX_C_binary
#define ZYN_VEX_K_scalar ZYN_VEX_C_scalar
#define ZYN_VEX_K_linearfrac ZYN_VEX_C_linearfrac
/* Pack and unpack have no strided rows. */
#define ZYN_VEX_HAS_I_unary(x) x
#define ZYN_VEX_HAS_I_unary2(x) x
#define ZYN_VEX_HAS_I_binary(x) x
#define ZYN_VEX_HAS_I_scalar(x) x
#define ZYN_VEX_HAS_I_linearfrac(x) x
#define ZYN_VEX_HAS_I_packi(x)
#define ZYN_VEX_HAS_I_packm(x)
#define ZYN_VEX_HAS_I_packv(x)
#define ZYN_VEX_HAS_I_unpacki(x)
#define ZYN_VEX_HAS_I_unpackm(x)
#define ZYN_VEX_HAS_I_unpackv(x)

/* The four names of a row, its _ttab (LA, HA, EP kernels) and its _ctab (costs). */
#define ZYN_VEX_DECLARE_ROW(t, row, params, kparams)              \
  ZYN_API void ZYN_VEX_CAT(_vex##row, ZYN_VEX_SFX_LA_##t) params; \
  ZYN_API void _vex##row params;                                  \
  ZYN_API void _vex##row##_HA params;                             \
  ZYN_API void ZYN_VEX_CAT(_vex##row, ZYN_VEX_SFX_EP_##t) params; \
  ZYN_API_DATA void(*zyn_vex_kernel_##row##_ttab[3]) kparams;     \
  ZYN_API_DATA float zyn_vex_kernel_##row##_ctab[4];

#define ZYN_VEX_ROW(t, Stem, shape, in, out, share, la, ha, ep)                              \
  ZYN_VEX_DECLARE_ROW(t, t##Stem, ZYN_VEX_C_##shape(ZYN_VEX_T_##in, ZYN_VEX_T_##out),        \
                      ZYN_VEX_K_##shape(ZYN_VEX_T_##in, ZYN_VEX_T_##out))
#include "zyn/vex_rows.def"
#undef ZYN_VEX_ROW

#define ZYN_VEX_ROW(t, Stem, shape, in, out, share, la, ha, ep)                                 \
  ZYN_VEX_HAS_I_##shape(ZYN_VEX_DECLARE_ROW(                                                     \
      t, t##Stem##I, ZYN_VEX_I_##shape(ZYN_VEX_T_##in, ZYN_VEX_T_##out),                         \
      ZYN_VEX_I_##shape(ZYN_VEX_T_##in, ZYN_VEX_T_##out)))
#include "zyn/vex_rows.def"
#undef ZYN_VEX_ROW

#endif
