// Statistics task: creation, field edits, compound editors, deletion.
#include <cstddef>
#include <cstring>

#include "frame/core_link.hpp"
#include "stats/common.hpp"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

enum class Kind : unsigned char { none, integer, element };

struct Field {
  unsigned short offset;
  Kind kind;
  int null_status;
};

// One row per edit code: where the pointer goes, which edit function sets it, and the status of a
// null value.
constexpr Field kFields[] = {
#define F(code, field, kind, status) {offsetof(SsTask, field), Kind::kind, status},
    {0, Kind::none, 0},
    F(SsEditDimension, dimension, integer, SsStatusDimension)
    F(SsEditObservations, observations, integer, SsStatusObservations)
    F(SsEditData, data, element, SsStatusData)
    F(SsEditStorage, storage, integer, SsStatusStorage)
    F(SsEditIndices, indices, integer, SsStatusIndices)
    F(SsEditWeights, weights, element, SsStatusWeights)
    F(SsEditMean, mean, element, SsStatusMean)
    F(SsEditR2m, r2m, element, SsStatusR2m)
    F(SsEditR3m, r3m, element, SsStatusR3m)
    F(SsEditR4m, r4m, element, SsStatusR4m)
    F(SsEditC2m, c2m, element, SsStatusC2m)
    F(SsEditC3m, c3m, element, SsStatusC3m)
    F(SsEditC4m, c4m, element, SsStatusC4m)
    F(SsEditKurtosis, kurtosis, element, SsStatusKurtosis)
    F(SsEditSkewness, skewness, element, SsStatusSkewness)
    F(SsEditMinimum, minimum, element, SsStatusMinimum)
    F(SsEditMaximum, maximum, element, SsStatusMaximum)
    F(SsEditVariation, variation, element, SsStatusVariation)
    F(SsEditCov, cov, element, SsStatusCov)
    F(SsEditCovStorage, covStorage, integer, SsStatusStorage)
    F(SsEditCor, cor, element, SsStatusCor)
    F(SsEditCorStorage, corStorage, integer, SsStatusStorage)
    F(SsEditAccumulatedWeights, accumulatedWeights, element, SsStatusAccumulatedWeights)
    F(SsEditQuantileOrderCount, quantileOrderCount, integer, SsStatusQuantileOrderCount)
    F(SsEditQuantileOrders, quantileOrders, element, SsStatusQuantileOrders)
    F(SsEditQuantiles, quantiles, element, SsStatusQuantiles)
    F(SsEditOrderStatistics, orderStatistics, element, SsStatusOrderStatistics)
    F(SsEditGroupIndices, groupIndices, integer, SsStatusGroupIndices)
    F(SsEditPooledCovStorage, pooledCovStorage, integer, SsStatusStorage)
    F(SsEditPooledMean, pooledMean, element, SsStatusPooledMean)
    F(SsEditPooledCov, pooledCov, element, SsStatusPooledCov)
    F(SsEditGroupCovIndices, groupCovIndices, integer, SsStatusGroupIndices)
    F(SsEditGroupMeans, groupMeans, element, SsStatusGroupMeans)
    F(SsEditGroupCovStorage, groupCovStorage, integer, SsStatusStorage)
    F(SsEditGroupCov, groupCov, element, SsStatusGroupCov)
    F(SsEditRobustCovStorage, robustCovStorage, integer, SsStatusStorage)
    F(SsEditRobustParamCount, robustParamCount, integer, SsStatusRobustParamCount)
    F(SsEditRobustParams, robustParams, element, SsStatusRobustParams)
    F(SsEditRobustMean, robustMean, element, SsStatusRobustMean)
    F(SsEditRobustCov, robustCov, element, SsStatusRobustCov)
    F(SsEditOutlierParamCount, outlierParamCount, integer, SsStatusOutlierParamCount)
    F(SsEditOutlierParams, outlierParams, element, SsStatusOutlierParams)
    F(SsEditOutlierWeights, outlierWeights, element, SsStatusOutlierWeights)
    F(SsEditOrderStatisticsStorage, orderStatisticsStorage, integer, SsStatusStorage)
    F(SsEditPartialIndices, partialIndices, integer, SsStatusPartialIndices)
    F(SsEditPartialCov, partialCov, element, SsStatusPartialCov)
    F(SsEditPartialCovStorage, partialCovStorage, integer, SsStatusStorage)
    F(SsEditPartialCor, partialCor, element, SsStatusPartialCor)
    F(SsEditPartialCorStorage, partialCorStorage, integer, SsStatusStorage)
    F(SsEditMissingParamCount, missingParamCount, integer, SsStatusMissingParamCount)
    F(SsEditMissingParams, missingParams, element, SsStatusMissingParams)
    F(SsEditInitialEstimateCount, initialEstimateCount, integer, SsStatusInitialEstimateCount)
    F(SsEditInitialEstimates, initialEstimates, element, SsStatusInitialEstimates)
    F(SsEditSimulatedCount, simulatedCount, integer, SsStatusSimulatedCount)
    F(SsEditSimulated, simulated, element, SsStatusSimulated)
    F(SsEditEstimateCount, estimateCount, integer, SsStatusEstimateCount)
    F(SsEditEstimates, estimates, element, SsStatusEstimates)
    F(SsEditPriorCount, priorCount, integer, SsStatusPriorCount)
    F(SsEditPrior, prior, element, SsStatusPrior)
    F(SsEditParametrizedMatrix, parametrizedMatrix, element, SsStatusParametrizedMatrix)
    F(SsEditParametrizedStorage, parametrizedStorage, integer, SsStatusStorage)
    F(SsEditStreamParamCount, streamParamCount, integer, SsStatusStreamParamCount)
    F(SsEditStreamParams, streamParams, element, SsStatusStreamParams)
    F(SsEditStreamQuantileOrderCount, streamQuantileOrderCount, integer,
      SsStatusStreamQuantileOrderCount)
    F(SsEditStreamQuantileOrders, streamQuantileOrders, element, SsStatusStreamQuantileOrders)
    F(SsEditStreamQuantiles, streamQuantiles, element, SsStatusStreamQuantiles)
    // A null `sum` reports the status of `mean`.
    F(SsEditSum, sum, element, SsStatusMean)
    F(SsEditR2s, r2s, element, SsStatusR2s)
    F(SsEditR3s, r3s, element, SsStatusR3s)
    F(SsEditR4s, r4s, element, SsStatusR4s)
    F(SsEditC2s, c2s, element, SsStatusC2s)
    F(SsEditC3s, c3s, element, SsStatusC3s)
    F(SsEditC4s, c4s, element, SsStatusC4s)
    F(SsEditCp, cp, element, SsStatusCp)
    F(SsEditCpStorage, cpStorage, integer, SsStatusStorage)
    F(SsEditMedianDeviation, medianDeviation, element, SsStatusMedianDeviation)
    F(SsEditMeanDeviation, meanDeviation, element, SsStatusMeanDeviation)
    F(SsEditSortedData, sortedData, element, SsStatusSortedData)
    F(SsEditSortedStorage, sortedStorage, integer, SsStatusStorage)
#undef F
};
constexpr int kLastCode = SsEditSortedStorage;
static_assert(sizeof(kFields) / sizeof(kFields[0]) == kLastCode + 1);

