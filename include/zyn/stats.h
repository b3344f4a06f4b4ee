/* zyn summary statistics: task objects, the basic estimates and the order statistics.
 *
 * A task holds pointers to the caller's counts, data, parameters and result arrays; it copies
 * nothing. Result arrays are the running state: repeated computations accumulate, so a data set
 * may arrive block by block. Every entry returns 0 on success and a negative status otherwise.
 *
 * Integer fields (counts, storage kinds, flags) are read as 32-bit integers when the task was
 * made with integerWidth 0 and as 64-bit integers otherwise; element fields are double for a task
 * made by _rnxdSSNewTask and float for _rnxsSSNewTask. */
#ifndef ZYN_STATS_H
#define ZYN_STATS_H

#include "zyn/core.h"

/* ---- the task record ------------------------------------------------------------------------ */

typedef struct SsTask SsTask;
typedef void (*SsCleanup)(SsTask *task);

/* In memory order. "int" marks a pointer to an integer of the task's width, "elem" a pointer to
 * elements of the task's type. */
struct SsTask {
  int32_t integerWidth;  /* 0: 32-bit integers; otherwise 64-bit */
  int8_t taskTag;        /* always 2 */
  int32_t isDouble;      /* 1 double task, 0 single task */
  void *dimension;       /* int: p, the number of variables */
  void *observations;    /* int: n, the number of observations */
  void *indices;         /* int[p]: a variable is processed when its flag is not 0; null: all */
  void *data;            /* elem: the observations (layout by `storage`) */
  void *weights;         /* elem[n]; null: all 1 */
  void *accumulatedWeights; /* elem[2]: running sum of weights and of squared weights */
  void *storage;         /* int: SsStorageByVariable or SsStorageByObservation */
  void *parametrizedMatrix;
  void *parametrizedStorage;
  void *mean;
  void *r2m, *r3m, *r4m; /* raw moments */
  void *c2m, *c3m, *c4m; /* central moments */
  void *sum;
  void *r2s, *r3s, *r4s; /* raw sums */
  void *c2s, *c3s, *c4s; /* central sums */
  void *kurtosis;
  void *skewness;
  void *variation;
  void *minimum;
  void *maximum;
  void *covStorage;
  void *cov;
  void *corStorage;
  void *cor;
  void *cpStorage;
  void *cp;
  void *groupIndices;
  void *groupCovIndices;
  void *groupMeans;
  void *groupCov;
  void *groupCovStorage;
  void *pooledMean;
  void *pooledCov;
  void *pooledCovStorage;
  void *quantileOrderCount;
  void *quantileOrders;
  void *quantiles;
  void *orderStatistics;
  void *orderStatisticsStorage;
  void *streamQuantileOrderCount;
  void *streamQuantileOrders;
  void *streamQuantiles;
  void *streamState;     /* owned: state of the stream quantiles */
  void *streamParamCount;
  void *streamParams;
  void *meanDeviation;
  void *medianDeviation;
  void *robustParamCount;
  void *robustParams;
  void *robustMean;
  void *robustCov;
  void *robustCovStorage;
  void *outlierParamCount;
  void *outlierParams;
  void *outlierWeights;
  void *partialIndices;
  void *partialCov;
  void *partialCovStorage;
  void *partialCor;
  void *partialCorStorage;
  void *missingParamCount;
  void *missingParams;
  void *initialEstimateCount;
  void *initialEstimates;
  void *priorCount;
  void *prior;
  void *simulatedCount;
  void *simulated;
  void *estimateCount;
  void *estimates;
  int32_t cleanupCount;  /* clean-ups called by _rnxSSDeleteTask */
  SsCleanup cleanups[1];
  void *sortedData;
  void *sortedStorage;
  void *previousMean;    /* owned: p elements, kept by SsMethodFastUserMean */
};

/* ---- statuses --------------------------------------------------------------------------------- */

