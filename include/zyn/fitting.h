/* zyn data fitting: one-dimensional splines on a task object.
 *
 * A run: zyn_df_kernel_dNewTask1D makes a DfTask over the caller's breakpoints and function
 * values, the edit entries describe the spline and where its coefficients go, a construction
 * entry writes per-cell coefficients, zyn_df_kernel_dDFSearch1D and zyn_df_kernel_dDFInterpolate1D
 * find cells and evaluate, zyn_df_kernel_DeleteTask ends it. The task holds pointers to the
 * caller's arrays and copies none of them. Every entry returns a status: 0, or one of
 * DF_ERROR_*. The `s` entries are the single-precision twins. See docs/fitting.md. */
#ifndef ZYN_FITTING_H
#define ZYN_FITTING_H

#include <stdint.h>

#include "zyn/core.h"

/* ---- statuses -------------------------------------------------------------------------- */
enum {
  DF_STATUS_OK = 0,
  DF_ERROR_NULL_TASK_DESCRIPTOR = -1000,
  DF_ERROR_MEM_FAILURE = -1001,
  DF_ERROR_METHOD_NOT_SUPPORTED = -1002, /* non-zero reserved argument, unknown splineType */
  DF_ERROR_BAD_NX = -1004,
  DF_ERROR_NULL_X = -1005,
  DF_ERROR_BAD_X_HINT = -1006,
  DF_ERROR_BAD_NY = -1007,
  DF_ERROR_NULL_Y = -1008,
  DF_ERROR_BAD_Y_HINT = -1009,
  DF_ERROR_BAD_SPLINE_ORDER = -1010,
  DF_ERROR_BAD_SPLINE_TYPE = -1011,
  DF_ERROR_BAD_IC_TYPE = -1012,
  DF_ERROR_NULL_IC = -1013,
  DF_ERROR_BAD_BC_TYPE = -1014,
  DF_ERROR_NULL_BC = -1015,
  DF_ERROR_NULL_COEFF = -1016,
  DF_ERROR_BAD_COEFF_HINT = -1017,
  DF_ERROR_BAD_PERIODIC_VAL = -1018,
  DF_ERROR_BAD_EDIT_CODE = -1019,
  DF_ERROR_BAD_INDEX = -1020,
  DF_ERROR_BAD_DATA_HINT = -1026,
  DF_ERROR_BAD_RHINT = -1028,
  DF_ERROR_BAD_FLAG = -1036,
  DF_ERROR_NULL_PTR = -1037,
  DF_ERROR_LINEAR_SOLVER = -1500
};

/* ---- partition, function and coefficient storage ---------------------------------------- */
enum {
  DF_PARTITION_NO_HINT = 0,
  DF_PARTITION_NON_UNIFORM = 1,
  DF_PARTITION_QUASI_UNIFORM = 2,
  DF_PARTITION_UNIFORM = 4 /* x holds the two ends only */
};
enum {
  DF_FUNCS_NO_HINT = 0,
  DF_FUNCS_ROWS = 16,             /* function i at base + i*nx */
  DF_FUNCS_COLUMNS = 32,          /* value of function f at breakpoint i at base[i*ny + f] */
  DF_FUNCS_ROWS_BY_POINTER = 128  /* one pointer per function, set with EditIdxPtr */
};
enum {
  DF_COEFF_NO_HINT = 0,
  DF_COEFF_ROWS = 16,
  DF_COEFF_COLUMNS = 32,
  DF_COEFF_BY_POINTER = 128 /* only slot 0 filled; others set with EditIdxPtr */
};

