// Task object: creation checks, edit codes, compound editors, deletion.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "stats_test.hpp"

using namespace sstest;

namespace {

TEST(SsTask, NewTaskChecksInOrder) {
  SsTask *t = nullptr;
  int64_t p = 3, n = 10, zero = 0, by_var = SsStorageByVariable, bad = 0x40000;
  double x[30] = {};
  EXPECT_EQ(_rnxdSSNewTask(&t, nullptr, &n, &by_var, x, nullptr, nullptr, 1), SsStatusDimension);
  EXPECT_EQ(_rnxdSSNewTask(&t, &zero, nullptr, nullptr, x, nullptr, nullptr, 1), SsStatusDimension);
  EXPECT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, x, nullptr, nullptr, 1), SsStatusStorage);
  EXPECT_EQ(_rnxdSSNewTask(&t, &p, nullptr, &bad, x, nullptr, nullptr, 1), SsStatusStorageValue);
  EXPECT_EQ(_rnxdSSNewTask(&t, &p, nullptr, &by_var, x, nullptr, nullptr, 1), SsStatusObservations);
  EXPECT_EQ(_rnxdSSNewTask(&t, &p, &zero, &by_var, x, nullptr, nullptr, 1), SsStatusObservations);
  EXPECT_EQ(t, nullptr);
  // Without data, storage and n are not looked at.
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1), SsStatusOk);
  EXPECT_EQ(t->taskTag, 2);
  EXPECT_EQ(t->isDouble, 1);
  EXPECT_EQ(t->dimension, &p);
  EXPECT_EQ(t->mean, nullptr);
  EXPECT_EQ(_rnxSSDeleteTask(&t), SsStatusOk);
  EXPECT_EQ(t, nullptr);

  float xs[30] = {}, ws[10] = {};
  int64_t idx[3] = {1, 0, 1};
  ASSERT_EQ(_rnxsSSNewTask(&t, &p, &n, &by_var, xs, ws, idx, 1), SsStatusOk);
  EXPECT_EQ(t->isDouble, 0);
  EXPECT_EQ(t->integerWidth, 1);
  EXPECT_EQ(t->data, xs);
  EXPECT_EQ(t->weights, ws);
  EXPECT_EQ(t->indices, idx);
  EXPECT_EQ(t->observations, &n);
  EXPECT_EQ(t->storage, &by_var);
  _rnxSSDeleteTask(&t);
}

TEST(SsTask, IntegerWidthGovernsEveryCount) {
  // Little-endian: the low 32 bits hold a valid value, the high ones make the 64-bit value bad.
  const int64_t p = (int64_t(-1) << 32) | 2;            // 2 as 32 bits, negative as 64
  const int64_t storage = (int64_t(1) << 40) | SsStorageByObservation;
  const int64_t n = 4;
  double x[8] = {};
  SsTask *t = nullptr;
  EXPECT_EQ(_rnxdSSNewTask(&t, &p, &n, &storage, x, nullptr, nullptr, 1), SsStatusDimension);
  const int64_t p64 = 2;
  EXPECT_EQ(_rnxdSSNewTask(&t, &p64, &n, &storage, x, nullptr, nullptr, 1), SsStatusStorageValue);
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, &n, &storage, x, nullptr, nullptr, 0), SsStatusOk);
  // The computing entry reads 32 bits too: mean of a 2 x 4 observation-major matrix.
  const double data[8] = {1, 10, 2, 20, 3, 30, 4, 40};
  double mean[2] = {}, accw[2] = {};
  edit(t, SsEditData, data);
  edit(t, SsEditMean, mean);
  edit(t, SsEditAccumulatedWeights, accw);
  ASSERT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodOnePass, nullptr), SsStatusOk);
  EXPECT_DOUBLE_EQ(mean[0], 2.5);
  EXPECT_DOUBLE_EQ(mean[1], 25);
  // Flags are 32-bit too: {1, 0} as two 32-bit integers in one 64-bit word.
  const int64_t flags = 1;
  _rnxiSSEditTask(t, SsEditIndices, &flags);
  mean[0] = mean[1] = -1;
  accw[0] = 0;
  ASSERT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodFast, nullptr), SsStatusOk);
  EXPECT_DOUBLE_EQ(mean[0], 2.5);
  EXPECT_EQ(mean[1], -1);
  _rnxSSDeleteTask(&t);
}

