// The complex rows: accuracy against MPC, the exact rows bit for bit, Abs, Arg and CIS equal to
// the real rows of their level, Annex G's special values, cut sides and statuses, and the
// records of complex and mixed reports.
// Layouts: test_layout.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle_complex.hpp"

using namespace zyn::test;
namespace oracle = zyn::oracle;
namespace cx = zyn::oracle::cx;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity(), kPi = 3.141592653589793;
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

// One element of a one- or two-input complex row (b ignored for one input).
template <class C>
C call(char t, const std::string &stem, int lv, C a, C b) {
  C y{};
  if (shape_of(t + stem) == Shape::binary) row<void(int, const C *, const C *, C *)>(t, stem, lv)(1, &a, &b, &y);
  else row<void(int, const C *, C *)>(t, stem, lv)(1, &a, &y);
  return y;
}

// Every row at every level against MPC (tools/accuracy/oracle_complex.hpp): per part over the
// parts not cancelled at LA and HA, normwise at EP; Abs, Arg, CIS as their real rows. The
// oracle's inputs (plane by exponent, near |z| = 1, +-1 and +-i, both sides of each cut),
// fixed seed; the 10^5-input sweep is recorded in docs/accuracy.md.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kMpcCount = 500;
#else
constexpr size_t kMpcCount = 2000;
#endif
class Mpc : public ::testing::TestWithParam<size_t> {};
TEST_P(Mpc, EveryRowAndLevelWithinItsBound) {
  const cx::CxFunction &f = cx::functions()[GetParam()];
  for (char t : {'c', 'z'})
    for (const cx::CxRowSweep &r : cx::sweep_rows(f, t, kMpcCount, 26))
      for (int lv = 0; lv < 3; ++lv) {
        const cx::CxSweep &s = r.level[lv];
        EXPECT_TRUE(r.built[lv] && cx::within(f, r.single, lv, s))
            << r.row << " " << kLevels[lv] << ": " << s.max_ulp << " ulp, rel " << s.max_rel << " (bound "
            << cx::bound_text(f, r.single, lv) << ") at " << std::hexfloat << s.worst[0] << ", " << s.worst[1] << ", "
            << s.worst[2] << ", " << s.worst[3];
      }
}
INSTANTIATE_TEST_SUITE_P(Complex, Mpc, ::testing::Range<size_t>(0, cx::functions().size()),
                         [](const ::testing::TestParamInfo<size_t> &i) { return cx::functions()[i.param].stem; });

// Add, Sub, Conj: the IEEE operation per part; Abs (but zAbs HA), Arg (but usual zArg HA), CIS: the bits of the real
// Hypot, Atan2 and SinCos rows of their level; Powx with b = 1/2: the Sqrt row.
template <class C>
void exact_and_real(char t) {
  using P = PartOf<C>;
  const char r = t == 'c' ? 's' : 'd';
  std::mt19937_64 g(5);
  std::uniform_real_distribution<double> u(-1, 1);
  const int n = 1000;
  std::vector<C> a(n), b(n), y(n), y2(n);
  std::vector<P> x(n), re(n), im(n), out(n), out2(n), sx(n), cx(n);
  for (int i = 0; i < n; ++i) {
    a[i] = {static_cast<P>(std::ldexp(u(g), i % 40 - 20)), static_cast<P>(u(g) * 3)};
    b[i] = {static_cast<P>(u(g) * 1e3), static_cast<P>(std::ldexp(u(g), i % 30))};
    x[i] = static_cast<P>(std::ldexp(u(g), i % 50 - 10));
  }
  // Specials and signed zeros (Abs(inf + iNaN) = inf, Arg(-1 - 0i) = -pi, CIS(inf)), and overflow.
  const P inf = std::numeric_limits<P>::infinity(), nan = std::numeric_limits<P>::quiet_NaN();
  const P big = std::numeric_limits<P>::max() / 2;
  const C sp[] = {{inf, nan}, {nan, -inf}, {-1, -0.0f}, {-1, 0}, {0, -0.0f}, {-0.0f, 0}, {big, big}, {nan, 1}};
  for (size_t k = 0; k < std::size(sp); ++k) a[k] = sp[k], x[k] = sp[k].re;
  for (int i = 0; i < n; ++i) re[i] = a[i].re, im[i] = a[i].im;
  QuietErrors quiet;
  auto expect_same = [&](const char *what, auto f) {
    for (int i = 0; i < n; ++i) ASSERT_TRUE(f(i)) << t << what << " element " << i;
  };
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(kLevels[lv]);
    for (const char *stem : {"Add", "Sub"}) {
      row<void(int, const C *, const C *, C *)>(t, stem, lv)(n, a.data(), b.data(), y.data());
      const P s = stem[0] == 'A' ? 1 : -1;
      expect_same(stem, [&](int i) { return same(y[i].re, a[i].re + s * b[i].re) && same(y[i].im, a[i].im + s * b[i].im); });
    }
    row<void(int, const C *, C *)>(t, "Conj", lv)(n, a.data(), y.data());
    expect_same("Conj", [&](int i) { return same(y[i].re, a[i].re) && same(y[i].im, -a[i].im); });
    row<void(int, const C *, P *)>(t, "Abs", lv)(n, a.data(), out.data());
    row<void(int, const P *, const P *, P *)>(r, "Hypot", lv)(n, re.data(), im.data(), out2.data());
    if (t == 'c' || lv != 1)  // zAbs HA squares by masking: its own bits, the same bound
      expect_same("Abs", [&](int i) { return same(out[i], out2[i]); });
    row<void(int, const C *, P *)>(t, "Arg", lv)(n, a.data(), out.data());
    row<void(int, const P *, const P *, P *)>(r, "Atan2", lv)(n, im.data(), re.data(), out2.data());
    // zArg HA has its own form (the same bound) where both parts lie within 2^+-500
    auto in_range = [](P v) { return std::fabs(v) >= P(0x1p-500) && std::fabs(v) <= P(0x1p500); };
    auto own = [&](int i) { return t == 'z' && lv == 1 && in_range(a[i].re) && in_range(a[i].im); };
    expect_same("Arg", [&](int i) { return own(i) || same(out[i], out2[i]); });
    row<void(int, const P *, C *)>(t, "CIS", lv)(n, x.data(), y.data());
    row<void(int, const P *, P *, P *)>(r, "SinCos", lv)(n, x.data(), sx.data(), cx.data());
    expect_same("CIS", [&](int i) { return same(y[i].re, cx[i]) && same(y[i].im, sx[i]); });
    row<void(int, const C *, C, C *)>(t, "Powx", lv)(n, a.data(), C{0.5, 0}, y.data());
    row<void(int, const C *, C *)>(t, "Sqrt", lv)(n, a.data(), y2.data());
    expect_same("Powx", [&](int i) { return same(y[i].re, y2[i].re) && same(y[i].im, y2[i].im); });
  }
}

