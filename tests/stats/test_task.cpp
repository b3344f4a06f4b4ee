// The task record: creation and edit statuses, every code's field, the compound editors, every
// entry's refusals (over a Bound task), deletion.
#include <cstring>
#include <map>

#include "stats_test.hpp"

using namespace sstest;

namespace {

TEST(SsTask, Statuses) {
  int64_t p = 3, n = 10, zero = 0, by_var = SsStorageByVariable, bad = 0x40000;
  // Little-endian: the low 32 bits hold a valid value, the high ones make the 64-bit one bad.
  const int64_t p_low = (int64_t(-1) << 32) | 2, st_low = (int64_t(1) << 40) | SsStorageByObservation;
  double x[30] = {}, v[4] = {};
  auto make = [&](const void *pp, const void *nn, const void *ss, const double *xx, int width = 1) {
    SsTask *t = nullptr;
    const int st = _rnxdSSNewTask(&t, pp, nn, ss, xx, nullptr, nullptr, width);
    EXPECT_TRUE(st == SsStatusOk || t == nullptr);
    _rnxSSDeleteTask(&t);
    return st;
  };
  SsTask *t = nullptr;
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1), 0);
  auto d = [&](int64_t code, const double *value) { return _rnxdSSEditTask(t, code, value); };
  auto i = [&](int64_t code, const void *value) { return _rnxiSSEditTask(t, code, value); };
  const std::pair<int, int> rows[] = {  // (status, expected), evaluated in order
      {make(nullptr, &n, &by_var, x), SsStatusDimension},  {make(&zero, nullptr, nullptr, x), SsStatusDimension},
      {make(&p, nullptr, nullptr, x), SsStatusStorage},    {make(&p, nullptr, &bad, x), SsStatusStorageValue},
      {make(&p, nullptr, &by_var, x), SsStatusObservations}, {make(&p, &zero, &by_var, x), SsStatusObservations},
      {make(&p, nullptr, nullptr, nullptr), SsStatusOk},  // no data: n and storage unread
      {make(&p_low, &n, &st_low, x), SsStatusDimension},   {make(&p, &n, &st_low, x), SsStatusStorageValue},
      {make(&p_low, &n, &st_low, x, 0), SsStatusOk},       {_rnxdSSEditTask(nullptr, 7, v), SsStatusNullTask},
      {d(SsEditSum, nullptr), SsStatusMean},               {d(SsEditWeights, nullptr), SsStatusWeights},
      {i(SsEditCovStorage, nullptr), SsStatusStorage},     {d(SsEditStorage, v), SsStatusUnknownCode},
      {d(SsEditDimension, v), SsStatusUnknownCode},        {d(SsEditSortedStorage, v), SsStatusUnknownCode},
      {i(SsEditSortedData, &p), SsStatusUnknownCode}};
  for (size_t k = 0; k < std::size(rows); ++k) EXPECT_EQ(rows[k].first, rows[k].second) << "row " << k;
  for (int64_t code : {int64_t(0), int64_t(80), int64_t(-1), int64_t(1) << 33})
    EXPECT_TRUE(d(code, v) == SsStatusUnknownCode && i(code, &p) == SsStatusUnknownCode) << code;
  _rnxSSDeleteTask(&t);
}

