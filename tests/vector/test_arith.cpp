// The arithmetic, rounding and selection rows: bit for bit against the C library over special
// values, their pairs and random inputs, in one call and element by element, with the reports
// each row must make and no others;
// LinearFrac against the quotient of its rounded terms; what the C library cannot say (the
// single EP reciprocal, flags, the caller's rounding and denormal controls, the flush mode).
//
// Where these rows differ from C on purpose the oracle says so: the sign of a zero from Fmax,
// Fmin, MaxMag, MinMag of two zeros (C leaves it open), any NaN losing to a number, the single
// EP Inv and Div (a refined reciprocal estimate, 2^-21 relative), and the reports of Div, Inv,
// Fmod and NextAfter, which C does not have.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr uint32_t kInvalid = 0x1, kOverflow = 0x8, kUnderflow = 0x10, kInexact = 0x20;

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
T random_value(std::mt19937_64 &g, size_t i) {
  const int emax = std::numeric_limits<T>::max_exponent;
  const double s = (g() & 1) ? -1.0 : 1.0;
  switch (i % 4) {
    case 0: return static_cast<T>(s * std::ldexp(1.0 + std::ldexp(static_cast<double>(g() >> 12), -52), static_cast<int>(g() % (2 * emax)) - emax));
    case 1: return static_cast<T>(s * std::ldexp(static_cast<double>(g() >> 11), -53) * 200.0);
    case 2: return static_cast<T>(s * (static_cast<double>(g() % 100000) + ((g() & 1) ? 0.5 : 0.0)));
    default: {
      const uint64_t u = g();
      T v;
      memcpy(&v, &u, sizeof(T));
      return v;
    }
  }
}

// All special values (and for two inputs all their pairs), random values, and for two inputs
// nearby magnitudes with quotients from 0 to 2^40 and ties k + 1/2, and the divisors with
// shortcuts of their own (1 and 2147483647).
template <class T>
void inputs(int arity, size_t n, uint64_t seed, std::vector<T> *a, std::vector<T> *b) {
  const auto sp = specials<T>();
  std::mt19937_64 g(seed);
  if (arity == 1) {
    *a = sp;
    for (size_t i = 0; i < n; ++i) a->push_back(random_value<T>(g, i));
    return;
  }
  for (T x : sp)
    for (T y : sp) a->push_back(x), b->push_back(y);
  const T divisors[4] = {T(1), T(-1), T(2147483647.0), T(-2147483647.0)};
  for (size_t i = 0; i < n; ++i) {
    const bool shortcut = i % 8 == 7;  // below 2^53 over a divisor with a shortcut
    a->push_back(shortcut ? static_cast<T>(std::ldexp(static_cast<double>(g() >> 11), -static_cast<int>(g() % 40)) * ((g() & 1) ? 1 : -1))
                          : random_value<T>(g, i));
    b->push_back(shortcut ? divisors[i / 8 % 4] : random_value<T>(g, i + 1));
    const double m = std::ldexp(1.0 + (g() % 1000) / 1000.0, static_cast<int>(g() % 60) - 30);
    const double k = std::ldexp(static_cast<double>(g() % 1000), static_cast<int>(g() % 30));
    a->push_back(static_cast<T>((i & 1) ? (k + 0.5) * m : k * m * 1.0001));
    b->push_back(static_cast<T>((i & 2) ? m : -m));
  }
}

using Status = std::function<int(double, double, bool single)>;
int no_status(double, double, bool) { return 0; }

// A row and its oracle: f (and f2, the second result of Modf) of the inputs, b unused with one.
struct Row {
  std::string stem;
  int arity;
  std::function<double(double, double)> fd, fd2;
  std::function<float(float, float)> fs, fs2;
  Status status = no_status;
  bool zero_sign_free = false;  // two zeros of opposite sign: either zero is right
};
template <class F>
Row row(const char *stem, int arity, F f, Status st = no_status, bool zero_sign_free = false) {
  return {stem, arity, [f](double a, double b) { return f(a, b); }, {}, [f](float a, float b) { return f(a, b); }, {},
          st, zero_sign_free};
}
// C's fmax and its kin return a NaN for a signalling NaN; these rows let any NaN lose.
template <class F>
Row selection(const char *stem, F f) {
  return row(stem, 2, [f](auto a, auto b) { return std::isnan(a) ? b * 1 : std::isnan(b) ? a * 1 : f(a, b); },
             no_status, true);
}