/* ---- spline description ----------------------------------------------------------------- */
enum { /* splineOrder */
  DF_PP_STD = 0,
  DF_PP_LINEAR = 2,
  DF_PP_QUADRATIC = 3,
  DF_PP_CUBIC = 4
};
enum { /* splineType */
  DF_PP_DEFAULT = 0,
  DF_PP_SUBBOTIN = 1, /* quadratic with knots between the breakpoints, given in ic */
  DF_PP_NATURAL = 2,
  DF_PP_HERMITE = 3,
  DF_PP_BESSEL = 4,
  DF_PP_AKIMA = 5,
  DF_PP_LOOKUP = 6,
  DF_PP_CR_STEPWISE = 7,
  DF_PP_CL_STEPWISE = 8,
  DF_PP_HYMAN = 9
};
enum { /* bcType bits */
  DF_BC_NOT_A_KNOT = 1,       /* END_SAME_CUBIC: first two cells share one cubic, last two too */
  DF_BC_FREE_END = 2,         /* END_FREE */
  DF_BC_1ST_LEFT_DER = 4,     /* END_SLOPE_LEFT */
  DF_BC_1ST_RIGHT_DER = 8,    /* END_SLOPE_RIGHT */
  DF_BC_2ND_LEFT_DER = 16,    /* END_CURVATURE_LEFT */
  DF_BC_2ND_RIGHT_DER = 32,   /* END_CURVATURE_RIGHT */
  DF_BC_PERIODIC = 64,        /* END_PERIODIC */
  DF_BC_Q_VAL = 128           /* END_QUADRATIC_VALUE */
};
enum { /* icType bits */
  DF_NO_IC = 0,
  DF_IC_1ST_DER = 1,
  DF_IC_2ND_DER = 2,
  DF_IC_Q_KNOT = 8,          /* quadratic type 1: knots given in ic (nx - 1 values) */
  DF_IC_Q_KNOT_MIDPOINT = 4  /* with DF_IC_Q_KNOT: the knots are the cell midpoints */
};

/* ---- edit and query codes --------------------------------------------------------------- */
enum {
  DF_PTR_X = 1,
  DF_PTR_Y = 2,
  DF_PTR_IC = 3,
  DF_PTR_BC = 4,
  DF_PTR_COEFF = 5,
  DF_EDIT_NX = 14,
  DF_EDIT_X_HINT = 15,
  DF_EDIT_NY = 16,
  DF_EDIT_Y_HINT = 17,
  DF_EDIT_SPLINE_ORDER = 18,
  DF_EDIT_SPLINE_TYPE = 19,
  DF_EDIT_IC_TYPE = 20,
  DF_EDIT_BC_TYPE = 21,
  DF_EDIT_COEFF_HINT = 22,
  DF_EDIT_FLAG = 23
};

/* ---- searching -------------------------------------------------------------------------- */
enum { /* siteHint */
  DF_NO_HINT = 0,
  DF_UNIFORM_PARTITION_SITES = 4, /* site holds the first and the last site only */
  DF_SORTED_DATA = 64
};
enum { /* dataHint[1] values; dataHint[4] holds the peak index */
  DF_DATA_HINT_NONE = 0,
  DF_DATA_HINT_PEAK = 1
};
enum { /* the search kinds, by their place in the driver's table */
  DF_SEARCH_UNIFORM = 0,
  DF_SEARCH_QUASI_UNIFORM = 1,
  DF_SEARCH_SORTED = 2,
  DF_SEARCH_PEAK = 3,
  DF_SEARCH_HYBRID = 4,
  DF_SEARCH_USER_DEF = 5,
  DF_SEARCH_UNI_USER_DEF = 6
};
/* Form flags of the general search kernels: FORM_32 without FORM_64 writes 32-bit cells; any
 * other value writes 64-bit cells. */
enum { DF_SEARCH_FORM_64 = 1, DF_SEARCH_FORM_32 = 2 };
/* Return value of a search callback: every cell of the block is final. */
enum { DF_SEARCH_CALLBACK_ALL_FINAL = 1000 };
/* Sites per call of a user search callback, and the largest batch of uniform sites expanded on
 * the stack. */
enum { DF_SEARCH_BLOCK = 128, DF_UNIFORM_SITES_ON_STACK = 4096 };
/* Bytes of the cell-lookup block: 1026 entries of two 64-bit indices and 32 bytes spare. */
enum { DF_CELL_TABLE_BYTES = 16416, DF_CELL_TABLE_MAX = 1024, DF_CELL_TABLE_MIN = 16 };