TEST(Complex, ExactRowsAndTheRowsTheyReuse) {
  exact_and_real<C8>('c');
  exact_and_real<C16>('z');
}

// f(conj z) = conj f(z) for every function of one input, f(-z) = -f(z) for the odd ones and
// f(z) for the even ones, bit for bit, on the oracle's inputs (cuts, zeros of both signs).
template <class C>
void symmetries(char t) {
  using P = PartOf<C>;
  const std::string odd = "Sinh Tanh Sin Tan Asinh Atanh Asin Atan", even = "Cosh Cos";
  QuietErrors quiet;
  for (const cx::CxFunction &f : cx::functions()) {
    if (f.shape != cx::Shape::unary) continue;
    std::vector<C> a, conj_a, neg_a;
    for (auto v : cx::inputs<P>(f, 2000, 9)) {
      a.push_back({v[0], v[1]}), conj_a.push_back({v[0], -v[1]}), neg_a.push_back({-v[0], -v[1]});
    }
    const int n = static_cast<int>(a.size());
    for (int lv = 0; lv < 3; ++lv) {
      auto k = row<void(int, const C *, C *)>(t, f.stem, lv);
      std::vector<C> y(n), yc(n), yn(n);
      k(n, a.data(), y.data()), k(n, conj_a.data(), yc.data()), k(n, neg_a.data(), yn.data());
      const int sign = odd.find(f.stem) != std::string::npos ? -1 : even.find(f.stem) != std::string::npos ? 1 : 0;
      for (int i = 0; i < n; ++i) {
        ASSERT_TRUE(same(yc[i].re, y[i].re) && same(yc[i].im, -y[i].im)) << t << f.stem << " conj at " << i;
        if (sign != 0) {
          ASSERT_TRUE(same(yn[i].re, sign * y[i].re) && same(yn[i].im, sign * y[i].im)) << t << f.stem << " odd/even at " << i;
        }
      }
    }
  }
}

TEST(Complex, ConjugateOddAndEvenSymmetriesBitForBit) {
  symmetries<C8>('c');
  symmetries<C16>('z');
}

// Annex G: each part's value and sign, and the status, at the levels in `levels` (bit 0 LA,
// 1 HA, 2 EP), for the types in `types` (1 c, 2 z).
struct Case {
  const char *stem;
  C16 a, b, want;
  int status = 0;
  unsigned levels = 7, types = 3;
};