// Each entry's refusals, one change to a Bound task a row; every entry refuses a null task.
template <class T>
void entry_statuses() {
  using S = SsTask;
  const int64_t zero = 0, minus = -1, two = 2, three = 3, four = 4, eight = 8, nine = 9, eleven = 11, sims = 1, all = 192, ests = 26,
                bad = 0x40000, by_var = SsStorageByVariable, both = SsStorageByVariable | SsStorageByObservation,
                flags[3] = {1, 1, 1}, r1mm[3] = {1, -1, -1}, rm11[3] = {-1, 1, 1}, r101[3] = {1, 0, 1}, r12m[3] = {1, 2, -1},
                r0mm[3] = {0, -1, -1};
  std::vector<int64_t> groups(64, 3);
  groups[7] = -1;
  const T x = 0, none = 0, high = T(1.5), past[2] = {T(0.5), T(1.5)}, nan[2] = {T(0.5), T(NAN)},
          singular[9] = {1, T(0.5), T(0.2), T(0.5), 1, 1, T(0.2), 1, 1};
  // Missing-value parameters with one bad: limit, accuracy, iterations, sets (more than iterations), no sets.
  const T p0[5] = {-1, T(1e-9), 2, T(NAN), 1}, p1[5] = {5, 0, 2, T(NAN), 1}, p2[5] = {5, T(1e-9), T(1.5), T(NAN), 1},
          p4[5] = {5, T(1e-9), 2, T(NAN), 3}, no_sets[5] = {5, T(1e-9), 2, T(NAN), 0};
  std::vector<T> negative(64, 1), unset(64, 1), zeros(64, 0), gone = Bound<T>::data(kMissing).x, flat = gone;
  negative[2] = -1, unset[3] = T(NAN);
  for (int64_t j = 0; j < 64; ++j) gone[64 + j] = T(NAN), flat[128 + j] = 1;  // variable 1 all missing, 2 constant
  const uint64_t mean = SsEstimateMean, one = SsMethodOnePass, fast = SsMethodFast, sums = SsMethodFromSums,
                 user = SsMethodFastUserMean, qs = SsEstimateQuantiles, os = SsEstimateOrderStatistics, sortm = SsMethodSort,
                 mm = SsEstimateMinimum | SsEstimateMaximum, st = SsMethodStream, pooled = SsEstimatePooledCov |
                 SsEstimateGroupCov | SsEstimatePooledMean | SsEstimateGroupMeans, partial = SsEstimatePartialCov |
                 SsEstimatePartialCor, par = SsMethodParametrize, mv = SsMethodMissing, med = SsEstimateMedianDeviation,
                 avg = SsEstimateMeanDeviation, out = SsMethodOutliers, tbs = SsMethodRobustTbs;
  const std::pair<Call, int> rows[] = {
      // Needed basic results are checked lowest bit first, by the dependency table of the method.
      {{kBasic, SsEstimateKurtosis, one, {&S::c4m}}, SsStatusC4m},
      {{kBasic, SsEstimateC4m | SsEstimateKurtosis, fast, {&S::c4m}}, SsStatusC4m},
      {{kBasic, SsEstimateKurtosis, one, {&S::c4m}, {&S::r2m}}, SsStatusR2m},
      {{kBasic, SsEstimateC2s, fast, {&S::r2m}}, SsStatusR2m},
      {{kBasic, SsEstimateC2s, one, {&S::r2m}}, SsStatusOk},
      {{kBasic, SsEstimateSum, sums}, SsStatusMethod},
      {{kBasic, mean, sums, {&S::sum}}, SsStatusSum},
      {{kBasic, SsEstimateSum, one, {&S::sum}}, SsStatusSum},
      {{kBasic, SsEstimateCov, one, {&S::covStorage}}, SsStatusStorage},
      {{kBasic, mean, 0}, SsStatusMethod},
      {{kBasic, mean, fast | one}, SsStatusMethod},
      {{kBasic, mean, fast | sortm}, SsStatusMethod},
      {{kBasic, mean, user | fast}, SsStatusMethod},
      {{kBasic, mean, fast, {&S::dimension}}, SsStatusDimension},
      {{kBasic, mean, fast, {&S::dimension, &zero}}, SsStatusDimension},
      {{kBasic, mean, one, {&S::observations, &zero}}, SsStatusObservations},
      {{kBasic, mean, one, {&S::storage, &bad}}, SsStatusStorageValue},
      {{kBasic, mean, one, {&S::storage, &both}}, SsStatusOk},  // tested by bits
      {{kBasic, mean, one, {&S::storage}}, SsStatusStorage},
      {{kBasic, mean, one, {&S::data}}, SsStatusData},
      // From sums without accumulated weights: n stands in for them, unless there are weights.
      {{kBasic, SsEstimateC2m, sums, {&S::weights, &x}, {&S::accumulatedWeights}}, SsStatusAccumulatedWeights},
      {{kBasic, SsEstimateC2m, sums, {&S::accumulatedWeights}}, SsStatusOk},
      {{kQuantiles, qs, fast, {&S::storage, &bad}}, SsStatusStorageValue},
      {{kQuantiles, qs, fast, {&S::quantiles}, {&S::quantileOrders}}, SsStatusQuantiles},
      {{kQuantiles, qs, fast, {&S::quantileOrders}}, SsStatusQuantileOrders},
      {{kQuantiles, qs, fast, {&S::quantileOrderCount, &minus}}, SsStatusQuantileOrderCount},
      {{kQuantiles, qs, 0, {&S::quantileOrders, past}}, SsStatusQuantileOrderCount},
      {{kQuantiles, os, fast, {&S::orderStatistics}}, SsStatusOrderStatistics},
      {{kQuantiles, os, fast, {&S::orderStatisticsStorage}}, SsStatusStorage},
      {{kQuantiles, os, 0, {&S::orderStatisticsStorage, &bad}}, SsStatusStorageValue},
      {{kQuantiles, qs, fast | one}, SsStatusMethod},
      {{kQuantiles, qs, fast, {&S::quantileOrderCount, &zero}}, SsStatusOk},
      {{kSort, 0, sortm, {&S::sortedData}}, SsStatusSortedData},
      {{kSort, 0, sortm, {&S::sortedStorage}}, SsStatusStorage},
      {{kSortInPlace, 0, sortm}, SsStatusStorage},  // data by variable
      {{kSortInPlace, 0, sortm, {&S::sortedStorage, &by_var}, {&S::indices, flags}}, SsStatusInPlaceSortIndices},
      {{kSortInPlace, 0, sortm, {&S::sortedStorage, &by_var}}, SsStatusOk},
      {{kSort, 0, 0, {&S::sortedStorage, &bad}}, SsStatusStorageValue},
      {{kSort, 0, fast}, SsStatusMethod},
      {{kMinmax, mm, fast, {&S::storage, &bad}, {&S::minimum}}, SsStatusStorageValue},
      {{kMinmax, mm, fast, {&S::minimum}}, SsStatusMinimum},
      {{kMinmax, SsEstimateMaximum, fast, {&S::minimum}}, SsStatusOk},
      {{kMinmax, mm, fast, {&S::maximum}}, SsStatusMaximum},
      {{kMinmax, mm, user}, SsStatusMethod},
      {{kStream, 0, st, {&S::streamQuantileOrders}}, SsStatusStreamQuantileOrders},
      {{kStream, 0, st, {&S::streamQuantileOrderCount, &minus}}, SsStatusStreamQuantileOrderCount},
      {{kStream, 0, st, {&S::streamParamCount}}, SsStatusStreamParamCountNull},
      {{kStream, 0, st, {&S::streamParamCount, &two}}, SsStatusStreamParamCount},
      {{kStream, 0, st, {&S::streamQuantileOrders, nan}, {&S::streamParams}}, SsStatusStreamQuantileOrderCount},
      {{kStream, 0, st, {&S::streamParams}}, SsStatusStreamParams},
      {{kStream, 0, fast, {&S::streamParams, &high}}, SsStatusMethod},
      {{kStream, 0, st, {&S::streamParams, &high}}, SsStatusStreamEpsilon},
      {{kStream, 0, st, {&S::streamParams, &none}}, SsStatusStreamEpsilon},
      {{kStream, 0, st, {&S::streamQuantiles}}, SsStatusStreamQuantiles},
      {{kStream, 0, SsMethodStreamFeed, {&S::streamQuantiles}}, SsStatusOk},
      {{kWMedian, 0, fast, {&S::quantiles}}, SsStatusQuantiles},
      {{kWMedian, 0, 0, {&S::weights, negative.data()}}, SsStatusWeights},
      {{kWMedian, 0, 0, {&S::weights, unset.data()}}, SsStatusWeights},
      {{kWMedian, 0, 0, {&S::weights, zeros.data()}}, SsStatusWeights},
      {{kWMedian, 0, one}, SsStatusMethod},
      {{kWMedian, 0, fast, {&S::observations, &zero}}, SsStatusObservations},
      {{kPooled, pooled, fast}, SsStatusMethod},
      {{kPooled, pooled, one | fast}, SsStatusMethod},
      {{kPooled, pooled, one, {&S::groupIndices, groups.data()}}, SsStatusGroupIndices},
      {{kPooled, pooled, one, {&S::groupIndices}}, SsStatusGroupIndices},
      {{kPooled, SsEstimatePooledMean, one, {&S::pooledMean}}, SsStatusPooledMean},
      {{kPooled, SsEstimatePooledCov, one, {&S::pooledCov}}, SsStatusPooledCov},
      {{kPooled, SsEstimateGroupMeans, one, {&S::groupMeans}}, SsStatusGroupMeans},
      {{kPooled, SsEstimateGroupCov, one, {&S::groupCov}}, SsStatusGroupCov},
      {{kPooled, SsEstimateGroupCov, one, {&S::groupCovIndices}}, SsStatusGroupIndices},
      {{kPooled, SsEstimatePooledCov, one, {&S::pooledCovStorage}}, SsStatusStorage},
      {{kPooled, SsEstimatePooledMean, one, {&S::pooledCovStorage}}, SsStatusOk},
      {{kPooled, SsEstimateGroupCov, one, {&S::groupCovStorage}}, SsStatusStorage},
      {{kPooled, pooled, one, {&S::data}}, SsStatusData},
      {{kPooled, pooled, one, {&S::storage}}, SsStatusStorage},
      // Partial covariance reads cov when bound, else cor.
      {{kPartial, partial, fast, {&S::partialIndices, r1mm}, {&S::cov, singular}}, SsStatusFactor},
      {{kPartial, partial, fast, {&S::partialIndices, rm11}}, SsStatusOk},
      {{kPartial, partial, fast, {&S::partialIndices, r101}}, SsStatusOk},
      {{kPartial, partial, fast, {&S::partialIndices, r12m}}, SsStatusPartialIndices},
      {{kPartial, partial, fast, {&S::partialIndices, r0mm}}, SsStatusPartialIndices},
      {{kPartial, partial, one}, SsStatusMethod},
      {{kPartial, partial, fast, {&S::partialIndices}}, SsStatusPartialIndices},
      {{kPartial, partial, fast, {&S::cor}, {&S::cov}}, SsStatusCov},
      {{kPartial, partial, fast, {&S::cov}, {&S::corStorage}}, SsStatusStorage},
      {{kPartial, partial, fast, {&S::partialCov}}, SsStatusPartialCov},
      {{kPartial, partial, fast, {&S::partialCor}}, SsStatusPartialCor},
      {{kPartial, partial, fast, {&S::partialCorStorage}}, SsStatusStorage},
      {{kPartial, partial, fast, {&S::data}}, SsStatusOk},
      {{kRepair, 0, fast}, SsStatusMethod},
      {{kRepair, 0, par, {&S::cor}}, SsStatusCor},
      {{kRepair, 0, par, {&S::corStorage}}, SsStatusStorage},
      {{kRepair, 0, par, {&S::parametrizedMatrix}}, SsStatusParametrizedMatrix},
      {{kRepair, 0, par, {&S::parametrizedStorage}}, SsStatusStorage},
      {{kRepair, 0, par, {&S::data}}, SsStatusOk},
      {{kMissing, 0, mv, {&S::missingParamCount, &four}}, SsStatusMissingParamCount},
      {{kMissing, 0, mv, {&S::missingParams}}, SsStatusMissingParams},
      {{kMissing, 0, mv, {&S::missingParams, p0}}, SsStatusMissingParams},
      {{kMissing, 0, mv, {&S::missingParams, p1}}, SsStatusMissingParams},
      {{kMissing, 0, mv, {&S::missingParams, p2}}, SsStatusMissingParams},
      {{kMissing, 0, mv, {&S::missingParams, p4}}, SsStatusMissingParams},
      {{kMissing, 0, mv, {&S::initialEstimateCount, &eight}}, SsStatusInitialEstimateCount},
      {{kMissing, 0, mv, {&S::initialEstimateCount, &nine}, {&S::initialEstimates}}, SsStatusInitialEstimates},
      {{kMissing, 0, mv, {&S::estimateCount, &ests}}, SsStatusEstimateCount},
      {{kMissing, 0, mv, {&S::estimates}}, SsStatusEstimates},
      {{kMissing, 0, mv, {&S::simulatedCount, &sims}}, SsStatusSimulatedCount},
      {{kMissing, 0, mv, {&S::simulated}}, SsStatusSimulated},
      {{kMissing, 0, mv, {&S::simulated}, {&S::missingParams, no_sets}}, SsStatusOk},
      {{kMissing, 0, mv, {&S::priorCount, &three}}, SsStatusPriorCount},
      {{kMissing, 0, mv, {&S::priorCount, &eleven}, {&S::prior}}, SsStatusPrior},
      {{kMissing, 0, mv, {&S::data}}, SsStatusData},
      {{kMissing, 0, mv, {&S::data, gone.data()}, {&S::simulatedCount, &all}}, SsStatusCovRank},
      {{kMissing, 0, mv, {&S::data, flat.data()}}, SsStatusFactor},
      {{kMissing, 0, fast}, SsStatusMethod},
      {{kMad, med, fast, {&S::medianDeviation}}, SsStatusMedianDeviation},
      {{kMad, avg, fast, {&S::meanDeviation}}, SsStatusMeanDeviation},
      {{kMad, med, user}, SsStatusMethod},
      {{kMad, avg, user}, SsStatusOk},
      {{kMad, avg, user, {&S::mean}}, SsStatusMean},
      {{kMad, avg, one}, SsStatusMethod},
      {{kMahal, 0, fast, {&S::mean}}, SsStatusMean},
      {{kMahal, 0, fast, {&S::cov}}, SsStatusCov},
      {{kMahal, 0, fast, {&S::outlierWeights}}, SsStatusOutlierWeights},
      {{kMahal, 0, fast}, SsStatusOk},
      {{kMahal, 0, one}, SsStatusMethod},
      {{kOutliers, 0, fast}, SsStatusMethod},
      {{kOutliers, 0, out, {&S::outlierWeights}}, SsStatusOutlierWeights},
      {{kRobustCov, 0, fast}, SsStatusMethod},
      {{kRobustCov, 0, tbs, {&S::robustCov}}, SsStatusRobustCov},
      {{kRobustCov, 0, tbs, {&S::robustMean}, {&S::robustCov}}, SsStatusRobustMean},
      {{kRobustCov, 0, tbs, {&S::robustCovStorage}}, SsStatusStorage},
      {{kRobustCov, 0, tbs, {&S::robustCovStorage, &three}}, SsStatusStorageValue}};
  for (size_t k = 0; k < std::size(rows); ++k) EXPECT_EQ(rows[k].first.template run<T>(), rows[k].second) << "row " << k;
  for (int e = 0; e < kEntries; ++e) EXPECT_EQ(entry<T>(Entry(e), nullptr, 0, 0), SsStatusNullTask) << e;
}
TEST(SsTask, EntryStatusesDouble) { entry_statuses<double>(); }
TEST(SsTask, EntryStatusesFloat) { entry_statuses<float>(); }

