// Root kernels where their fast paths are delicate: every binade of the single range, and
// independence from the caller's rounding and denormal controls at the edges of the vector
// ranges; their special values and statuses (accuracy: test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
using DFn = void (*)(int, const double *, double *);
using SFn = void (*)(int, const float *, float *);

struct Row {
  const char *stem;
  DFn d[3];
  SFn s[3];
  double (*ref)(double);  // double reference of the single rows, within 2^-52
  bool odd;               // defined for negative x
};

#define ZYN_ROW(stem, ref, odd)                                          \
  Row {                                                                  \
    #stem, {_vexd##stem##_50, _vexd##stem, _vexd##stem##_26},            \
        {_vexs##stem##_21, _vexs##stem, _vexs##stem##_11}, ref, odd       \
  }

const Row kRows[] = {
    ZYN_ROW(Sqrt, [](double x) { return std::sqrt(x); }, false),
    ZYN_ROW(InvSqrt, [](double x) { return 1 / std::sqrt(x); }, false),
    ZYN_ROW(Cbrt, [](double x) { return std::cbrt(x); }, true),
    ZYN_ROW(InvCbrt, [](double x) { return 1 / std::cbrt(x); }, true),
};

// Single bounds in ulp at LA and HA, as the kernels state them (EP: 2^-11 relative); the
// reference adds up to 2^-28 ulp.
const double kUlpS[4][2] = {{0.501, 0.501}, {1.6, 0.51}, {1.9, 0.51}, {1.9, 0.51}};

// Edges of the vector ranges: [2^-126, 2^126) of the double square-root paths, the normal single
// range, [2^-126, 2^100] of single InvSqrt HA, [2^-960, 2^960) of double InvCbrt HA, and the
// double extremes.
std::vector<double> edge_inputs() {
  std::vector<double> x;
  for (double e : {0x1p-126, 0x1p126, 0x1p100, static_cast<double>(FLT_MAX), 0x1p-960, 0x1p960, DBL_MIN, DBL_MAX,
                   0x1p-1074, 1.0, 4.0, 8.0})
    for (double v : {std::nextafter(e, 0.0), e, std::nextafter(e, INFINITY)})
      if (std::isfinite(v)) x.push_back(v);
  return x;
}
}  // namespace

// Strided through every binade of the single range (both signs for the odd functions), against
// glibc's double functions: 2^-52 relative is 2^-28 ulp of a single.
TEST(RootsSingle, EveryBinadeWithinTheLevelBound) {
  QuietErrors quiet;
  std::vector<float> x;
  for (uint32_t b = 0x00800000u; b < 0x7f800000u; b += 4099) x.push_back(zyn::vk::from_bits32(b));
  std::vector<float> y(x.size());
  for (int ri = 0; ri < 4; ++ri) {
    const Row &r = kRows[ri];
    for (int lv = 0; lv < 3; ++lv) {
      for (float sign : {1.0f, -1.0f}) {
        if (sign < 0 && !r.odd) continue;
        std::vector<float> xs(x);
        for (float &v : xs) v *= sign;
        r.s[lv](static_cast<int>(xs.size()), xs.data(), y.data());
        double worst = 0, worst_x = 0;
        for (size_t i = 0; i < xs.size(); ++i) {
          double ref = r.ref(xs[i]);
          double err = std::fabs(y[i] - ref) / (lv == 2 ? std::fabs(ref) : std::ldexp(1.0, std::ilogb(ref) - 23));
          if (!(err <= worst)) worst = err, worst_x = xs[i];
        }
        double bound = lv == 2 ? 0x1p-11 : kUlpS[ri][lv];
        EXPECT_LE(worst, bound) << "s" << r.stem << " " << kLevels[lv] << " at " << worst_x;
      }
    }
  }
}

