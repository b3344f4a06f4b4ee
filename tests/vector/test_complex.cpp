// Complex arithmetic, Abs, Arg and CIS: accuracy of the products and quotients against long
// double, the exact rows bit for bit, Abs, Arg and CIS equal to the real rows of their level,
// Annex G's special values and statuses, and the complex and mixed records. Layouts:
// test_layout.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;
namespace oracle = zyn::oracle;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
using C8 = ZynComplex8;
using C16 = ZynComplex16;
using LD = long double;

template <class C>
using PartOf = decltype(C::re);

template <class F>
F *row(char t, const std::string &stem, int level) {
  void *k = oracle::stub(oracle::stub_name(t, stem, level));
  EXPECT_NE(k, nullptr) << t << stem << " is not exported";
  return reinterpret_cast<F *>(k);
}

template <class C>
C bin(char t, const char *stem, int lv, C a, C b) {
  C y{};
  row<void(int, const C *, const C *, C *)>(t, stem, lv)(1, &a, &b, &y);
  return y;
}

// Error in ulp of the part type of `got` against `want`, for a part not cancelled: one whose
// two products have the same effective sign (s1 * s2 >= 0).
template <class P>
double ulps(P got, LD want) {
  const int e = std::max(std::ilogb(static_cast<P>(want)), std::numeric_limits<P>::min_exponent - 1);
  return static_cast<double>(std::fabs(static_cast<LD>(got) - want) / std::ldexp(LD(1), e - std::numeric_limits<P>::digits + 1));
}

// Mul, MulByConj and Div on 10^4 random operands over a wide range of exponents, per part not
// cancelled, at each level; the bounds of their kernels' error analyses.
template <class C>
void products(char t) {
  using P = PartOf<C>;
  const int span = sizeof(P) == 4 ? 400 : 4000;
  std::mt19937_64 g(11);
  std::uniform_real_distribution<double> u(-1, 1);
  std::uniform_int_distribution<int> ex(-span, span);
  auto part = [&] { return static_cast<P>(std::ldexp(u(g), ex(g) / 8)); };
  double worst[3][3] = {};
  for (int i = 0; i < 10000; ++i) {
    const C a{part(), part()}, b{part(), part()};
    const LD ar = a.re, ai = a.im, br = b.re, bi = b.im, den = br * br + bi * bi;
    struct Want {
      LD re1, re2, im1, im2, scale;
    };
    const Want w[3] = {{ar * br, -ai * bi, ar * bi, ai * br, 1}, {ar * br, ai * bi, -ar * bi, ai * br, 1},
                       {ar * br, ai * bi, ai * br, -ar * bi, den}};
    const char *stems[3] = {"Mul", "MulByConj", "Div"};
    for (int f = 0; f < 3; ++f)
      for (int lv = 1; lv < 3; ++lv) {
        const C y = bin(t, stems[f], lv, a, b);
        if (w[f].re1 * w[f].re2 >= 0) worst[f][lv] = std::max(worst[f][lv], ulps(y.re, (w[f].re1 + w[f].re2) / w[f].scale));
        if (w[f].im1 * w[f].im2 >= 0) worst[f][lv] = std::max(worst[f][lv], ulps(y.im, (w[f].im1 + w[f].im2) / w[f].scale));
      }
  }
  const double bound[3][3] = {{0, 1, 2}, {0, 1, 2}, {0, 1, 1}};
  const double bound_z[3][3] = {{0, 2, 2}, {0, 2, 2}, {0, 4, 4}};
  for (int f = 0; f < 3; ++f)
    for (int lv = 1; lv < 3; ++lv)
      EXPECT_LE(worst[f][lv], sizeof(P) == 4 ? bound[f][lv] : bound_z[f][lv]) << t << f << " " << kLevels[lv];
}

TEST(ComplexArith, ProductsAndQuotientsWithinTheirBounds) {
  products<C8>('c');
  products<C16>('z');
}