TEST(SsTask, EditCodesAndStatuses) {
  int64_t p = 2;
  SsTask *t = nullptr;
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1), 0);
  double v[4] = {};
  int64_t iv = SsStorageByVariable;
  EXPECT_EQ(_rnxdSSEditTask(nullptr, SsEditMean, v), SsStatusNullTask);
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditSum, nullptr), SsStatusMean);  // same as code 7
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditMean, nullptr), SsStatusMean);
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditStorage, v), SsStatusUnknownCode);
  EXPECT_EQ(_rnxiSSEditTask(t, SsEditStorage, &iv), SsStatusOk);
  EXPECT_EQ(t->storage, &iv);
  EXPECT_EQ(_rnxiSSEditTask(t, SsEditSortedStorage, &iv), SsStatusOk);
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditSortedStorage, v), SsStatusUnknownCode);
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditSortedData, v), SsStatusOk);
  EXPECT_EQ(_rnxiSSEditTask(t, SsEditSortedData, &iv), SsStatusUnknownCode);
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditDimension, v), SsStatusUnknownCode);
  for (int64_t code : {int64_t(0), int64_t(80), int64_t(-1), int64_t(1) << 33}) {
    EXPECT_EQ(_rnxdSSEditTask(t, code, v), SsStatusUnknownCode) << code;
    EXPECT_EQ(_rnxiSSEditTask(t, code, &iv), SsStatusUnknownCode) << code;
  }
  // A null value leaves the field as it was.
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditCov, v), SsStatusOk);
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditCov, nullptr), SsStatusCov);
  EXPECT_EQ(t->cov, v);
  EXPECT_EQ(_rnxiSSEditTask(t, SsEditCovStorage, nullptr), SsStatusStorage);
  EXPECT_EQ(_rnxdSSEditTask(t, SsEditWeights, nullptr), SsStatusWeights);
  _rnxSSDeleteTask(&t);
}

// Every code from 1 to 79 is accepted by exactly one of the two kinds of edit function, and sets
// a field of its own; nothing else in the record changes.
TEST(SsTask, EveryCodeSetsOneDistinctField) {
  int64_t p = 2;
  SsTask *t = nullptr;
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1), 0);
  std::set<size_t> offsets;
  for (int64_t code = 1; code <= 79; ++code) {
    SsTask before;
    std::memcpy(&before, t, sizeof before);
    char marker;
    const int d = _rnxdSSEditTask(t, code, reinterpret_cast<const double *>(&marker));
    const int i = _rnxiSSEditTask(t, code, &marker);
    ASSERT_TRUE((d == 0) != (i == 0)) << "code " << code;
    int changed = 0;
    for (size_t off = 0; off + sizeof(void *) <= sizeof(SsTask); off += sizeof(void *)) {
      void *a, *b;
      std::memcpy(&a, reinterpret_cast<char *>(&before) + off, sizeof a);
      std::memcpy(&b, reinterpret_cast<char *>(t) + off, sizeof b);
      if (a != b) {
        ++changed;
        EXPECT_EQ(b, &marker);
        EXPECT_TRUE(offsets.insert(off).second) << "code " << code << " reuses a field";
      }
    }
    EXPECT_EQ(changed, 1) << "code " << code;
    std::memcpy(reinterpret_cast<char *>(t), &before, sizeof before);  // keep the record clean
  }
  _rnxSSDeleteTask(&t);
}

TEST(SsTask, CompoundEditorsShareOneAddress) {
  const char *stems[] = {"Moments", "Sums", "CovCor", "CP", "PartialCovCor", "Quantiles",
                         "StreamQuantiles", "PooledCovariance", "MtxParametrz", "RCov",
                         "OutDetect", "MissingVals"};
  for (const char *s : stems) {
    const std::string d = std::string("__rnxdSSEdit") + s, f = std::string("__rnxsSSEdit") + s;
    void *a = dlsym(RTLD_DEFAULT, d.c_str()), *b = dlsym(RTLD_DEFAULT, f.c_str());
    ASSERT_NE(a, nullptr) << d;
    EXPECT_EQ(a, b) << s;
  }
}

