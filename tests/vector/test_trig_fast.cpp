// The native trigonometric kernels (LA and EP): the pieces of pi against MPFR, and SinCos and
// position independence across the vector path's limits (accuracy, with the hard arguments:
// test_accuracy.cpp).
#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
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

TEST(TrigFastConstants, PiecesOfPiAndReciprocals) {
  check_level(trig::kFastDLa, -158, -158, "double LA");
  check_level(trig::kFastDEp, -86, -116, "double EP");
  check_level(trig::kFastSLa, -72, -72, "float LA");
  check_level(trig::kFastSEp, -41, -72, "float EP");
  EXPECT_EQ(trig::Vec<double>::kInvPi, 1 / M_PI);
  EXPECT_EQ(trig::Vec<double>::kTwoOverPi, 2 / M_PI);
  EXPECT_EQ(trig::Vec<float>::kInvPi, static_cast<float>(1 / M_PI));
  EXPECT_EQ(trig::Vec<float>::kTwoOverPi, static_cast<float>(2 / M_PI));
}

// Inputs around the limits of both types, zeros, denormals and non-finite values.
std::vector<double> edge_inputs() {
  std::vector<double> x;
  for (double e : {0x1p11, 0x1p20})
    for (double f : {0.999, 0.9999999, 1.0, 1.0000001, 1.5})
      for (double s : {1.0, -1.0}) x.push_back(s * e * f);
  for (double v : {0.0, -0.0, 0x1p-1060, -0x1p-1060, 0x1p-140, 1e-30, kInf, -kInf, double(NAN), 3.0, -7.5, 100.0, 1e300})
    x.push_back(v);
  return x;
}

TEST_F(TrigFast, SameBitsInBlocksTailsAloneStridedAndSinCos) {
  auto x = edge_inputs();
  std::vector<float> xf(x.begin(), x.end());
  decltype(&_vexdSinCos) const d2[2] = {_vexdSinCos_50, _vexdSinCos_26};
  decltype(&_vexsSinCos) const s2[2] = {_vexsSinCos_21, _vexsSinCos_11};
  const int n = static_cast<int>(x.size());
  for (int lv = 0; lv < 2; ++lv) {
    std::vector<double> ys(n), yc(n);
    std::vector<float> ysf(n), ycf(n);
    d2[lv](n, x.data(), ys.data(), yc.data());
    s2[lv](n, xf.data(), ysf.data(), ycf.data());
    for (int k = 0; k < 3; ++k) {
      const Fn &fn = kFns[k];
      auto yd = run(fn.d[lv], x);
      auto yf = run(fn.s[lv], xf);
      std::vector<double> sd(3 * n, 5);
      std::vector<float> sf(2 * n, 5);
      fn.di[lv](n, x.data(), 1, sd.data(), 3);
      fn.si[lv](n, xf.data(), 1, sf.data(), 2);
      for (int i = 0; i < n; ++i) {
        double one;
        float onef;
        fn.d[lv](1, &x[i], &one);
        fn.s[lv](1, &xf[i], &onef);
        std::string what = std::string(fn.stem) + " " + kLv[lv] + " x=" + std::to_string(x[i]);
        ASSERT_EQ(bits(one), bits(yd[i])) << "d alone " << what;
        ASSERT_EQ(bits(onef), bits(yf[i])) << "s alone " << what;
        ASSERT_EQ(bits(sd[3 * i]), bits(yd[i])) << "d strided " << what;
        ASSERT_EQ(bits(sf[2 * i]), bits(yf[i])) << "s strided " << what;
        if (k < 2) {
          ASSERT_EQ(bits(k == 0 ? ys[i] : yc[i]), bits(yd[i])) << "dSinCos " << what;
          ASSERT_EQ(bits(k == 0 ? ysf[i] : ycf[i]), bits(yf[i])) << "sSinCos " << what;
        }
      }
    }
  }
}

TEST(TrigFastSpecials, ZerosInfinitiesAndNaN) {
  for (int lv = 0; lv < 2; ++lv) {
    for (const Fn &fn : kFns) {
      bool cos = std::string(fn.stem) == "Cos";
      ReportLog log;
      double x[5] = {0.0, -0.0, kInf, -kInf, NAN}, y[5];
      float xf[5] = {0.0f, -0.0f, INFINITY, -INFINITY, NAN}, yf[5];
      fn.d[lv](5, x, y);
      fn.s[lv](5, xf, yf);
      for (int j = 0; j < 2; ++j) {
        EXPECT_EQ(bits(y[j]), bits(cos ? 1.0 : x[j])) << fn.stem << " " << kLv[lv];
        EXPECT_EQ(bits(yf[j]), bits(cos ? 1.0f : xf[j])) << fn.stem << " " << kLv[lv];
      }
      for (int j = 2; j < 5; ++j) EXPECT_TRUE(std::isnan(y[j]) && std::isnan(yf[j])) << fn.stem << " " << j;
      ASSERT_EQ(ReportLog::log().size(), 4u) << fn.stem << " " << kLv[lv];
      for (const Report &r : ReportLog::log()) EXPECT_EQ(r.code, STATUS_DOMAIN);
    }
  }
}