// Add, Sub, Conj are the IEEE operation per part; Abs, Arg and CIS give the bits of the real
// Hypot, Atan2 and SinCos rows of their level (their accuracy is those rows').
template <class C>
void exact_and_real(char t) {
  using P = PartOf<C>;
  const char r = t == 'c' ? 's' : 'd';
  std::mt19937_64 g(5);
  std::uniform_real_distribution<double> u(-1, 1);
  const int n = 1000;
  std::vector<C> a(n), b(n), y(n);
  std::vector<P> x(n), re(n), im(n), out(n), out2(n), sx(n), cx(n);
  for (int i = 0; i < n; ++i) {
    a[i] = {static_cast<P>(std::ldexp(u(g), i % 40 - 20)), static_cast<P>(u(g) * 3)};
    b[i] = {static_cast<P>(u(g) * 1e3), static_cast<P>(std::ldexp(u(g), i % 30))};
    x[i] = static_cast<P>(std::ldexp(u(g), i % 50 - 10));
    re[i] = a[i].re, im[i] = a[i].im;
  }
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(std::string(1, t) + " " + kLevels[lv]);
    for (const char *stem : {"Add", "Sub"}) {
      row<void(int, const C *, const C *, C *)>(t, stem, lv)(n, a.data(), b.data(), y.data());
      const P s = stem[0] == 'A' ? 1 : -1;
      for (int i = 0; i < n; ++i) ASSERT_TRUE(same(y[i].re, a[i].re + s * b[i].re) && same(y[i].im, a[i].im + s * b[i].im)) << stem << i;
    }
    row<void(int, const C *, C *)>(t, "Conj", lv)(n, a.data(), y.data());
    for (int i = 0; i < n; ++i) ASSERT_TRUE(same(y[i].re, a[i].re) && same(y[i].im, -a[i].im)) << "Conj " << i;
    row<void(int, const C *, P *)>(t, "Abs", lv)(n, a.data(), out.data());
    row<void(int, const P *, const P *, P *)>(r, "Hypot", lv)(n, re.data(), im.data(), out2.data());
    for (int i = 0; i < n; ++i) ASSERT_TRUE(same(out[i], out2[i])) << "Abs " << i;
    row<void(int, const C *, P *)>(t, "Arg", lv)(n, a.data(), out.data());
    row<void(int, const P *, const P *, P *)>(r, "Atan2", lv)(n, im.data(), re.data(), out2.data());
    for (int i = 0; i < n; ++i) ASSERT_TRUE(same(out[i], out2[i])) << "Arg " << i;
    row<void(int, const P *, C *)>(t, "CIS", lv)(n, x.data(), y.data());
    row<void(int, const P *, P *, P *)>(r, "SinCos", lv)(n, x.data(), sx.data(), cx.data());
    for (int i = 0; i < n; ++i) ASSERT_TRUE(same(y[i].re, cx[i]) && same(y[i].im, sx[i])) << "CIS " << i;
  }
}

TEST(ComplexArith, ExactRowsAndTheRealRowsOfAbsArgCis) {
  exact_and_real<C8>('c');
  exact_and_real<C16>('z');
}

// Annex G: value and sign of each part, and the status, at every level where it applies.
struct Case {
  const char *stem;
  C16 a, b, want;
  int status;
  unsigned levels;  // bit 1 HA (and LA), bit 2 EP
};

template <class C>
void expect_annex_g(char t, const std::vector<Case> &cases) {
  using P = PartOf<C>;
  for (const Case &c : cases)
    for (int lv = 1; lv < 3; ++lv) {
      if (!(c.levels >> lv & 1)) continue;
      ReportLog log;
      const C y = bin(t, c.stem, lv, C{static_cast<P>(c.a.re), static_cast<P>(c.a.im)},
                      C{static_cast<P>(c.b.re), static_cast<P>(c.b.im)});
      EXPECT_TRUE(same(y.re, static_cast<P>(c.want.re)) && same(y.im, static_cast<P>(c.want.im)))
          << t << c.stem << " " << kLevels[lv] << " (" << c.a.re << ", " << c.a.im << ") by (" << c.b.re << ", "
          << c.b.im << "): " << y.re << ", " << y.im;
      EXPECT_EQ(log.log().empty() ? 0 : log.log().back().code, c.status) << t << c.stem << " " << kLevels[lv];
    }
}