TEST(Complex, AnnexGSpecialValuesCutsAndStatuses) {
  constexpr double kAch2 = 1.3169578969248168, kAth2 = 0.54930614433405489, N = NAN, I = kInf, Z = -0.0;
  constexpr int D = STATUS_DOMAIN, S = STATUS_SINGULARITY, O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW;
  const C16 _{0, 0};
  const Case cases[] = {
      // Arithmetic: Annex G's recovery at LA and HA; a zero divisor whatever the dividend;
      // no spurious overflow or underflow in zDiv.
      {"Mul", {I, 0}, {N, N}, {N, N}}, {"Mul", {I, N}, {1, 0}, {I, N}, 0, 3}, {"Mul", {I, I}, {0, 1}, {-I, I}, 0, 3},
      {"MulByConj", {I, I}, {0, 1}, {I, -I}, 0, 3}, {"Mul", {Z, 0}, {Z, 0}, {0, Z}},
      {"Div", {1, 1}, _, {I, I}, S, 3}, {"Div", {1, 1}, _, {N, N}, S, 4}, {"Div", {N, 0}, _, {N, N}, S},
      {"Div", {0, 0}, {Z, 0}, {N, N}, S}, {"Div", {I, 2}, {1, 1}, {I, -I}, 0, 3}, {"Div", {1, 2}, {I, N}, _, 0, 3},
      {"Div", {1, 0}, {0, 1}, {0, -1}}, {"Div", {1e308, 1e308}, {1e308, 1e308}, {1, 0}, 0, 3, 2},
      {"Div", {0x1p-1050, 0x3p-1050}, {0x1p-1050, 0x1p-1050}, {2, 1}, 0, 3, 2},
      {"Div", {3e300, 1e300}, {1e-300, 0}, {I, I}, 0, 3, 2}, {"Div", {1e38, 1e38}, {1e38, 1e38}, {1, 0}, 0, 7, 1},
      // Exp, Ln, Log10, Sqrt.
      {"Exp", {0, Z}, _, {1, Z}}, {"Exp", {I, 0}, _, {I, 0}}, {"Exp", {-I, 1}, _, _}, {"Exp", {1, I}, _, {N, N}, D},
      {"Exp", {I, I}, _, {I, N}, D}, {"Exp", {I, N}, _, {I, N}}, {"Exp", {N, 0}, _, {N, 0}}, {"Exp", {N, 1}, _, {N, N}},
      {"Exp", {-I, -I}, _, {0, Z}}, {"Exp", {1e4, 1}, _, {I, I}, O}, {"Exp", {-1e4, 1}, _, _, U},
      {"Ln", {Z, 0}, _, {-I, kPi}, S}, {"Ln", {0, Z}, _, {-I, Z}, S}, {"Ln", {-1, 0}, _, {0, kPi}},
      {"Ln", {-1, Z}, _, {0, -kPi}}, {"Ln", {1, 0}, _, _}, {"Ln", {-I, 1}, _, {I, kPi}}, {"Ln", {I, -1}, _, {I, Z}},
      {"Ln", {-I, I}, _, {I, 3 * kPi / 4}}, {"Ln", {N, I}, _, {I, N}}, {"Ln", {N, 1}, _, {N, N}},
      {"Log10", _, _, {-I, 0}, S}, {"Log10", {100, Z}, _, {2, Z}}, {"Sqrt", {-4, 0}, _, {0, 2}},
      {"Sqrt", {-4, Z}, _, {0, -2}}, {"Sqrt", {Z, Z}, _, {0, Z}}, {"Sqrt", {N, I}, _, {I, I}}, {"Sqrt", {-I, 1}, _, {0, I}},
      {"Sqrt", {I, -1}, _, {I, Z}}, {"Sqrt", {-I, N}, _, {N, I}}, {"Sqrt", {I, N}, _, {I, N}}, {"Sqrt", {1, N}, _, {N, N}},
      {"Sqrt", {0, 2}, _, {1, 1}},
      // Hyperbolic and trigonometric.
      {"Sinh", {0, I}, _, {0, N}, D}, {"Sinh", {-I, 0}, _, {-I, 0}}, {"Sinh", {Z, 0}, _, {Z, 0}},
      {"Sinh", {I, I}, _, {I, N}, D}, {"Sinh", {N, Z}, _, {N, Z}}, {"Sinh", {1, N}, _, {N, N}}, {"Sinh", {800, 1}, _, {I, I}, O},
      {"Cosh", _, _, {1, 0}}, {"Cosh", {0, I}, _, {N, 0}, D}, {"Cosh", {I, Z}, _, {I, Z}}, {"Tanh", {I, 1}, _, {1, 0}},
      {"Tanh", {I, 2}, _, {1, Z}}, {"Tanh", {-I, 2}, _, {-1, Z}}, {"Tanh", {0, N}, _, {N, N}}, {"Tanh", {1, I}, _, {N, N}, D},
      {"Tanh", {Z, 0}, _, {Z, 0}}, {"Sin", {0, I}, _, {0, I}}, {"Sin", {Z, Z}, _, {Z, Z}}, {"Sin", {I, 0}, _, {N, 0}, D},
      {"Cos", {0, I}, _, {I, Z}}, {"Cos", {I, 0}, _, {N, Z}, D}, {"Tan", {0, I}, _, {0, 1}}, {"Tan", {I, 1}, _, {N, N}, D},
      // Inverse functions: the sign of a zero part picks the side of a cut.
      {"Acos", {2, 0}, _, {0, -kAch2}}, {"Acos", {2, Z}, _, {0, kAch2}}, {"Asin", {2, 0}, _, {kPi / 2, kAch2}},
      {"Asin", {2, Z}, _, {kPi / 2, -kAch2}}, {"Asinh", {0, 2}, _, {kAch2, kPi / 2}}, {"Asinh", {Z, 2}, _, {-kAch2, kPi / 2}},
      {"Acosh", {-2, 0}, _, {kAch2, kPi}}, {"Acosh", {-2, Z}, _, {kAch2, -kPi}}, {"Atanh", {2, 0}, _, {kAth2, kPi / 2}},
      {"Atanh", {2, Z}, _, {kAth2, -kPi / 2}}, {"Atan", {0, 2}, _, {kPi / 2, kAth2}}, {"Atan", {Z, 2}, _, {-kPi / 2, kAth2}},
      {"Atanh", {1, 0}, _, {I, 0}, S}, {"Atanh", {-1, Z}, _, {-I, Z}, S}, {"Atan", {0, 1}, _, {0, I}, S},
      {"Acos", _, _, {kPi / 2, Z}}, {"Acosh", _, _, {0, kPi / 2}}, {"Asinh", {I, N}, _, {I, N}}, {"Acos", {N, I}, _, {N, -I}},
      {"Acosh", {-I, 1}, _, {I, kPi}}, {"Atanh", {N, I}, _, {0, kPi / 2}}, {"Asin", {Z, Z}, _, {Z, Z}},
      // Pow: b = 0, the zero base, exact integer powers.
      {"Pow", {1, 1}, {2, 0}, {0, 2}}, {"Pow", {0, 1}, {4, 0}, {1, 0}}, {"Pow", {0, 1}, {-2, 0}, {-1, Z}},
      {"Pow", {N, 1}, _, {1, 0}}, {"Pow", _, {2, 1}, _}, {"Pow", {0, Z}, {-1, 3}, {I, 0}, S}, {"Pow", _, {0, 1}, {N, N}, D},
      {"Pow", {N, 0}, {2, 0}, {N, N}}, {"Pow", {1e200, 0}, {2, 0}, {I, 0}, O, 7, 2},
      {"Pow", {1e-200, 0}, {2, 0}, _, U, 7, 2}, {"Pow", {1e-200, 0}, {2.5, 0}, _, U, 7, 2}};
  for (const Case &c : cases)
    for (char t : {'c', 'z'})
      for (int lv = 0; lv < 3; ++lv) {
        if (!(c.levels >> lv & 1) || !(c.types >> (t == 'z') & 1)) continue;
        ReportLog log;
        C16 y;
        if (t == 'z') {
          y = call(t, c.stem, lv, c.a, c.b);
        } else {
          auto f = [](C16 v) { return C8{static_cast<float>(v.re), static_cast<float>(v.im)}; };
          const C8 r = call(t, c.stem, lv, f(c.a), f(c.b));
          y = {r.re, r.im};
        }
        const C16 w = t == 'z' ? c.want : C16{static_cast<float>(c.want.re), static_cast<float>(c.want.im)};
        EXPECT_TRUE(same(y.re, w.re) && same(y.im, w.im)) << t << c.stem << " " << kLevels[lv] << " (" << c.a.re << ", "
                                                          << c.a.im << "): " << y.re << ", " << y.im;
        EXPECT_EQ(log.log().empty() ? 0 : log.log().back().code, c.status) << t << c.stem << " " << kLevels[lv];
      }
  const C16 a{709.9, 0.1}, y = call('z', "Exp", 1, a, a);  // no spurious overflow
  EXPECT_NEAR(y.im, std::exp(LD(a.re)) * std::sin(LD(a.im)), 1e-15 * y.im);
}

