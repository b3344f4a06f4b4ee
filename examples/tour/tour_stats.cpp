// Summary statistics: moments and the correlation matrix of a small data set, accumulated over
// two calls, on the core library's worker pool; then its quartiles, extremes, weighted median
// and stream quartiles; pooled and partial covariance; a missing value imputed.
#include <cmath>
#include <cstdio>

#include "tour.hpp"
#include "zyn/stats.h"

namespace {

// Twelve days of a small weather station: temperature (C), pressure (hPa), humidity (%),
// one observation per row.
constexpr int64_t kVars = 3, kDays = 12;
const double kWeather[kDays][kVars] = {
    {14.2, 1016.1, 71}, {15.8, 1013.4, 66}, {17.1, 1010.2, 62}, {13.9, 1018.3, 75},
    {12.4, 1021.0, 80}, {16.3, 1012.8, 64}, {18.9, 1008.1, 55}, {19.4, 1007.5, 52},
    {17.7, 1009.9, 58}, {15.0, 1015.2, 69}, {13.1, 1019.6, 77}, {16.8, 1011.7, 61}};
const char *kNames[kVars] = {"temperature", "pressure", "humidity"};
// Hours of observation behind each day's values: the weights of the weighted median.
const double kHours[kDays] = {24, 24, 12, 24, 6, 24, 24, 18, 24, 24, 12, 24};

// Exact quartiles, minimum and maximum, the weighted median, and quartiles of a stream fed in
// three portions of four days (within 10% in rank).
void order_statistics() {
  int64_t p = kVars, n = kDays, storage = SsStorageByObservation, count = 3, one = 1;
  const double quartiles[3] = {0.25, 0.5, 0.75}, eps = 0.1;
  double q[kVars * 3], lo[kVars], hi[kVars], median[kVars], stream[kVars * 3];
  for (int64_t i = 0; i < kVars; ++i) lo[i] = HUGE_VAL, hi[i] = -HUGE_VAL;
  SsTask *task = nullptr;
  int status = _rnxdSSNewTask(&task, &p, &n, &storage, &kWeather[0][0], kHours, nullptr, 1);
  if (status == 0) status = __rnxdSSEditQuantiles(task, &count, quartiles, q, nullptr, nullptr);
  if (status == 0) status = _rnxdSSEditTask(task, SsEditMinimum, lo);
  if (status == 0) status = _rnxdSSEditTask(task, SsEditMaximum, hi);
  if (status == 0)
    status = _rnxdSSQuantiles(task, SsEstimateQuantiles, SsMethodFast, &zyn_serv_ss_threader);
  if (status == 0)
    status = _rnxdSSMinmax(task, SsEstimateMinimum | SsEstimateMaximum, SsMethodFast, nullptr);
  // The weighted median writes to `quantiles`: point it at its own array.
  if (status == 0) status = _rnxdSSEditTask(task, SsEditQuantiles, median);
  if (status == 0) status = _rnxdSSWMedian(task, 0, SsMethodFast, &zyn_serv_ss_threader);
  if (status == 0)
    status = __rnxdSSEditStreamQuantiles(task, &count, quartiles, stream, &one, &eps);
  for (int64_t k = 0; k < 3 && status == 0; ++k) {
    n = kDays / 3;  // the task reads n through its pointer
    status = _rnxdSSEditTask(task, SsEditData, &kWeather[k * n][0]);
    if (status == 0)
      status = _rnxdSSStreamQuantiles(task, 0, k < 2 ? SsMethodStreamFeed : SsMethodStream, nullptr);
  }
  _rnxSSDeleteTask(&task);
  if (status != 0) {
    printf("  order statistics failed with status %d\n", status);
    return;
  }
  printf("  order statistics; the weighted median weighs days by their hours observed\n");
  printf("  %-12s %8s %8s %8s %8s %8s %9s  %s\n", "", "min", "q1", "median", "q3", "max",
         "weighted", "stream quartiles (eps 0.1)");
  for (int64_t i = 0; i < kVars; ++i)
    printf("  %-12s %8.1f %8.1f %8.1f %8.1f %8.1f %9.1f  %.1f %.1f %.1f\n", kNames[i], lo[i],
           q[i * 3], q[i * 3 + 1], q[i * 3 + 2], hi[i], median[i], stream[i * 3],
           stream[i * 3 + 1], stream[i * 3 + 2]);
}

// Pooled covariance of the two weeks' halves as groups (first six days, last six), and the
// partial correlation of temperature and humidity given pressure from the correlation matrix.
void covariances(const double *cor) {
  int64_t p = kVars, n = kDays, storage = SsStorageByObservation, full = SsMatrixFull;
  int64_t groups[kDays], flags[2] = {0, 0}, roles[kVars] = {1, -1, 1};
  for (int64_t j = 0; j < kDays; ++j) groups[j] = j < kDays / 2 ? 0 : 1;
  double pooled_mean[kVars], pooled_cov[kVars * kVars], group_means[2 * kVars], partial[4];
  SsTask *task = nullptr;
  int status = _rnxdSSNewTask(&task, &p, &n, &storage, &kWeather[0][0], nullptr, nullptr, 1);
  if (status == 0)
    status = __rnxdSSEditPooledCovariance(task, groups, pooled_mean, pooled_cov, flags,
                                          group_means, nullptr);
  if (status == 0) status = _rnxiSSEditTask(task, SsEditPooledCovStorage, &full);
  if (status == 0)
    status = _rnxdSSPooledCovariance(task, SsEstimatePooledCov | SsEstimateGroupMeans,
                                     SsMethodOnePass, &zyn_serv_ss_threader);
  if (status == 0)
    status = __rnxdSSEditPartialCovCor(task, roles, nullptr, nullptr, const_cast<double *>(cor),
                                       &full, nullptr, nullptr, partial, &full);
  if (status == 0)
    status = _rnxdSSPartialCovariance(task, SsEstimatePartialCor, SsMethodFast, nullptr);
  _rnxSSDeleteTask(&task);
  if (status != 0) {
    printf("  covariances failed with status %d\n", status);
    return;
  }
  printf("  two groups of six days: means, and the pooled within-group covariance\n");
  for (int64_t i = 0; i < kVars; ++i) {
    printf("  %-12s %8.2f %8.2f   ", kNames[i], group_means[i], group_means[kVars + i]);
    for (int64_t l = 0; l < kVars; ++l) printf(" %8.3f", pooled_cov[i * kVars + l]);
    printf("\n");
  }
  printf("  temperature and humidity: correlation %.3f, partial correlation given pressure %.3f\n",
         cor[2], partial[1]);
}

// The humidity of day 5 blanked (NaN): the mean and covariance by EM, then 200 iterations of
// data augmentation, the last drawing one imputed value.
void missing_value() {
  int64_t p = kVars, n = kDays, storage = SsStorageByObservation, five = 5, sets = 1, count = 201 * 9;
  double x[kDays][kVars], params[5] = {100, 1e-10, 200, NAN, 1}, imputed, estimates[201 * 9];
  for (int64_t j = 0; j < kDays; ++j)
    for (int64_t i = 0; i < kVars; ++i) x[j][i] = kWeather[j][i];
  x[4][2] = NAN;
  SsTask *task = nullptr;
  int status = _rnxdSSNewTask(&task, &p, &n, &storage, &x[0][0], nullptr, nullptr, 1);
  if (status == 0)
    status = __rnxdSSEditMissingVals(task, &five, params, nullptr, nullptr, nullptr, nullptr, &sets,
                                     &imputed, &count, estimates);
  if (status == 0) status = _rnxdSSMissingValues(task, 0, SsMethodMissing, &zyn_serv_ss_threader);
  _rnxSSDeleteTask(&task);
  if (status != 0) {
    printf("  missing values failed with status %d\n", status);
    return;
  }
  printf("  humidity of day 5 blanked (it was %.0f): EM mean humidity %.2f, variance %.2f;\n",
         kWeather[4][2], estimates[2], estimates[8]);
  printf("  a value imputed by data augmentation: %.2f\n", imputed);
}

}  // namespace

