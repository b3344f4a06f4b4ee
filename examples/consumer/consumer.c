/* Calls one entry of each subsystem of an installed zyn and checks the results; exits non-zero
 * on the first wrong one. Written in C99 against the installed headers only. */
#include <math.h>
#include <stdint.h>
#include <stdio.h>

#include <zyn/dist.h>
#include <zyn/fitting.h>
#include <zyn/rng.h>
#include <zyn/stats.h>
#include <zyn/version.h>
#include <zyn/vex.h>

static int failures = 0;

static void check(int ok, const char *what) {
  printf("%s %s\n", ok ? "ok  " : "FAIL", what);
  if (!ok) ++failures;
}

/* Square roots of perfect squares are exact at every level. */
static void vector_row(void) {
  double a[5] = {0.0, 1.0, 4.0, 2.25, 1e10}, y[5];
  const double want[5] = {0.0, 1.0, 2.0, 1.5, 1e5};
  int ok = 1, i;
  _vexdSqrt(5, a, y);
  for (i = 0; i < 5; ++i) ok &= y[i] == want[i];
  check(ok, "vdSqrt");
}

/* MCG31M1 against its recurrence x' = 1132489760 x mod (2^31 - 1), seed 1. */
static void generator(void) {
  const uint32_t seed[1] = {1};
  StreamState *s = NULL;
  uint32_t r[20];
  uint64_t x = 1;
  int ok, i;
  ok = __rnxNewStreamEx(&s, RNX_BRNG_MCG31, 1, seed) == RNX_STATUS_OK &&
       __rnxiBRngMCG31M1(s, 20, r) == RNX_STATUS_OK;
  for (i = 0; ok && i < 20; ++i, x = x * 1132489760u % 2147483647u) ok = r[i] == x;
  __rnxDeleteStream(&s);
  check(ok, "MCG31M1 stream");
}

/* Gaussian numbers: sample mean and deviation within five standard errors. */
static void distribution(void) {
  enum { n = 20000 };
  static double g[n];
  const uint32_t seed[1] = {7};
  StreamState *s = NULL;
  double sum = 0, sq = 0, mean, dev;
  int ok, i;
  ok = __rnxNewStreamEx(&s, RNX_BRNG_MCG59, 1, seed) == RNX_STATUS_OK &&
       _rnxdRngGaussian(GaussianMethodBoxMuller2, s, n, g, 10.0, 2.0) == RNX_STATUS_OK;
  __rnxDeleteStream(&s);
  for (i = 0; i < n; ++i) sum += g[i];
  mean = sum / n;
  for (i = 0; i < n; ++i) sq += (g[i] - mean) * (g[i] - mean);
  dev = sqrt(sq / (n - 1));
  check(ok && fabs(mean - 10.0) < 5 * 2.0 / sqrt(n) && fabs(dev - 2.0) < 5 * 2.0 / sqrt(2.0 * n),
        "Gaussian sampler");
}

/* Mean and variance (sums of squared deviations over n - 1) of two variables of small integers.
 * A null threader runs the estimate serially. */
static void statistics(void) {
  const double x[2][8] = {{1, 2, 3, 4, 5, 6, 7, 8}, {3, -1, 4, -1, 5, -9, 2, 6}};
  const double want_mean[2] = {4.5, 1.125}, want_c2m[2] = {42.0 / 7, 162.875 / 7};
  int64_t p = 2, n = 8, storage = SsStorageByVariable;
  double mean[2], r2m[2], c2m[2];
  SsTask *task = NULL;
  int i, ok = _rnxdSSNewTask(&task, &p, &n, &storage, &x[0][0], NULL, NULL, 1) == 0 &&
           __rnxdSSEditMoments(task, mean, r2m, NULL, NULL, c2m, NULL, NULL) == 0 &&
           _rnxdSSBasic(task, SsEstimateMean | SsEstimateC2m, SsMethodFast, NULL) == 0;
  _rnxSSDeleteTask(&task);
  for (i = 0; ok && i < 2; ++i)
    ok = mean[i] == want_mean[i] && fabs(c2m[i] - want_c2m[i]) < 1e-14 * want_c2m[i];
  check(ok, "summary statistics");
}

/* A natural cubic spline through points of a line is that line. */
static void spline(void) {
  enum { nx = 6, nsite = 4 };
  const double x[nx] = {0, 0.5, 1.5, 2, 3.25, 4};
  const double site[nsite] = {0.25, 1.0, 2.5, 3.9};
  const int64_t order[1] = {1};
  double y[nx], coeff[4 * (nx - 1)], r[nsite];
  DfTask *task = NULL;
  int ok, i;
  for (i = 0; i < nx; ++i) y[i] = 3 * x[i] + 1;
  ok = zyn_df_kernel_dNewTask1D(&task, nx, x, DF_PARTITION_NON_UNIFORM, 1, y, DF_FUNCS_ROWS, 1) ==
           DF_STATUS_OK &&
       zyn_df_kernel_dEditPPSpline1D(task, DF_PP_CUBIC, DF_PP_NATURAL, DF_BC_FREE_END, NULL,
                                     DF_NO_IC, NULL, coeff, DF_COEFF_ROWS) == DF_STATUS_OK &&
       zyn_df_kernel_dDFNaturalCubicSpline1D(task, 0, 0, NULL) == DF_STATUS_OK &&
       zyn_df_kernel_dDFInterpolate1D(task, DF_INTERP, 0, nsite, site, DF_SORTED_DATA, 1, order,
                                      NULL, r, DF_MATRIX_STORAGE_ROWS, NULL, NULL, NULL, NULL,
                                      NULL, NULL, NULL, NULL, NULL, NULL) == DF_STATUS_OK;
  zyn_df_kernel_DeleteTask(&task);
  for (i = 0; ok && i < nsite; ++i) ok = fabs(r[i] - (3 * site[i] + 1)) < 1e-12;
  check(ok, "natural cubic spline");
}

int main(void) {
  printf("zyn %s\n", ZYN_VERSION_STRING);
  vector_row();
  generator();
  distribution();
  statistics();
  spline();
  return failures == 0 ? 0 : 1;
}