TEST(ComplexArith, AnnexGSpecialValuesAndStatuses) {
  constexpr int S = STATUS_SINGULARITY;
  const std::vector<Case> both = {
      {"Mul", {kInf, 0}, {NAN, NAN}, {NAN, NAN}, 0, 6},  // NaN stays NaN: nothing to recover
      {"Mul", {kInf, NAN}, {1, 0}, {kInf, NAN}, 0, 2},   // an infinite operand never gives NaN + iNaN
      {"Mul", {kInf, kInf}, {0, 1}, {-kInf, kInf}, 0, 2},
      {"MulByConj", {kInf, kInf}, {0, 1}, {kInf, -kInf}, 0, 2},
      {"Mul", {-0.0, 0}, {-0.0, 0}, {0, -0.0}, 0, 6},
      {"Div", {1, 1}, {0, 0}, {kInf, kInf}, S, 2},
      {"Div", {1, 1}, {0, 0}, {NAN, NAN}, S, 4},  // the plain formula at EP
      {"Div", {0, 0}, {-0.0, 0}, {NAN, NAN}, S, 6},
      {"Div", {NAN, 0}, {0, 0}, {NAN, NAN}, S, 6},
      {"Div", {kInf, 2}, {1, 1}, {kInf, -kInf}, 0, 2},
      {"Div", {1, 2}, {kInf, NAN}, {0, 0}, 0, 2},
      {"Div", {4, 2}, {2, 0}, {2, 1}, 0, 6},
      {"Div", {1, 0}, {0, 1}, {0, -1}, 0, 6},
  };
  expect_annex_g<C8>('c', both);
  expect_annex_g<C16>('z', both);
  // No spurious overflow or underflow where the plain formula has one.
  expect_annex_g<C16>('z', {{"Div", {1e308, 1e308}, {1e308, 1e308}, {1, 0}, 0, 2},
                            {"Div", {0x1p-1050, 0x3p-1050}, {0x1p-1050, 0x1p-1050}, {2, 1}, 0, 2},
                            {"Div", {3e300, 1e300}, {1e-300, 0}, {kInf, kInf}, 0, 2}});
  expect_annex_g<C8>('c', {{"Div", {1e38f, 1e38f}, {1e38f, 1e38f}, {1, 0}, 0, 6},
                           {"Mul", {0x1p100, 0x1p100}, {0x1p-100, -0x1p-100}, {2, 0}, 0, 6}});
}

TEST(ComplexMixed, SpecialValuesAndStatuses) {
  constexpr double kPi = 3.141592653589793;
  for (char t : {'c', 'z'})
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(1, t) + " " + kLevels[lv]);
      auto one = [&](const char *stem, C16 a) {
        ReportLog log;
        double y;
        if (t == 'z') {
          row<void(int, const C16 *, double *)>(t, stem, lv)(1, &a, &y);
        } else {
          const C8 c{static_cast<float>(a.re), static_cast<float>(a.im)};
          float f;
          row<void(int, const C8 *, float *)>(t, stem, lv)(1, &c, &f);
          y = f;
        }
        return std::pair(y, log.log().empty() ? 0 : log.log().back().code);
      };
      EXPECT_EQ(one("Abs", {kInf, NAN}), std::pair(kInf, 0));
      EXPECT_EQ(one("Abs", {NAN, -kInf}), std::pair(kInf, 0));
      EXPECT_EQ(one("Abs", {t == 'z' ? 1.5e308 : 3e38, t == 'z' ? 1e308 : 3e38}), std::pair(kInf, int(STATUS_OVERFLOW)));
      EXPECT_EQ(one("Arg", {-1, -0.0}).first, t == 'z' ? -kPi : double(-static_cast<float>(kPi)));
      EXPECT_TRUE(same(one("Arg", {0, -0.0}).first, -0.0));
      EXPECT_EQ(one("Arg", {-0.0, 0}).first, t == 'z' ? kPi : double(static_cast<float>(kPi)));
      C16 y;
      ReportLog log;
      const double inf = kInf;
      if (t == 'z') {
        row<void(int, const double *, C16 *)>(t, "CIS", lv)(1, &inf, &y);
      } else {
        const float f = kInf;
        C8 c;
        row<void(int, const float *, C8 *)>(t, "CIS", lv)(1, &f, &c);
        y = {c.re, c.im};
      }
      EXPECT_TRUE(std::isnan(y.re) && std::isnan(y.im));
      EXPECT_EQ(log.log().size(), 1u);
      EXPECT_EQ(_vexGetErrStatus(), STATUS_DOMAIN);
    }
}

