// Edge cases of the arithmetic, rounding and selection rows: statuses that differ from C,
// rounding under the caller's modes, floating-point flags, the scalar-path shortcuts of Fmod,
// NextAfter at the ends of the range, Modf's two results, and LinearFrac.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr uint32_t kInexact = 0x20, kUnderflow = 0x10, kOverflow = 0x8;

template <class T>
bool same_or_nan(T x, T y) {
  return (std::isnan(x) && std::isnan(y)) || bits(x) == bits(y);
}

uint32_t flags_after(void (*f)(int, const double *, double *), std::vector<double> a) {
  std::vector<double> y(a.size());
  _mm_setcsr(_mm_getcsr() & ~0x3fu);
  f(static_cast<int>(a.size()), a.data(), y.data());
  return _mm_getcsr() & 0x3f;
}

TEST(DivInv, ZeroDivisorIsSingularWhateverTheDividend) {
  ReportLog log;
  double a[4] = {0.0, 1.0, -2.0, 6.0}, b[4] = {0.0, 0.0, -0.0, 3.0}, y[4];
  _vexdDiv(4, a, b, y);
  EXPECT_TRUE(std::isnan(y[0])) << "0/0";
  EXPECT_EQ(y[1], kInf);
  EXPECT_EQ(y[2], kInf);
  EXPECT_EQ(y[3], 2.0);
  auto &r = ReportLog::log();
  ASSERT_EQ(r.size(), 3u);
  EXPECT_EQ(r[0].code, STATUS_SINGULARITY) << "0/0 is a singularity here, not a domain error";
  EXPECT_EQ(r[2].index, 2);
  EXPECT_EQ(_vexGetErrStatus(), STATUS_SINGULARITY);
  // single, every level, a zero in a full block and in the tail
  for (auto f : {_vexsDiv_21, _vexsDiv, _vexsDiv_11}) {
    ReportLog l2;
    std::vector<float> af(37, 1.0f), bf(37, 4.0f), yf(37);
    bf[5] = 0;
    bf[36] = 0;
    af[36] = 0;
    f(37, af.data(), bf.data(), yf.data());
    EXPECT_FLOAT_EQ(yf[0], 0.25f);
    EXPECT_EQ(yf[5], INFINITY);
    EXPECT_TRUE(std::isnan(yf[36]));
    ASSERT_EQ(ReportLog::log().size(), 2u);
    EXPECT_EQ(ReportLog::log()[1].index, 36);
  }
  ReportLog l3;
  double inv_in[3] = {kInf, -kInf, 0.0}, inv_out[3];
  _vexdInv(3, inv_in, inv_out);
  EXPECT_EQ(inv_out[0], 0.0);
  EXPECT_EQ(bits(inv_out[1]), bits(-0.0));
  EXPECT_EQ(inv_out[2], kInf);
  ASSERT_EQ(ReportLog::log().size(), 1u) << "infinity is no error";
  EXPECT_EQ(ReportLog::log()[0].index, 2);
}

TEST(DivInv, SingleEpTakesTheTrueDivisionOutsideTheEstimatesRange) {
  // zero, denormal, huge, infinite and NaN divisors; the estimate serves the rest
  const float b[16] = {0.0f, 1e-40f, 3e38f, INFINITY, NAN, 3.0f, -7.0f, 0.1f,
                       FLT_MIN, -1e-30f, 1e30f, 2.0f, 5.0f, 6.0f, 9.0f, 11.0f};
  float y[16], a[16];
  for (int i = 0; i < 16; ++i) a[i] = 1.0f;
  _vexSetMode(VEX_ERRMODE_IGNORE);
  _vexsInv_11(16, b, y);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(same_or_nan(y[i], 1.0f / b[i])) << i;
  for (int i = 5; i < 16; ++i) EXPECT_NEAR(y[i], 1.0f / b[i], std::fabs(1.0f / b[i]) * 0x1p-21) << i;
  _vexsDiv_11(16, a, b, y);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(same_or_nan(y[i], 1.0f / b[i])) << i;
  _vexSetMode(VEX_ERRMODE_DEFAULT);
}