// No two codes may share a field.
constexpr bool distinct_fields() {
  for (int a = 1; a <= kLastCode; ++a)
    for (int b = a + 1; b <= kLastCode; ++b)
      if (kFields[a].offset == kFields[b].offset) return false;
  return true;
}
static_assert(distinct_fields());

void *&slot(SsTask *task, int code) {
  return *reinterpret_cast<void **>(reinterpret_cast<char *>(task) + kFields[code].offset);
}

int edit(SsTask *task, int64_t code, const void *value, Kind kind) {
  if (task == nullptr) return SsStatusNullTask;
  const int64_t lo = kind == Kind::integer ? SsEditDimension : SsEditData;
  const int64_t hi = kind == Kind::integer ? SsEditSortedStorage : SsEditSortedData;
  if (code < lo || code > hi || kFields[code].kind != kind) return SsStatusUnknownCode;
  if (value == nullptr) return kFields[code].null_status;
  slot(task, static_cast<int>(code)) = const_cast<void *>(value);
  return SsStatusOk;
}

template <class T>
int new_task(SsTask **task, const void *p, const void *n, const void *storage, const T *x,
             const T *weights, const void *indices, int integerWidth, int is_double) {
  const bool wide = integerWidth != 0;
  if (p == nullptr || read_int(wide, p) < 1) return SsStatusDimension;
  if (x != nullptr) {
    if (storage == nullptr) return SsStatusStorage;
    const int64_t s = read_int(wide, storage);
    if (s != SsStorageByVariable && s != SsStorageByObservation) return SsStatusStorageValue;
    if (n == nullptr || read_int(wide, n) < 1) return SsStatusObservations;
  }
  auto *t = static_cast<SsTask *>(core::zyn_serv_allocate(sizeof(SsTask), 128));
  if (t == nullptr) return SsStatusMemory;
  std::memset(t, 0, sizeof(SsTask));
  t->integerWidth = integerWidth;
  t->taskTag = 2;
  t->isDouble = is_double;
  t->dimension = const_cast<void *>(p);
  t->observations = const_cast<void *>(n);
  t->data = const_cast<T *>(x);
  t->storage = const_cast<void *>(storage);
  t->weights = const_cast<T *>(weights);
  t->indices = const_cast<void *>(indices);
  *task = t;
  return SsStatusOk;
}

