// Root kernels where their fast paths are delicate: every binade of the single range, the edges
// of the vector ranges, and independence from the caller's rounding and denormal controls.
// And their special values and statuses.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle.hpp"

using namespace zyn::test;

namespace {
using DFn = void (*)(int, const double *, double *);
using SFn = void (*)(int, const float *, float *);
const char *kLevel[3] = {"LA", "HA", "EP"};

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

struct Quiet {
  unsigned old = _vexSetMode(VEX_ERRMODE_IGNORE);
  ~Quiet() { _vexSetMode(old); }
};

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
  Quiet quiet;
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
        EXPECT_LE(worst, bound) << "s" << r.stem << " " << kLevel[lv] << " at " << worst_x;
      }
    }
  }
}

// Double kernels with a single or bit start against MPFR at the edges of their vector path and
// densely over one period of the start's error ([1, 4) or [1, 8), both signs for the cube root),
// moved to exponents all over the range.
TEST(RootsDouble, EdgesAndDenseInputsAgainstMpfr) {
  using namespace zyn::oracle;
  Quiet quiet;
  std::vector<double> x = edge_inputs(), xc;
  std::mt19937_64 g(3);
  std::uniform_real_distribution<double> u(1, 4), uc(-8, 8);
  for (int i = 0; i < 20000; ++i) {
    int k = static_cast<int>(g() % 680) - 340;
    x.push_back(std::ldexp(u(g), 3 * k));
    xc.push_back(std::ldexp(uc(g), 3 * k));
  }
  for (double v : x) xc.push_back(-v), xc.push_back(v);
  const Row &sq = kRows[0], &isq = kRows[1], &icb = kRows[3];
  Sweep ha = sweep_d(*find("InvSqrt"), reinterpret_cast<void *>(isq.d[1]), x, {});
  Sweep la = sweep_d(*find("InvSqrt"), reinterpret_cast<void *>(isq.d[0]), x, {});
  Sweep ep = sweep_d(*find("Sqrt"), reinterpret_cast<void *>(sq.d[2]), x, {});
  Sweep cb = sweep_d(*find("InvCbrt"), reinterpret_cast<void *>(icb.d[1]), xc, {});
  EXPECT_LE(ha.max_ulp, 0.51) << "InvSqrt HA at " << ha.worst_x;
  EXPECT_LE(la.max_ulp, 1.5) << "InvSqrt LA at " << la.worst_x;
  EXPECT_LE(ep.max_rel, 0x1p-31) << "Sqrt EP at " << ep.worst_x;
  EXPECT_LE(cb.max_ulp, 0.51) << "InvCbrt HA at " << cb.worst_x;
  for (int lv = 0; lv < 2; ++lv) {
    Sweep s = sweep_d(*find("Sqrt"), reinterpret_cast<void *>(sq.d[lv]), x, {});
    EXPECT_EQ(s.max_ulp, 0.5) << kLevel[lv] << " correctly rounded, at " << s.worst_x;
  }
}

// The kernels set round-to-nearest and keep denormals themselves: a caller's round-toward-zero
// or the flush mode leaves normal results of normal inputs unchanged (no intermediate of the
// fast paths is denormal).
TEST(RootsModes, CallerRoundingAndFlushModeLeaveResultsUnchanged) {
  Quiet quiet;
  std::vector<double> x = edge_inputs();
  for (double v = 0x1p-120; v < 0x1p120; v *= 1.37e3) x.push_back(v);
  std::vector<float> xf;
  for (double v : x)
    if (v >= FLT_MIN && v <= FLT_MAX) xf.push_back(static_cast<float>(v));
  for (const Row &r : kRows) {
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(r.stem) + " " + kLevel[lv]);
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
