// The task record: creation and edit statuses, every code's field, the compound editors,
// deletion.
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