enum {
  SsStatusOk = 0,
  SsStatusUnknownCode = -3,
  SsStatusMemory = -4000,
  SsStatusDimension = -4001,
  SsStatusObservations = -4002,
  SsStatusStorageValue = -4003,
  SsStatusIndices = -4004,
  SsStatusWeights = -4005,
  SsStatusMean = -4006,
  SsStatusR2m = -4007,
  SsStatusR3m = -4008,
  SsStatusR4m = -4009,
  SsStatusC2m = -4010,
  SsStatusC3m = -4011,
  SsStatusC4m = -4012,
  SsStatusKurtosis = -4013,
  SsStatusSkewness = -4014,
  SsStatusMinimum = -4015,
  SsStatusMaximum = -4016,
  SsStatusVariation = -4017,
  SsStatusCov = -4018,
  SsStatusCor = -4019,
  SsStatusAccumulatedWeights = -4020,
  SsStatusQuantileOrders = -4021,
  SsStatusQuantileOrderCount = -4022,
  SsStatusQuantiles = -4023,
  SsStatusOrderStatistics = -4024,
  SsStatusCovRank = -4025, /* a covariance matrix of less than full rank */
  SsStatusRobustCov = -4027,
  SsStatusRobustMean = -4028,
  SsStatusMethod = -4029,
  SsStatusNullTask = -4031,
  SsStatusData = -4032,
  SsStatusPooledCov = -4034,
  SsStatusPooledMean = -4035,
  SsStatusGroupCov = -4036,
  SsStatusGroupMeans = -4037,
  SsStatusGroupIndices = -4038,
  SsStatusOutlierParams = -4039,
  SsStatusOutlierParamCount = -4040,
  SsStatusOutlierWeights = -4041,
  SsStatusRobustParams = -4042,
  SsStatusRobustParamCount = -4043,
  SsStatusStorage = -4044,
  SsStatusPartialIndices = -4045,
  SsStatusPartialCov = -4046,
  SsStatusPartialCor = -4047,
  SsStatusMissingParams = -4048,
  SsStatusMissingParamCount = -4049,
  SsStatusInitialEstimateCount = -4052,
  SsStatusInitialEstimates = -4053,
  SsStatusSimulated = -4054,
  SsStatusSimulatedCount = -4055,
  SsStatusEstimateCount = -4056,
  SsStatusEstimates = -4057,
  SsStatusPriorCount = -4061,
  SsStatusPrior = -4062,
  SsStatusStreamParamCountNull = -4064,
  SsStatusStreamParams = -4065,
  SsStatusStreamParamCount = -4066,
  SsStatusStreamEpsilon = -4067,
  SsStatusStreamQuantileOrders = -4068,
  SsStatusStreamQuantileOrderCount = -4069,
  SsStatusStreamQuantiles = -4070,
  SsStatusParametrizedMatrix = -4071,
  SsStatusSum = -4074,
  SsStatusR2s = -4075,
  SsStatusR3s = -4076,
  SsStatusR4s = -4077,
  SsStatusC2s = -4078,
  SsStatusC3s = -4079,
  SsStatusC4s = -4080,
  SsStatusCp = -4081,
  SsStatusMedianDeviation = -4082,
  SsStatusMeanDeviation = -4083,
  SsStatusSortedData = -4084,
  SsStatusInPlaceSortIndices = -4085,
  SsStatusEigen = -5040,
  SsStatusFactor = -5041,
  SsStatusInverse = -5042
};

/* ---- edit codes -------------------------------------------------------------------------------
 * Integer fields are set by _rnxiSSEditTask (codes 1 to 79), element fields by _rnxdSSEditTask and
 * _rnxsSSEditTask (codes 3 to 78). */