// Sets each non-null pointer in `values` into the field of the matching code.
template <size_t N>
int edit_many(SsTask *task, const int (&codes)[N], const void *const (&values)[N]) {
  if (task == nullptr) return SsStatusNullTask;
  for (size_t k = 0; k < N; ++k)
    if (values[k] != nullptr) slot(task, codes[k]) = const_cast<void *>(values[k]);
  return SsStatusOk;
}

}  // namespace
}  // namespace zyn::stats

using namespace zyn::stats;

int _rnxdSSNewTask(SsTask **task, const void *p, const void *n, const void *storage,
                   const double *x, const double *weights, const void *indices, int integerWidth) {
  return new_task(task, p, n, storage, x, weights, indices, integerWidth, 1);
}
int _rnxsSSNewTask(SsTask **task, const void *p, const void *n, const void *storage,
                   const float *x, const float *weights, const void *indices, int integerWidth) {
  return new_task(task, p, n, storage, x, weights, indices, integerWidth, 0);
}
int _rnxdSSEditTask(SsTask *task, int64_t code, const double *value) {
  return edit(task, code, value, Kind::element);
}
int _rnxsSSEditTask(SsTask *task, int64_t code, const float *value) {
  return edit(task, code, value, Kind::element);
}
int _rnxiSSEditTask(SsTask *task, int64_t code, const void *value) {
  return edit(task, code, value, Kind::integer);
}

int _rnxSSDeleteTask(SsTask **task) {
  if (task == nullptr || *task == nullptr) return SsStatusNullTask;
  SsTask *t = *task;
  if (t->previousMean != nullptr) {
    zyn::core::zyn_serv_deallocate(t->previousMean);
    t->previousMean = nullptr;
  }
  for (int32_t k = 0; k < t->cleanupCount; ++k) t->cleanups[k](t);
  zyn::core::zyn_serv_deallocate(t);
  *task = nullptr;
  return SsStatusOk;
}