// Argument k of a compound editor: base + k, as whatever pointer is asked for.
struct Args {
  char *base;
  struct Arg {
    char *p;
    template <class P>
    operator P *() const { return reinterpret_cast<P *>(p); }
  };
  Arg operator[](int k) const { return {base ? base + k : nullptr}; }
};

// Every code from 1 to 79 is taken by exactly one of the two kinds of edit entry and sets a
// field of its own, nothing else; a null value leaves that field as it was. The compound editors
// set the fields of their arguments' codes (those of the basic results are covered by binding
// them in every computation); null arguments keep the fields.
TEST(SsTask, EveryCodeSetsOneDistinctFieldAndTheEditorsTheirCodes) {
  int64_t p = 2;
  SsTask *t = nullptr;
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1), 0);
  std::map<int64_t, size_t> offset;  // by code
  auto field = [&](size_t off) { return *reinterpret_cast<void **>(reinterpret_cast<char *>(t) + off); };
  for (int64_t code = 1; code <= SsEditSortedStorage; ++code) {
    SsTask before;
    std::memcpy(&before, t, sizeof before);
    char marker;
    const int d = _rnxdSSEditTask(t, code, reinterpret_cast<const double *>(&marker));
    const int i = _rnxiSSEditTask(t, code, &marker);
    ASSERT_TRUE((d == 0) != (i == 0)) << "code " << code;
    EXPECT_NE(d == 0 ? _rnxdSSEditTask(t, code, nullptr) : _rnxiSSEditTask(t, code, nullptr), 0);
    int changed = 0;
    for (size_t off = 0; off + sizeof(void *) <= sizeof(SsTask); off += sizeof(void *)) {
      void *was;
      std::memcpy(&was, reinterpret_cast<char *>(&before) + off, sizeof was);
      if (was == field(off)) continue;
      ++changed;
      EXPECT_EQ(field(off), &marker) << "code " << code;
      for (const auto &[other, o] : offset) EXPECT_NE(o, off) << "codes " << code << " and " << other;
      offset[code] = off;
    }
    EXPECT_EQ(changed, 1) << "code " << code;
    std::memcpy(static_cast<void *>(t), &before, sizeof before);
  }
  char m[10];
  const Args a{m}, none{nullptr};
  EXPECT_EQ(__rnxsSSEditOutDetect(nullptr, a[0], a[1], a[2]), SsStatusNullTask);
  ASSERT_EQ(__rnxsSSEditOutDetect(t, a[0], a[1], a[2]), 0);
  ASSERT_EQ(__rnxdSSEditMissingVals(t, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9]), 0);
  ASSERT_EQ(__rnxdSSEditMissingVals(t, none[0], none[1], none[2], none[3], none[4], none[5], none[6], none[7],
                                    none[8], none[9]), 0);
  const int64_t outliers[] = {SsEditOutlierParamCount, SsEditOutlierParams, SsEditOutlierWeights},
                missing[] = {SsEditMissingParamCount, SsEditMissingParams, SsEditInitialEstimateCount,
                             SsEditInitialEstimates, SsEditPriorCount, SsEditPrior, SsEditSimulatedCount,
                             SsEditSimulated, SsEditEstimateCount, SsEditEstimates};
  for (int k = 0; k < 10; ++k)
    EXPECT_TRUE(field(offset[missing[k]]) == m + k && (k > 2 || field(offset[outliers[k]]) == m + k)) << k;
  _rnxSSDeleteTask(&t);
}

// A user-mean computation keeps the mean in owned scratch; deletion frees it (the sanitizer build
// reports a leak otherwise) before the clean-ups run.
TEST(SsTask, DeleteFreesScratchThenCleansUpThenTheRecord) {
  static SsTask *cleaned = nullptr;
  static bool scratch_gone_first = false;
  EXPECT_EQ(_rnxSSDeleteTask(nullptr), SsStatusNullTask);
  EXPECT_EQ(_rnxSSDeleteTask(&cleaned), SsStatusNullTask);
  Basic<double> b(make_data<double>(2, 20, false, false, false, 3), SsMethodFastUserMean);
  ASSERT_EQ(b(SsEstimateC2m, SsMethodFastUserMean), 0);
  SsTask *&t = b.task.t, *seen = t;
  ASSERT_NE(t->previousMean, nullptr);
  t->cleanupCount = 1;
  t->cleanups[0] = [](SsTask *k) { cleaned = k, scratch_gone_first = !k->previousMean; };
  EXPECT_EQ(_rnxSSDeleteTask(&t), SsStatusOk);
  EXPECT_TRUE(t == nullptr && cleaned == seen && scratch_gone_first);
}

}  // namespace