enum {
  SsEditDimension = 1,
  SsEditObservations = 2,
  SsEditData = 3,
  SsEditStorage = 4,
  SsEditIndices = 5,
  SsEditWeights = 6,
  SsEditMean = 7,
  SsEditR2m = 8,
  SsEditR3m = 9,
  SsEditR4m = 10,
  SsEditC2m = 11,
  SsEditC3m = 12,
  SsEditC4m = 13,
  SsEditKurtosis = 14,
  SsEditSkewness = 15,
  SsEditMinimum = 16,
  SsEditMaximum = 17,
  SsEditVariation = 18,
  SsEditCov = 19,
  SsEditCovStorage = 20,
  SsEditCor = 21,
  SsEditCorStorage = 22,
  SsEditAccumulatedWeights = 23,
  SsEditQuantileOrderCount = 24,
  SsEditQuantileOrders = 25,
  SsEditQuantiles = 26,
  SsEditOrderStatistics = 27,
  SsEditGroupIndices = 28,
  SsEditPooledCovStorage = 29,
  SsEditPooledMean = 30,
  SsEditPooledCov = 31,
  SsEditGroupCovIndices = 32,
  SsEditGroupMeans = 33,
  SsEditGroupCovStorage = 34,
  SsEditGroupCov = 35,
  SsEditRobustCovStorage = 36,
  SsEditRobustParamCount = 37,
  SsEditRobustParams = 38,
  SsEditRobustMean = 39,
  SsEditRobustCov = 40,
  SsEditOutlierParamCount = 41,
  SsEditOutlierParams = 42,
  SsEditOutlierWeights = 43,
  SsEditOrderStatisticsStorage = 44,
  SsEditPartialIndices = 45,
  SsEditPartialCov = 46,
  SsEditPartialCovStorage = 47,
  SsEditPartialCor = 48,
  SsEditPartialCorStorage = 49,
  SsEditMissingParamCount = 50,
  SsEditMissingParams = 51,
  SsEditInitialEstimateCount = 52,
  SsEditInitialEstimates = 53,
  SsEditSimulatedCount = 54,
  SsEditSimulated = 55,
  SsEditEstimateCount = 56,
  SsEditEstimates = 57,
  SsEditPriorCount = 58,
  SsEditPrior = 59,
  SsEditParametrizedMatrix = 60,
  SsEditParametrizedStorage = 61,
  SsEditStreamParamCount = 62,
  SsEditStreamParams = 63,
  SsEditStreamQuantileOrderCount = 64,
  SsEditStreamQuantileOrders = 65,
  SsEditStreamQuantiles = 66,
  SsEditSum = 67,
  SsEditR2s = 68,
  SsEditR3s = 69,
  SsEditR4s = 70,
  SsEditC2s = 71,
  SsEditC3s = 72,
  SsEditC4s = 73,
  SsEditCp = 74,
  SsEditCpStorage = 75,
  SsEditMedianDeviation = 76,
  SsEditMeanDeviation = 77,
  SsEditSortedData = 78,
  SsEditSortedStorage = 79
};

/* ---- storage kinds ---------------------------------------------------------------------------- */

/* Observation matrix. By variable: element of variable i in observation j at x[i * n + j].
 * By observation: at x[j * p + i]. With p = 1 the two coincide. */
#define SsStorageByVariable 0x10000
#define SsStorageByObservation 0x20000
/* Square results (cov, cor): bit 0 clear is the full p x p matrix; bit 0 set a packed triangle,
 * the lower by rows when bit 1 is clear, the upper by rows when it is set. For cp, bit 1 alone
 * means the packed upper triangle (so 2 is packed for cp and full for cov). */
#define SsMatrixFull 0
#define SsMatrixPackedBit 0x1
#define SsMatrixUpperBit 0x2
#define SsMatrixPackedLower 0x1
#define SsMatrixPackedUpper 0x3

/* ---- estimates (64-bit mask) ------------------------------------------------------------------ */

#define SsEstimateMean 0x1ULL
#define SsEstimateR2m 0x2ULL
#define SsEstimateR3m 0x4ULL
#define SsEstimateR4m 0x8ULL
#define SsEstimateC2m 0x10ULL
#define SsEstimateC3m 0x20ULL
#define SsEstimateC4m 0x40ULL
#define SsEstimateKurtosis 0x80ULL
#define SsEstimateSkewness 0x100ULL
#define SsEstimateVariation 0x200ULL
#define SsEstimateMinimum 0x400ULL
#define SsEstimateMaximum 0x800ULL
#define SsEstimateCov 0x1000ULL
#define SsEstimateCor 0x2000ULL
#define SsEstimatePooledCov 0x4000ULL
#define SsEstimateGroupCov 0x8000ULL
#define SsEstimateQuantiles 0x10000ULL
#define SsEstimateOrderStatistics 0x20000ULL
#define SsEstimatePartialCov 0x100000ULL
#define SsEstimatePartialCor 0x200000ULL
#define SsEstimateSum 0x2000000ULL
#define SsEstimateR2s 0x4000000ULL
#define SsEstimateR3s 0x8000000ULL
#define SsEstimateR4s 0x10000000ULL
#define SsEstimateC2s 0x20000000ULL
#define SsEstimateC3s 0x40000000ULL
#define SsEstimateC4s 0x80000000ULL
#define SsEstimateCp 0x100000000ULL
#define SsEstimateMedianDeviation 0x200000000ULL
#define SsEstimateMeanDeviation 0x400000000ULL
#define SsEstimatePooledMean 0x800000000ULL
#define SsEstimateGroupMeans 0x1000000000ULL