// The kernels set round-to-nearest and keep denormals themselves: a caller's round-toward-zero
// or the flush mode leaves normal results of normal inputs unchanged (no intermediate of the
// fast paths is denormal).
TEST(RootsModes, CallerRoundingAndFlushModeLeaveResultsUnchanged) {
  QuietErrors quiet;
  std::vector<double> x = edge_inputs();
  for (double v = 0x1p-120; v < 0x1p120; v *= 1.37e3) x.push_back(v);
  std::vector<float> xf;
  for (double v : x)
    if (v >= FLT_MIN && v <= FLT_MAX) xf.push_back(static_cast<float>(v));
  for (const Row &r : kRows) {
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(r.stem) + " " + kLevels[lv]);
      std::vector<double> y0(x.size()), y1(x.size()), y2(x.size());
      std::vector<float> f0(xf.size()), f1(xf.size()), f2(xf.size());
      const int n = static_cast<int>(x.size()), nf = static_cast<int>(xf.size());
      r.d[lv](n, x.data(), y0.data());
      r.s[lv](nf, xf.data(), f0.data());
      {
        FpRestore keep;
        _mm_setcsr((_mm_getcsr() & ~0x6000u) | 0x6000u);  // round toward zero
        r.d[lv](n, x.data(), y1.data());
        r.s[lv](nf, xf.data(), f1.data());
      }
      unsigned mode = _vexSetMode(MODE_DENORMALS_FLUSH);
      r.d[lv](n, x.data(), y2.data());
      r.s[lv](nf, xf.data(), f2.data());
      _vexSetMode((mode & ModeDenormals) != 0 ? mode : mode | MODE_DENORMALS_KEEP);  // fields never clear
      for (int i = 0; i < n; ++i) {
        ASSERT_EQ(bits(y1[i]), bits(y0[i])) << "rounding, x=" << x[i];
        if (std::fabs(y0[i]) >= DBL_MIN && x[i] >= DBL_MIN) {
          ASSERT_EQ(bits(y2[i]), bits(y0[i])) << "flush, x=" << x[i];
        }
      }
      for (int i = 0; i < nf; ++i) {
        ASSERT_EQ(bits(f1[i]), bits(f0[i])) << "rounding, x=" << xf[i];
        ASSERT_EQ(bits(f2[i]), bits(f0[i])) << "flush, x=" << xf[i];
      }
    }
  }
}

TEST(RootsSpecials, ResultsAndStatusesAtEveryLevel) {
  const double kInf = INFINITY, r = 0x1p-11;  // r: ordinary results, to the EP bound
  const int D = STATUS_DOMAIN, S = STATUS_SINGULARITY;
  std::vector<Special> c = {  // double denormals are scaled in the scalar path
      {"dCbrt", 0x1p-1071, 0, 0x1p-357},  {"dCbrt", -0x1p-1068, 0, -0x1p-356},
      {"dInvCbrt", 0x1p-1071, 0, 0x1p357}, {"dInvCbrt", -0x1p-1068, 0, -0x1p356}};
  for (std::string t : {"d", "s"})
    c.insert(c.end(), {{t + "Sqrt", 4, 0, 2, 0, r},          {t + "Sqrt", -0.0, 0, -0.0},        {t + "Sqrt", 0, 0, 0},
                       {t + "Sqrt", -1, 0, NAN, D},          {t + "Sqrt", kInf, 0, kInf},        {t + "Sqrt", -kInf, 0, NAN, D},
                       {t + "Sqrt", NAN, 0, NAN},            {t + "InvSqrt", 4, 0, 0.5, 0, r},   {t + "InvSqrt", 0, 0, kInf, S},
                       {t + "InvSqrt", -0.0, 0, -kInf, S},   {t + "InvSqrt", -4, 0, NAN, D},     {t + "InvSqrt", kInf, 0, 0},
                       {t + "InvSqrt", NAN, 0, NAN},         {t + "InvSqrt", -kInf, 0, NAN, D},  {t + "Cbrt", -8, 0, -2, 0, r},
                       {t + "Cbrt", 0, 0, 0},                {t + "Cbrt", -0.0, 0, -0.0},        {t + "Cbrt", kInf, 0, kInf},
                       {t + "Cbrt", -kInf, 0, -kInf},        {t + "Cbrt", NAN, 0, NAN},          {t + "Cbrt", 0x1p-144, 0, 0x1p-48, 0, r},
                       {t + "InvCbrt", -0.125, 0, -2, 0, r}, {t + "InvCbrt", 0, 0, kInf, S},     {t + "InvCbrt", -0.0, 0, -kInf, S},
                       {t + "InvCbrt", kInf, 0, 0},          {t + "InvCbrt", -kInf, 0, -0.0},    {t + "InvCbrt", NAN, 0, NAN},
                       {t + "InvCbrt", 0x1p-144, 0, 0x1p48, 0, r}});
  expect_cases(c);
}
