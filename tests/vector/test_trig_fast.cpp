// The trigonometric rows: the pieces of pi of the native LA and EP kernels against MPFR, hard
// arguments and the edges of the vector path against MPFR, a dense float sweep against glibc's
// double functions; special values and statuses, and SinCos against Sin and Cos.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle.hpp"
#include "vector/trig/fast.hpp"

using namespace zyn::test;
namespace trig = zyn::vk::trig;

namespace {
using DFn = decltype(&_vexdSin_50);
using SFn = decltype(&_vexsSin_21);
using DFnI = decltype(&_vexdSinI_50);
using SFnI = decltype(&_vexsSinI_21);
constexpr double kInf = std::numeric_limits<double>::infinity();

// One function at LA and EP (index 0 and 1), both types, contiguous and strided.
struct Fn {
  const char *stem;
  DFn d[2];
  SFn s[2];
  DFnI di[2];
  SFnI si[2];
};
#define ZYN_FN(stem)                                                                            \
  Fn {                                                                                          \
    #stem, {_vexd##stem##_50, _vexd##stem##_26}, {_vexs##stem##_21, _vexs##stem##_11},          \
        {_vexd##stem##I_50, _vexd##stem##I_26}, {_vexs##stem##I_21, _vexs##stem##I_11}          \
  }
const Fn kFns[3] = {ZYN_FN(Sin), ZYN_FN(Cos), ZYN_FN(Tan)};
const char *kLv[2] = {"LA", "EP"};

// Error reports off for the sweeps (the specials test counts them).
class TrigFast : public ::testing::Test {
 protected:
  void SetUp() override { mode_ = _vexSetMode(VEX_ERRMODE_IGNORE); }
  void TearDown() override { _vexSetMode(mode_); }
  unsigned mode_ = 0;
};

template <class T, class F>
std::vector<T> run(F f, const std::vector<T> &x) {
  std::vector<T> y(x.size());
  f(static_cast<int>(x.size()), x.data(), y.data());
  return y;
}

// Significant bits of a finite nonzero value.
template <class T>
int sig_bits(T v) {
  int e;
  double m = std::frexp(static_cast<double>(std::fabs(v)), &e);
  int b = 0;
  while (m != 0) m = m * 2 - std::floor(m * 2), ++b;
  return b;
}

// Significant bits of the largest multiplier of a piece below the level's limit: the tangent's
// n = round(2x/pi) and the cosine's h = m + 1/2 (as many bits as 2h) reach 2 limit/pi + 1.
template <class T>
int multiplier_bits(const trig::Fast<T> &L) {
  double n = std::ceil(2 * static_cast<double>(L.limit) / M_PI) + 1;
  return static_cast<int>(std::ceil(std::log2(n)));
}

// The pieces of pi (or of pi/2 for the tangent, halved exactly) against MPFR's pi: products
// with every multiplier exact but for the last piece, and the truncation within its bound.
template <class T>
void check_pieces(const T *pieces, int count, int mult_bits, double max_err_log2, const std::string &what) {
  constexpr int prec = std::numeric_limits<T>::digits;
  mpfr_t pi, s;
  mpfr_inits2(400, pi, s, (mpfr_ptr)0);
  mpfr_const_pi(pi, MPFR_RNDN);
  mpfr_set_zero(s, 1);
  for (int i = 0; i < count; ++i) {
    mpfr_add_d(s, s, static_cast<double>(pieces[i]), MPFR_RNDN);
    if (i + 1 < count) {
      EXPECT_LE(sig_bits(pieces[i]) + mult_bits, prec) << what << " piece " << i;
    }
  }
  mpfr_sub(s, s, pi, MPFR_RNDN);
  EXPECT_LT(mpfr_get_exp(s) - 1, max_err_log2) << what << ": pi - sum of pieces too large";
  mpfr_clears(pi, s, (mpfr_ptr)0);
}

template <class T>
void check_level(const trig::Fast<T> &L, double pi_err, double pt_err, const std::string &what) {
  check_pieces(L.pi, L.npi, multiplier_bits(L), pi_err, what + " sin/cos");
  check_pieces(L.pt, L.npt, multiplier_bits(L), pt_err, what + " tan");
}
}  // namespace

TEST(TrigFastConstants, PiecesOfPi) {
  check_level(trig::kFastDLa, -158, -158, "double LA");
  check_level(trig::kFastDEp, -86, -116, "double EP");
  check_level(trig::kFastSLa, -72, -72, "float LA");
  check_level(trig::kFastSEp, -41, -72, "float EP");
}

// The floats below 2^17 closest to multiples of pi and odd multiples of pi/2 (found by search),
// the doubles nearest to multiples of pi/2 with their neighbours, the edges of the vector paths,
// and huge arguments.
TEST_F(TrigFast, HardArgumentsAndEdgesAgainstMpfr) {
  using namespace zyn::oracle;
  std::vector<float> xf = {0x1.921fb6p+0f, 0x1.921fb6p+1f, 0x1.921fb6p+2f, 0x1.2d97c8p+2f, 0x1.2d97c8p+3f,
                           0x1.2d97c8p+7f, 0x1.c463acp+3f, 0x1.78fdbap+4f, 0x1.b7d2aep+5f, 0x1.e3ce26p+6f,
                           0x1.f9cbe2p+7f, 0x1.f9cbe2p+8f, 0x1.f9cbe2p+10f, 0x1.2298eap+8f, 0x1.8e3266p+9f,
                           0x1.c3ff24p+10f, 0x1.17cc5p+11f, 0x1.17cc5p+12f, 0x1.a3b278p+12f, 0x1.9a48dep+15f,
                           0x1.fffffep+10f, 0x1p11f, 0x1.000002p11f, 0x1p20f, FLT_MAX, 0x1p-126f, 0x1p-149f};
  std::vector<double> xd = {0x1.fffffffffffffp19, 0x1p20, 0x1.0000000000001p20, 1e22, DBL_MAX,
                            std::ldexp(6381956970095103.0, 797), 0x1p-1022, 0x1p-1074};
  for (double k = 1; k < 0x1p20 / M_PI_2; k = std::ceil(k * 1.37)) {
    double v = k * M_PI_2;
    for (double w : {std::nextafter(v, 0.0), v, std::nextafter(v, 1e300)}) xd.push_back(w);
    float vf = static_cast<float>(v);
    if (vf < 0x1p12f)
      for (float w : {std::nextafter(vf, 0.0f), vf, std::nextafter(vf, 1e30f)}) xf.push_back(w);
  }
  for (size_t i = 0, n = xd.size(); i < n; ++i) xd.push_back(-xd[i]);
  for (size_t i = 0, n = xf.size(); i < n; ++i) xf.push_back(-xf[i]);
  for (const Fn &fn : kFns) {
    const Function &f = *find(fn.stem);
    for (int lv = 0; lv < 2; ++lv) {
      Sweep d = sweep_d(f, reinterpret_cast<void *>(fn.d[lv]), xd, {});
      Sweep s = sweep_s(f, reinterpret_cast<void *>(fn.s[lv]), xf, {});
      // single Tan shares one kernel at LA and EP: held to LA
      bool la_s = lv == 0 || std::string(fn.stem) == "Tan";
      if (lv == 0) {
        EXPECT_LE(d.max_ulp, 4.0) << "d" << fn.stem << " LA at " << d.worst_x;
      } else {
        EXPECT_LE(d.max_rel, std::exp2(-26)) << "d" << fn.stem << " EP at " << d.worst_x;
      }
      if (la_s) {
        EXPECT_LE(s.max_ulp, 4.0) << "s" << fn.stem << " " << kLv[lv] << " at " << s.worst_x;
      } else {
        EXPECT_LE(s.max_rel, std::exp2(-11)) << "s" << fn.stem << " EP at " << s.worst_x;
      }
    }
  }
}

// Every 97th float of [2^-12, 2^11) (every 776th under the sanitizers), both signs, against glibc's double functions rounded to the
// float's ulp (their error is far below it): the whole float vector path. LA within 4 ulp (and
// relative 2^-22 near zeros of the result), EP within 2^-11 of max(|f|, 1).
TEST_F(TrigFast, DenseFloatSweepOfTheVectorPath) {
#if defined(__SANITIZE_ADDRESS__)
  const uint32_t step = 97 * 8;
#else
  const uint32_t step = 97;
#endif
  std::vector<float> x;
  for (uint32_t u = zyn::vk::bits(0x1p-12f); u < zyn::vk::bits(0x1p11f); u += step) {
    float v = zyn::vk::from_bits32(u);
    x.push_back(v);
    x.push_back(-v);
  }
  double (*ref[3])(double) = {std::sin, std::cos, std::tan};
  for (int k = 0; k < 3; ++k) {
    std::vector<double> want(x.size());
    for (size_t i = 0; i < x.size(); ++i) want[i] = ref[k](x[i]);
    for (int lv = 0; lv < 2; ++lv) {
      auto y = run(kFns[k].s[lv], x);
      bool la = lv == 0 || k == 2;
      double worst = 0, worst_x = 0;
      for (size_t i = 0; i < x.size(); ++i) {
        double err = std::fabs(y[i] - want[i]);
        double scale = la ? std::ldexp(1.0, std::ilogb(want[i]) - 23) : std::max(std::fabs(want[i]), 1.0) * 0x1p-11;
        if (err / scale > worst) worst = err / scale, worst_x = x[i];
      }
      EXPECT_LE(worst, la ? 4.0 : 1.0) << "s" << kFns[k].stem << " " << kLv[lv] << " at " << worst_x;
    }
  }
}

TEST(TrigSpecials, ResultsAndStatusesAtEveryLevel) {
  const int D = STATUS_DOMAIN;
  std::vector<Special> c;
  for (std::string t : {"d", "s"}) {
    for (const char *stem : {"Sin", "Tan", "SinCos"})
      c.insert(c.end(), {{t + stem, 0, 0, 0}, {t + stem, -0.0, 0, -0.0}, {t + stem, 1e-30, 0, 1e-30}, {t + stem, -1e-30, 0, -1e-30}});
    c.insert(c.end(), {{t + "Cos", 0, 0, 1}, {t + "Cos", -0.0, 0, 1}, {t + "Cos", 1e-30, 0, 1, 0, 0x1p-11}});
    for (const char *stem : {"Sin", "Cos", "Tan", "SinCos"})
      c.insert(c.end(), {{t + stem, kInf, 0, NAN, D}, {t + stem, -kInf, 0, NAN, D}, {t + stem, NAN, 0, NAN}});
  }
  expect_cases(c);
}

// SinCos gives Sin and Cos of its level bit for bit: ordinary and huge arguments, the limits of
// the vector paths, zeros, denormals and non-finite values.
TEST(SinCos, EqualsSinAndCosOfTheSameLevelBitForBit) {
  QuietErrors quiet;
  std::mt19937_64 g(5);
  std::uniform_real_distribution<double> u(-100, 100), e(-60, 60);
  std::vector<double> x;
  for (int i = 0; i < 700; ++i) x.push_back(i % 3 ? u(g) : std::copysign(std::exp2(e(g) * 17), u(g)));  // up to 2^1020
  for (double lim : {0x1p11, 0x1p20})
    for (double f : {0.999, 0.9999999, 1.0, 1.0000001, 1.5}) x.insert(x.end(), {lim * f, -lim * f});
  x.insert(x.end(), {0.0, -0.0, 0x1p-1060, -0x1p-1060, 0x1p-140, 1e-30, kInf, -kInf, NAN, 1e300, 1e22});
  std::vector<float> xf(x.begin(), x.end());
  const int n = static_cast<int>(x.size());
  for (int lv = 0; lv < 3; ++lv) {
    auto stub = [&](char t, const char *stem) { return zyn::oracle::stub(zyn::oracle::stub_name(t, stem, lv)); };
    auto check = [&](char t, auto *xs) {
      using T = std::remove_const_t<std::remove_pointer_t<decltype(xs)>>;
      std::vector<T> s(n), c(n), ys(n), yc(n);
      reinterpret_cast<void (*)(int, const T *, T *)>(stub(t, "Sin"))(n, xs, s.data());
      reinterpret_cast<void (*)(int, const T *, T *)>(stub(t, "Cos"))(n, xs, c.data());
      reinterpret_cast<void (*)(int, const T *, T *, T *)>(stub(t, "SinCos"))(n, xs, ys.data(), yc.data());
      for (int i = 0; i < n; ++i) {
        ASSERT_EQ(bits(ys[i]), bits(s[i])) << t << " " << kLevels[lv] << " sin x=" << xs[i];
        ASSERT_EQ(bits(yc[i]), bits(c[i])) << t << " " << kLevels[lv] << " cos x=" << xs[i];
      }
    };
    check('d', x.data());
    check('s', xf.data());
  }
}