// Exp, Ln, Log10, Pow on SSE: inputs on both sides of each edge of the fast form's range, in
// one contiguous call of odd length (pairs and a lone element), against MPC at every level.
// Pow: the exact integer powers left to the scalar path, |b| |ln a| (1-norms) about 2^10.
TEST(Complex, ExpLnLog10PowAcrossTheFastRangeEdges) {
  const double kHalfPi = 1.5707963267948966, kR2 = 0.70710678118654757;
  using E = std::vector<std::pair<C16, C16>>;
  const std::vector<std::pair<const char *, E>> edges = {
      {"Exp", {{{-708, 1}, {}}, {{-708.01, 1}, {}}, {{709, 0.5}, {}}, {{709.01, 0.5}, {}}, {{1, 0x1.fffffffffffffp19}, {}},
               {{1, 0x1p20}, {}}, {{0.5, 0x1p-500}, {}}, {{0.5, 0x1.fffffffffffffp-501}, {}}, {{-700, kHalfPi}, {}},
               {{-87, 3}, {}}, {{-87.5, 3}, {}}, {{88, 1}, {}}, {{88.5, 1}, {}}, {{2, -0.0}, {}}, {{-3, 7 * kHalfPi}, {}}}},
      {"Ln", {{{0x1p480, 3}, {}}, {{0x1.0000000000001p480, 3}, {}}, {{0x1p-480, 0x1p-480}, {}},
              {{1, 0x1.fffffffffffffp-481}, {}}, {{kR2, kR2}, {}}, {{kR2, 0}, {}}, {{0x1.6a09e667f3bcdp-1, 0}, {}},
              {{1.4142135623730951, 0}, {}}, {{1.4142135623730949, 0x1p-30}, {}}, {{1 + 0x1p-30, 0x1p-20}, {}},
              {{0.6, 0.8}, {}}, {{-0.8, -0.6}, {}}, {{1, 0x1p-27}, {}}, {{0x1.fffffffffffffp-1, 0x1p-26}, {}}, {{-0.0, 3}, {}}}},
      {"Log10", {{{0x1p480, -3}, {}}, {{0x1.0000000000001p480, 3}, {}}, {{kR2, -kR2}, {}}, {{1 + 0x1p-30, 0x1p-20}, {}},
                 {{-0.6, 0.8}, {}}, {{1e-3, 1e3}, {}}, {{-5, 0.0}, {}}}},
      {"Pow", {{{1, 1}, {3, 0}}, {{1, 1}, {3.5, 0}}, {{1.5, 0.5}, {64, 0}}, {{1.5, 0.5}, {65, 0}}, {{-2, 0.0}, {0.5, 0}},
               {{-2, -0.0}, {0.5, 0}}, {{1, 1}, {620, 273.6}}, {{1, 1}, {630, 278}}, {{1e30, 1}, {1.2, 0}}, {{0.5, 2}, {0, 1e3}},
               {{1e-20, 1e-20}, {-1.5, 0}}}}};
  for (const auto &[stem, as] : edges) {
    const cx::CxFunction &f = *cx::find(stem);
    for (char t : {'c', 'z'})
      for (int lv = 0; lv < 3; ++lv) {
        cx::CxSweep s;
        auto check = [&]<class C>(C) {
          std::vector<C> a, b, y(as.size());
          using P = PartOf<C>;
          for (const auto &[u, w] : as) a.push_back({P(u.re), P(u.im)}), b.push_back({P(w.re), P(w.im)});
          const int n = static_cast<int>(a.size());
          if (b[0].re != 0) row<void(int, const C *, const C *, C *)>(t, stem, lv)(n, a.data(), b.data(), y.data());
          else row<void(int, const C *, C *)>(t, stem, lv)(n, a.data(), y.data());
          for (int i = 0; i < n; ++i) {
            const oracle::Error e = cx::error<P>(f, {y[i].re, y[i].im}, {a[i].re, a[i].im}, {b[i].re, b[i].im});
            s.max_ulp = std::max(s.max_ulp, e.ulp), s.max_rel = std::max(s.max_rel, e.rel);
          }
        };
        QuietErrors quiet;
        if (t == 'z') check(C16{});
        else check(C8{});
        EXPECT_TRUE(cx::within(f, t == 'c', lv, s)) << t << stem << " " << kLevels[lv] << ": " << s.max_ulp << " ulp";
      }
  }
}