const std::vector<Row> &rows() {
  static const std::vector<Row> v = [] {
    auto div_status = [](double, double b, bool) { return b == 0 ? STATUS_SINGULARITY : 0; };
    auto fmod_status = [](double a, double b, bool) {
      return !std::isnan(a) && !std::isnan(b) && (b == 0 || std::isinf(a)) ? STATUS_SINGULARITY : 0;
    };
    auto nextafter_status = [](double x, double y, bool single) -> int {
      const double r = single ? std::nextafter(static_cast<float>(x), static_cast<float>(y)) : std::nextafter(x, y);
      if (std::isnan(x) || std::isnan(y) || x == y) return 0;
      if (x == 0 || std::fabs(r) < (single ? FLT_MIN : DBL_MIN)) return STATUS_UNDERFLOW;  // a step to or in the denormals
      return std::isinf(r) ? STATUS_OVERFLOW : 0;
    };
    std::vector<Row> r = {
        row("Add", 2, [](auto a, auto b) { return a + b; }),
        row("Sub", 2, [](auto a, auto b) { return a - b; }),
        row("Mul", 2, [](auto a, auto b) { return a * b; }),
        row("Div", 2, [](auto a, auto b) { return a / b; }, div_status),
        row("Inv", 1, [](auto a, auto) { return 1 / a; }, [](double a, double, bool) { return a == 0 ? STATUS_SINGULARITY : 0; }),
        row("Sqr", 1, [](auto a, auto) { return a * a; }),
        row("Abs", 1, [](auto a, auto) { return std::fabs(a); }),
        row("CopySign", 2, [](auto a, auto b) { return std::copysign(a, b); }),
        row("Ceil", 1, [](auto a, auto) { return std::ceil(a); }),
        row("Floor", 1, [](auto a, auto) { return std::floor(a); }),
        row("Trunc", 1, [](auto a, auto) { return std::trunc(a); }),
        row("Rint", 1, [](auto a, auto) { return std::rint(a); }),
        row("NearbyInt", 1, [](auto a, auto) { return std::nearbyint(a); }),
        row("Round", 1, [](auto a, auto) { return std::round(a); }),
        row("Frac", 1, [](auto a, auto) { decltype(a) i; return std::modf(a, &i); }),
        row("Modf", 1, [](auto a, auto) { decltype(a) i; std::modf(a, &i); return i; }),
        selection("Fmax", [](auto a, auto b) { return std::fmax(a, b); }),
        selection("Fmin", [](auto a, auto b) { return std::fmin(a, b); }),
        selection("MaxMag", [](auto a, auto b) { if constexpr (sizeof(a) == 8) return fmaxmag(a, b); else return fmaxmagf(a, b); }),
        selection("MinMag", [](auto a, auto b) { if constexpr (sizeof(a) == 8) return fminmag(a, b); else return fminmagf(a, b); }),
        row("Fdim", 2, [](auto a, auto b) { return std::fdim(a, b); }),
        row("NextAfter", 2, [](auto a, auto b) { return std::nextafter(a, b); }, nextafter_status),
        row("Fmod", 2, [](auto a, auto b) { return std::fmod(a, b); }, fmod_status),
        row("Remainder", 2, [](auto a, auto b) { return std::remainder(a, b); }),
    };
    Row &modf = *std::find_if(r.begin(), r.end(), [](const Row &x) { return x.stem == "Modf"; });  // the fraction second
    modf.fd2 = [](double a, double) { double i; return std::modf(a, &i); };
    modf.fs2 = [](float a, float) { float i; return std::modf(a, &i); };
    return r;
  }();
  return v;
}