TEST(Rounding, TiesSignedZerosAndTheCallersRounding) {
  double a[5] = {2.5, -2.5, 0.49999999999999994, -0.3, 4503599627370497.0}, y[5];
  _vexdRound(5, a, y);
  EXPECT_EQ(y[0], 3.0);
  EXPECT_EQ(y[1], -3.0);
  EXPECT_EQ(y[2], 0.0);
  EXPECT_EQ(bits(y[3]), bits(-0.0));
  EXPECT_EQ(y[4], 4503599627370497.0);
  float af[3] = {2.5f, -0.5f, 0.49999997f}, yf[3];
  _vexsRound(3, af, yf);
  EXPECT_EQ(yf[0], 3.0f);
  EXPECT_EQ(yf[1], -1.0f);
  EXPECT_EQ(yf[2], 0.0f);

  FpRestore keep;
  _mm_setcsr(0x5f80);  // round upward
  float r1[1], r2[1], x = 2.5f;
  double d1[1], dx = 2.5;
  _vexsRint(1, &x, r1);
  _vexsNearbyInt(1, &x, r2);
  _vexdRint(1, &dx, d1);
  EXPECT_EQ(_mm_getcsr() & ~0x3fu, 0x5f80u) << "the caller's rounding comes back";
  _mm_setcsr(0x1f80);
  EXPECT_EQ(r1[0], 2.0f) << "Rint rounds to nearest even whatever the caller's rounding";
  EXPECT_EQ(r2[0], 2.0f);
  EXPECT_EQ(d1[0], 2.0);
}

TEST(Rounding, InexactFlagOfRintButNotOfNearbyIntRoundOrExactInputs) {
  FpRestore keep;
  EXPECT_NE(flags_after(_vexdRint, {2.5}) & kInexact, 0u);
  EXPECT_EQ(flags_after(_vexdNearbyInt, {2.5}) & kInexact, 0u);
  EXPECT_NE(flags_after(_vexdCeil, {2.5, 1, 2, 3, 4}) & kInexact, 0u);
  // integers only, with a padded tail: no flag at all
  EXPECT_EQ(flags_after(_vexdRint, {1, 2, 3, 4, 5, 6, 7}), 0u);
  EXPECT_EQ(flags_after(_vexdFloor, {1, 2, 3}), 0u);
  // Round, Frac and Modf's fraction raise nothing, not even on infinities and NaNs
  EXPECT_EQ(flags_after(_vexdRound, {2.5, kInf, -kInf, NAN, 0.3}), 0u);
  EXPECT_EQ(flags_after(_vexdFrac, {2.5, kInf, -kInf, NAN, 0.3, 1e300}), 0u);
}

TEST(Frac, SignOfZeroAndWordLevelPath) {
  double a[6] = {-3.0, 3.25, -kInf, kInf, NAN, -0.75}, y[6];
  _vexdFrac(6, a, y);
  EXPECT_EQ(bits(y[0]), bits(-0.0));
  EXPECT_EQ(y[1], 0.25);
  EXPECT_EQ(bits(y[2]), bits(-0.0));
  EXPECT_EQ(bits(y[3]), bits(0.0));
  EXPECT_TRUE(std::isnan(y[4]));
  EXPECT_EQ(y[5], -0.75);
  // a block of 4 with an infinity: the other lanes take the word-level path's values too
  double b[4] = {kInf, -5.5, 1234567.875, -1e17}, z[4];
  _vexdFrac(4, b, z);
  EXPECT_EQ(z[1], -0.5);
  EXPECT_EQ(z[2], 0.875);
  EXPECT_EQ(bits(z[3]), bits(-0.0));
}