// The SSE forms run only where a call starts in round-to-nearest without flush-to-zero or
// denormals-are-zero: in the other MXCSR states every element takes the extended-precision path,
// whose results do not depend on MXCSR there, so a call of `stem` on `a` (normal parts, an odd
// count: fours, pairs and a lone element) gives the same bits rounding down, up, toward zero,
// and under FTZ and DAZ.
template <class C>
void off_nearest_same_bits(char t, const char *stem, const std::vector<C> &a) {
  const int n = static_cast<int>(a.size());
  auto k = row<void(int, const C *, C *)>(t, stem, 1);
  std::vector<C> first(n), y(n);
  FpRestore restore;
  const uint32_t base = restore.csr & ~0xe040u, modes[] = {0x2000, 0x4000, 0x6000, 0x8000, 0x40};
  for (uint32_t mode : modes) {
    _mm_setcsr(base | mode);
    k(n, a.data(), (mode == modes[0] ? first : y).data());
    _mm_setcsr(restore.csr);
    for (int i = 0; i < n && mode != modes[0]; ++i)
      ASSERT_TRUE(same(y[i].re, first[i].re) && same(y[i].im, first[i].im))
          << t << stem << " MXCSR " << std::hex << mode << " at " << std::hexfloat << a[i].re << ", " << a[i].im;
  }
}

