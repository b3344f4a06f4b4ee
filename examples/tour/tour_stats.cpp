// Summary statistics: moments and the correlation matrix of a small data set, accumulated over
// two calls, on the core library's worker pool.
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
}