// The record of a complex report and of a mixed one: both parts, the real side with imaginary
// part 0, the index from the start of the whole vector (counted in elements of a), and a
// callback's res1 (with res1Im) landing in the result.
ErrorContext g_seen;
int replace_result(ErrorContext *c) {
  g_seen = *c;
  c->res1 = 7.5, c->res1Im = -2.25;
  return 0;
}

TEST(ComplexReports, RecordsOfComplexAndMixedRows) {
  struct Restore {
    ~Restore() {
      _vexClearErrorCallBack();
      _vexSetInterfInputVectorPointer(nullptr);
    }
  } restore;
  _vexSetErrorCallBack(&replace_result);
  C16 a[4] = {{1, 2}, {3, 4}, {5, 6}, {-1.5, 0.5}}, b[4] = {{1, 1}, {1, 1}, {1, 1}, {0, -0.0}}, y[4];
  _vexSetInterfInputVectorPointer(a);
  row<void(int, const C16 *, const C16 *, C16 *)>('z', "Div", 1)(2, a + 2, b + 2, y + 2);
  EXPECT_EQ(g_seen.code, STATUS_SINGULARITY);
  EXPECT_EQ(g_seen.index, 3);
  EXPECT_EQ(std::string(g_seen.funcName), "vzDiv");
  EXPECT_EQ(g_seen.arg1, -1.5);
  EXPECT_EQ(g_seen.arg1Im, 0.5);
  EXPECT_TRUE(same(g_seen.arg2Im, -0.0));
  EXPECT_EQ(g_seen.res1, -kInf);
  EXPECT_EQ(g_seen.res1Im, kInf);
  EXPECT_EQ(y[3].re, 7.5);
  EXPECT_EQ(y[3].im, -2.25);

  // A chunked mixed call: the index counts complex elements of a; Abs's real result shows with
  // imaginary part 0, and the callback's res1 lands in it.
  C8 c[3] = {{1, 1}, {3e38f, 3e38f}, {2, 0}};
  float r[3];
  g_seen = {};
  _vexSetInterfInputVectorPointer(c);
  row<void(int, const C8 *, float *)>('c', "Abs", 0)(2, c + 1, r + 1);
  EXPECT_EQ(g_seen.code, STATUS_OVERFLOW);
  EXPECT_EQ(g_seen.index, 1);
  EXPECT_EQ(g_seen.arg1Im, double(3e38f));
  EXPECT_EQ(g_seen.res1, kInf);
  EXPECT_EQ(g_seen.res1Im, 0);
  EXPECT_EQ(r[1], 7.5f);
  EXPECT_EQ(r[2], 2.0f);

  // CIS: real in, complex out; the input shows with imaginary part 0.
  double x[2] = {0.5, -kInf};
  C16 z[2];
  g_seen = {};
  _vexSetInterfInputVectorPointer(nullptr);
  row<void(int, const double *, C16 *)>('z', "CIS", 2)(2, x, z);
  EXPECT_EQ(g_seen.code, STATUS_DOMAIN);
  EXPECT_EQ(g_seen.index, 1);
  EXPECT_EQ(g_seen.arg1, -kInf);
  EXPECT_EQ(g_seen.arg1Im, 0);
  EXPECT_EQ(z[1].re, 7.5);
  EXPECT_EQ(z[1].im, -2.25);
}