/* ---- interpolation ---------------------------------------------------------------------- */
enum { /* type */
  DF_INTERP = 1,          /* values and derivatives go to r */
  DF_CELL = 2,            /* cells of the sites go to `cell` (64-bit, or 32-bit by indexWidth) */
  DF_INTERP_USER_CELL = 4 /* evaluate on the cells given in `cell`; no search */
};
enum { /* rHint: layout of r */
  DF_NO_RHINT = 0,           /* as DF_MATRIX_STORAGE_ROWS */
  DF_MATRIX_STORAGE_ROWS = 0x10,           /* [function][site][derivative] */
  DF_MATRIX_STORAGE_COLS = 0x20,           /* [site][function][derivative] */
  DF_MATRIX_STORAGE_FUNCS_SITES_DERS = 0x10,
  DF_MATRIX_STORAGE_FUNCS_DERS_SITES = 0x100, /* [function][derivative][site] */
  DF_MATRIX_STORAGE_SITES_FUNCS_DERS = 0x20,
  DF_MATRIX_STORAGE_SITES_DERS_FUNCS = 0x200, /* [site][derivative][function] */
  DF_MATRIX_STORAGE_ROWS_ALIAS = 0x80         /* as DF_MATRIX_STORAGE_ROWS */
};
enum { DF_INTERP_BLOCK = 4096 };

/* ---- records ---------------------------------------------------------------------------- */

/* The fitting task. 160 bytes, allocated with alignment 128 and zeroed at creation. */
typedef struct DfTask {
  int32_t indexWidth; /* 0: 32-bit cells and query results; otherwise 64-bit */
  uint8_t formTag;    /* 4 */
  int32_t precision;  /* 1 double, 0 single */
  int32_t state;      /* 1 while the task lives */
  int64_t nx;
  const void *x;
  int64_t xHint;
  int64_t ny;
  const void **y; /* owned table of function pointers */
  int64_t yHint;
  int64_t splineOrder;
  int64_t splineType;
  int64_t icType;
  const void *ic;
  int64_t bcType;
  const void *bc;
  void **coeff; /* owned table of coefficient pointers */
  int64_t coeffHint;
  int32_t editFlag;
  int64_t cellTableSize;
  int64_t *cellTable; /* owned: cellTableSize + 1 used pairs (lo, hi) */
  union {
    double d;
    float s;
  } cellScale;
} DfTask;

/* Search callback: fill cell[0..*n) and, unless returning DF_SEARCH_CALLBACK_ALL_FINAL,
 * flag[0..*n) (non-zero: final). Negative returns stop the search with that status. */
typedef int (*DfdSearchCallback)(int64_t *n, const double *site, int64_t *cell, int32_t *flag,
                                 void *params, void *aux);
typedef int (*DfsSearchCallback)(int64_t *n, const float *site, int64_t *cell, int32_t *flag,
                                 void *params, void *aux);

/* Interpolation callbacks of the general kind (splineOrder 0 with DF_PP_DEFAULT and the three
 * callbacks given): compute the value at n sites into r, one result per site. `cell` holds the
 * sites' cells. Left: sites of cell 0, right: sites of cell nx, interior: the others. */
typedef int (*DfdInterpCallback)(int64_t *n, int64_t *cell, const double *site, double *r,
                                 void *params);
typedef int (*DfsInterpCallback)(int64_t *n, int64_t *cell, const float *site, float *r,
                                 void *params);

/* Integration callbacks of the general kind: r[i] gets the integral from lo[i] to hi[i] (lo[i] <
 * hi[i]) for i < *n, of the pieces left of x[0] (le), right of x[nx-1] (re) or between (inner). */
typedef int (*DfdIntegrCallback)(int64_t *n, const double *lo, const double *hi, double *r,
                                 void *params);