TEST(Modf, BothResultsMatchTheCLibraryInEveryLayout) {
  std::mt19937_64 g(5);
  std::vector<double> a = {0.0, -0.0, 2.5, -2.5, -3.0, 0.3, -0.3, 4503599627370497.0, 1e300, -kInf, kInf, NAN,
                           4.9e-324, -1.5e-310};
  while (a.size() < 203) {
    double v = std::ldexp(std::uniform_real_distribution<double>(-1, 1)(g), static_cast<int>(g() % 70) - 10);
    a.push_back(v);
  }
  const int n = static_cast<int>(a.size());
  std::vector<double> y(n), z(n);
  std::vector<float> af(a.begin(), a.end()), yf(n), zf(n);
  for (auto f : {_vexdModf_50, _vexdModf, _vexdModf_26}) {
    f(n, a.data(), y.data(), z.data());
    for (int i = 0; i < n; ++i) {
      double ip, fp = std::modf(a[i], &ip);
      ASSERT_TRUE(same_or_nan(y[i], ip)) << a[i];
      ASSERT_TRUE(same_or_nan(z[i], fp)) << a[i];
    }
  }
  _vexsModf(n, af.data(), yf.data(), zf.data());
  for (int i = 0; i < n; ++i) {
    float ip, fp = std::modf(af[i], &ip);
    ASSERT_TRUE(same_or_nan(yf[i], ip)) << af[i];
    ASSERT_TRUE(same_or_nan(zf[i], fp)) << af[i];
  }
  // strides 2 and -1 give the contiguous results; stride 0 keeps the last
  std::vector<double> a2(2 * n), y2(2 * n), z2(2 * n), ym(n), zm(n);
  for (int i = 0; i < n; ++i) a2[2 * i] = a[i];
  _vexdModfI(n, a2.data(), 2, y2.data(), 2, z2.data(), 2);
  _vexdModfI(n, a.data() + n - 1, -1, ym.data() + n - 1, -1, zm.data() + n - 1, -1);
  for (int i = 0; i < n; ++i) {
    ASSERT_TRUE(same_or_nan(y2[2 * i], y[i]) && same_or_nan(z2[2 * i], z[i])) << i;
    // element i of the reversed call reads a[n-1-i] and writes position n-1-i
    ASSERT_TRUE(same_or_nan(ym[i], y[i]) && same_or_nan(zm[i], z[i])) << i;
  }
  double y0 = 0, z0 = 0;
  _vexdModfI(5, &a[2], 0, &y0, 0, &z0, 0);
  EXPECT_EQ(y0, 2.0);
  EXPECT_EQ(z0, 0.5);
}

TEST(Selection, NanLosesAndNothingIsReported) {
  ReportLog log;
  double a[3] = {NAN, 1.0, NAN}, b[3] = {1.0, NAN, NAN}, y[3];
  for (auto f : {_vexdFmax, _vexdFmin, _vexdMaxMag, _vexdMinMag}) {
    f(3, a, b, y);
    EXPECT_EQ(y[0], 1.0);
    EXPECT_EQ(y[1], 1.0);
    EXPECT_TRUE(std::isnan(y[2]));
  }
  _vexdFdim(3, a, b, y);
  EXPECT_TRUE(std::isnan(y[0]) && std::isnan(y[1]) && std::isnan(y[2])) << "Fdim propagates NaNs";
  double m1[2] = {-3.0, 2.0}, m2[2] = {2.0, -2.0};
  _vexdMaxMag(2, m1, m2, y);
  EXPECT_EQ(y[0], -3.0);
  EXPECT_EQ(y[1], 2.0) << "equal magnitudes: the signed maximum";
  _vexdMinMag(2, m1, m2, y);
  EXPECT_EQ(y[0], 2.0);
  EXPECT_EQ(y[1], -2.0);
  EXPECT_TRUE(ReportLog::log().empty());
  EXPECT_EQ(_vexGetErrStatus(), 0);
}

TEST(NextAfter, EndsOfTheRangeReportAndRaiseTheirFlags) {
  FpRestore keep;
  ReportLog log;
  double x[4] = {0.0, DBL_MAX, DBL_MIN, -0.0}, t[4] = {1.0, kInf, 0.0, -1.0}, y[4];
  _mm_setcsr(_mm_getcsr() & ~0x3fu);
  _vexdNextAfter(4, x, t, y);
  const uint32_t fl = _mm_getcsr() & 0x3f;
  EXPECT_EQ(y[0], 4.9406564584124654e-324);
  EXPECT_EQ(y[1], kInf);
  EXPECT_EQ(y[2], std::nextafter(DBL_MIN, 0.0));
  EXPECT_EQ(y[3], -4.9406564584124654e-324);
  auto &r = ReportLog::log();
  ASSERT_EQ(r.size(), 4u);
  EXPECT_EQ(r[0].code, STATUS_UNDERFLOW);
  EXPECT_EQ(r[1].code, STATUS_OVERFLOW);
  EXPECT_EQ(r[2].code, STATUS_UNDERFLOW);
  EXPECT_EQ(r[3].code, STATUS_UNDERFLOW);
  EXPECT_NE(fl & kUnderflow, 0u);
  EXPECT_NE(fl & kOverflow, 0u);
  ReportLog l2;
  float xf[2] = {0.0f, FLT_MAX}, tf[2] = {-1.0f, INFINITY}, yf[2];
  _vexsNextAfter(2, xf, tf, yf);
  EXPECT_EQ(yf[0], -1.4e-45f);
  EXPECT_EQ(yf[1], INFINITY);
  ASSERT_EQ(ReportLog::log().size(), 2u);
  EXPECT_EQ(ReportLog::log()[1].code, STATUS_OVERFLOW);
}