// cExp keeps the caller's x87 rounding, which moves its results.
TEST(Complex, ExpLnLog10DirectedRoundingAndFlushTakeTheScalarPath) {
  FpRestore restore;
  std::vector<C16> a(65);
  // |a|^2 above 2: the scalar logarithm takes its SSE squares (which MXCSR rounds) only below
  for (size_t i = 0; i < a.size(); ++i) a[i] = {5 + std::sin(i * 1.7) * 3, std::cos(i * 2.3) * 9};
  std::vector<C8> a8;
  for (const C16 &v : a) a8.push_back({static_cast<float>(v.re), static_cast<float>(v.im)});
  for (const char *stem : {"Exp", "Ln", "Log10"}) {
    off_nearest_same_bits('z', stem, a);
    if (std::string(stem) != "Exp") off_nearest_same_bits('c', stem, a8);
  }
  int moved = 0;
  std::vector<C8> down(a.size()), up(a.size());
  set_x87_cw((restore.cw & ~0xc00) | 0x400);
  _vexcExp(65, a8.data(), down.data());
  set_x87_cw((restore.cw & ~0xc00) | 0x800);
  _vexcExp(65, a8.data(), up.data());
  set_x87_cw(restore.cw);
  for (size_t i = 0; i < a.size(); ++i) moved += !same(down[i].re, up[i].re) || !same(down[i].im, up[i].im);
  EXPECT_GT(moved, 0) << "cExp ignores the x87 rounding";
}

// Records: both parts; the real side of Abs and CIS with imaginary part 0; the index from the
// start of the whole vector in elements of a; a callback's res1 and res1Im landing in y.
ErrorContext g_seen;
int replace_result(ErrorContext *c) {
  g_seen = *c;
  c->res1 = 7.5, c->res1Im = -2.25;
  return 0;
}

TEST(Complex, RecordsOfComplexAndMixedReports) {
  struct Restore {
    ~Restore() { _vexClearErrorCallBack(), _vexSetInterfInputVectorPointer(nullptr); }
  } restore;
  _vexSetErrorCallBack(&replace_result);
  C16 a[4] = {{1, 2}, {3, 4}, {5, 6}, {-1.5, 0.5}}, b[4] = {{1, 1}, {1, 1}, {1, 1}, {0, -0.0}}, y[4];
  _vexSetInterfInputVectorPointer(a);
  row<void(int, const C16 *, const C16 *, C16 *)>('z', "Div", 1)(2, a + 2, b + 2, y + 2);
  EXPECT_EQ(std::string(g_seen.funcName), "vzDiv");
  EXPECT_TRUE(g_seen.code == STATUS_SINGULARITY && g_seen.index == 3 && g_seen.arg1 == -1.5 && g_seen.arg1Im == 0.5);
  EXPECT_TRUE(same(g_seen.arg2Im, -0.0) && g_seen.res1 == -kInf && g_seen.res1Im == kInf);
  EXPECT_TRUE(y[3].re == 7.5 && y[3].im == -2.25);

  C8 c[3] = {{1, 1}, {3e38f, 3e38f}, {2, 0}};
  float r[3];
  _vexSetInterfInputVectorPointer(c);
  row<void(int, const C8 *, float *)>('c', "Abs", 0)(2, c + 1, r + 1);
  EXPECT_TRUE(g_seen.code == STATUS_OVERFLOW && g_seen.index == 1 && g_seen.arg1Im == double(3e38f));
  EXPECT_TRUE(g_seen.res1 == kInf && g_seen.res1Im == 0 && r[1] == 7.5f && r[2] == 2.0f);

  double x[2] = {0.5, -kInf};
  C16 z[2];
  _vexSetInterfInputVectorPointer(nullptr);
  row<void(int, const double *, C16 *)>('z', "CIS", 2)(2, x, z);
  EXPECT_TRUE(g_seen.code == STATUS_DOMAIN && g_seen.index == 1 && g_seen.arg1 == -kInf && g_seen.arg1Im == 0);
  EXPECT_TRUE(z[1].re == 7.5 && z[1].im == -2.25);
}

