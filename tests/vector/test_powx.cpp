// Powx: the C pow special cases with statuses, the exponents routed to their own rows, and the
// special values of Pow3o2 and Pow2o3 (accuracy: test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();

// pow's special cases, bit for bit against the C library (EP: ordinary results to its bits),
// with the status each must report; b = 1 copies and b = 2 squares.
template <class T>
void match_pow() {
  using L = std::numeric_limits<T>;
  const T inf = L::infinity(), big = T(sizeof(T) == 8 ? 1e300 : 1e30), huge = T(sizeof(T) == 8 ? 1000 : 200);
  const T xs[] = {0, -T(0), 1, -1, 2, -2, T(0.5), T(-0.5), inf, -inf, L::quiet_NaN(), 3, -3, 1 / big, big};
  const T bs[] = {0, -T(0), 1, 2, 3, -3, 4, -4, T(2.5), T(-2.5), inf, -inf, L::quiet_NaN(), big, -big, huge, -huge};
  const char t = sizeof(T) == 8 ? 'd' : 's';
  for (int lv = 0; lv < 3; ++lv) {
    auto f = reinterpret_cast<void (*)(int, const T *, T, T *)>(zyn::oracle::stub(zyn::oracle::stub_name(t, "Powx", lv)));
    for (T b : bs) {
      SCOPED_TRACE(std::string(1, t) + " " + kLevels[lv] + " b = " + std::to_string(b));
      ReportLog log;
      T y[std::size(xs)];
      f(static_cast<int>(std::size(xs)), xs, b, y);
      std::vector<Report> want;
      for (size_t i = 0; i < std::size(xs); ++i) {
        const T x = xs[i], r = std::pow(x, b);
        if (lv == 2 && std::isnormal(r))
          EXPECT_LE(std::fabs(y[i] - r), std::ldexp(std::fabs(r), sizeof(T) == 8 ? -26 : -11)) << x;
        else
          EXPECT_TRUE(same(y[i], r)) << x << ": " << y[i] << ", want " << r;
        const bool finite = std::isfinite(x) && std::isfinite(b);
        const int st = !finite                                  ? 0
                       : x == 0 && b < 0                        ? STATUS_SINGULARITY
                       : x < 0 && std::trunc(b) != b            ? STATUS_DOMAIN
                       : std::isinf(r)                          ? STATUS_OVERFLOW
                       : std::fabs(r) < L::min() && x != 0      ? STATUS_UNDERFLOW
                                                                : 0;
        if (st) want.push_back({st, static_cast<int>(i), x, 0});
      }
      const auto &got = ReportLog::log();
      ASSERT_EQ(got.size(), want.size());
      for (size_t k = 0; k < got.size(); ++k) {
        EXPECT_EQ(got[k].index, want[k].index);
        EXPECT_EQ(got[k].code, want[k].code) << want[k].arg1;
      }
    }
  }
}
TEST(PowxSpecials, MatchTheCLibraryWithStatuses) {
  match_pow<double>();
  match_pow<float>();
}