// One row at one level over the sweep, in one call and element by element (the scalar paths):
// values and reports.
template <class T>
void check_row(const Row &c, int level, bool alone) {
  const char t = sizeof(T) == 8 ? 'd' : 's';
  SCOPED_TRACE(std::string(1, t) + c.stem + " " + kLevels[level] + (alone ? " alone" : ""));
  void *k = zyn::oracle::stub(zyn::oracle::stub_name(t, c.stem, level));
  ASSERT_NE(k, nullptr) << "not exported";
  std::vector<T> a, b, y, z;
  inputs<T>(c.arity, 6000, 1234 + level, &a, &b);
  const int n = static_cast<int>(a.size());
  y.assign(n, T(-777));
  z.assign(n, T(-777));
  b.resize(n);
  ReportLog log;
  std::vector<Report> got;
  for (int i = 0; i < n; i += alone ? 1 : n) {
    const int m = alone ? 1 : n;
    if (c.fd2)
      reinterpret_cast<void (*)(int, const T *, T *, T *)>(k)(m, &a[i], &y[i], &z[i]);
    else if (c.arity == 1)
      reinterpret_cast<void (*)(int, const T *, T *)>(k)(m, &a[i], &y[i]);
    else
      reinterpret_cast<void (*)(int, const T *, const T *, T *)>(k)(m, &a[i], &b[i], &y[i]);
    for (Report r : ReportLog::log()) got.push_back({r.code, r.index + i, 0, 0});
    ReportLog::log().clear();
  }
  const bool ep_estimate = level == 2 && t == 's' && (c.stem == "Inv" || c.stem == "Div");
  std::vector<Report> want;
  for (int i = 0; i < n; ++i) {
    const T x2 = c.arity == 2 ? b[i] : T(0);
    T r, r2 = T(0);
    if constexpr (sizeof(T) == 8) {
      r = c.fd(a[i], x2);
      if (c.fd2) r2 = c.fd2(a[i], x2);
    } else {
      r = c.fs(a[i], x2);
      if (c.fs2) r2 = c.fs2(a[i], x2);
    }
    if (ep_estimate && std::isfinite(r) && r != 0) {
      const double scale = std::fmax(std::fabs(r), std::numeric_limits<T>::min());
      ASSERT_LE(std::fabs(static_cast<double>(y[i]) - r) / scale, 0x1p-21) << "at " << a[i] << ", " << x2;
    } else if (!(c.zero_sign_free && r == 0 && y[i] == 0)) {
      ASSERT_TRUE(same(y[i], r)) << std::hexfloat << "at " << a[i] << ", " << x2 << ": got " << y[i] << ", want " << r;
    }
    if (c.fd2) {
      ASSERT_TRUE(same(z[i], r2)) << std::hexfloat << "second result at " << a[i] << ": " << z[i] << ", want " << r2;
    }
    if (const int st = c.status(a[i], x2, t == 's')) want.push_back({st, i, 0, 0});
  }
  ASSERT_EQ(got.size(), want.size());
  for (size_t j = 0; j < want.size(); ++j) {
    EXPECT_EQ(got[j].code, want[j].code) << "report " << j;
    EXPECT_EQ(got[j].index, want[j].index) << "report " << j;
  }
}

class Arith : public ::testing::TestWithParam<Row> {};
TEST_P(Arith, MatchesTheCLibraryAtEveryLevelWithItsReports) {
  for (int lv = 0; lv < 3; ++lv)
    for (bool alone : {false, true}) {
      check_row<double>(GetParam(), lv, alone);
      check_row<float>(GetParam(), lv, alone);
    }
}
INSTANTIATE_TEST_SUITE_P(Rows, Arith, ::testing::ValuesIn(rows()), [](const auto &info) { return info.param.stem; });

// The single EP reciprocal takes the true division where its estimate has no range: zero,
// denormal, huge, infinite and NaN divisors give what division gives.
TEST(ArithSpecials, SingleEpReciprocalOutsideTheEstimate) {
  std::vector<Special> cases;
  for (float b : {0.0f, 1e-40f, 3e38f, -FLT_MAX, INFINITY, NAN}) {
    const int st = b == 0 ? STATUS_SINGULARITY : 0;
    cases.push_back({"sInv", b, 0, 1.0f / b, st, 0, 4});
    cases.push_back({"sDiv", 1.0, b, 1.0f / b, st, 0, 4});
  }
  expect_cases(cases);
}

