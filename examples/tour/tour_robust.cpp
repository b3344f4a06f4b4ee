// Robust statistics: outliers planted among correlated Gaussian data are flagged by BACON, and the
// robust covariance stays near the truth where the classical one does not.
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "tour.hpp"
#include "zyn/stats.h"

void tour_robust() {
  printf("\nrobust statistics\n");
  // 500 observations of 3 variables with unit variances and correlation 0.6; the first 40 moved
  // by 5 along (1, -1, 1), far off the data's main axis.
  int64_t p = 3, n = 500, storage = SsStorageByObservation, full = SsMatrixFull;
  const int64_t bad = 40;
  std::vector<double> x(p * n), flags(n), mean(p), cov(p * p), rmean(p), rcov(p * p);
  std::mt19937_64 g(2024);
  std::normal_distribution<double> z;
  for (int64_t j = 0; j < n; ++j) {
    const double common = z(g);
    for (int64_t i = 0; i < p; ++i)
      x[j * p + i] = std::sqrt(0.6) * common + std::sqrt(0.4) * z(g) + (j < bad ? (i % 2 ? -5 : 5) : 0);
  }
  SsTask *task = nullptr;
  int status = _rnxdSSNewTask(&task, &p, &n, &storage, x.data(), nullptr, nullptr, 1);
  if (status == 0) status = __rnxdSSEditOutDetect(task, nullptr, nullptr, flags.data());
  if (status == 0) status = _rnxdSSOutliersDetection(task, 0, SsMethodOutliers, &zyn_serv_ss_threader);
  if (status == 0) status = __rnxdSSEditCovCor(task, mean.data(), cov.data(), &full, nullptr, nullptr);
  if (status == 0) status = _rnxdSSBasic(task, SsEstimateMean | SsEstimateCov, SsMethodFast, nullptr);
  if (status == 0) status = __rnxdSSEditRCov(task, &full, nullptr, nullptr, rmean.data(), rcov.data());
  if (status == 0)
    status = _rnxdSSRobustCovariance(task, 0, SsMethodRobustTbs, &zyn_serv_ss_threader);
  _rnxSSDeleteTask(&task);
  if (status != 0) {
    printf("  robust statistics failed with status %d\n", status);
    return;
  }
  int64_t caught = 0, lost = 0;
  for (int64_t j = 0; j < n; ++j) (j < bad ? caught : lost) += flags[j] == 0;
  printf("  BACON: %lld of %lld planted outliers flagged, %lld of %lld clean observations\n",
         static_cast<long long>(caught), static_cast<long long>(bad), static_cast<long long>(lost),
         static_cast<long long>(n - bad));
  printf("  covariance (truth: 1 on the diagonal, 0.6 off it)\n  %-10s", "classical");
  for (double v : cov) printf(" %6.2f", v);
  printf("\n  %-10s", "robust");
  for (double v : rcov) printf(" %6.2f", v);
  printf("\n");
}
