// The hyperbolic family: special values (result bits, signed zeros, status) of every row at every
// level, and one report test per status (index and record). Accuracy: test_accuracy.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int O = STATUS_OVERFLOW, D = STATUS_DOMAIN, S = STATUS_SINGULARITY;
const char *kLevel[3] = {"LA", "HA", "EP"};

using DFn = void (*)(int, const double *, double *);
using SFn = void (*)(int, const float *, float *);
struct Row {
  const char *stem;
  DFn d[3];
  SFn s[3];
};
#define ZYN_HYPER_ROW(S) \
  Row { #S, {_vexd##S##_50, _vexd##S, _vexd##S##_26}, {_vexs##S##_21, _vexs##S, _vexs##S##_11} }
const Row kSinh = ZYN_HYPER_ROW(Sinh), kCosh = ZYN_HYPER_ROW(Cosh), kTanh = ZYN_HYPER_ROW(Tanh),
          kAsinh = ZYN_HYPER_ROW(Asinh), kAcosh = ZYN_HYPER_ROW(Acosh), kAtanh = ZYN_HYPER_ROW(Atanh);
#undef ZYN_HYPER_ROW

// x, the result (NaN: any NaN; otherwise the exact bits) and the status, the same at every level.
struct Case {
  double x, y;
  int status;
};
struct Table {
  const Row &row;
  bool single;
  std::vector<Case> cases;
};

const std::vector<Table> &tables() {
  static const std::vector<Table> t = {
      {kSinh, false, {{0.0, 0.0, 0}, {-0.0, -0.0, 0}, {kInf, kInf, 0}, {-kInf, -kInf, 0}, {NAN, NAN, 0},
                      {1e-310, 1e-310, 0}, {710.5, kInf, O}, {-710.5, -kInf, O}, {1e300, kInf, O}}},
      {kSinh, true, {{-0.0, -0.0, 0}, {-kInf, -kInf, 0}, {NAN, NAN, 0}, {1e-40, 1e-40, 0}, {89.5, kInf, O},
                     {-89.5, -kInf, O}}},
      {kCosh, false, {{0.0, 1.0, 0}, {-0.0, 1.0, 0}, {kInf, kInf, 0}, {-kInf, kInf, 0}, {NAN, NAN, 0},
                      {1e-310, 1.0, 0}, {710.5, kInf, O}, {-710.5, kInf, O}}},
      {kCosh, true, {{-0.0, 1.0, 0}, {-kInf, kInf, 0}, {NAN, NAN, 0}, {89.5, kInf, O}, {-89.5, kInf, O}}},
      {kTanh, false, {{0.0, 0.0, 0}, {-0.0, -0.0, 0}, {kInf, 1.0, 0}, {-kInf, -1.0, 0}, {NAN, NAN, 0},
                      {25.0, 1.0, 0}, {-1e300, -1.0, 0}, {-1e-310, -1e-310, 0}}},
      {kTanh, true, {{-0.0, -0.0, 0}, {-kInf, -1.0, 0}, {NAN, NAN, 0}, {12.0, 1.0, 0}, {1e-40, 1e-40, 0}}},
      {kAsinh, false, {{0.0, 0.0, 0}, {-0.0, -0.0, 0}, {kInf, kInf, 0}, {-kInf, -kInf, 0}, {NAN, NAN, 0},
                       {-1e-310, -1e-310, 0}}},
      {kAsinh, true, {{-0.0, -0.0, 0}, {-kInf, -kInf, 0}, {NAN, NAN, 0}, {1e-40, 1e-40, 0}}},
      {kAcosh, false, {{1.0, 0.0, 0}, {kInf, kInf, 0}, {NAN, NAN, 0}, {0.5, NAN, D}, {0.0, NAN, D},
                       {-1.0, NAN, D}, {-kInf, NAN, D}}},
      {kAcosh, true, {{1.0, 0.0, 0}, {kInf, kInf, 0}, {NAN, NAN, 0}, {0.99, NAN, D}, {-kInf, NAN, D}}},
      {kAtanh, false, {{0.0, 0.0, 0}, {-0.0, -0.0, 0}, {NAN, NAN, 0}, {1.0, kInf, S}, {-1.0, -kInf, S},
                       {1.5, NAN, D}, {-kInf, NAN, D}, {1e-310, 1e-310, 0}}},
      {kAtanh, true, {{-0.0, -0.0, 0}, {NAN, NAN, 0}, {1.0, kInf, S}, {-1.0, -kInf, S}, {-2.0, NAN, D},
                      {kInf, NAN, D}, {1e-40, 1e-40, 0}}},
  };
  return t;
}

// One element through a row at a level: its result, widened, and the status reported.
double run1(const Row &row, bool single, int lv, double x, int *status) {
  ReportLog log;
  double y;
  if (single) {
    float xf = static_cast<float>(x), yf;
    row.s[lv](1, &xf, &yf);
    y = yf;
  } else {
    row.d[lv](1, &x, &y);
  }
  *status = ReportLog::log().empty() ? 0 : ReportLog::log().back().code;
  return y;
}
}  // namespace

TEST(HyperSpecials, ResultBitsAndStatusAtEveryLevel) {
  for (const Table &t : tables()) {
    for (int lv = 0; lv < 3; ++lv) {
      for (const Case &c : t.cases) {
        SCOPED_TRACE(std::string(t.single ? "vs" : "vd") + t.row.stem + " " + kLevel[lv] + " x=" + std::to_string(c.x));
        int status;
        double y = run1(t.row, t.single, lv, c.x, &status);
        double want = t.single ? static_cast<double>(static_cast<float>(c.y)) : c.y;
        if (std::isnan(c.y))
          EXPECT_TRUE(std::isnan(y));
        else
          EXPECT_EQ(bits(y), bits(want)) << y;
        EXPECT_EQ(status, c.status);
      }
    }
  }
}

// One report per status: a vector of 19 ordinary elements but one bad in the tail (index 17);
// the record carries the element's index, argument and result, and the thread's status is set.
TEST(HyperReports, OnePerStatusWithIndexAndRecord) {
  struct R {
    const Row &row;
    double fill, bad, result;
    int status;
  };
  const R reports[] = {{kSinh, 0.5, -800.0, -kInf, O}, {kCosh, 0.5, 800.0, kInf, O},
                       {kAcosh, 1.5, 0.25, NAN, D}, {kAtanh, 0.5, -1.0, -kInf, S}};
  for (const R &r : reports) {
    for (bool single : {false, true}) {
      for (int lv = 0; lv < 3; ++lv) {
        SCOPED_TRACE(std::string(single ? "vs" : "vd") + r.row.stem + " " + kLevel[lv]);
        ReportLog log;
        std::vector<double> a(19, r.fill), y(19);
        std::vector<float> af(19, static_cast<float>(r.fill)), yf(19);
        a[17] = r.bad;
        af[17] = static_cast<float>(r.bad);
        if (single)
          r.row.s[lv](19, af.data(), yf.data());
        else
          r.row.d[lv](19, a.data(), y.data());
        ASSERT_EQ(ReportLog::log().size(), 1u);
        const Report &rep = ReportLog::log()[0];
        EXPECT_EQ(rep.code, r.status);
        EXPECT_EQ(rep.index, 17);
        EXPECT_EQ(rep.arg1, single ? static_cast<double>(af[17]) : a[17]);
        if (std::isnan(r.result))
          EXPECT_TRUE(std::isnan(rep.res1));
        else
          EXPECT_EQ(rep.res1, r.result);
        EXPECT_EQ(_vexGetErrStatus(), r.status);
      }
    }
  }
}