// LinearFrac is within half an ulp of the quotient of its rounded numerator and denominator, and
// a zero, NaN or infinite denominator gives what IEEE division gives without a report.
template <class T>
void linear_frac(void (*f)(int, const T *, const T *, T, T, T, T, T *)) {
  std::mt19937_64 g(9);
  std::uniform_real_distribution<double> u(-100, 100);
  const int n = 1007;
  std::vector<T> a(n), b(n), y(n);
  for (int i = 0; i < n; ++i) a[i] = static_cast<T>(u(g)), b[i] = static_cast<T>(std::ldexp(u(g), static_cast<int>(g() % 60) - 30));
  const T sa = T(1.5), ha = T(-0.25), sb = T(-3), hb = T(0.5);
  f(n, a.data(), b.data(), sa, ha, sb, hb, y.data());
  double worst = 0;
  for (int i = 0; i < n; ++i) {
    const T num = sa * a[i] + ha, den = sb * b[i] + hb;
    const long double q = static_cast<long double>(num) / den;
    const double ulp = std::ldexp(1.0, std::ilogb(static_cast<T>(q)) - std::numeric_limits<T>::digits + 1);
    worst = std::fmax(worst, static_cast<double>(std::fabs(y[i] - q) / ulp));
  }
  EXPECT_LE(worst, 0.51) << "worst error in ulp";
  ReportLog log;
  T za[3] = {1, 1, 1}, zb[3] = {T(0.5), NAN, INFINITY}, zy[3];
  f(3, za, zb, 1, 0, -2, 1, zy);
  EXPECT_EQ(zy[0], INFINITY);
  EXPECT_TRUE(std::isnan(zy[1]));
  EXPECT_EQ(bits(zy[2]), bits(T(-0.0)));
  EXPECT_TRUE(ReportLog::log().empty());
}
TEST(LinearFrac, WithinHalfAnUlpOfTheQuotientAndSilentOnBadDenominators) {
  linear_frac<double>(_vexdLinearFrac);
  linear_frac<float>(_vexsLinearFrac);
}

// Double Add, Sub, Mul and LinearFrac run in the caller's rounding; Div, the single rows and the
// rounding rows round to nearest whatever it is; the caller's controls come back.
TEST(ArithModes, CallersRounding) {
  FpRestore keep;
  // 1 - eps/5 is 1 to nearest and 1 - eps/2 toward zero; 1/10 rounds up to nearest
  std::vector<double> one(8, 1.0), tiny(8, DBL_EPSILON / 5), ten(8, 10.0), sub(8), lf(8), div(8), rint(1), nint(1);
  std::vector<float> onef(40, 1.0f), tinyf(40, 3 * FLT_EPSILON / 4), addf(40);
  const double half = 2.5;
  _mm_setcsr(0x7f80);  // toward zero
  _vexdSub(8, one.data(), tiny.data(), sub.data());
  _vexdLinearFrac(8, one.data(), one.data(), 1.0, -DBL_EPSILON / 5, 0.0, 1.0, lf.data());
  _vexdDiv(8, one.data(), ten.data(), div.data());
  _vexsAdd(40, onef.data(), tinyf.data(), addf.data());
  _vexdRint(1, &half, rint.data());
  _vexdNearbyInt(1, &half, nint.data());
  EXPECT_EQ(_mm_getcsr() & ~0x3fu, 0x7f80u) << "the caller's rounding comes back";
  _mm_setcsr(0x1f80);
  EXPECT_EQ(sub[7], 1.0 - DBL_EPSILON / 2) << "dSub rounds toward zero";
  EXPECT_LT(lf[7], 1.0) << "dLinearFrac rounds toward zero";
  EXPECT_EQ(div[7], 0.1) << "dDiv rounds to nearest";
  EXPECT_EQ(addf[39], 1.0f + FLT_EPSILON) << "sAdd rounds to nearest";
  EXPECT_EQ(rint[0], 2.0) << "Rint to nearest even";
  EXPECT_EQ(nint[0], 2.0);
}

// Double Add keeps the caller's flush-to-zero, single Add clears it for the call (the mode keeps
// denormals); a NaN or an overflow leaves the status alone. With the flush mode a denormal
// divisor is a zero.
TEST(ArithModes, DenormalControlsAndTheFlushMode) {
  FpRestore keep;
  std::vector<double> d1(40, 3e-308), d2(40, -2.9e-308), y(40);
  std::vector<float> f1(40, 3e-38f), f2(40, -2.9e-38f), yf(40);
  _mm_setcsr(0x9f80);
  _vexdAdd(40, d1.data(), d2.data(), y.data());
  _vexsAdd(40, f1.data(), f2.data(), yf.data());
  EXPECT_EQ(_mm_getcsr() & ~0x3fu, 0x9f80u);
  _mm_setcsr(0x1f80);
  EXPECT_EQ(y[39], 0.0) << "flushed";
  EXPECT_NE(yf[39], 0.0f) << "denormal kept";
  ReportLog log;
  _vexSetErrStatus(-7);
  double big[2] = {DBL_MAX, NAN}, r[2];
  _vexdAdd(2, big, big, r);
  EXPECT_EQ(_vexGetErrStatus(), -7);
  const unsigned old = _vexSetMode(MODE_DENORMALS_FLUSH);
  float a[2] = {1e-10f, 1.0f}, b[2] = {1e-40f, 2.0f}, q[2];
  _vexsDiv(2, a, b, q);
  EXPECT_EQ(q[0], INFINITY);
  _vexSetMode(MODE_DENORMALS_KEEP);
  _vexsDiv(2, a, b, q);
  EXPECT_EQ(q[0], a[0] / b[0]) << "the denormal kept";
  _vexSetMode(old);
  ASSERT_EQ(ReportLog::log().size(), 1u);
  EXPECT_EQ(ReportLog::log()[0].code, STATUS_SINGULARITY);
}

