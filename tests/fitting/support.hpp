// Shared pieces of the fitting tests.
//   Ops<T>       the double or single entry of each operation, for tests written once for both
//   kThreading   a threading table on std::threads: g_threads threads, g_runs counts its runs
//   partition    irregular breakpoints; uniform() as a uniform task computes its breakpoints
//   sites        inside and around the partition, on breakpoints and on the ends
//   scan_cell    the linear scan, oracle of every search
//   Ctor         a constructor under test; a new constructor adds rows to kCtors and its
//                conditions to test_spline.cpp
//   Spline       a constructor's spline of functions derived from one, on a live task
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "zyn/fitting.h"

namespace dftest {

template <class T>
struct Ops;
#define ZYN_DF_OPS(P, T)                                                          \
  template <>                                                                     \
  struct Ops<T> {                                                                 \
    static constexpr auto newTask = zyn_df_kernel_##P##NewTask1D;                 \
    static constexpr auto editPtr = zyn_df_kernel_##P##EditPtr;                   \
    static constexpr auto editPP = zyn_df_kernel_##P##EditPPSpline1D;             \
    static constexpr auto search = zyn_df_kernel_##P##DFSearch1D;                 \
    static constexpr auto interpolate = zyn_df_kernel_##P##DFInterpolate1D;       \
    static constexpr auto linear = zyn_df_kernel_##P##DFLinearSpline1D;           \
    static constexpr auto natural = zyn_df_kernel_##P##DFNaturalCubicSpline1D;    \
    static constexpr auto cubic = zyn_df_kernel_##P##DFDefaultCubicSpline1D;      \
    static constexpr auto quadratic = zyn_df_kernel_##P##DFQuadraticSpline1D;     \
    static constexpr auto akima = zyn_df_kernel_##P##DFAkimaCubicSpline1D;        \
    static constexpr auto bessel = zyn_df_kernel_##P##DFBesselCubicSpline1D;      \
    static constexpr auto hyman = zyn_df_kernel_##P##DFHymanCubicSpline1D;        \
    static constexpr auto hermite = zyn_df_kernel_##P##DFHermiteCubicSpline1D;    \
    static constexpr auto integrate = zyn_df_kernel_##P##DFIntegrate1D;           \
  };
ZYN_DF_OPS(d, double)
ZYN_DF_OPS(s, float)
#undef ZYN_DF_OPS

inline int g_threads = 1;
inline std::atomic<int> g_runs{0};
inline void run_on_threads(int threads, int, void *params, zyn_thread_body worker) {
  ++g_runs;
  std::vector<std::thread> pool;
  for (int k = 1; k < threads; ++k) pool.emplace_back(worker, k, threads, params);
  worker(0, threads, params);
  for (auto &t : pool) t.join();
}
inline const ZynThreading kThreading = {run_on_threads, nullptr, nullptr, nullptr,
                                        [] { return g_threads; }};

// Sorted breakpoints over [0, 10] with irregular steps.
template <class T>
std::vector<T> partition(int64_t nx, uint32_t seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(0.2, 1.8);
  std::vector<double> acc(nx, 0);
  for (int64_t i = 1; i < nx; ++i) acc[i] = acc[i - 1] + u(g);
  std::vector<T> x(nx);
  for (int64_t i = 0; i < nx; ++i) x[i] = static_cast<T>(10.0 * acc[i] / acc[nx - 1]);
  return x;
}

// The breakpoints of a uniform partition from its ends, rounded as the library rounds them.
template <class T>
std::vector<T> uniform(int64_t nx, T lo, T hi) {
  std::vector<T> x(nx);
  const T h = (hi - lo) / static_cast<T>(nx - 1);
  for (int64_t i = 0; i + 1 < nx; ++i) x[i] = static_cast<T>(i) * h + lo;
  x[nx - 1] = hi;
  return x;
}

// Cell: 0 below x[0], i for x[i-1] <= s < x[i], nx - 1 on the last breakpoint, nx above.
template <class T>
int64_t scan_cell(const std::vector<T> &x, T s) {
  const int64_t nx = static_cast<int64_t>(x.size());
  if (s == x[nx - 1]) return nx - 1;
  int64_t c = 0;
  while (c < nx && x[c] <= s) ++c;
  return c;
}

// Random sites inside and around the partition, breakpoints, the ends. With `off_grid` sites
// keep off the inner breakpoints: on a uniform partition their cell depends on rounding.
template <class T>
std::vector<T> sites(const std::vector<T> &x, int64_t n, uint32_t seed, bool off_grid = false) {
  std::mt19937_64 g(seed);
  const double lo = x.front(), hi = x.back(), w = hi - lo;
  std::uniform_real_distribution<double> u(lo - 0.05 * w, hi + 0.05 * w);
  std::uniform_int_distribution<size_t> pick(0, x.size() - 1);
  std::vector<T> s;
  for (int64_t i = 0; i < n; ++i) {
    T v = i % 4 < 2 ? static_cast<T>(u(g)) : i % 4 == 2 ? x[pick(g)] : i % 8 == 3 ? x.front() : x.back();
    if (off_grid && v != x.front() && v != x.back()) v += static_cast<T>(0.25) * (x[1] - x[0]);
    s.push_back(v);
  }
  return s;
}

using LD = long double;
// Derivative d at t of the polynomial with coefficients q[0..order).
template <class C>
LD poly(const C *q, int64_t order, LD t, int d) {
  LD acc = 0;
  for (int64_t m = order - 1; m >= d; --m) {
    LD fall = q[m];
    for (int z = 0; z < d; ++z) fall *= static_cast<LD>(m - z);
    acc = acc * t + fall;
  }
  return acc;
}

enum Family { kLinear, kNatural, kDefault, kQuadratic, kKnots, kMidKnots, kGeneral, kAkima, kBessel, kHyman, kHermite };
// A constructor: its family, end conditions, and the degree of the polynomials it reproduces
// when bc and ic come from them. The general kind (order 6) is no constructor: tests fill its
// coefficients.
struct Ctor {
  Family family;
  int64_t bcType;
  int exact;
  int64_t order() const { return family == kLinear ? 2 : family == kGeneral ? 6 : knots() || family == kQuadratic ? 3 : 4; }
  int64_t type() const {
    const int64_t types[] = {0, DF_PP_NATURAL, 0, 0, DF_PP_SUBBOTIN, DF_PP_SUBBOTIN, 0, DF_PP_AKIMA, DF_PP_BESSEL, DF_PP_HYMAN, DF_PP_HERMITE};
    return types[family];
  }
  int64_t icType() const {
    return family == kDefault ? DF_IC_2ND_DER : family == kKnots ? DF_IC_Q_KNOT
           : family == kMidKnots ? DF_IC_Q_KNOT | DF_IC_Q_KNOT_MIDPOINT : family == kHermite ? DF_IC_1ST_DER : DF_NO_IC;
  }
  bool knots() const { return family == kKnots || family == kMidKnots; }
  bool local() const { return family == kAkima || family == kBessel || family == kHermite; }  // slopes from neighbours
  bool threaded() const { return family == kLinear || family == kNatural || family >= kAkima; }
  template <class T>
  auto entry() const {
    const decltype(Ops<T>::linear) entries[] = {Ops<T>::linear, Ops<T>::natural, Ops<T>::cubic, Ops<T>::quadratic,
                                                Ops<T>::quadratic, Ops<T>::quadratic, nullptr, Ops<T>::akima,
                                                Ops<T>::bessel, Ops<T>::hyman, Ops<T>::hermite};
    return entries[family];
  }
};
const Ctor kCtors[] = {
    {kLinear, 0, 1},     {kNatural, 1, 3},   {kNatural, 2, 1},   {kNatural, 12, 3},  {kNatural, 36, 3},
    {kNatural, 24, 3},   {kNatural, 48, 3},  {kNatural, 64, 0},  {kDefault, 1, 3},   {kDefault, 2, 1},
    {kDefault, 12, 3},   {kDefault, 36, 3},  {kDefault, 24, 3},  {kDefault, 48, 3},  {kDefault, 64, 0},
    {kQuadratic, 128, 2}, {kKnots, 12, 2},   {kKnots, 36, 2},    {kKnots, 24, 2},    {kKnots, 48, 2},
    {kMidKnots, 12, 2},  {kMidKnots, 36, 2}, {kMidKnots, 24, 2}, {kMidKnots, 48, 2}, {kAkima, 1, 1},
    {kAkima, 2, 1},      {kAkima, 12, 1},    {kAkima, 36, 1},    {kAkima, 24, 1},    {kAkima, 48, 1},
    {kAkima, 64, 0},     {kBessel, 1, 2},    {kBessel, 2, 1},    {kBessel, 12, 2},   {kBessel, 36, 2},
    {kBessel, 24, 2},    {kBessel, 48, 2},   {kBessel, 64, 0},   {kHyman, 1, 3},     {kHyman, 2, 1},
    {kHyman, 12, 3},     {kHyman, 36, 3},    {kHyman, 24, 3},    {kHyman, 48, 3},    {kHyman, 64, 0},
    {kHermite, 1, 3},    {kHermite, 2, 1},   {kHermite, 12, 3},  {kHermite, 36, 3},  {kHermite, 24, 3},
    {kHermite, 48, 3},   {kHermite, 64, 0}};

// One spline of each layout of coefficients, for evaluation and integration.
const Ctor kEvalKinds[] = {{kNatural, DF_BC_FREE_END, 0}, {kLinear, 0, 0},      {kQuadratic, DF_BC_Q_VAL, 0},
                           {kKnots, 12, 0},                {kMidKnots, 12, 0}, {kGeneral, 0, 0}};

using Fn = std::function<LD(LD, int)>;  // derivative d of a function at s

// The spline of ny functions by constructor c over breakpoints x (uniform: the task gets the
// ends), built on a live task in rows or columns: function k is f + (first + k) sin (periodic when
// asked), bc and ic come from f's derivatives, knots at 0.3 of each cell. `left` holds the left
// ends of the cells. Coefficients start as NaN; the general kind gets arbitrary ones.
template <class T>
struct Spline {
  std::vector<T> x, ends, y, yt, bc, ic, coeff;
  std::vector<LD> left;
  DfTask *t = nullptr;
  int status;
  Spline(const Ctor &c, std::vector<T> xs, bool uni, const Fn &f, int64_t ny = 1, int64_t yHint = 0,
         const ZynThreading *th = nullptr, int64_t first = 0)
      : x(std::move(xs)), ends{x.front(), x.back()}, coeff(x.size() * c.order() * ny, std::nan("")) {
    const int64_t nx = static_cast<int64_t>(x.size());
    for (int64_t k = 0; k < ny; ++k)
      for (int64_t i = 0; i < nx; ++i) y.push_back(static_cast<T>(f(x[i], 0) + (first + k) * std::sin(LD(x[i]))));
    for (int64_t k = 0; c.bcType == DF_BC_PERIODIC && k < ny; ++k) y[k * nx + nx - 1] = y[k * nx];
    yt = y;
    for (int64_t k = 0; yHint == DF_FUNCS_COLUMNS && k < ny; ++k)
      for (int64_t i = 0; i < nx; ++i) yt[i * ny + k] = y[k * nx + i];
    auto end = [&](bool right, bool first) { return static_cast<T>(f(right ? x[nx - 1] : x[0], first ? 1 : 2)); };
    if (c.family == kQuadratic) bc = {static_cast<T>(f((x[0] + x[1]) / T(2), 0))};
    if (c.bcType == DF_BC_PERIODIC && (c.family == kDefault || c.family == kHermite)) bc = {end(false, c.family == kHermite)};
    if (c.bcType > 2 && c.bcType < 64) bc = {end(false, c.bcType & 4), end(true, c.bcType & 8)};
    for (int64_t i = 1; (c.family == kDefault || c.family == kHermite) && i + 1 < nx; ++i)
      ic.push_back(static_cast<T>(f(x[i], c.family == kDefault ? 2 : 1)));
    if (c.family == kHermite) ic.push_back(0);  // a spare: nx 2 gives no slopes, but ic must be there
    for (int64_t i = 0; c.knots() && i + 1 < nx; ++i) ic.push_back(x[i] + T(0.3) * (x[i + 1] - x[i]));
    left.push_back(x[0]);
    for (int64_t i = 0; i + 1 < nx; ++i)
      left.push_back(c.family == kMidKnots ? (x[i] + x[i + 1]) / T(2) : c.family == kKnots ? ic[i] : x[i + 1]);
    if (!c.knots()) left.pop_back();
    EXPECT_EQ(Ops<T>::newTask(&t, nx, uni ? ends.data() : x.data(), uni ? DF_PARTITION_UNIFORM : 1, ny, yt.data(),
                              yHint, 1), 0);
    EXPECT_EQ(Ops<T>::editPP(t, c.order(), c.type(), c.bcType, bc.empty() ? nullptr : bc.data(), c.icType(),
                             ic.empty() ? nullptr : ic.data(), coeff.data(), 0), 0);
    for (size_t k = 0; c.family == kGeneral && k < coeff.size(); ++k) coeff[k] = static_cast<T>(std::cos(k));
    status = c.family == kGeneral ? 0 : c.entry<T>()(t, 0, 0, th);
  }
  ~Spline() { zyn_df_kernel_DeleteTask(&t); }
};

}  // namespace dftest
