// Construction and interpolation split over 7 threads, with shares that leave some threads
// short or empty, give exactly the one-thread results: with a caller's table of real threads
// and with the core library's pool.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "zyn/core.h"
#include "zyn/fitting.h"

namespace {

int g_threads = 1;
void run_threads(int threads, int, void *params, zyn_thread_body body) {
  std::vector<std::thread> pool;
  for (int k = 1; k < threads; ++k) pool.emplace_back(body, k, threads, params);
  body(0, threads, params);
  for (auto &t : pool) t.join();
}
int limit() { return g_threads; }
const ZynThreading kTable = {run_threads, nullptr, nullptr, nullptr, limit};

struct Fit {
  std::vector<double> c, r;
  std::vector<int64_t> cell, found;
};

// 9 functions on 700 breakpoints (7 threads take 2, 2, 2, 2, 1, 0, 0 of them), evaluated at
// 14 interpolation blocks of sites less 100, whose cells are also searched alone (447 search
// blocks and a tail: 7 threads leave blocks over).
Fit fit(const ZynThreading *th) {
  constexpr int64_t nx = 700, ny = 9, nsite = 14 * DF_INTERP_BLOCK - 100;
  std::vector<double> x(nx), y(nx * ny), s(nsite);
  for (int64_t i = 0; i < nx; ++i) x[i] = i + 0.4 * std::sin(3.0 * i);
  for (int64_t f = 0; f < ny; ++f)
    for (int64_t i = 0; i < nx; ++i) y[f * nx + i] = std::cos((f + 1) * 0.01 * x[i]);
  for (int64_t i = 0; i < nsite; ++i) s[i] = -5 + (nx + 10) * std::fmod(i * 0.6180339887, 1.0);
  Fit out{std::vector<double>(4 * (nx - 1) * ny), std::vector<double>(nsite * ny),
          std::vector<int64_t>(nsite), std::vector<int64_t>(nsite)};
  DfTask *t = nullptr;
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, x.data(), DF_PARTITION_NON_UNIFORM, ny, y.data(),
                                     DF_NO_HINT, 1), 0);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, DF_PP_CUBIC, DF_PP_NATURAL, DF_BC_FREE_END, nullptr,
                                          DF_NO_IC, nullptr, out.c.data(), DF_NO_HINT), 0);
  EXPECT_EQ(zyn_df_kernel_dDFNaturalCubicSpline1D(t, 0, 0, th), 0);
  const int64_t dorder[] = {1};
  EXPECT_EQ(zyn_df_kernel_dDFInterpolate1D(t, DF_INTERP | DF_CELL, 0, nsite, s.data(), DF_NO_HINT,
                                           1, dorder, nullptr, out.r.data(), DF_NO_HINT,
                                           out.cell.data(), nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, th), 0);
  EXPECT_EQ(zyn_df_kernel_dDFSearch1D(t, 0, nsite, s.data(), DF_NO_HINT, nullptr, out.found.data(),
                                       nullptr, nullptr, th), 0);
  zyn_df_kernel_DeleteTask(&t);
  return out;
}

TEST(FittingThreads, SevenThreadsAndThePoolMatchOneThread) {
  g_threads = 1;
  const Fit one = fit(&kTable);
  g_threads = 7;
  const Fit seven = fit(&kTable);
  const Fit pool = fit(&zyn_serv_df_threading);
  for (const Fit *other : {&seven, &pool}) {
    EXPECT_EQ(other->c, one.c);
    EXPECT_EQ(other->r, one.r);
    EXPECT_EQ(other->cell, one.cell);
    EXPECT_EQ(other->found, one.cell);
  }
}

}  // namespace