// The flags a call leaves: Rint's inexact but not NearbyInt's, Round's, Frac's or that of
// integers (the padded tail included); no invalid for quiet NaN inputs; NextAfter's underflow
// and overflow at the ends of the range.
TEST(ArithModes, Flags) {
  FpRestore keep;
  using U = void (*)(int, const double *, double *);
  using B = void (*)(int, const double *, const double *, double *);
  struct Want {
    U u;
    B b;
    std::vector<double> x, x2;
    uint32_t set, clear;
  };
  std::vector<double> nan_a(16, 1.5), nan_b(16, 0.75);
  nan_a[1] = nan_a[9] = nan_b[6] = nan_b[9] = NAN;
  const Want wants[] = {
      {_vexdRint, nullptr, {2.5}, {}, kInexact, 0},
      {_vexdNearbyInt, nullptr, {2.5}, {}, 0, kInexact},
      {_vexdCeil, nullptr, {2.5, 1, 2, 3, 4}, {}, kInexact, 0},
      {_vexdRint, nullptr, {1, 2, 3, 4, 5, 6, 7}, {}, 0, 0x3f},
      {_vexdRound, nullptr, {2.5, kInf, -kInf, NAN, 0.3}, {}, 0, 0x3f},
      {_vexdFrac, nullptr, {2.5, kInf, -kInf, NAN, 0.3, 1e300}, {}, 0, 0x3f},
      {nullptr, _vexdNextAfter, {0.0, DBL_MAX}, {1.0, kInf}, kUnderflow | kOverflow, 0},
      {nullptr, _vexdFmax, nan_a, nan_b, 0, kInvalid},     {nullptr, _vexdFmin, nan_a, nan_b, 0, kInvalid},
      {nullptr, _vexdMaxMag, nan_a, nan_b, 0, kInvalid},   {nullptr, _vexdMinMag, nan_a, nan_b, 0, kInvalid},
      {nullptr, _vexdFdim, nan_a, nan_b, 0, kInvalid},     {nullptr, _vexdNextAfter, nan_a, nan_b, 0, kInvalid},
      {nullptr, _vexdFmod, nan_a, nan_b, 0, kInvalid},     {nullptr, _vexdRemainder, nan_a, nan_b, 0, kInvalid},
      {nullptr, _vexdCopySign, nan_a, nan_b, 0, kInvalid}, {nullptr, _vexdDiv, nan_a, nan_b, 0, kInvalid},
  };
  QuietErrors quiet;
  for (size_t k = 0; k < std::size(wants); ++k) {
    const Want &w = wants[k];
    std::vector<double> y(w.x.size());
    _mm_setcsr(_mm_getcsr() & ~0x3fu);
    if (w.u)
      w.u(static_cast<int>(y.size()), w.x.data(), y.data());
    else
      w.b(static_cast<int>(y.size()), w.x.data(), w.x2.data(), y.data());
    const uint32_t fl = _mm_getcsr() & 0x3f;
    EXPECT_EQ(fl & w.set, w.set) << "case " << k;
    EXPECT_EQ(fl & w.clear, 0u) << "case " << k;
  }
}

// A y that is not even aligned to its element takes dAdd's scalar loop.
TEST(ArithModes, AddToAMisalignedVector) {
  double a[33], b[33];
  for (int i = 0; i < 33; ++i) a[i] = i * 0.37, b[i] = 1e3 - i;
  alignas(16) char raw[8 * 33 + 4];
  _vexdAdd(33, a, b, reinterpret_cast<double *>(raw + 4));
  for (int i = 0; i < 33; ++i) {
    double v;
    memcpy(&v, raw + 4 + 8 * i, 8);
    EXPECT_EQ(v, a[i] + b[i]);
  }
}

}  // namespace