TEST(Fmod, ShortcutsZeroDivisorAndInfiniteDividend) {
  ReportLog log;
  // n = 1 takes the scalar path, a full block the vector path: same values
  for (int n : {1, 8}) {
    std::vector<double> a(n, 5.5), b(n, 1.0), y(n);
    _vexdFmod(n, a.data(), b.data(), y.data());
    EXPECT_EQ(y[0], 0.5) << n;
    std::fill(a.begin(), a.end(), 4294967295.0);
    std::fill(b.begin(), b.end(), 2147483647.0);
    _vexdFmod(n, a.data(), b.data(), y.data());
    EXPECT_EQ(y[0], 1.0) << n;
  }
  // the |b| = 2147483647 shortcut against the C library, through the scalar path
  std::mt19937_64 g(11);
  for (int i = 0; i < 2000; ++i) {
    double a = std::ldexp(static_cast<double>(g() >> 11), -static_cast<int>(g() % 40)) * ((g() & 1) ? 1 : -1);
    double b = (g() & 1) ? 2147483647.0 : -2147483647.0, y;
    _vexdFmod(1, &a, &b, &y);
    ASSERT_EQ(bits(y), bits(std::fmod(a, b))) << a;
    b = (g() & 1) ? 1.0 : -1.0;
    _vexdFmod(1, &a, &b, &y);
    ASSERT_EQ(bits(y), bits(std::fmod(a, b))) << a;
  }
  EXPECT_TRUE(ReportLog::log().empty());
  double a[4] = {3.0, kInf, NAN, 1e300}, b[4] = {0.0, 2.0, 0.0, 1.0}, y[4];
  _vexdFmod(4, a, b, y);
  EXPECT_TRUE(std::isnan(y[0]) && std::isnan(y[1]) && std::isnan(y[2]));
  EXPECT_EQ(y[3], 0.0) << "|a| from 2^52 on with |b| = 1";
  auto &r = ReportLog::log();
  ASSERT_EQ(r.size(), 2u) << "a NaN is no error";
  EXPECT_EQ(r[0].code, STATUS_SINGULARITY);
  EXPECT_EQ(r[1].index, 1);
  // Remainder never reports
  ReportLog l2;
  _vexdRemainder(4, a, b, y);
  _vexsRemainder(1, std::vector<float>{3.0f}.data(), std::vector<float>{0.0f}.data(), std::vector<float>(1).data());
  EXPECT_TRUE(std::isnan(y[0]) && std::isnan(y[1]));
  EXPECT_TRUE(ReportLog::log().empty());
}

TEST(EntryKinds, DoubleAddSubMulKeepTheCallersRoundingTheOthersRoundToNearest) {
  FpRestore keep;
  // 1 - eps/5 is 1 to nearest and 1 - eps/2 toward zero; 1/10 rounds up to nearest
  std::vector<double> one(8, 1.0), tiny(8, DBL_EPSILON / 5), y(8), z(8);
  _mm_setcsr(0x7f80);  // toward zero
  _vexdSub(8, one.data(), tiny.data(), y.data());
  _vexdLinearFrac(8, one.data(), one.data(), 1.0, -DBL_EPSILON / 5, 0.0, 1.0, z.data());
  std::vector<double> ten(8, 10.0), w(8);
  _vexdDiv(8, one.data(), ten.data(), w.data());
  _mm_setcsr(0x1f80);
  EXPECT_EQ(y[0], 1.0 - DBL_EPSILON / 2) << "dSub rounds toward zero";
  EXPECT_EQ(w[0], 0.1) << "dDiv is mode-driven and rounds to nearest";
  EXPECT_LT(z[0], 1.0) << "dLinearFrac keeps the caller's rounding";
}