void tour_stats() {
  printf("\nsummary statistics\n");
  int64_t p = kVars, n = kDays / 2, storage = SsStorageByObservation, full = SsMatrixFull;
  double mean[kVars], r2m[kVars], r3m[kVars], r4m[kVars], c2m[kVars], c3m[kVars], c4m[kVars];
  double kurtosis[kVars], skewness[kVars], cor[kVars * kVars], accumulated[2] = {0, 0};
  SsTask *task = nullptr;
  int status = _rnxdSSNewTask(&task, &p, &n, &storage, &kWeather[0][0], nullptr, nullptr, 1);
  if (status == 0) status = __rnxdSSEditMoments(task, mean, r2m, r3m, r4m, c2m, c3m, c4m);
  if (status == 0) status = __rnxdSSEditCovCor(task, nullptr, nullptr, nullptr, cor, &full);
  if (status == 0) status = _rnxdSSEditTask(task, SsEditKurtosis, kurtosis);
  if (status == 0) status = _rnxdSSEditTask(task, SsEditSkewness, skewness);
  if (status == 0) status = _rnxdSSEditTask(task, SsEditAccumulatedWeights, accumulated);
  const uint64_t wanted = SsEstimateMean | SsEstimateC2m | SsEstimateSkewness |
                          SsEstimateKurtosis | SsEstimateCor;
  // The data arrive in two halves; the result arrays carry the state between the calls.
  for (int half = 0; half < 2 && status == 0; ++half) {
    if (half == 1) status = _rnxdSSEditTask(task, SsEditData, &kWeather[kDays / 2][0]);
    if (status == 0) status = _rnxdSSBasic(task, wanted, SsMethodFast, &zyn_serv_ss_threader);
  }
  if (status != 0) {
    printf("  statistics failed with status %d\n", status);
    _rnxSSDeleteTask(&task);
    return;
  }
  printf("  %d observations of %d variables, in two blocks\n", static_cast<int>(accumulated[0]),
         static_cast<int>(kVars));
  printf("  %-12s %10s %10s %10s %10s\n", "", "mean", "variance", "skewness", "kurtosis");
  for (int64_t i = 0; i < kVars; ++i)
    printf("  %-12s %10.3f %10.3f %10.3f %10.3f\n", kNames[i], mean[i], c2m[i], skewness[i],
           kurtosis[i]);
  printf("  correlation\n");
  for (int64_t i = 0; i < kVars; ++i) {
    printf("  %-12s", kNames[i]);
    for (int64_t l = 0; l < kVars; ++l) printf(" %7.3f", cor[i * kVars + l]);
    printf("\n");
  }
  _rnxSSDeleteTask(&task);
  order_statistics();
  covariances(cor);
  missing_value();
}