typedef int (*DfsIntegrCallback)(int64_t *n, const float *lo, const float *hi, float *r,
                                 void *params);

/* ---- task entries ------------------------------------------------------------------------ */
ZYN_API int zyn_df_kernel_dNewTask1D(DfTask **task, int64_t nx, const double *x, int64_t xHint,
                                     int64_t ny, const double *y, int64_t yHint,
                                     int32_t indexWidth);
ZYN_API int zyn_df_kernel_sNewTask1D(DfTask **task, int64_t nx, const float *x, int64_t xHint,
                                     int64_t ny, const float *y, int64_t yHint,
                                     int32_t indexWidth);
ZYN_API int zyn_df_kernel_DeleteTask(DfTask **task);
ZYN_API int zyn_df_kernel_iEditVal(DfTask *task, int code, int64_t value);
/* Writes 4 bytes when indexWidth is 0, else 8. */
ZYN_API int zyn_df_kernel_iQueryVal(DfTask *task, int code, void *result);
ZYN_API int zyn_df_kernel_dEditPtr(DfTask *task, int code, const double *pointer);
ZYN_API int zyn_df_kernel_sEditPtr(DfTask *task, int code, const float *pointer);
ZYN_API int zyn_df_kernel_dEditIdxPtr(DfTask *task, int code, int64_t index, const void *pointer);
ZYN_API int zyn_df_kernel_sEditIdxPtr(DfTask *task, int code, int64_t index, const void *pointer);
ZYN_API int zyn_df_kernel_dQueryPtr(DfTask *task, int code, const double **result);
ZYN_API int zyn_df_kernel_sQueryPtr(DfTask *task, int code, const float **result);
/* `index` may equal ny: that reads the slot past the end of the table. */
ZYN_API int zyn_df_kernel_dQueryIdxPtr(DfTask *task, int code, int64_t index, const void **result);
ZYN_API int zyn_df_kernel_sQueryIdxPtr(DfTask *task, int code, int64_t index, const void **result);
ZYN_API int zyn_df_kernel_dEditPPSpline1D(DfTask *task, int64_t splineOrder, int64_t splineType,
                                          int64_t bcType, const double *bc, int64_t icType,
                                          const double *ic, double *coeff, int64_t coeffHint);
ZYN_API int zyn_df_kernel_sEditPPSpline1D(DfTask *task, int64_t splineOrder, int64_t splineType,
                                          int64_t bcType, const float *bc, int64_t icType,
                                          const float *ic, float *coeff, int64_t coeffHint);

/* ---- search ------------------------------------------------------------------------------ */
/* `cell` gets 32-bit cells when the task's indexWidth is 0, else 64-bit. `method` is not read. */
ZYN_API int zyn_df_kernel_dDFSearch1D(DfTask *task, int64_t method, int64_t nsite,
                                      const double *site, int64_t siteHint,
                                      const double *dataHint, void *cell,
                                      DfdSearchCallback callback, void *params,
                                      const ZynThreading *threading);
ZYN_API int zyn_df_kernel_sDFSearch1D(DfTask *task, int64_t method, int64_t nsite,
                                      const float *site, int64_t siteHint, const float *dataHint,
                                      void *cell, DfsSearchCallback callback, void *params,
                                      const ZynThreading *threading);

/* The search kernels. Arguments: nx, x, nsite, site, position (Sorted: in and out), value (inverse
 * step for Uniform, QuasiUniform, UniUserDef; cellScale for Hybrid; peak index for Peak), two
 * unused places, cellTable (Hybrid), cell, form flags (general form); the user-defined kinds add
 * callback, params, aux (passed on), and a flag block of at least DF_SEARCH_BLOCK int32 (null:
 * a local one). */
#define ZYN_DF_SEARCH_KERNEL(T, P, Kind, suffix, I)                                              \
  ZYN_API int zyn_df_kernel_##P##DF##Kind##Search1D##suffix(                                     \
      int64_t nx, const T *x, int64_t nsite, const T *site, I *position, T value,                \
      const void *unused7, const void *unused8, const int64_t *cellTable, I *cell, int flags)