/* ---- methods (64-bit mask) -------------------------------------------------------------------- */

#define SsMethodFast 0x1ULL          /* blocked two-pass; cross-products by level-3 routines */
#define SsMethodOnePass 0x2ULL       /* one update per observation */
#define SsMethodParametrize 0x4ULL
#define SsMethodRobustTbs 0x8ULL
#define SsMethodMissing 0x10ULL
#define SsMethodOutliers 0x20ULL
#define SsMethodStream 0x40ULL       /* feed and write the stream quantiles */
#define SsMethodStreamFeed 0x80ULL   /* feed only */
#define SsMethodFastUserMean 0x100ULL /* moments about the caller's `mean` */
#define SsMethodFromSums 0x200ULL    /* moments from sums; c2m and cov with the sample divisor */
#define SsMethodFromSumsPopulation 0x400ULL /* moments from sums; every divisor the weight sum */
#define SsMethodSort 0x100000ULL

/* ---- entries ---------------------------------------------------------------------------------- */

/* Makes a task in *task. p, n, storage and indices point to integers of the width chosen by
 * integerWidth. With x null, n and storage are not looked at. */
ZYN_API int _rnxdSSNewTask(SsTask **task, const void *p, const void *n, const void *storage,
                           const double *x, const double *weights, const void *indices,
                           int integerWidth);
ZYN_API int _rnxsSSNewTask(SsTask **task, const void *p, const void *n, const void *storage,
                           const float *x, const float *weights, const void *indices,
                           int integerWidth);
/* Sets one field by its edit code; a null value returns the field's status and keeps it. */
ZYN_API int _rnxdSSEditTask(SsTask *task, int64_t code, const double *value);
ZYN_API int _rnxsSSEditTask(SsTask *task, int64_t code, const float *value);
ZYN_API int _rnxiSSEditTask(SsTask *task, int64_t code, const void *value);
/* Frees the owned scratch, runs the clean-ups, frees the record and nulls *task. */
ZYN_API int _rnxSSDeleteTask(SsTask **task);

/* Compound editors: set each non-null argument's field (null keeps the old value). The d and s
 * names are one function. */