// Compound editors: one definition under the d name, the s name an alias of the same address.
#define ZYN_SS_ALIAS(stem)                                                                      \
  __asm__(".globl __rnxs" #stem "\n\t.type __rnxs" #stem ", @function\n\t.set __rnxs" #stem     \
          ", __rnxd" #stem);

int __rnxdSSEditMoments(SsTask *task, double *mean, double *r2m, double *r3m, double *r4m,
                        double *c2m, double *c3m, double *c4m) {
  return edit_many(task, {SsEditMean, SsEditR2m, SsEditR3m, SsEditR4m, SsEditC2m, SsEditC3m,
                          SsEditC4m},
                   {mean, r2m, r3m, r4m, c2m, c3m, c4m});
}
ZYN_SS_ALIAS(SSEditMoments)

int __rnxdSSEditSums(SsTask *task, double *sum, double *r2s, double *r3s, double *r4s,
                     double *c2s, double *c3s, double *c4s) {
  return edit_many(task, {SsEditSum, SsEditR2s, SsEditR3s, SsEditR4s, SsEditC2s, SsEditC3s,
                          SsEditC4s},
                   {sum, r2s, r3s, r4s, c2s, c3s, c4s});
}
ZYN_SS_ALIAS(SSEditSums)

int __rnxdSSEditCovCor(SsTask *task, double *mean, double *cov, const void *covStorage,
                       double *cor, const void *corStorage) {
  return edit_many(task, {SsEditMean, SsEditCov, SsEditCovStorage, SsEditCor, SsEditCorStorage},
                   {mean, cov, covStorage, cor, corStorage});
}
ZYN_SS_ALIAS(SSEditCovCor)

int __rnxdSSEditCP(SsTask *task, double *mean, double *sum, double *cp, const void *cpStorage) {
  return edit_many(task, {SsEditMean, SsEditSum, SsEditCp, SsEditCpStorage},
                   {mean, sum, cp, cpStorage});
}
ZYN_SS_ALIAS(SSEditCP)

int __rnxdSSEditPartialCovCor(SsTask *task, const void *partialIndices, double *cov,
                              const void *covStorage, double *cor, const void *corStorage,
                              double *partialCov, const void *partialCovStorage,
                              double *partialCor, const void *partialCorStorage) {
  return edit_many(task,
                   {SsEditPartialIndices, SsEditCov, SsEditCovStorage, SsEditCor,
                    SsEditCorStorage, SsEditPartialCov, SsEditPartialCovStorage,
                    SsEditPartialCor, SsEditPartialCorStorage},
                   {partialIndices, cov, covStorage, cor, corStorage, partialCov,
                    partialCovStorage, partialCor, partialCorStorage});
}
ZYN_SS_ALIAS(SSEditPartialCovCor)

int __rnxdSSEditQuantiles(SsTask *task, const void *quantileOrderCount,
                          const double *quantileOrders, double *quantiles,
                          double *orderStatistics, const void *orderStatisticsStorage) {
  return edit_many(task,
                   {SsEditQuantileOrderCount, SsEditQuantileOrders, SsEditQuantiles,
                    SsEditOrderStatistics, SsEditOrderStatisticsStorage},
                   {quantileOrderCount, quantileOrders, quantiles, orderStatistics,
                    orderStatisticsStorage});
}
ZYN_SS_ALIAS(SSEditQuantiles)

int __rnxdSSEditStreamQuantiles(SsTask *task, const void *streamQuantileOrderCount,
                                const double *streamQuantileOrders, double *streamQuantiles,
                                const void *streamParamCount, const double *streamParams) {
  return edit_many(task,
                   {SsEditStreamQuantileOrderCount, SsEditStreamQuantileOrders,
                    SsEditStreamQuantiles, SsEditStreamParamCount, SsEditStreamParams},
                   {streamQuantileOrderCount, streamQuantileOrders, streamQuantiles,
                    streamParamCount, streamParams});
}
ZYN_SS_ALIAS(SSEditStreamQuantiles)

int __rnxdSSEditPooledCovariance(SsTask *task, const void *groupIndices, double *pooledMean,
                                 double *pooledCov, const void *groupCovIndices,
                                 double *groupMeans, double *groupCov) {
  return edit_many(task,
                   {SsEditGroupIndices, SsEditPooledMean, SsEditPooledCov, SsEditGroupCovIndices,
                    SsEditGroupMeans, SsEditGroupCov},
                   {groupIndices, pooledMean, pooledCov, groupCovIndices, groupMeans, groupCov});
}
ZYN_SS_ALIAS(SSEditPooledCovariance)

int __rnxdSSEditMtxParametrz(SsTask *task, double *cor, const void *corStorage,
                             double *parametrizedMatrix, const void *parametrizedStorage) {
  return edit_many(task,
                   {SsEditCor, SsEditCorStorage, SsEditParametrizedMatrix,
                    SsEditParametrizedStorage},
                   {cor, corStorage, parametrizedMatrix, parametrizedStorage});
}
ZYN_SS_ALIAS(SSEditMtxParametrz)

int __rnxdSSEditRCov(SsTask *task, const void *robustCovStorage, const void *robustParamCount,
                     const double *robustParams, double *robustMean, double *robustCov) {
  return edit_many(task,
                   {SsEditRobustCovStorage, SsEditRobustParamCount, SsEditRobustParams,
                    SsEditRobustMean, SsEditRobustCov},
                   {robustCovStorage, robustParamCount, robustParams, robustMean, robustCov});
}
ZYN_SS_ALIAS(SSEditRCov)

int __rnxdSSEditOutDetect(SsTask *task, const void *outlierParamCount,
                          const double *outlierParams, double *outlierWeights) {
  return edit_many(task, {SsEditOutlierParamCount, SsEditOutlierParams, SsEditOutlierWeights},
                   {outlierParamCount, outlierParams, outlierWeights});
}
ZYN_SS_ALIAS(SSEditOutDetect)

int __rnxdSSEditMissingVals(SsTask *task, const void *missingParamCount,
                            const double *missingParams, const void *initialEstimateCount,
                            const double *initialEstimates, const void *priorCount,
                            const double *prior, const void *simulatedCount, double *simulated,
                            const void *estimateCount, double *estimates) {
  return edit_many(task,
                   {SsEditMissingParamCount, SsEditMissingParams, SsEditInitialEstimateCount,
                    SsEditInitialEstimates, SsEditPriorCount, SsEditPrior, SsEditSimulatedCount,
                    SsEditSimulated, SsEditEstimateCount, SsEditEstimates},
                   {missingParamCount, missingParams, initialEstimateCount, initialEstimates,
                    priorCount, prior, simulatedCount, simulated, estimateCount, estimates});
}
ZYN_SS_ALIAS(SSEditMissingVals)