#define ZYN_DF_USER_SEARCH_KERNEL(T, P, Kind, suffix, I)                                         \
  ZYN_API int zyn_df_kernel_##P##DF##Kind##Search1D##suffix(                                     \
      int64_t nx, const T *x, int64_t nsite, const T *site, I *position, T value,                \
      const void *unused7, const void *unused8, const int64_t *cellTable, I *cell, int flags,    \
      Df##P##SearchCallback callback, void *params, void *aux, int32_t *flagBlock)
#define ZYN_DF_SEARCH_FORMS(T, P, Kind, DECL) \
  DECL(T, P, Kind, 32, int32_t);              \
  DECL(T, P, Kind, 64, int64_t);              \
  DECL(T, P, Kind, 64Pack, int64_t);          \
  DECL(T, P, Kind, , void)
#define ZYN_DF_SEARCH_KINDS(T, P)                                  \
  ZYN_DF_SEARCH_FORMS(T, P, Uniform, ZYN_DF_SEARCH_KERNEL);        \
  ZYN_DF_SEARCH_FORMS(T, P, QuasiUniform, ZYN_DF_SEARCH_KERNEL);   \
  ZYN_DF_SEARCH_FORMS(T, P, Sorted, ZYN_DF_SEARCH_KERNEL);         \
  ZYN_DF_SEARCH_FORMS(T, P, Peak, ZYN_DF_SEARCH_KERNEL);           \
  ZYN_DF_SEARCH_FORMS(T, P, Hybrid, ZYN_DF_SEARCH_KERNEL);         \
  ZYN_DF_SEARCH_FORMS(T, P, UserDef, ZYN_DF_USER_SEARCH_KERNEL);   \
  ZYN_DF_SEARCH_FORMS(T, P, UniUserDef, ZYN_DF_USER_SEARCH_KERNEL)
ZYN_DF_SEARCH_KINDS(double, d);
ZYN_DF_SEARCH_KINDS(float, s);

/* ---- construction ------------------------------------------------------------------------ */
/* (task, a, b, threading): `b` must be 0 for Linear and NaturalCubic; `a` is not read. */
ZYN_API int zyn_df_kernel_dDFLinearSpline1D(DfTask *task, int64_t a, int64_t b,
                                            const ZynThreading *threading);
ZYN_API int zyn_df_kernel_sDFLinearSpline1D(DfTask *task, int64_t a, int64_t b,
                                            const ZynThreading *threading);
ZYN_API int zyn_df_kernel_dDFNaturalCubicSpline1D(DfTask *task, int64_t a, int64_t b,
                                                  const ZynThreading *threading);
ZYN_API int zyn_df_kernel_sDFNaturalCubicSpline1D(DfTask *task, int64_t a, int64_t b,
                                                  const ZynThreading *threading);
ZYN_API int zyn_df_kernel_dDFDefaultCubicSpline1D(DfTask *task, int64_t a, int64_t b,
                                                  const ZynThreading *threading);
ZYN_API int zyn_df_kernel_sDFDefaultCubicSpline1D(DfTask *task, int64_t a, int64_t b,
                                                  const ZynThreading *threading);
ZYN_API int zyn_df_kernel_dDFQuadraticSpline1D(DfTask *task, int64_t a, int64_t b,
                                               const ZynThreading *threading);
ZYN_API int zyn_df_kernel_sDFQuadraticSpline1D(DfTask *task, int64_t a, int64_t b,
                                               const ZynThreading *threading);
/* Cubic splines from slopes at the breakpoints (`b` must be 0): Akima's weighted slopes, the
 * three-point parabola's (Bessel), the natural spline's filtered to keep monotone data monotone
 * (Hyman), or the slopes given in ic (Hermite, icType DF_IC_1ST_DER). */