#define ZYN_SS_EDITORS(t, T)                                                                      \
  ZYN_API int __rnx##t##SSEditMoments(SsTask *task, T *mean, T *r2m, T *r3m, T *r4m, T *c2m,      \
                                      T *c3m, T *c4m);                                            \
  ZYN_API int __rnx##t##SSEditSums(SsTask *task, T *sum, T *r2s, T *r3s, T *r4s, T *c2s, T *c3s,  \
                                   T *c4s);                                                       \
  ZYN_API int __rnx##t##SSEditCovCor(SsTask *task, T *mean, T *cov, const void *covStorage,       \
                                     T *cor, const void *corStorage);                             \
  ZYN_API int __rnx##t##SSEditCP(SsTask *task, T *mean, T *sum, T *cp, const void *cpStorage);    \
  ZYN_API int __rnx##t##SSEditPartialCovCor(SsTask *task, const void *partialIndices, T *cov,     \
                                            const void *covStorage, T *cor,                       \
                                            const void *corStorage, T *partialCov,                \
                                            const void *partialCovStorage, T *partialCor,         \
                                            const void *partialCorStorage);                       \
  ZYN_API int __rnx##t##SSEditQuantiles(SsTask *task, const void *quantileOrderCount,             \
                                        const T *quantileOrders, T *quantiles,                    \
                                        T *orderStatistics, const void *orderStatisticsStorage);  \
  ZYN_API int __rnx##t##SSEditStreamQuantiles(SsTask *task, const void *streamQuantileOrderCount, \
                                              const T *streamQuantileOrders, T *streamQuantiles,  \
                                              const void *streamParamCount,                       \
                                              const T *streamParams);                             \
  ZYN_API int __rnx##t##SSEditPooledCovariance(SsTask *task, const void *groupIndices,            \
                                               T *pooledMean, T *pooledCov,                       \
                                               const void *groupCovIndices, T *groupMeans,        \
                                               T *groupCov);                                      \
  ZYN_API int __rnx##t##SSEditMtxParametrz(SsTask *task, T *cor, const void *corStorage,          \
                                           T *parametrizedMatrix,                                 \
                                           const void *parametrizedStorage);                      \
  ZYN_API int __rnx##t##SSEditRCov(SsTask *task, const void *robustCovStorage,                    \
                                   const void *robustParamCount, const T *robustParams,           \
                                   T *robustMean, T *robustCov);                                  \
  ZYN_API int __rnx##t##SSEditOutDetect(SsTask *task, const void *outlierParamCount,              \
                                        const T *outlierParams, T *outlierWeights);               \
  ZYN_API int __rnx##t##SSEditMissingVals(SsTask *task, const void *missingParamCount,            \
                                          const T *missingParams,                                 \
                                          const void *initialEstimateCount,                       \
                                          const T *initialEstimates, const void *priorCount,      \
                                          const T *prior, const void *simulatedCount,             \
                                          T *simulated, const void *estimateCount, T *estimates);
ZYN_SS_EDITORS(d, double)
ZYN_SS_EDITORS(s, float)
#undef ZYN_SS_EDITORS

/* Basic estimates: mean, raw and central moments and sums of orders 2 to 4, kurtosis, skewness,
 * variation, covariance, correlation and cross-products, accumulated over calls. `threader`
 * supplies the threads (zyn_serv_ss_threader is the core library's default). */
ZYN_API int _rnxdSSBasic(SsTask *task, uint64_t estimates, uint64_t method,
                         const ZynThreader *threader);
ZYN_API int _rnxsSSBasic(SsTask *task, uint64_t estimates, uint64_t method,
                         const ZynThreader *threader);

/* Order statistics. Exact quantiles by linear interpolation between order statistics, and the
 * sorted variables (SsEstimateQuantiles, SsEstimateOrderStatistics; method SsMethodFast), on a
 * copy of each variable. */
ZYN_API int _rnxdSSQuantiles(SsTask *task, uint64_t estimates, uint64_t method,
                             const ZynThreader *threader);
ZYN_API int _rnxsSSQuantiles(SsTask *task, uint64_t estimates, uint64_t method,
                             const ZynThreader *threader);
/* Sorts each flagged variable into sortedData, in the layout of sortedStorage; sortedData may be
 * the data itself (method SsMethodSort). */
ZYN_API int _rnxdSSSort(SsTask *task, uint64_t estimates, uint64_t method,
                        const ZynThreader *threader);
ZYN_API int _rnxsSSSort(SsTask *task, uint64_t estimates, uint64_t method,
                        const ZynThreader *threader);
/* Narrows the caller's minimum and maximum arrays by the data (SsEstimateMinimum,
 * SsEstimateMaximum; method SsMethodFast or SsMethodOnePass): calls accumulate. No threads. */
ZYN_API int _rnxdSSMinmax(SsTask *task, uint64_t estimates, uint64_t method,
                          const ZynThreader *threader);
ZYN_API int _rnxsSSMinmax(SsTask *task, uint64_t estimates, uint64_t method,
                          const ZynThreader *threader);
/* Approximate quantiles of all data fed so far, within streamParams[0] * N in rank: method
 * SsMethodStreamFeed feeds the data, SsMethodStream feeds it and writes streamQuantiles. The
 * state lives in the task until _rnxSSDeleteTask, which frees it through
 * __rnxSQuantilesFreeBuffers. */
ZYN_API int _rnxdSSStreamQuantiles(SsTask *task, uint64_t estimates, uint64_t method,
                                   const ZynThreader *threader);
