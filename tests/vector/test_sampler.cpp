// Root, trigonometric and inverse error kernels used by the samplers: accuracy against MPFR at
// every level (special values: the tests of their families).
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
const char *kLevel[3] = {"LA", "HA", "EP"};

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

struct IgnoreErrors {
  unsigned old = _vexSetMode(VEX_ERRMODE_IGNORE);
  ~IgnoreErrors() { _vexSetMode(old); }
};
}  // namespace

// ---- accuracy -----------------------------------------------------------------------------------

TEST(SamplerAccuracy, EveryRowAndLevelWithinItsBound) {
  using namespace zyn::oracle;
#if defined(__SANITIZE_ADDRESS__)
  const size_t scale = 4;
#else
  const size_t scale = 1;
#endif
  IgnoreErrors quiet;
  for (const Row &row : rows()) {
    const Function &f = *find(row.stem);
    auto xd = inputs_d(f.dom[0], row.count / scale, 11);
    auto xs = inputs_s(f.dom[0], row.count / scale, 11);
    auto sd = specials_d();
    auto ss = specials_s();
    xd.insert(xd.end(), sd.begin(), sd.end());
    xs.insert(xs.end(), ss.begin(), ss.end());
    for (int lv = 0; lv < 3; ++lv) {
      Sweep d = sweep_d(f, reinterpret_cast<void *>(row.d[lv]), xd, {});
      Sweep s = sweep_s(f, reinterpret_cast<void *>(row.s[lv]), xs, {});
      std::string what = std::string(row.stem) + " " + kLevel[lv];
      if (lv == 2) {
        EXPECT_LE(d.max_rel, std::exp2(-23)) << "d" << what << " at " << d.worst_x;
        EXPECT_LE(s.max_rel, std::exp2(-11)) << "s" << what << " at " << s.worst_x;
      } else {
        EXPECT_LE(d.max_ulp, row.ulp_d[lv]) << "d" << what << " at " << d.worst_x;
        EXPECT_LE(s.max_ulp, row.ulp_s[lv]) << "s" << what << " at " << s.worst_x;
      }
    }
  }
}

// Arguments whose reduction by pi/2 is hardest: the double closest to a multiple of pi/2
// (6381956970095103 2^797), multiples of pi/2 rounded, the largest doubles, and the edge of the
// vector path.
TEST(SamplerAccuracy, TrigonometricReductionOfHardArguments) {
  using namespace zyn::oracle;
  std::vector<double> x = {std::ldexp(6381956970095103.0, 797), -std::ldexp(6381956970095103.0, 797),
                           DBL_MAX, -DBL_MAX, 1e22, 1e300, 0x1p20, -0x1p20, 0x1.fffffffffffffp19,
                           M_PI_2, M_PI, 3 * M_PI_2, 1e6 * M_PI, 1e5 * M_PI + M_PI_2,
                           355.0, 103993.0, 1.0e-300, 0x1p-1074};
  for (double m = 1; m < 2e5; m *= 1.7) x.push_back(std::nearbyint(m) * M_PI_2);
  std::vector<float> xf;
  for (double v : x)
    if (std::fabs(v) <= FLT_MAX) xf.push_back(static_cast<float>(v));
  xf.push_back(FLT_MAX);
  xf.push_back(0x1.921fb6p0f);
  IgnoreErrors quiet;
  for (const char *stem : {"Sin", "Cos", "Tan"}) {
    const Function &f = *find(stem);
    const Row &row = *std::find_if(rows().begin(), rows().end(), [&](const Row &r) { return r.stem == std::string(stem); });
    for (int lv = 0; lv < 3; ++lv) {
      Sweep d = sweep_d(f, reinterpret_cast<void *>(row.d[lv]), x, {});
      Sweep s = sweep_s(f, reinterpret_cast<void *>(row.s[lv]), xf, {});
      if (lv == 2) {
        EXPECT_LE(d.max_rel, std::exp2(-23)) << stem << " EP at " << d.worst_x;
        EXPECT_LE(s.max_rel, std::exp2(-11)) << stem << " EP at " << s.worst_x;
      } else {
        EXPECT_LE(d.max_ulp, row.ulp_d[lv]) << stem << " " << kLevel[lv] << " at " << d.worst_x;
        EXPECT_LE(s.max_ulp, row.ulp_s[lv]) << stem << " " << kLevel[lv] << " at " << s.worst_x;
      }
    }
  }
}
