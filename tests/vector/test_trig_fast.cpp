// The trigonometric rows: the pieces of pi of the native LA and EP kernels against MPFR, special
// values and statuses, and SinCos against Sin and Cos (accuracy: test_accuracy.cpp).
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "vector/trig/fast.hpp"

using namespace zyn::test;
namespace trig = zyn::vk::trig;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();

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