ZYN_API int _rnxsSSStreamQuantiles(SsTask *task, uint64_t estimates, uint64_t method,
                                   const ZynThreader *threader);
ZYN_API void __rnxSQuantilesFreeBuffers(SsTask *task);
/* Weighted median of each flagged variable into quantiles[i] (method SsMethodFast). */
ZYN_API int _rnxdSSWMedian(SsTask *task, uint64_t estimates, uint64_t method,
                           const ZynThreader *threader);
ZYN_API int _rnxsSSWMedian(SsTask *task, uint64_t estimates, uint64_t method,
                           const ZynThreader *threader);

/* Sorting helpers, ascending by `<` (a NaN is not ordered but does no harm). QSort sorts a[0..n),
 * QSortStep a[0], a[step], ..., a[(n - 1) step]; QSortSelect returns the value sorting would put
 * at index k, reordering a but not sorting it (NaN for k outside [0, n)). */
ZYN_API void __rnxdQSort(int64_t n, double *a);
ZYN_API void __rnxsQSort(int64_t n, float *a);
ZYN_API void __rnxdQSortStep(int64_t n, double *a, int64_t step);
ZYN_API void __rnxsQSortStep(int64_t n, float *a, int64_t step);
ZYN_API double __rnxdQSortSelect(int64_t n, double *a, int64_t k);
ZYN_API float __rnxsQSortSelect(int64_t n, float *a, int64_t k);

/* Pooled and group means and covariances (method SsMethodOnePass): groupIndices[j] is the group,
 * 0 to g - 1, of observation j; SsEstimatePooledCov writes pooledMean and pooledCov (within-group
 * cross-products over sum_k (W_k - W2_k / W_k)), SsEstimatePooledMean pooledMean alone,
 * SsEstimateGroupCov groupMeans (g x p) and a covariance for each group flagged in groupCovIndices,
 * SsEstimateGroupMeans groupMeans alone. Each call stands alone. */
ZYN_API int _rnxdSSPooledCovariance(SsTask *task, uint64_t estimates, uint64_t method,
                                    const ZynThreader *threader);
ZYN_API int _rnxsSSPooledCovariance(SsTask *task, uint64_t estimates, uint64_t method,
                                    const ZynThreader *threader);
/* Partial covariance and correlation (method SsMethodFast) of the variables flagged 1 in
 * partialIndices given those flagged -1 (0: unused), from cov, or from cor when cov is null:
 * S_YY - S_YZ S_ZZ^-1 S_ZY, q x q for q kept variables. SsStatusFactor when S_ZZ is not positive
 * definite. */
ZYN_API int _rnxdSSPartialCovariance(SsTask *task, uint64_t estimates, uint64_t method,
                                     const ZynThreader *threader);
ZYN_API int _rnxsSSPartialCovariance(SsTask *task, uint64_t estimates, uint64_t method,
                                     const ZynThreader *threader);
/* Nearest-by-spectrum correlation matrix (method SsMethodParametrize): negative eigenvalues of
 * cor set to 0, rows rescaled to a unit diagonal, result to parametrizedMatrix. A positive
 * semi-definite cor comes back to rounding. */
ZYN_API int _rnxdSSCorParametrization(SsTask *task, uint64_t estimates, uint64_t method,
                                      const ZynThreader *threader);
ZYN_API int _rnxsSSCorParametrization(SsTask *task, uint64_t estimates, uint64_t method,
                                      const ZynThreader *threader);
/* Mean and covariance of normal data with values missing at random (method SsMethodMissing;
 * `estimates` is not read). A value is missing when it is NaN or equals the marker. missingParams
 * (count 5): EM iteration limit, EM accuracy, data-augmentation iterations T, marker (NaN: NaNs
 * only), imputed sets m (0 to T). Start: initialEstimates (means, covariance packed lower by rows)
 * or available-case means and variances. estimates: the EM estimate, then one record a DA
 * iteration, each means then packed covariance; simulated: m sets of the missing values in
 * storage order, drawn at iterations k, 2k, ..., mk, k = T / m. prior (count 0 or
 * 2 + p + p(p + 1)/2): tau, mu0, nu, packed inverse scale. Random numbers: MRG32K3A, seed
 * 7777777, positioned per block, so results don't depend on threads. The data are not written.
 * With flagged variables (indices), p above means their number. */