#define ZYN_DF_SLOPE_CUBIC(P, Name) \
  ZYN_API int zyn_df_kernel_##P##DF##Name##CubicSpline1D(DfTask *task, int64_t a, int64_t b, \
                                                         const ZynThreading *threading)
ZYN_DF_SLOPE_CUBIC(d, Akima);
ZYN_DF_SLOPE_CUBIC(s, Akima);
ZYN_DF_SLOPE_CUBIC(d, Bessel);
ZYN_DF_SLOPE_CUBIC(s, Bessel);
ZYN_DF_SLOPE_CUBIC(d, Hyman);
ZYN_DF_SLOPE_CUBIC(s, Hyman);
ZYN_DF_SLOPE_CUBIC(d, Hermite);
ZYN_DF_SLOPE_CUBIC(s, Hermite);

/* ---- interpolation ------------------------------------------------------------------------ */
/* task, type (DF_INTERP | DF_CELL, or DF_INTERP_USER_CELL), method (not read), nsite, site,
 * siteHint, ndorder, dorder (dorder[j] non-zero asks for derivative j, j < 4; null: the value
 * only), dataHint (as for the search), r, rHint, cell, then the three callbacks of the general
 * kind with their parameters (left end, right end, interior), the search callback with its
 * parameters, and the threading table. */
ZYN_API int zyn_df_kernel_dDFInterpolate1D(
    DfTask *task, int64_t type, int64_t method, int64_t nsite, const double *site,
    int64_t siteHint, int64_t ndorder, const int64_t *dorder, const double *dataHint, double *r,
    int64_t rHint, void *cell, DfdInterpCallback le, void *leParams, DfdInterpCallback re,
    void *reParams, DfdInterpCallback interp, void *interpParams, DfdSearchCallback search,
    void *searchParams, const ZynThreading *threading);
ZYN_API int zyn_df_kernel_sDFInterpolate1D(
    DfTask *task, int64_t type, int64_t method, int64_t nsite, const float *site,
    int64_t siteHint, int64_t ndorder, const int64_t *dorder, const float *dataHint, float *r,
    int64_t rHint, void *cell, DfsInterpCallback le, void *leParams, DfsInterpCallback re,
    void *reParams, DfsInterpCallback interp, void *interpParams, DfsSearchCallback search,
    void *searchParams, const ZynThreading *threading);

/* ---- integration ------------------------------------------------------------------------- */
/* task, method (not read), nlim, llim, llimHint, rlim, rlimHint (limit hints as site hints),
 * ldataHint, rdataHint (data hints of the two searches), r, rHint (DF_MATRIX_STORAGE_ROWS:
 * r[f*nlim + i], also 0 and 0x80; DF_MATRIX_STORAGE_COLS: r[i*ny + f]), the three callbacks of
 * the general kind with their parameters (left of x[0], right of x[nx-1], between), the search
 * callback with its parameters, and the threading table. r[i] is the integral from llim[i] to
 * rlim[i], negative when llim[i] > rlim[i]. */
ZYN_API int zyn_df_kernel_dDFIntegrate1D(
    DfTask *task, int64_t method, int64_t nlim, const double *llim, int64_t llimHint,
    const double *rlim, int64_t rlimHint, const double *ldataHint, const double *rdataHint,
    double *r, int64_t rHint, DfdIntegrCallback le, void *leParams, DfdIntegrCallback re,
    void *reParams, DfdIntegrCallback inner, void *innerParams, DfdSearchCallback search,
    void *searchParams, const ZynThreading *threading);
ZYN_API int zyn_df_kernel_sDFIntegrate1D(
    DfTask *task, int64_t method, int64_t nlim, const float *llim, int64_t llimHint,
    const float *rlim, int64_t rlimHint, const float *ldataHint, const float *rdataHint,
    float *r, int64_t rHint, DfsIntegrCallback le, void *leParams, DfsIntegrCallback re,
    void *reParams, DfsIntegrCallback inner, void *innerParams, DfsSearchCallback search,
    void *searchParams, const ZynThreading *threading);

#endif
