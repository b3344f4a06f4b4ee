// Root, trigonometric and inverse error kernels used by the samplers: special values and
// statuses, SinCos against Sin and Cos, position independence and strided rows (accuracy:
// test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle.hpp"

using namespace zyn::test;

namespace {
using DFn = void (*)(int, const double *, double *);
using SFn = void (*)(int, const float *, float *);
using DFnI = void (*)(int, const double *, int, double *, int);
using SFnI = void (*)(int, const float *, int, float *, int);
using DFn2 = void (*)(int, const double *, double *, double *);
using SFn2 = void (*)(int, const float *, float *, float *);
using DFn2I = void (*)(int, const double *, int, double *, int, double *, int);
using SFn2I = void (*)(int, const float *, int, float *, int, float *, int);
const char *kLevel[3] = {"LA", "HA", "EP"};
constexpr double kInf = std::numeric_limits<double>::infinity();

// A unary row at its three levels (LA, HA, EP), contiguous and strided, with its error bound
// in ulp at LA and HA (EP is held to 2^-23 and 2^-11 relative).
struct Row {
  const char *stem;
  DFn d[3];
  SFn s[3];
  DFnI di[3];
  SFnI si[3];
  double ulp_d[2], ulp_s[2];
  size_t count;  // random inputs per level in the accuracy sweep
};

#define ZYN_ROW(stem, ud_la, ud_ha, us_la, us_ha, count)                                         \
  Row {                                                                                          \
    #stem, {_vexd##stem##_50, _vexd##stem, _vexd##stem##_26},                                    \
        {_vexs##stem##_21, _vexs##stem, _vexs##stem##_11},                                       \
        {_vexd##stem##I_50, _vexd##stem##I, _vexd##stem##I_26},                                  \
        {_vexs##stem##I_21, _vexs##stem##I, _vexs##stem##I_11}, {ud_la, ud_ha}, {us_la, us_ha}, count \
  }

const std::vector<Row> &rows() {
  static const std::vector<Row> r = {
      ZYN_ROW(Sqrt, 0.5, 0.5, 0.5, 0.5, 10000),
      ZYN_ROW(InvSqrt, 4, 1, 4, 1, 10000),
      ZYN_ROW(Cbrt, 4, 1, 4, 1, 10000),
      ZYN_ROW(InvCbrt, 4, 1, 4, 1, 10000),
      ZYN_ROW(Sin, 4, 1, 4, 1, 15000),
      ZYN_ROW(Cos, 4, 1, 4, 1, 15000),
      ZYN_ROW(Tan, 4, 1, 4, 1, 10000),
      ZYN_ROW(ErfInv, 4, 1, 4, 1, 1500),
      ZYN_ROW(ErfcInv, 4, 1, 4, 1, 300),
      ZYN_ROW(CdfNormInv, 4, 1, 4, 1, 300),
  };
  return r;
}

// Runs a block of mixed inputs and returns the element results, one call per level.
template <class T, class F>
std::vector<T> run(F f, const std::vector<T> &x) {
  std::vector<T> y(x.size());
  f(static_cast<int>(x.size()), x.data(), y.data());
  return y;
}

struct IgnoreErrors {
  unsigned old = _vexSetMode(VEX_ERRMODE_IGNORE);
  ~IgnoreErrors() { _vexSetMode(old); }
};
}  // namespace

// ---- accuracy -----------------------------------------------------------------------------------

// ---- special values and statuses ----------------------------------------------------------------

struct Expect {
  double x, y;  // y NaN: any NaN
  int status;   // 0: no report
};

void check_specials(const Row &row, const std::vector<Expect> &cases) {
  std::vector<double> x;
  for (const Expect &e : cases) x.push_back(e.x);
  // pad to a full block and a tail, so both paths see the cases
  for (int lv = 0; lv < 3; ++lv) {
    for (int type = 0; type < 2; ++type) {
      ReportLog log;
      std::vector<double> y(x.size());
      if (type == 0) {
        row.d[lv](static_cast<int>(x.size()), x.data(), y.data());
      } else {
        std::vector<float> xf(x.begin(), x.end()), yf(x.size());
        row.s[lv](static_cast<int>(x.size()), xf.data(), yf.data());
        y.assign(yf.begin(), yf.end());
      }
      SCOPED_TRACE(std::string(type ? "s" : "d") + row.stem + " " + kLevel[lv]);
      size_t r = 0;
      for (size_t i = 0; i < cases.size(); ++i) {
        const Expect &e = cases[i];
        const double want = type ? static_cast<double>(static_cast<float>(e.y)) : e.y;
        if (std::isnan(e.y)) {
          EXPECT_TRUE(std::isnan(y[i])) << "x=" << e.x;
        } else if (lv == 2 && std::isfinite(e.y) && e.y != 0) {
          EXPECT_NEAR(y[i], want, std::fabs(want) * (type ? 0x1p-11 : 0x1p-23)) << "x=" << e.x;
        } else {
          EXPECT_EQ(y[i], want) << "x=" << e.x;
          EXPECT_EQ(std::signbit(y[i]), std::signbit(e.y)) << "x=" << e.x;
        }
        if (e.status != 0) {
          ASSERT_LT(r, ReportLog::log().size()) << "no report for x=" << e.x;
          EXPECT_EQ(ReportLog::log()[r].code, e.status) << "x=" << e.x;
          EXPECT_EQ(ReportLog::log()[r].index, static_cast<int>(i));
          ++r;
        }
      }
      EXPECT_EQ(ReportLog::log().size(), r) << "unexpected reports";
    }
  }
}

const Row &row(const char *stem) {
  return *std::find_if(rows().begin(), rows().end(), [&](const Row &r) { return r.stem == std::string(stem); });
}

TEST(SamplerSpecials, RootsStatusesAndSignedZeros) {
  check_specials(row("Sqrt"), {{4, 2, 0}, {-0.0, -0.0, 0}, {0, 0, 0}, {-1, NAN, STATUS_DOMAIN}, {kInf, kInf, 0},
                               {-kInf, NAN, STATUS_DOMAIN}, {NAN, NAN, 0}, {0.25, 0.5, 0}, {1, 1, 0}});
  check_specials(row("InvSqrt"), {{4, 0.5, 0}, {0, kInf, STATUS_SINGULARITY}, {-0.0, -kInf, STATUS_SINGULARITY},
                                  {-4, NAN, STATUS_DOMAIN}, {kInf, 0, 0}, {NAN, NAN, 0}, {0.25, 2, 0},
                                  {-kInf, NAN, STATUS_DOMAIN}, {1, 1, 0}});
  check_specials(row("Cbrt"), {{27, 3, 0}, {-8, -2, 0}, {0, 0, 0}, {-0.0, -0.0, 0}, {kInf, kInf, 0},
                               {-kInf, -kInf, 0}, {NAN, NAN, 0}, {0x1p-144, 0x1p-48, 0}, {1, 1, 0}});
  check_specials(row("InvCbrt"), {{8, 0.5, 0}, {-0.125, -2, 0}, {0, kInf, STATUS_SINGULARITY},
                                  {-0.0, -kInf, STATUS_SINGULARITY}, {kInf, 0, 0}, {-kInf, -0.0, 0},
                                  {NAN, NAN, 0}, {0x1p-144, 0x1p48, 0}});
  // double denormals are scaled in the scalar path
  for (int lv = 0; lv < 3; ++lv) {
    double x[2] = {0x1p-1071, -0x1p-1068}, c[2], ic[2];
    row("Cbrt").d[lv](2, x, c);
    row("InvCbrt").d[lv](2, x, ic);
    EXPECT_EQ(c[0], 0x1p-357);
    EXPECT_EQ(c[1], -0x1p-356);
    EXPECT_EQ(ic[0], 0x1p357);
    EXPECT_EQ(ic[1], -0x1p356);
  }
}

TEST(SamplerSpecials, TrigonometricInfinitiesAreDomainErrors) {
  check_specials(row("Sin"), {{0, 0, 0}, {-0.0, -0.0, 0}, {kInf, NAN, STATUS_DOMAIN}, {-kInf, NAN, STATUS_DOMAIN},
                              {NAN, NAN, 0}, {1e-30, 1e-30, 0}, {-1e-30, -1e-30, 0}, {0.5, std::sin(0.5), 0}});
  check_specials(row("Tan"), {{0, 0, 0}, {-0.0, -0.0, 0}, {kInf, NAN, STATUS_DOMAIN}, {NAN, NAN, 0},
                              {-kInf, NAN, STATUS_DOMAIN}, {-1e-30, -1e-30, 0}});
  check_specials(row("Cos"), {{0, 1, 0}, {-0.0, 1, 0}, {kInf, NAN, STATUS_DOMAIN}, {NAN, NAN, 0},
                              {-kInf, NAN, STATUS_DOMAIN}, {1e-30, 1, 0}});
}

TEST(SamplerSpecials, ErfInvEdges) {
  check_specials(row("ErfInv"), {{0, 0, 0}, {-0.0, -0.0, 0}, {1, kInf, STATUS_SINGULARITY},
                                 {-1, -kInf, STATUS_SINGULARITY}, {1.5, NAN, STATUS_DOMAIN},
                                 {-kInf, NAN, STATUS_DOMAIN}, {kInf, NAN, STATUS_DOMAIN}, {NAN, NAN, 0}});
  check_specials(row("ErfcInv"), {{1, 0, 0}, {0, kInf, STATUS_SINGULARITY}, {2, -kInf, STATUS_SINGULARITY},
                                  {-0.5, NAN, STATUS_DOMAIN}, {2.5, NAN, STATUS_DOMAIN}, {NAN, NAN, 0},
                                  {-0.0, kInf, STATUS_SINGULARITY}});
  check_specials(row("CdfNormInv"), {{0.5, 0, 0}, {0, -kInf, STATUS_SINGULARITY}, {1, kInf, STATUS_SINGULARITY},
                                     {-1e-30, NAN, STATUS_DOMAIN}, {1.5, NAN, STATUS_DOMAIN}, {NAN, NAN, 0}});
  // odd symmetry at every level, and monotone toward the edge
  IgnoreErrors quiet;
  std::vector<double> x = {0.1, 0.5, 0.9, 0.999, 0.999999, 1 - 0x1p-40, 1 - 0x1p-53}, nx;
  for (double v : x) nx.push_back(-v);
  for (int lv = 0; lv < 3; ++lv) {
    auto y = run(row("ErfInv").d[lv], x), ny = run(row("ErfInv").d[lv], nx);
    for (size_t i = 0; i < x.size(); ++i) EXPECT_EQ(y[i], -ny[i]);
    for (size_t i = 1; i < x.size(); ++i) EXPECT_GT(y[i], y[i - 1]);
    EXPECT_NEAR(y.back(), 5.8635847487551676, lv == 2 ? 1e-6 : 1e-14);  // the largest finite erfinv
  }
  // the complementary forms reach far beyond: down to the smallest denormal
  IgnoreErrors q2;
  using namespace zyn::oracle;
  std::vector<double> tiny = {0x1p-1074, 1e-310, 0x1p-1022, 0x1p-1021, 1e-300, 1e-100, 2 - 0x1p-52};
  for (int lv = 0; lv < 2; ++lv) {
    Sweep e = sweep_d(*find("ErfcInv"), reinterpret_cast<void *>(row("ErfcInv").d[lv]), tiny, {});
    Sweep c = sweep_d(*find("CdfNormInv"), reinterpret_cast<void *>(row("CdfNormInv").d[lv]), tiny, {});
    EXPECT_LE(e.max_ulp, lv == 1 ? 1.0 : 4.0) << "ErfcInv " << kLevel[lv] << " at " << e.worst_x;
    EXPECT_LE(c.max_ulp, lv == 1 ? 1.0 : 4.0) << "CdfNormInv " << kLevel[lv] << " at " << c.worst_x;
  }
}

// ---- SinCos and positions -----------------------------------------------------------------------

std::vector<double> mixed_inputs(size_t n, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(-100, 100), e(-60, 60);
  std::vector<double> x(n);
  for (size_t i = 0; i < n; ++i) {
    switch (i % 7) {
      case 0: x[i] = std::copysign(std::exp2(e(g) * 17), u(g)); break;  // up to 2^1020
      case 3: x[i] = (i % 3) == 0 ? kInf : (i % 3) == 1 ? 0.0 : NAN; break;
      default: x[i] = u(g);
    }
  }
  return x;
}

TEST(SinCos, EqualsSinAndCosOfTheSameLevelBitForBit) {
  IgnoreErrors quiet;
  const DFn2 d2[3] = {_vexdSinCos_50, _vexdSinCos, _vexdSinCos_26};
  const SFn2 s2[3] = {_vexsSinCos_21, _vexsSinCos, _vexsSinCos_11};
  auto x = mixed_inputs(1001, 5);
  std::vector<float> xf(x.begin(), x.end());
  for (int lv = 0; lv < 3; ++lv) {
    auto s = run(row("Sin").d[lv], x), c = run(row("Cos").d[lv], x);
    auto sf = run(row("Sin").s[lv], xf), cf = run(row("Cos").s[lv], xf);
    std::vector<double> ys(x.size()), yc(x.size());
    std::vector<float> ysf(x.size()), ycf(x.size());
    d2[lv](static_cast<int>(x.size()), x.data(), ys.data(), yc.data());
    s2[lv](static_cast<int>(x.size()), xf.data(), ysf.data(), ycf.data());
    for (size_t i = 0; i < x.size(); ++i) {
      ASSERT_EQ(bits(ys[i]), bits(s[i])) << kLevel[lv] << " sin x=" << x[i];
      ASSERT_EQ(bits(yc[i]), bits(c[i])) << kLevel[lv] << " cos x=" << x[i];
      ASSERT_EQ(bits(ysf[i]), bits(sf[i])) << kLevel[lv] << " single sin x=" << xf[i];
      ASSERT_EQ(bits(ycf[i]), bits(cf[i])) << kLevel[lv] << " single cos x=" << xf[i];
    }
  }
  // the reports of SinCos carry both results and the row's name
  ReportLog log;
  double a[3] = {1, kInf, 2}, ys[3], yc[3];
  _vexdSinCos(3, a, ys, yc);
  ASSERT_EQ(ReportLog::log().size(), 1u);
  EXPECT_EQ(ReportLog::log()[0].index, 1);
  EXPECT_EQ(ReportLog::log()[0].code, STATUS_DOMAIN);
}

TEST(SinCos, StridedRowsWriteBothResultsAtTheirStrides) {
  IgnoreErrors quiet;
  const DFn2I d2[3] = {_vexdSinCosI_50, _vexdSinCosI, _vexdSinCosI_26};
  const SFn2I s2[3] = {_vexsSinCosI_21, _vexsSinCosI, _vexsSinCosI_11};
  auto x = mixed_inputs(37, 9);
  std::vector<float> xf(x.begin(), x.end());
  for (int lv = 0; lv < 3; ++lv) {
    auto s = run(row("Sin").d[lv], x), c = run(row("Cos").d[lv], x);
    auto sf = run(row("Sin").s[lv], xf), cf = run(row("Cos").s[lv], xf);
    std::vector<double> a(3 * x.size()), ys(2 * x.size(), 7), yc(4 * x.size(), 7);
    std::vector<float> af(3 * x.size()), ysf(2 * x.size(), 7), ycf(4 * x.size(), 7);
    for (size_t i = 0; i < x.size(); ++i) a[3 * i] = x[i], af[3 * i] = xf[i];
    d2[lv](static_cast<int>(x.size()), a.data(), 3, ys.data(), 2, yc.data(), 4);
    s2[lv](static_cast<int>(x.size()), af.data(), 3, ysf.data(), 2, ycf.data(), 4);
    for (size_t i = 0; i < x.size(); ++i) {
      ASSERT_EQ(bits(ys[2 * i]), bits(s[i]));
      ASSERT_EQ(bits(yc[4 * i]), bits(c[i]));
      ASSERT_EQ(bits(ysf[2 * i]), bits(sf[i]));
      ASSERT_EQ(bits(ycf[4 * i]), bits(cf[i]));
      EXPECT_EQ(ys[2 * i + 1], 7.0) << "gaps untouched";
    }
  }
}

// An element's result is the same in a block, in the tail, alone, and in a strided call.
TEST(SamplerPositions, ResultDoesNotDependOnWhereAnElementStands) {
  IgnoreErrors quiet;
  const int n = 75;
  for (const Row &r : rows()) {
    auto x = mixed_inputs(n, 21);
    const std::string st = r.stem;
    if (st == "ErfInv" || st == "ErfcInv" || st == "CdfNormInv")
      for (double &v : x) v = std::isfinite(v) ? std::fmod(v, 1.02) + (st == "ErfcInv" ? 1 : st == "CdfNormInv" ? 0.5 : 0) : v;
    for (size_t i = 1; i < x.size(); i += 11) x[i] = std::ldexp(x[i], -1060);  // denormals
    if (r.stem == std::string("Sqrt") || r.stem == std::string("InvSqrt"))
      for (size_t i = 0; i < x.size(); i += 5) x[i] = std::fabs(x[i]);
    std::vector<float> xf(x.begin(), x.end());
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(r.stem) + " " + kLevel[lv]);
      auto whole = run(r.d[lv], x);
      auto wholef = run(r.s[lv], xf);
      std::vector<double> a2(2 * n), st(3 * n);
      std::vector<float> af2(2 * n), stf(3 * n);
      for (int i = 0; i < n; ++i) a2[2 * i] = x[i], af2[2 * i] = xf[i];
      r.di[lv](n, a2.data(), 2, st.data(), 3);
      r.si[lv](n, af2.data(), 2, stf.data(), 3);
      for (int i = 0; i < n; ++i) {
        double alone;
        float alonef;
        r.d[lv](1, &x[i], &alone);
        r.s[lv](1, &xf[i], &alonef);
        ASSERT_EQ(bits(alone), bits(whole[i])) << "x=" << x[i];
        ASSERT_EQ(bits(st[3 * i]), bits(whole[i])) << "strided x=" << x[i];
        ASSERT_EQ(bits(alonef), bits(wholef[i])) << "single x=" << xf[i];
        ASSERT_EQ(bits(stf[3 * i]), bits(wholef[i])) << "single strided x=" << xf[i];
      }
    }
  }
}

TEST(SamplerStrided, ReporterSeesTheElementNumber) {
  ReportLog log;
  double a[8] = {0.5, 9, 0.5, 9, 2, 9, 0.5, 9}, y[8];
  _vexdErfInvI(4, a, 2, y, 2);  // element number 2 (position 4) is out of the domain
  ASSERT_EQ(ReportLog::log().size(), 1u);
  EXPECT_EQ(ReportLog::log()[0].index, 2);
  EXPECT_EQ(ReportLog::log()[0].code, STATUS_DOMAIN);
  EXPECT_TRUE(std::isnan(y[4]));
}