// An extended-precision row runs, and calls back, with 64-bit x87 precision whatever the
// caller's word, which comes back after; a masks-only MXCSR row keeps the caller's rounding and
// flush-to-zero.
uint16_t g_cw;
int see_cw(ErrorContext *) {
  g_cw = x87_cw();
  return 0;
}
TEST(Complex, X87WordOfExtendedRowsAndCallerControls) {
  FpRestore restore;
  set_x87_cw(0x27f);  // 53-bit precision
  _mm_setcsr((_mm_getcsr() & ~0x6000u) | 0x2000u | 0x8000u);  // round down, flush to zero
  const uint32_t csr = _mm_getcsr() & ~0x3fu;
  _vexSetErrorCallBack(&see_cw);
  const C16 zero{0, 0};
  C16 y;
  _vexzLn(1, &zero, &y);
  _vexClearErrorCallBack();
  EXPECT_EQ(g_cw & 0xf3f, 0x33f);
  EXPECT_EQ(x87_cw(), 0x27f);
  EXPECT_EQ(_mm_getcsr() & ~0x3fu, csr);
}

// Add rounds to nearest whatever the caller's rounding (it reads the mode), and restores it.
TEST(Complex, CallerRounding) {
  FpRestore restore;
  _mm_setcsr((_mm_getcsr() & ~0x6000u) | 0x2000u);  // round down
  for (int lv = 1; lv < 3; ++lv) {
    const C16 y = call('z', "Add", lv, C16{1, -1}, C16{0x1p-60, -0x1p-60});
    EXPECT_TRUE(y.re == 1.0 && y.im == -1.0);
  }
  EXPECT_EQ(_mm_getcsr() & 0x6000u, 0x2000u);
}

// Sqrt in each caller rounding mode and with flush-to-zero and denormals-are-zero (the SSE
// path runs in round-to-nearest without them only): each part within the HA bound of a long
// double reference, and one call (blocks of four, then the tail) equal to calls on one element.
// Inputs at the ends of the SSE path's range, and with a part far below the other.
template <class C>
void sqrt_in_modes(char t, double bound) {
  using P = PartOf<C>;
  const P e = t == 'z' ? 0x1p500 : 1, d = std::numeric_limits<P>::denorm_min(), z = -0.0f;
  const std::vector<C> a = {{e, e},       {-1 / e, 3 / e}, {1.5f / e, d},   {-e, -d},  {1, 1e-30f},   {-2, 1e-30f},
                            {z, 4},       {3, z},          {-7.25f, 0.5f},  {1e-3f, -2e5f}, {e * 1.999f, -e / 2}};
  const int n = static_cast<int>(a.size());
  auto ulps = [](P y, LD f) {
    using L = std::numeric_limits<P>;
    const LD ulp = f == 0 ? 0 : std::max(ldexpl(1, ilogbl(f) - L::digits + 1), LD(L::denorm_min()));
    return f == 0 ? (y == 0 ? 0.0 : kInf) : static_cast<double>(fabsl(y - f) / ulp);
  };
  std::vector<bool> denormal(n);  // classified before denormals-are-zero
  for (int i = 0; i < n; ++i)
    denormal[i] = std::fpclassify(a[i].re) == FP_SUBNORMAL || std::fpclassify(a[i].im) == FP_SUBNORMAL;
  for (unsigned mode : {0x0000u, 0x2000u, 0x4000u, 0x6000u, 0x8040u}) {
    FpRestore restore;
    _mm_setcsr((_mm_getcsr() & ~0xe040u) | mode);
    std::vector<C> y(n), one(n);
    auto *f = row<void(int, const C *, C *)>(t, "Sqrt", 1);
    f(n, a.data(), y.data());
    for (int i = 0; i < n; ++i) f(1, &a[i], &one[i]);
    for (int i = 0; i < n; ++i) {
      SCOPED_TRACE(std::to_string(mode) + " element " + std::to_string(i));
      EXPECT_TRUE(same(y[i].re, one[i].re) && same(y[i].im, one[i].im));
      if (mode & 0x40 && denormal[i]) continue;
      const LD x = a[i].re, v = a[i].im, s = sqrtl((fabsl(x) + hypotl(x, v)) / 2), o = fabsl(v) / (2 * s);
      EXPECT_LE(ulps(y[i].re, x >= 0 ? s : o), bound);
      EXPECT_LE(ulps(y[i].im, copysignl(x >= 0 ? o : s, v)), bound);
    }
  }
}
TEST(Complex, SqrtInEachCallerMode) {
  sqrt_in_modes<C8>('c', 1);
  sqrt_in_modes<C16>('z', 2);
}