// Add and Sub round to nearest whatever the caller's rounding (they read the mode); Conj keeps
// the caller's controls and changes nothing else.
TEST(ComplexArith, CallerRoundingAndControls) {
  FpRestore restore;
  _mm_setcsr((_mm_getcsr() & ~0x6000u) | 0x2000u);  // round down
  const C16 a{1, -1}, b{0x1p-60, -0x1p-60};
  for (int lv = 1; lv < 3; ++lv) {
    const C16 y = bin('z', "Add", lv, a, b);
    EXPECT_EQ(y.re, 1.0);
    EXPECT_EQ(y.im, -1.0);
  }
  EXPECT_EQ(_mm_getcsr() & 0x6000u, 0x2000u);
}

}  // namespace

namespace {
// Exp, Ln, Log10, Sqrt against glibc's extended-precision complex functions on 10^4 inputs per
// row: parts over the plane by exponent, near |z| = 1, and on both sides of the cuts; the worst
// error in ulp over parts not cancelled (|part| >= 2^-(p/2) |f|).
template <class C>
void elementary(char t) {
  using P = PartOf<C>;
  using CL = std::complex<LD>;
  const int p = std::numeric_limits<P>::digits, emax = sizeof(P) == 4 ? 120 : 1000;
  std::mt19937_64 g(3);
  std::uniform_real_distribution<double> u(-1, 1), ang(-3.2, 3.2);
  std::vector<C> a;
  for (int i = 0; i < 10000; ++i) {
    const int kind = i % 4;
    double x, y;
    if (kind == 0) x = std::ldexp(u(g), int(g() % (2 * emax)) - emax), y = std::ldexp(u(g), int(g() % (2 * emax)) - emax);
    else if (kind == 1) x = std::cos(ang(g)) * (1 + u(g) * 1e-6), y = std::sin(ang(g)) * (1 + u(g) * 1e-6);
    else if (kind == 2) x = -std::ldexp(std::fabs(u(g)), int(g() % 40) - 20), y = std::ldexp(u(g), -int(g() % 200));
    else x = u(g) * 8, y = u(g) * 8;
    a.push_back(C{static_cast<P>(x), static_cast<P>(y)});
  }
  struct F {
    const char *stem;
    CL (*f)(CL);
    double bound;
  };
  const F fs[] = {{"Exp", [](CL z) { return std::exp(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Ln", [](CL z) { return std::log(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Log10", [](CL z) { return std::log10(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Sqrt", [](CL z) { return std::sqrt(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Sinh", [](CL z) { return std::sinh(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Cosh", [](CL z) { return std::cosh(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Tanh", [](CL z) { return std::tanh(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Sin", [](CL z) { return std::sin(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Cos", [](CL z) { return std::cos(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Tan", [](CL z) { return std::tan(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Asinh", [](CL z) { return std::asinh(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Acosh", [](CL z) { return std::acosh(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Atanh", [](CL z) { return std::atanh(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Asin", [](CL z) { return std::asin(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Acos", [](CL z) { return std::acos(z); }, sizeof(P) == 4 ? 1 : 2},
                  {"Atan", [](CL z) { return std::atan(z); }, sizeof(P) == 4 ? 1 : 2}};
  std::vector<C> y(a.size());
  for (const F &f : fs)
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(1, t) + f.stem);
      row<void(int, const C *, C *)>(t, f.stem, lv)(static_cast<int>(a.size()), a.data(), y.data());
      double worst = 0;
      C worst_at{};
      for (size_t i = 0; i < a.size(); ++i) {
        // Beyond the reference's range: the exponential part of Exp and the hyperbolic and
        // trigonometric functions.
        const std::string stem = f.stem;
        const bool hyp = stem == "Exp" || stem == "Sinh" || stem == "Cosh" || stem == "Tanh";
        const bool trig = stem == "Sin" || stem == "Cos" || stem == "Tan";
        if ((hyp && std::fabs(a[i].re) > 80) || (trig && std::fabs(a[i].im) > 80)) continue;
        const CL w = f.f(CL(a[i].re, a[i].im));
        const LD m = std::abs(w), floor = std::ldexp(m, -p / 2);
        if (!std::isfinite(static_cast<P>(m)) || static_cast<P>(m) < std::numeric_limits<P>::min()) continue;
        const double before = worst;
        if (std::fabs(w.real()) >= floor) worst = std::max(worst, ulps(y[i].re, w.real()));
        if (std::fabs(w.imag()) >= floor) worst = std::max(worst, ulps(y[i].im, w.imag()));
        if (worst > before) worst_at = a[i];
      }
      EXPECT_LE(worst, f.bound) << t << f.stem << " " << kLevels[lv] << " worst at " << worst_at.re << ", " << worst_at.im;
    }
}

TEST(ComplexElementary, ExpLnLog10SqrtWithinTheirBounds) {
  elementary<C8>('c');
  elementary<C16>('z');
}

// Annex G: each part's value and sign and the status, in both types at every level.
TEST(ComplexElementary, AnnexGSpecialValuesCutsAndStatuses) {
  constexpr double kPi = 3.141592653589793, kAch2 = 1.3169578969248168, kAth2 = 0.54930614433405489;
  constexpr int D = STATUS_DOMAIN, S = STATUS_SINGULARITY, O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW;
  struct U1 {
    const char *stem;
    C16 a, want;
    int status;
  };
  const U1 cases[] = {
      {"Exp", {0, -0.0}, {1, -0.0}, 0},          {"Exp", {kInf, 0}, {kInf, 0}, 0},
      {"Exp", {-kInf, 1}, {0, 0}, 0},            {"Exp", {1, kInf}, {NAN, NAN}, D},
      {"Exp", {kInf, kInf}, {kInf, NAN}, D},     {"Exp", {kInf, NAN}, {kInf, NAN}, 0},
      {"Exp", {NAN, 0}, {NAN, 0}, 0},            {"Exp", {NAN, 1}, {NAN, NAN}, 0},
      {"Exp", {-kInf, -kInf}, {0, -0.0}, 0},     {"Exp", {1e4, 1}, {kInf, kInf}, O},
      {"Exp", {-1e4, 1}, {0, 0}, U},
      {"Ln", {-0.0, 0}, {-kInf, kPi}, S},        {"Ln", {0, -0.0}, {-kInf, -0.0}, S},
      {"Ln", {-1, 0}, {0, kPi}, 0},              {"Ln", {-1, -0.0}, {0, -kPi}, 0},
      {"Ln", {1, 0}, {0, 0}, 0},                 {"Ln", {-kInf, 1}, {kInf, kPi}, 0},
      {"Ln", {kInf, -1}, {kInf, -0.0}, 0},       {"Ln", {-kInf, kInf}, {kInf, 3 * kPi / 4}, 0},
      {"Ln", {NAN, kInf}, {kInf, NAN}, 0},       {"Ln", {NAN, 1}, {NAN, NAN}, 0},
      {"Log10", {0, 0}, {-kInf, 0}, S},          {"Log10", {100, -0.0}, {2, -0.0}, 0},
      {"Sqrt", {-4, 0}, {0, 2}, 0},              {"Sqrt", {-4, -0.0}, {0, -2}, 0},
      {"Sqrt", {-0.0, -0.0}, {0, -0.0}, 0},      {"Sqrt", {NAN, kInf}, {kInf, kInf}, 0},
      {"Sqrt", {-kInf, 1}, {0, kInf}, 0},        {"Sqrt", {kInf, -1}, {kInf, -0.0}, 0},
      {"Sqrt", {-kInf, NAN}, {NAN, kInf}, 0},    {"Sqrt", {kInf, NAN}, {kInf, NAN}, 0},
      {"Sqrt", {1, NAN}, {NAN, NAN}, 0},         {"Sqrt", {0, 2}, {1, 1}, 0},
      {"Sinh", {0, kInf}, {0, NAN}, D},          {"Sinh", {-kInf, 0}, {-kInf, 0}, 0},
      {"Sinh", {-0.0, 0}, {-0.0, 0}, 0},         {"Sinh", {kInf, kInf}, {kInf, NAN}, D},
      {"Sinh", {NAN, -0.0}, {NAN, -0.0}, 0},     {"Sinh", {1, NAN}, {NAN, NAN}, 0},
      {"Sinh", {800, 1}, {kInf, kInf}, O},       {"Cosh", {0, 0}, {1, 0}, 0},
      {"Cosh", {0, kInf}, {NAN, 0}, D},          {"Cosh", {kInf, -0.0}, {kInf, -0.0}, 0},
      {"Tanh", {kInf, 1}, {1, 0}, 0},            {"Tanh", {kInf, 2}, {1, -0.0}, 0},
      {"Tanh", {-kInf, 2}, {-1, -0.0}, 0},       {"Tanh", {0, NAN}, {NAN, NAN}, 0},
      {"Tanh", {1, kInf}, {NAN, NAN}, D},        {"Tanh", {-0.0, 0}, {-0.0, 0}, 0},
      {"Sin", {0, kInf}, {0, kInf}, 0},          {"Sin", {-0.0, -0.0}, {-0.0, -0.0}, 0},
      {"Sin", {kInf, 0}, {NAN, 0}, D},           {"Cos", {0, kInf}, {kInf, -0.0}, 0},
      {"Cos", {kInf, 0}, {NAN, -0.0}, D},        {"Tan", {0, kInf}, {0, 1}, 0},
      {"Tan", {kInf, 1}, {NAN, NAN}, D},
      // The cuts: the sign of a zero part picks the side.
      {"Acos", {2, 0}, {0, -kAch2}, 0},          {"Acos", {2, -0.0}, {0, kAch2}, 0},
      {"Asin", {2, 0}, {kPi / 2, kAch2}, 0},     {"Asin", {2, -0.0}, {kPi / 2, -kAch2}, 0},
      {"Asinh", {0, 2}, {kAch2, kPi / 2}, 0},    {"Asinh", {-0.0, 2}, {-kAch2, kPi / 2}, 0},
      {"Acosh", {-2, 0}, {kAch2, kPi}, 0},       {"Acosh", {-2, -0.0}, {kAch2, -kPi}, 0},
      {"Atanh", {2, 0}, {kAth2, kPi / 2}, 0},    {"Atanh", {2, -0.0}, {kAth2, -kPi / 2}, 0},
      {"Atan", {0, 2}, {kPi / 2, kAth2}, 0},     {"Atan", {-0.0, 2}, {-kPi / 2, kAth2}, 0},
      {"Atanh", {1, 0}, {kInf, 0}, S},           {"Atanh", {-1, -0.0}, {-kInf, -0.0}, S},
      {"Atan", {0, 1}, {0, kInf}, S},            {"Acos", {0, 0}, {kPi / 2, -0.0}, 0},
      {"Acosh", {0, 0}, {0, kPi / 2}, 0},        {"Asinh", {kInf, NAN}, {kInf, NAN}, 0},
      {"Acos", {NAN, kInf}, {NAN, -kInf}, 0},    {"Acosh", {-kInf, 1}, {kInf, kPi}, 0},
      {"Atanh", {NAN, kInf}, {0, kPi / 2}, 0},   {"Asin", {-0.0, -0.0}, {-0.0, -0.0}, 0},
  };
  for (char t : {'c', 'z'})
    for (int lv = 0; lv < 3; ++lv)
      for (const U1 &c : cases) {
        ReportLog log;
        C16 y;
        if (t == 'z') {
          row<void(int, const C16 *, C16 *)>(t, c.stem, lv)(1, &c.a, &y);
        } else {
          const C8 a{static_cast<float>(c.a.re), static_cast<float>(c.a.im)};
          C8 r;
          row<void(int, const C8 *, C8 *)>(t, c.stem, lv)(1, &a, &r);
          y = {r.re, r.im};
        }
        const double wr = t == 'z' ? c.want.re : double(static_cast<float>(c.want.re));
        const double wi = t == 'z' ? c.want.im : double(static_cast<float>(c.want.im));
        EXPECT_TRUE(same(y.re, wr) && same(y.im, wi))
            << t << c.stem << " " << kLevels[lv] << " (" << c.a.re << ", " << c.a.im << "): " << y.re << ", " << y.im;
        EXPECT_EQ(log.log().empty() ? 0 : log.log().back().code, c.status) << t << c.stem << " " << c.a.re;
      }
  // Re Ln on the unit circle, where x^2 + y^2 - 1 cancels: to 2 ulp of itself.
  for (double th = 0.1; th < 1.5; th += 0.1) {
    const C16 z{std::cos(th), std::sin(th)};
    C16 l;
    row<void(int, const C16 *, C16 *)>('z', "Ln", 1)(1, &z, &l);
    EXPECT_LE(ulps(l.re, std::log(std::complex<LD>(z.re, z.im)).real()), 2) << th;
  }
  // No spurious overflow.
  C16 a{709.9, 0.1}, y;
  row<void(int, const C16 *, C16 *)>('z', "Exp", 1)(1, &a, &y);
  EXPECT_TRUE(std::isfinite(y.im));
  EXPECT_NEAR(y.im, std::exp(LD(a.re)) * std::sin(LD(a.im)), 1e-15 * y.im);
}
}  // namespace

namespace {
// Pow against glibc's extended-precision cpow on 10^4 moderate operands per type, per part not
// cancelled; exact integer powers, the zero base and b = 0; Powx with b = 1/2 is Sqrt.
template <class C>
void powers(char t) {
  using P = PartOf<C>;
  using CL = std::complex<LD>;
  std::mt19937_64 g(9);
  std::uniform_real_distribution<double> u(-4, 4);
  double worst = 0;
  for (int i = 0; i < 10000; ++i) {
    const C a{static_cast<P>(std::ldexp(u(g), int(g() % 8) - 4)), static_cast<P>(u(g))};
    const C b = i % 3 ? C{static_cast<P>(u(g)), static_cast<P>(u(g))} : C{static_cast<P>(int(u(g) * 4)), 0};
    const C y = bin(t, "Pow", 1, a, b);
    const CL w = std::pow(CL(a.re, a.im), CL(b.re, b.im));
    const LD floor = std::ldexp(std::abs(w), -std::numeric_limits<P>::digits / 2);
    if (std::fabs(w.real()) >= floor) worst = std::max(worst, ulps(y.re, w.real()));
    if (std::fabs(w.imag()) >= floor) worst = std::max(worst, ulps(y.im, w.imag()));
  }
  // zPow: the phase b ln a carries 64 bits, so a part 2^-9 of |f| loses up to 3 bits (measured
  // 7.5 ulp); the 2-ulp target needs it in double-double.
  EXPECT_LE(worst, sizeof(P) == 4 ? 1 : 8) << t << "Pow";
  constexpr int S = STATUS_SINGULARITY, D = STATUS_DOMAIN;
  const std::vector<Case> cases = {
      {"Pow", {1, 1}, {2, 0}, {0, 2}, 0, 2},     {"Pow", {0, 1}, {4, 0}, {1, 0}, 0, 2},
      {"Pow", {0, 1}, {-2, 0}, {-1, -0.0}, 0, 2}, {"Pow", {NAN, 1}, {0, 0}, {1, 0}, 0, 2},
      {"Pow", {0, 0}, {2, 1}, {0, 0}, 0, 2},     {"Pow", {0, -0.0}, {-1, 3}, {kInf, 0}, S, 2},
      {"Pow", {0, 0}, {0, 1}, {NAN, NAN}, D, 2}, {"Pow", {NAN, 0}, {2, 0}, {NAN, NAN}, 0, 2},
      {"Pow", {1e200, 0}, {2, 0}, {kInf, 0}, STATUS_OVERFLOW, 2}};
  if (t == 'z') expect_annex_g<C>(t, cases);
  std::vector<C> a(50), y(50), s(50);
  for (int i = 0; i < 50; ++i) a[i] = {static_cast<P>(u(g)), static_cast<P>(u(g))};
  row<void(int, const C *, C, C *)>(t, "Powx", 1)(50, a.data(), C{0.5, 0}, y.data());
  row<void(int, const C *, C *)>(t, "Sqrt", 1)(50, a.data(), s.data());
  for (int i = 0; i < 50; ++i) EXPECT_TRUE(same(y[i].re, s[i].re) && same(y[i].im, s[i].im)) << i;
}

TEST(ComplexPow, PowAndPowx) {
  powers<C8>('c');
  powers<C16>('z');
}
}  // namespace