// LinearFrac against the division of its rounded numerator and denominator.
template <class T>
void linear_frac_case(void (*f)(int, const T *, const T *, T, T, T, T, T *),
                      void (*fi)(int, const T *, int, const T *, int, T, T, T, T, T *, int)) {
  std::mt19937_64 g(9);
  std::uniform_real_distribution<double> u(-100, 100);
  const int n = 1000 + 7;
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
  // a zero, a NaN and an infinite denominator are not noticed: what IEEE division gives
  ReportLog log;
  T za[3] = {1, 1, 1}, zb[3] = {T(0.5), NAN, INFINITY}, zy[3];
  f(3, za, zb, 1, 0, -2, 1, zy);
  EXPECT_EQ(zy[0], INFINITY);
  EXPECT_TRUE(std::isnan(zy[1]));
  EXPECT_EQ(bits(zy[2]), bits(T(-0.0)));
  EXPECT_TRUE(ReportLog::log().empty());
  // in a block too
  std::vector<T> ba(16, T(2)), bb(16, T(1)), by(16);
  bb[3] = T(-0.5);
  f(16, ba.data(), bb.data(), 1, 0, 2, 1, by.data());
  EXPECT_EQ(by[3], INFINITY);
  EXPECT_EQ(by[0], T(2) / 3);
  // strides 2 and -1 give the contiguous results
  std::vector<T> a2(2 * n), b2(2 * n), y2(2 * n), yr(n);
  for (int i = 0; i < n; ++i) a2[2 * i] = a[i], b2[2 * i] = b[i];
  fi(n, a2.data(), 2, b2.data(), 2, sa, ha, sb, hb, y2.data(), 2);
  std::vector<T> ar(a.rbegin(), a.rend()), br(b.rbegin(), b.rend());
  fi(n, ar.data() + n - 1, -1, br.data() + n - 1, -1, sa, ha, sb, hb, yr.data() + n - 1, -1);
  for (int i = 0; i < n; ++i) {
    ASSERT_EQ(y2[2 * i], y[i]) << i;
    ASSERT_EQ(yr[n - 1 - i], y[i]) << i;
  }
}

TEST(LinearFrac, WithinOneUlpOfTheQuotientAndSilentOnBadDenominators) {
  linear_frac_case<double>(_vexdLinearFrac, _vexdLinearFracI);
  linear_frac_case<float>(_vexsLinearFrac, _vexsLinearFracI);
}

TEST(Strided, DivReportsTheElementNumber) {
  ReportLog log;
  double a[8] = {1, 1, 1, 1, 1, 1, 1, 1}, b[8] = {2, 9, 2, 9, 0, 9, 2, 9}, y[8];
  _vexdDivI(4, a, 2, b, 2, y, 2);
  ASSERT_EQ(ReportLog::log().size(), 1u);
  EXPECT_EQ(ReportLog::log()[0].index, 2);
  EXPECT_EQ(y[4], kInf);
}

}  // namespace

namespace {
TEST(Flags, QuietNanInputsRaiseNoInvalidFlag) {
  FpRestore keep;
  std::vector<double> a(16, 1.5), b(16, 0.75), y(16);
  a[1] = NAN;
  b[6] = NAN;
  a[9] = b[9] = NAN;
  using B = void (*)(int, const double *, const double *, double *);
  const B rows[] = {_vexdFmax, _vexdFmin, _vexdMaxMag, _vexdMinMag, _vexdFdim, _vexdNextAfter,
                    _vexdFmod, _vexdRemainder, _vexdCopySign, _vexdDiv};
  for (size_t k = 0; k < sizeof rows / sizeof rows[0]; ++k) {
    _mm_setcsr(_mm_getcsr() & ~0x3fu);
    rows[k](16, a.data(), b.data(), y.data());
    EXPECT_EQ(_mm_getcsr() & 0x1u, 0u) << "row " << k;
    EXPECT_TRUE(std::isnan(y[9]));
  }
}
}  // namespace

namespace {
TEST(EntryKinds, FlushModeMakesADenormalDivisorZero) {
  ReportLog log;
  const unsigned old = _vexSetMode(MODE_DENORMALS_FLUSH);
  float a[2] = {1e-10f, 1.0f}, b[2] = {1e-40f, 2.0f}, y[2];
  _vexsDiv(2, a, b, y);
  EXPECT_EQ(y[0], INFINITY);
  ASSERT_EQ(ReportLog::log().size(), 1u);
  EXPECT_EQ(ReportLog::log()[0].code, STATUS_SINGULARITY);
  _vexSetMode(MODE_DENORMALS_KEEP);
  _vexsDiv(2, a, b, y);
  EXPECT_EQ(y[0], a[0] / b[0]) << "the denormal kept";
  EXPECT_EQ(ReportLog::log().size(), 1u);
  _vexSetMode(old);
}
}  // namespace