ZYN_API int _rnxdSSMissingValues(SsTask *task, uint64_t estimates, uint64_t method,
                                 const ZynThreader *threader);
ZYN_API int _rnxsSSMissingValues(SsTask *task, uint64_t estimates, uint64_t method,
                                 const ZynThreader *threader);

/* ---- robust estimation and outliers ------------------------------------------------------- */

/* Median absolute deviation about the median, unscaled (SsEstimateMedianDeviation, method
 * SsMethodFast), and mean absolute deviation sum w |x - m| / sum w about the weighted mean
 * (SsMethodFast) or the task's mean (SsMethodFastUserMean) (SsEstimateMeanDeviation). */
ZYN_API int _rnxdSSMAD(SsTask *task, uint64_t estimates, uint64_t method,
                       const ZynThreader *threader);
ZYN_API int _rnxsSSMAD(SsTask *task, uint64_t estimates, uint64_t method,
                       const ZynThreader *threader);
/* Mahalanobis distances sqrt(dT A d), d = x_j - mean, into outlierWeights[j], with A the inverse
 * covariance in cov (full storage) as __rnxdInvCov leaves it (method SsMethodFast). */
ZYN_API int _rnxdSSMahDistance(SsTask *task, uint64_t estimates, uint64_t method,
                               const ZynThreader *threader);
ZYN_API int _rnxsSSMahDistance(SsTask *task, uint64_t estimates, uint64_t method,
                               const ZynThreader *threader);
/* Outlier detection by BACON (method SsMethodOutliers): outlierWeights[j] is 1 for an observation
 * of the final clean subset, 0 for an outlier. outlierParams (count 3, else defaults): initial
 * method, 1 classical (Mahalanobis) or 2 median (Euclidean) start, default 2; alpha, the
 * per-observation rejection level, default 0.05; beta, the stopping fraction, default 0.005. */
ZYN_API int _rnxdSSOutliersDetection(SsTask *task, uint64_t estimates, uint64_t method,
                                     const ZynThreader *threader);
ZYN_API int _rnxsSSOutliersDetection(SsTask *task, uint64_t estimates, uint64_t method,
                                     const ZynThreader *threader);
/* Robust mean and covariance by Rocke's translated-biweight S-estimator (method
 * SsMethodRobustTbs), into robustMean and robustCov (robustCovStorage 0 full, 1 packed lower,
 * 2 packed upper). robustParams (count 4, else defaults): breakdown point, default (n - p) / (2n);
 * asymptotic rejection probability, 0.1; relative accuracy of the scale, 1e-5; iteration limit,
 * 120. Needs n > 2p. */
ZYN_API int _rnxdSSRobustCovariance(SsTask *task, uint64_t estimates, uint64_t method,
                                    const ZynThreader *threader);
ZYN_API int _rnxsSSRobustCovariance(SsTask *task, uint64_t estimates, uint64_t method,
                                    const ZynThreader *threader);
/* Chi-squared distribution with d degrees of freedom: distribution function and density by the
 * regularised incomplete gamma function (relative error about 1e-14), and the inverse of the
 * distribution function by Newton steps (relative tolerance 5e-15). */
ZYN_API double __rnxdChi2CDF(double d, double x);
ZYN_API double __rnxdChi2PDF(double d, double x);
ZYN_API double __rnxdChi2ICDF(double d, double y);
/* log Gamma(x) for x > 0. */
ZYN_API double __rnxdLGamma(double x);
/* 0 when the symmetric p x p matrix has full rank (its least eigenvalue above p * eps times the
 * largest), else SsStatusCovRank; SsStatusEigen when the eigenvalue routine fails. */
ZYN_API int __rnxdTestCovRank(int64_t p, const double *matrix);
/* Inverts a symmetric positive definite p x p matrix in place (full storage). The matrix must
 * come from zyn_serv_allocate: on SsStatusFactor (not positive definite) it has been freed.
 * SsStatusInverse when the inversion of the factor fails. */
ZYN_API int __rnxdInvCov(int64_t p, double *matrix);
#endif
