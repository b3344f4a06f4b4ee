// Data fitting: a natural cubic spline through air density against altitude (the 1976 standard
// atmosphere), evaluated with its derivatives between the tabulated heights; an Akima spline
// beside it; the mass of air above a square metre within altitude bands, by integration.
#include <cstdio>

#include "tour.hpp"
#include "zyn/fitting.h"

namespace {
// Altitude in km and density in kg/m^3.
const double kAltitude[] = {0, 1, 2, 3, 4, 5, 6, 8, 10, 12, 15, 20};
const double kDensity[] = {1.225,  1.112,  1.007,  0.9093, 0.8194, 0.7364,
                           0.6601, 0.5258, 0.4135, 0.3119, 0.1948, 0.08891};
constexpr int64_t kN = sizeof kAltitude / sizeof kAltitude[0];

int values(DfTask *task, const double *sites, int64_t nsite, double *r) {
  return zyn_df_kernel_dDFInterpolate1D(task, DF_INTERP, 0, nsite, sites, DF_SORTED_DATA, 0,
                                        nullptr, nullptr, r, DF_MATRIX_STORAGE_ROWS, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, &zyn_serv_df_threading);
}

// Akima's spline follows the data from nearby points only, with no system to solve; between the
// tabulated heights it stays within a percent of the natural spline here (the widest gap, near
// 20 km, between the two widest cells).
int akima_beside_natural(DfTask *natural, const double *sites, int64_t nsite) {
  double coeff[4 * (kN - 1)], a[8], n[8];
  DfTask *task = nullptr;
  int st = zyn_df_kernel_dNewTask1D(&task, kN, kAltitude, DF_PARTITION_NON_UNIFORM, 1, kDensity,
                                    DF_FUNCS_ROWS, 1);
  if (st == DF_STATUS_OK)
    st = zyn_df_kernel_dEditPPSpline1D(task, DF_PP_CUBIC, DF_PP_AKIMA, DF_BC_FREE_END, nullptr,
                                       DF_NO_IC, nullptr, coeff, DF_COEFF_ROWS);
  if (st == DF_STATUS_OK) st = zyn_df_kernel_dDFAkimaCubicSpline1D(task, 0, 0, nullptr);
  if (st == DF_STATUS_OK) st = values(task, sites, nsite, a);
  if (st == DF_STATUS_OK) st = values(natural, sites, nsite, n);
  if (st == DF_STATUS_OK) {
    printf("  %8s %14s %14s %12s\n", "km", "Akima", "natural", "difference");
    for (int64_t i = 0; i < nsite; ++i)
      printf("  %8.2f %14.5f %14.5f %11.3f%%\n", sites[i], a[i], n[i], 100 * (a[i] - n[i]) / n[i]);
  }
  zyn_df_kernel_DeleteTask(&task);
  return st;
}

// The column mass of each band, the integral of density over altitude (km times kg/m^3, so
// times 1000 for kg/m^2); the bands below 20 km add up to 0 to 20 km.
int column_mass(DfTask *task) {
  const double lo[] = {0, 0, 5, 10, 2}, hi[] = {20, 5, 10, 20, 3};
  const int64_t n = sizeof lo / sizeof lo[0];
  double r[n];
  const int st = zyn_df_kernel_dDFIntegrate1D(task, 0, n, lo, DF_NO_HINT, hi, DF_NO_HINT, nullptr,
                                              nullptr, r, DF_MATRIX_STORAGE_ROWS, nullptr, nullptr,
                                              nullptr, nullptr, nullptr, nullptr, nullptr,
                                              nullptr, &zyn_serv_df_threading);
  if (st == DF_STATUS_OK) {
    printf("  air above a square metre, natural spline of the density:\n");
    for (int64_t i = 0; i < n; ++i)
      printf("  %5.1f to %4.1f km: %9.1f kg/m^2\n", lo[i], hi[i], 1000 * r[i]);
  }
  return st;
}
}  // namespace

void tour_fitting() {
  printf("\nfitting: natural cubic spline of air density over %lld altitudes\n",
         static_cast<long long>(kN));
  double coeff[4 * (kN - 1)];
  DfTask *task = nullptr;
  int st = zyn_df_kernel_dNewTask1D(&task, kN, kAltitude, DF_PARTITION_NON_UNIFORM, 1, kDensity,
                                    DF_FUNCS_ROWS, 1);
  if (st == DF_STATUS_OK)
    st = zyn_df_kernel_dEditPPSpline1D(task, DF_PP_CUBIC, DF_PP_NATURAL, DF_BC_FREE_END, nullptr,
                                       DF_NO_IC, nullptr, coeff, DF_COEFF_ROWS);
  if (st == DF_STATUS_OK)
    st = zyn_df_kernel_dDFNaturalCubicSpline1D(task, 0, 0, &zyn_serv_df_threading);
  const double sites[] = {0.5, 2.5, 7.0, 9.0, 13.5, 17.5};
  const int64_t nsite = sizeof sites / sizeof sites[0];
  const int64_t orders[3] = {1, 1, 1};  // value, first and second derivative
  double r[3 * nsite];
  if (st == DF_STATUS_OK)
    st = zyn_df_kernel_dDFInterpolate1D(task, DF_INTERP, 0, nsite, sites, DF_SORTED_DATA, 3, orders,
                                        nullptr, r, DF_MATRIX_STORAGE_ROWS, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, &zyn_serv_df_threading);
  if (st == DF_STATUS_OK) {
    printf("  %8s %14s %18s %20s\n", "km", "kg/m^3", "d/dkm", "d2/dkm2");
    for (int64_t i = 0; i < nsite; ++i)
      printf("  %8.2f %14.5f %18.5f %20.5f\n", sites[i], r[3 * i], r[3 * i + 1], r[3 * i + 2]);
    printf("  (free ends: the second derivative is zero at 0 km and at 20 km)\n");
  }
  if (st == DF_STATUS_OK) st = akima_beside_natural(task, sites, nsite);
  if (st == DF_STATUS_OK) st = column_mass(task);
  if (st != DF_STATUS_OK) printf("  fitting failed with status %d\n", st);
  zyn_df_kernel_DeleteTask(&task);
}