TEST(SsTask, CompoundEditorsSetInArgumentOrder) {
  int64_t p = 2;
  SsTask *t = nullptr;
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1), 0);
  double a[10][2];
  int64_t c[5];
  EXPECT_EQ(__rnxdSSEditMoments(nullptr, a[0], a[1], a[2], a[3], a[4], a[5], a[6]),
            SsStatusNullTask);
  ASSERT_EQ(__rnxdSSEditMoments(t, a[0], a[1], a[2], a[3], a[4], a[5], a[6]), 0);
  EXPECT_EQ(t->mean, a[0]);
  EXPECT_EQ(t->r4m, a[3]);
  EXPECT_EQ(t->c4m, a[6]);
  // Null arguments keep the old values.
  ASSERT_EQ(__rnxdSSEditMoments(t, nullptr, a[7], nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(t->mean, a[0]);
  EXPECT_EQ(t->r2m, a[7]);
  ASSERT_EQ(__rnxdSSEditCP(t, nullptr, a[8], a[9], &c[0]), 0);
  EXPECT_EQ(t->sum, a[8]);
  EXPECT_EQ(t->cp, a[9]);
  EXPECT_EQ(t->cpStorage, &c[0]);
  ASSERT_EQ(__rnxdSSEditMissingVals(t, &c[0], a[0], &c[1], a[1], &c[2], a[2], &c[3], a[3], &c[4],
                                    a[4]),
            0);
  EXPECT_EQ(t->missingParamCount, &c[0]);
  EXPECT_EQ(t->initialEstimates, a[1]);
  EXPECT_EQ(t->prior, a[2]);
  EXPECT_EQ(t->simulatedCount, &c[3]);
  EXPECT_EQ(t->estimates, a[4]);
  float f[2];
  ASSERT_EQ(__rnxsSSEditOutDetect(t, &c[1], f, f + 1), 0);
  EXPECT_EQ(t->outlierParams, f);
  EXPECT_EQ(t->outlierWeights, f + 1);
  _rnxSSDeleteTask(&t);
}

SsTask *g_cleaned = nullptr;
bool g_scratch_gone_first = false;
void record_cleanup(SsTask *t) {
  g_cleaned = t;
  g_scratch_gone_first = t->previousMean == nullptr;
}

TEST(SsTask, DeleteFreesScratchThenCleansUpThenTheRecord) {
  SsTask *t = nullptr;
  EXPECT_EQ(_rnxSSDeleteTask(nullptr), SsStatusNullTask);
  EXPECT_EQ(_rnxSSDeleteTask(&t), SsStatusNullTask);
  // A user-mean computation leaves previousMean; deletion frees it (the leak checker of the
  // sanitizer build would report it otherwise) before the clean-up runs.
  int64_t p = 2, n = 20, st = SsStorageByVariable;
  std::vector<double> x(40, 1.0), mean = {1.0, 1.0}, c2m(2), accw(2);
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, &n, &st, x.data(), nullptr, nullptr, 1), 0);
  edit(t, SsEditMean, mean.data());
  edit(t, SsEditR2m, c2m.data());
  edit(t, SsEditC2m, c2m.data());
  edit(t, SsEditAccumulatedWeights, accw.data());
  ASSERT_EQ(_rnxdSSBasic(t, SsEstimateC2m, SsMethodFastUserMean, nullptr), 0);
  ASSERT_NE(t->previousMean, nullptr);
  EXPECT_EQ(static_cast<double *>(t->previousMean)[1], 1.0);
  t->cleanupCount = 1;
  t->cleanups[0] = record_cleanup;
  SsTask *seen = t;
  EXPECT_EQ(_rnxSSDeleteTask(&t), SsStatusOk);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(g_cleaned, seen);
  EXPECT_TRUE(g_scratch_gone_first);
}

}  // namespace