// The exponents with rows of their own give those rows' results and reports, bit for bit,
// contiguous and strided: 1/2, -1/2, 1/3, -1/3, -1, 3/2 and the type's nearest 2/3.
template <class T>
void routing() {
  using L = std::numeric_limits<T>;
  const std::vector<T> x = {4, 2, -8, 0, -T(0), L::min() / 8, T(7.5), L::infinity(), L::quiet_NaN(), L::max() / 4, 3, T(0.1), 27, 1 / L::max()};
  const int n = static_cast<int>(x.size());
  const char t = sizeof(T) == 8 ? 'd' : 's';
  const std::pair<T, const char *> routes[] = {{T(0.5), "Sqrt"}, {T(-0.5), "InvSqrt"}, {T(1) / 3, "Cbrt"}, {T(-1) / 3, "InvCbrt"},
                                               {T(-1), "Inv"},   {T(1.5), "Pow3o2"},   {T(2) / 3, "Pow2o3"}};
  using U = void (*)(int, const T *, T *);
  using UI = void (*)(int, const T *, int, T *, int);
  for (int lv = 0; lv < 3; ++lv) {
    auto stub = [&](const std::string &stem) { return zyn::oracle::stub(zyn::oracle::stub_name(t, stem, lv)); };
    auto powx = reinterpret_cast<void (*)(int, const T *, T, T *)>(stub("Powx"));
    auto powxi = reinterpret_cast<void (*)(int, const T *, int, T, T *, int)>(stub("PowxI"));
    for (auto [b, stem] : routes) {
      std::vector<T> y(n), ys(2 * n), z(n), zs(2 * n);
      std::vector<int> c1, c2;
      {
        ReportLog log;
        powx(n, x.data(), b, y.data());
        powxi(n, x.data(), 1, b, ys.data(), 2);
        for (auto &r : ReportLog::log()) c1.push_back(r.code);
      }
      {
        ReportLog log;
        reinterpret_cast<U>(stub(stem))(n, x.data(), z.data());
        reinterpret_cast<UI>(stub(stem + std::string("I")))(n, x.data(), 1, zs.data(), 2);
        for (auto &r : ReportLog::log()) c2.push_back(r.code);
      }
      for (int i = 0; i < n; ++i) {
        EXPECT_EQ(bits(y[i]), bits(z[i])) << t << stem << " " << kLevels[lv] << " x = " << x[i];
        EXPECT_EQ(bits(ys[2 * i]), bits(zs[2 * i])) << t << stem << "I " << kLevels[lv] << " x = " << x[i];
      }
      EXPECT_EQ(c1, c2) << t << stem << " " << kLevels[lv];
    }
  }
}
TEST(PowxRouting, SpecialExponentsEqualTheirRows) {
  routing<double>();
  routing<float>();
}

// x^(3/2) and x^(2/3) at their edges: C pow's values and statuses.
TEST(PowxSpecials, FixedPowers) {
  const int D = STATUS_DOMAIN, O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW;
  const double dmin = std::numeric_limits<double>::denorm_min();
  std::vector<Special> c = {
      {"dPow3o2", 1e300, 0, kInf, O}, {"dPow3o2", 1e-300, 0, 0, U}, {"dPow3o2", dmin, 0, 0, U},
      {"dPow3o2", 8, 0, std::sqrt(512.0), 0, 1e-7},                {"dPow2o3", 1e300, 0, 1e200, 0, 1e-7},
      {"dPow2o3", 1e-300, 0, 1e-200, 0, 1e-7},                     {"dPow2o3", dmin, 0, std::cbrt(dmin) * std::cbrt(dmin), 0, 1e-7},
      {"dPow2o3", 4, 0, std::cbrt(16.0), 0, 1e-7},                 {"sPow3o2", 1e30, 0, kInf, O, 0, 2},
      {"sPow3o2", 1e-35, 0, 0, U, 0, 2},
  };
  for (std::string r : {"dPow3o2", "dPow2o3", "sPow3o2", "sPow2o3"}) {
    c.insert(c.end(), {{r, -2, 0, NAN, D}, {r, -0.0, 0, 0}, {r, 0, 0, 0}, {r, kInf, 0, kInf}, {r, -kInf, 0, kInf},
                       {r, NAN, 0, NAN}, {r, 1, 0, 1}});
    const bool p3o2 = r.find("3o2") != std::string::npos;
    c.push_back({r, p3o2 ? 4.0 : 8.0, 0, p3o2 ? 8.0 : 4.0, 0, 0, 3});  // exact but at EP
    c.push_back({r, p3o2 ? 4.0 : 8.0, 0, p3o2 ? 8.0 : 4.0, 0, 1e-7, 4});
  }
  expect_cases(c);
}
}  // namespace