// Abs and Arg test a block's common case before its special lanes: a special element among
// usual ones gets, at each place of a call of 8, what it gets alone.
template <class C>
void special_among_usual(char t) {
  using P = PartOf<C>;
  const P inf = std::numeric_limits<P>::infinity(), nan = std::numeric_limits<P>::quiet_NaN();
  const C sp[] = {{nan, 1}, {1, nan}, {-inf, nan}, {nan, -inf}, {0, 0}, {P(1e-300), 2}};
  QuietErrors quiet;
  for (const char *stem : {"Abs", "Arg"})
    for (int lv = 0; lv < 3; ++lv)
      for (const C &e : sp)
        for (int pos = 0; pos < 8; ++pos) {
          std::vector<C> a(8);
          for (int k = 0; k < 8; ++k) a[k] = {P(1.5 + k), P(-2.25 * k)};
          a[pos] = e;
          P y[8], alone;
          auto *f = row<void(int, const C *, P *)>(t, stem, lv);
          f(8, a.data(), y);
          f(1, &e, &alone);
          EXPECT_TRUE(same(y[pos], alone)) << t << stem << " " << kLevels[lv] << " at " << pos;
        }
}
TEST(Complex, AbsArgSpecialAmongUsualElements) {
  special_among_usual<C8>('c');
  special_among_usual<C16>('z');
}

// The trigonometric and hyperbolic rows take the usual element on SSE: at the edges of that path
// (the hyperbolic part h at 1/4, 1/2, 340, 680 and the next double, up to the single overflow;
// the other part t from 2^-500 to 2^20, at the reductions' switch (2^10, 2^-8 from pi/2), near
// pi/2 with a tiny h, where the quotients' denominator is smallest) both sides within the
// bounds against MPC; and off round-to-nearest the same bits in every MXCSR state.
template <class C>
void trig_hyper_edges(char t) {
  using P = PartOf<C>;
  const double hs[] = {0x1p-500, 0.25, 0.5, std::nextafter(0.5, 0.0), 88.5, 89.5, 340, std::nextafter(340.0, 400.0), 680,
                       std::nextafter(680.0, 700.0)};
  const double ts[] = {0x1p-500, 1.5707963267948966, 1.5707963267948966 + 0x1p-8, 0x1.6c6cbc45dc8dep+5 /* nearest 29 pi/2 */,
                       3.0, std::nextafter(0x1p10, 0.0), 0x1p10, std::nextafter(0x1p19, 0.0), 0x1p19,
                       std::nextafter(0x1p20, 0.0)};
  const bool single = t == 'c';
  QuietErrors quiet;
  for (const char *stem : {"Sinh", "Cosh", "Tanh", "Sin", "Cos", "Tan"}) {
    const cx::CxFunction &f = *cx::find(stem);
    const bool trig = stem[3] != 'h';
    cx::CxSweep s;
    std::vector<C> a;
    for (double h : hs)
      for (double u : ts)
        for (double sg : {1.0, -1.0}) {
          const C z = trig ? C{P(sg * u), P(h)} : C{P(sg * h), P(u)};
          const C y = call(t, stem, 1, z, z);
          const oracle::Error e = cx::error<P>(f, cx::Pair<P>{y.re, y.im}, cx::Pair<P>{z.re, z.im});
          if (e.ulp > s.max_ulp) s.max_ulp = e.ulp, s.worst = {double(z.re), double(z.im)};
          a.push_back(z);
        }
    EXPECT_TRUE(cx::within(f, single, 1, s)) << t << stem << ": " << s.max_ulp << " ulp at " << std::hexfloat
                                             << s.worst[0] << ", " << s.worst[1];
    for (auto v : cx::inputs<P>(f, 200, 3))
      if (std::fpclassify(v[0]) != FP_SUBNORMAL && std::fpclassify(v[1]) != FP_SUBNORMAL) a.push_back({v[0], v[1]});
    off_nearest_same_bits(t, stem, a);
  }
}
TEST(Complex, TrigHyperbolicSseEdgesAndCallerModes) {
  trig_hyper_edges<C8>('c');
  trig_hyper_edges<C16>('z');
}

// The inverse rows off round-to-nearest: near the cuts' ends and over the plane.
template <class C>
void inverse_rows_off_nearest(char t) {
  using P = PartOf<C>;
  std::mt19937_64 gen(5);
  std::uniform_real_distribution<double> part(-10, 10);
  std::vector<C> a = {{1, 0x1p-30}, {P(0x1p-30), 1}, {-1.5, P(0x1p-20)}, {P(0x1p-100), P(-0x1p90)}};
  while (a.size() < 41) a.push_back({P(part(gen)), P(part(gen))});
  for (const char *stem : {"Asin", "Acos", "Atan", "Asinh", "Acosh", "Atanh"}) off_nearest_same_bits(t, stem, a);
}
TEST(Complex, InverseRowsOffNearestTakeTheExtendedPath) {
  inverse_rows_off_nearest<C8>('c');
  inverse_rows_off_nearest<C16>('z');
}

}  // namespace
