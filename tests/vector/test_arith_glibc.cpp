// The arithmetic, rounding and selection rows against the C library as oracle, over special
// values and random inputs, at every level, in both types: bit-exact results (NaN against NaN),
// the reports each row must make and no others, and the same results through the strided rows
// at strides 1, 2, 0 and -1 and through unaligned and aliased vectors.
//
// Where these rows differ from C on purpose, the test says so at the reference: the sign of a
// zero from Fmax, Fmin, MaxMag, MinMag of two zeros (C leaves it open), the single EP Inv and
// Div (a refined reciprocal estimate, checked to 2^-21 relative), and the reports of Div, Inv,
// Fmod and NextAfter, which C does not have.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle.hpp"

using namespace zyn::test;

namespace {

const char *kLevel[3] = {"LA", "HA", "EP"};

template <class T>
bool same(T x, T y) {
  return (std::isnan(x) && std::isnan(y)) || bits(x) == bits(y);
}

template <class T>
std::vector<T> specials() {
  using L = std::numeric_limits<T>;
  const T big = T(1) / L::epsilon() * 2;  // 2^52 or 2^23: from here on every value is an integer
  return {T(0), -T(0), T(1), T(-1), T(0.5), T(-0.5), T(1.5), T(-1.5), T(2.5), T(-2.5), T(3), T(-3), T(7),
          T(0.1), std::nextafter(T(0.5), T(0)), big, -big, big + 1, big - T(0.5), 2 * big, T(2147483647.0),
          T(4294967295.0), T(1e10) + T(0.5), L::max(), -L::max(), L::min(), -L::min(), L::denorm_min(),
          -L::denorm_min(), L::min() / 3, L::infinity(), -L::infinity(), L::quiet_NaN(), -L::quiet_NaN(),
          T(1e30), T(-1e-30)};
}

// Random values of every kind: spread by exponent, moderate, integers and half-integers, and
// raw bit patterns (denormals, NaNs with payloads).
template <class T>
std::vector<T> randoms(size_t n, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::vector<T> v(n);
  const int emax = std::numeric_limits<T>::max_exponent;
  for (size_t i = 0; i < n; ++i) {
    const double s = (g() & 1) ? -1.0 : 1.0;
    switch (i % 4) {
      case 0:
        v[i] = static_cast<T>(s * std::ldexp(1.0 + std::ldexp(static_cast<double>(g() >> 12), -52),
                                             static_cast<int>(g() % (2 * emax)) - emax));
        break;
      case 1:
        v[i] = static_cast<T>(s * std::ldexp(static_cast<double>(g() >> 11), -53) * 200.0);
        break;
      case 2:
        v[i] = static_cast<T>(s * (static_cast<double>(g() % 100000) + ((g() & 1) ? 0.5 : 0.0)));
        break;
      default: {
        const uint64_t u = g();
        memcpy(&v[i], &u, sizeof(T));
      }
    }
  }
  return v;
}

// Inputs of a sweep: all special values (and, for two inputs, all pairs of them), then random
// values, and for two inputs pairs of nearby magnitudes and exact half-way quotients.
template <class T>
void inputs(int arity, size_t n, uint64_t seed, std::vector<T> *a, std::vector<T> *b) {
  const auto sp = specials<T>();
  const auto r1 = randoms<T>(n, seed), r2 = randoms<T>(n, seed + 1);
  if (arity == 1) {
    *a = sp;
    a->insert(a->end(), r1.begin(), r1.end());
    return;
  }
  for (T x : sp)
    for (T y : sp) a->push_back(x), b->push_back(y);
  std::mt19937_64 g(seed + 2);
  for (size_t i = 0; i < n; ++i) {
    a->push_back(r1[i]);
    b->push_back(r2[i]);
    // close magnitudes: quotients from 0 to 2^40, and ties k + 1/2
    const double m = std::ldexp(1.0 + (g() % 1000) / 1000.0, static_cast<int>(g() % 60) - 30);
    const double k = std::ldexp(static_cast<double>(g() % 1000), static_cast<int>(g() % 30));
    a->push_back(static_cast<T>((i & 1) ? (k + 0.5) * m : k * m * 1.0001));
    b->push_back(static_cast<T>((i & 2) ? m : -m));
  }
}

template <class T>
using Ref1 = std::function<T(T)>;
template <class T>
using Ref2 = std::function<T(T, T)>;
using Status2 = std::function<int(double, double)>;

int no_status(double, double) { return 0; }

int nextafter_status(double x, double y, double r, double tiny) {
  if (std::isnan(x) || std::isnan(y) || x == y) return 0;
  if (x == 0) return STATUS_UNDERFLOW;
  if (std::isinf(r)) return STATUS_OVERFLOW;
  if (std::fabs(r) < tiny) return STATUS_UNDERFLOW;  // denormal, or a step down to zero
  return 0;
}

struct Case {
  std::string stem;
  int arity;
  Ref1<double> d1;
  Ref1<float> s1;
  Ref2<double> d2;
  Ref2<float> s2;
  Status2 status = no_status;
  bool zero_sign_free = false;  // two zeros of opposite sign: either zero is right
};

template <class T>
const Ref1<T> &ref1(const Case &c) {
  if constexpr (sizeof(T) == 8)
    return c.d1;
  else
    return c.s1;
}
template <class T>
const Ref2<T> &ref2(const Case &c) {
  if constexpr (sizeof(T) == 8)
    return c.d2;
  else
    return c.s2;
}

// C's fmax and its kin return a NaN for a signalling NaN; these rows let any NaN lose.
template <class T, class F>
auto nan_loses(F f) {
  return [f](T a, T b) { return std::isnan(a) ? b * T(1) : std::isnan(b) ? a * T(1) : f(a, b); };
}

template <class T>
using K1 = void (*)(int, const T *, T *);
template <class T>
using K2 = void (*)(int, const T *, const T *, T *);
template <class T>
using K1I = void (*)(int, const T *, int, T *, int);
template <class T>
using K2I = void (*)(int, const T *, int, const T *, int, T *, int);

template <class T>
void *kernel(const std::string &stem, int level) {
  const char t = sizeof(T) == 8 ? 'd' : 's';
  void *k = zyn::oracle::stub(zyn::oracle::stub_name(t, stem, level));
  EXPECT_NE(k, nullptr) << t << stem << " is not exported";
  return k;
}

template <class T>
void run(const Case &c, void *k, const std::vector<T> &a, const std::vector<T> &b, std::vector<T> *y) {
  y->assign(a.size(), T(-777));
  const int n = static_cast<int>(a.size());
  if (c.arity == 1)
    reinterpret_cast<K1<T>>(k)(n, a.data(), y->data());
  else
    reinterpret_cast<K2<T>>(k)(n, a.data(), b.data(), y->data());
}

// Whole sweep of one row at one level: values and reports.
template <class T>
void check_row(const Case &c, int level, size_t n) {
  const char t = sizeof(T) == 8 ? 'd' : 's';
  SCOPED_TRACE(std::string(1, t) + c.stem + " " + kLevel[level]);
  void *k = kernel<T>(c.stem, level);
  if (!k) return;
  std::vector<T> a, b, y;
  inputs<T>(c.arity, n, 1234 + level, &a, &b);
  ReportLog log;
  run<T>(c, k, a, b, &y);
  const bool ep_estimate = level == 2 && sizeof(T) == 4 && (c.stem == "Inv" || c.stem == "Div");
  std::vector<Report> want;
  for (size_t i = 0; i < a.size(); ++i) {
    const T x2 = c.arity == 2 ? b[i] : T(0);
    const T r = c.arity == 1 ? ref1<T>(c)(a[i]) : ref2<T>(c)(a[i], x2);
    if (ep_estimate && std::isfinite(r) && r != 0) {
      const double scale = std::fmax(std::fabs(r), std::numeric_limits<T>::min());
      ASSERT_LE(std::fabs(static_cast<double>(y[i]) - r) / scale, 0x1p-21) << "at " << a[i] << ", " << x2;
    } else if (c.zero_sign_free && r == 0 && y[i] == 0) {
      // C leaves the sign open
    } else {
      ASSERT_TRUE(same(y[i], r)) << std::hexfloat << "at " << a[i] << ", " << x2 << ": got " << y[i]
                                 << ", want " << r;
    }
    const int st = c.status(a[i], x2);
    if (st != 0) want.push_back({st, static_cast<int>(i), 0, 0});
  }
  const auto &got = ReportLog::log();
  ASSERT_EQ(got.size(), want.size());
  for (size_t j = 0; j < want.size(); ++j) {
    EXPECT_EQ(got[j].code, want[j].code) << "report " << j;
    EXPECT_EQ(got[j].index, want[j].index) << "report " << j;
  }
}

// Strides 2, -1, 0 (and 1) give what the contiguous row gives; so do unaligned vectors and a
// result vector that is one of the inputs.
template <class T>
void check_layouts(const Case &c) {
  const char t = sizeof(T) == 8 ? 'd' : 's';
  SCOPED_TRACE(std::string(1, t) + c.stem + " layouts");
  void *k = kernel<T>(c.stem, 1), *ki = kernel<T>(c.stem + "I", 1);
  if (!k || !ki) return;
  std::vector<T> a, b, y;
  inputs<T>(c.arity, 100, 77, &a, &b);
  a.resize(203);  // blocks, a partial block and a tail
  if (c.arity == 2) b.resize(203);
  const int n = static_cast<int>(a.size());
  _vexSetMode(VEX_ERRMODE_IGNORE);
  run<T>(c, k, a, b, &y);
  auto strided = [&](int inc) {
    const int span = inc == 0 ? 1 : n * std::abs(inc);
    std::vector<T> as(span, T(0)), bs(span, T(0)), ys(span, T(-5));
    auto at = [&](int i) { return inc >= 0 ? i * inc : (n - 1 - i) * -inc; };
    for (int i = 0; i < n; ++i) {
      as[at(i)] = a[i];
      if (c.arity == 2) bs[at(i)] = b[i];
    }
    const T *pa = inc >= 0 ? as.data() : as.data() + span - 1;
    const T *pb = inc >= 0 ? bs.data() : bs.data() + span - 1;
    T *py = inc >= 0 ? ys.data() : ys.data() + span - 1;
    if (c.arity == 1)
      reinterpret_cast<K1I<T>>(ki)(n, pa, inc, py, inc);
    else
      reinterpret_cast<K2I<T>>(ki)(n, pa, inc, pb, inc, py, inc);
    if (inc == 0) {
      // every element reads the last value written, and the last result stands
      return;
    }
    for (int i = 0; i < n; ++i) ASSERT_TRUE(same(ys[at(i)], y[i])) << "stride " << inc << " element " << i;
  };
  strided(1);
  strided(2);
  strided(-1);
  {  // stride 0: n reads of one element, one result
    T x0 = a[5], x1 = c.arity == 2 ? b[5] : T(0), y0 = T(-5);
    if (c.arity == 1)
      reinterpret_cast<K1I<T>>(ki)(7, &x0, 0, &y0, 0);
    else
      reinterpret_cast<K2I<T>>(ki)(7, &x0, 0, &x1, 0, &y0, 0);
    EXPECT_TRUE(same(y0, y[5])) << "stride 0";
  }
  // unaligned vectors and aliasing
  for (int off = 1; off < 4; ++off) {
    std::vector<T> ao(n + off), bo(n + off), yo(n + off);
    std::copy(a.begin(), a.end(), ao.begin() + off);
    if (c.arity == 2) std::copy(b.begin(), b.end(), bo.begin() + off);
    std::vector<T> ys;
    std::vector<T> av(ao.begin() + off, ao.end()), bv(c.arity == 2 ? std::vector<T>(bo.begin() + off, bo.end()) : std::vector<T>());
    if (c.arity == 1)
      reinterpret_cast<K1<T>>(k)(n, ao.data() + off, yo.data() + off);
    else
      reinterpret_cast<K2<T>>(k)(n, ao.data() + off, bo.data() + off, yo.data() + off);
    for (int i = 0; i < n; ++i) ASSERT_TRUE(same(yo[off + i], y[i])) << "offset " << off << " element " << i;
    // y is a
    if (c.arity == 1)
      reinterpret_cast<K1<T>>(k)(n, ao.data() + off, ao.data() + off);
    else
      reinterpret_cast<K2<T>>(k)(n, ao.data() + off, bo.data() + off, ao.data() + off);
    for (int i = 0; i < n; ++i) ASSERT_TRUE(same(ao[off + i], y[i])) << "y is a, element " << i;
    if (c.arity == 2) {  // y is b
      std::copy(a.begin(), a.end(), ao.begin() + off);
      reinterpret_cast<K2<T>>(k)(n, ao.data() + off, bo.data() + off, bo.data() + off);
      for (int i = 0; i < n; ++i) ASSERT_TRUE(same(bo[off + i], y[i])) << "y is b, element " << i;
    }
  }
  _vexSetMode(VEX_ERRMODE_DEFAULT);
}

// The rows and their oracles.
std::vector<Case> cases() {
  auto div_status = [](double, double b) { return b == 0 ? STATUS_SINGULARITY : 0; };
  auto fmod_status = [](double a, double b) {
    return !std::isnan(a) && !std::isnan(b) && (b == 0 || std::isinf(a)) ? STATUS_SINGULARITY : 0;
  };
  std::vector<Case> v = {
      {"Add", 2, {}, {}, [](double a, double b) { return a + b; }, [](float a, float b) { return a + b; }},
      {"Sub", 2, {}, {}, [](double a, double b) { return a - b; }, [](float a, float b) { return a - b; }},
      {"Mul", 2, {}, {}, [](double a, double b) { return a * b; }, [](float a, float b) { return a * b; }},
      {"Div", 2, {}, {}, [](double a, double b) { return a / b; }, [](float a, float b) { return a / b; },
       div_status},
      {"Inv", 1, [](double a) { return 1 / a; }, [](float a) { return 1 / a; }, {}, {},
       [](double a, double) { return a == 0 ? STATUS_SINGULARITY : 0; }},
      {"Sqr", 1, [](double a) { return a * a; }, [](float a) { return a * a; }, {}, {}},
      {"Abs", 1, [](double a) { return std::fabs(a); }, [](float a) { return std::fabs(a); }, {}, {}},
      {"CopySign", 2, {}, {}, [](double a, double b) { return std::copysign(a, b); },
       [](float a, float b) { return std::copysign(a, b); }},
      {"Ceil", 1, [](double a) { return std::ceil(a); }, [](float a) { return std::ceil(a); }, {}, {}},
      {"Floor", 1, [](double a) { return std::floor(a); }, [](float a) { return std::floor(a); }, {}, {}},
      {"Trunc", 1, [](double a) { return std::trunc(a); }, [](float a) { return std::trunc(a); }, {}, {}},
      {"Rint", 1, [](double a) { return std::rint(a); }, [](float a) { return std::rint(a); }, {}, {}},
      {"NearbyInt", 1, [](double a) { return std::nearbyint(a); }, [](float a) { return std::nearbyint(a); }, {}, {}},
      {"Round", 1, [](double a) { return std::round(a); }, [](float a) { return std::round(a); }, {}, {}},
      {"Frac", 1, [](double a) { double i; return std::modf(a, &i); }, [](float a) { float i; return std::modf(a, &i); }, {}, {}},
      {"Fmax", 2, {}, {}, nan_loses<double>([](double a, double b) { return std::fmax(a, b); }),
       nan_loses<float>([](float a, float b) { return std::fmax(a, b); }), no_status, true},
      {"Fmin", 2, {}, {}, nan_loses<double>([](double a, double b) { return std::fmin(a, b); }),
       nan_loses<float>([](float a, float b) { return std::fmin(a, b); }), no_status, true},
      {"MaxMag", 2, {}, {}, nan_loses<double>([](double a, double b) { return fmaxmag(a, b); }),
       nan_loses<float>([](float a, float b) { return fmaxmagf(a, b); }), no_status, true},
      {"MinMag", 2, {}, {}, nan_loses<double>([](double a, double b) { return fminmag(a, b); }),
       nan_loses<float>([](float a, float b) { return fminmagf(a, b); }), no_status, true},
      {"Fdim", 2, {}, {}, [](double a, double b) { return std::fdim(a, b); },
       [](float a, float b) { return std::fdim(a, b); }},
      {"NextAfter", 2, {}, {}, [](double a, double b) { return std::nextafter(a, b); },
       [](float a, float b) { return std::nextafter(a, b); }},
      {"Fmod", 2, {}, {}, [](double a, double b) { return std::fmod(a, b); },
       [](float a, float b) { return std::fmod(a, b); }, fmod_status},
      {"Remainder", 2, {}, {}, [](double a, double b) { return std::remainder(a, b); },
       [](float a, float b) { return std::remainder(a, b); }},
  };
  return v;
}

const Case &find_case(const std::string &stem) {
  static const std::vector<Case> all = cases();
  for (const Case &c : all)
    if (c.stem == stem) return c;
  throw std::runtime_error(stem);
}

class Rows : public ::testing::TestWithParam<std::string> {};

TEST_P(Rows, MatchTheCLibraryAtEveryLevelWithTheirReports) {
  Case c = find_case(GetParam());
  if (c.stem == "NextAfter") {  // the status depends on the type's denormal range
    Case cd = c, cs = c;
    cd.status = [](double x, double y) { return nextafter_status(x, y, std::nextafter(x, y), DBL_MIN); };
    cs.status = [](double x, double y) {
      const float xf = static_cast<float>(x), yf = static_cast<float>(y);
      return nextafter_status(x, y, std::nextafter(xf, yf), FLT_MIN);
    };
    for (int lv = 0; lv < 3; ++lv) {
      check_row<double>(cd, lv, 6000);
      check_row<float>(cs, lv, 6000);
    }
    return;
  }
  for (int lv = 0; lv < 3; ++lv) {
    check_row<double>(c, lv, 6000);
    check_row<float>(c, lv, 6000);
  }
}

TEST_P(Rows, StridedUnalignedAndAliasedCallsGiveTheSameResults) {
  const Case &c = find_case(GetParam());
  check_layouts<double>(c);
  check_layouts<float>(c);
}

INSTANTIATE_TEST_SUITE_P(Arith, Rows,
                         ::testing::Values("Add", "Sub", "Mul", "Div", "Inv", "Sqr", "Abs", "CopySign", "Ceil",
                                           "Floor", "Trunc", "Rint", "NearbyInt", "Round", "Frac", "Fmax",
                                           "Fmin", "MaxMag", "MinMag", "Fdim", "NextAfter", "Fmod",
                                           "Remainder"),
                         [](const auto &info) { return info.param; });

}  // namespace
