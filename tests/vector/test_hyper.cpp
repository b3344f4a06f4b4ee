// The hyperbolic family: the special values (result bits, signed zeros) and statuses of every row
// at every level, and one report per status with its record. Layouts: test_layout.cpp;
// accuracy: test_accuracy.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;
namespace oracle = zyn::oracle;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int O = STATUS_OVERFLOW, D = STATUS_DOMAIN, S = STATUS_SINGULARITY;

TEST(HyperSpecials, ResultsAndStatusesAtEveryLevel) {
  std::vector<Special> c = {
      {"dSinh", 1e-310, 0, 1e-310}, {"dSinh", 710.5, 0, kInf, O}, {"dSinh", -710.5, 0, -kInf, O},
      {"dSinh", 1e300, 0, kInf, O}, {"sSinh", 1e-40, 0, 1e-40},   {"sSinh", 89.5, 0, kInf, O},
      {"sSinh", -89.5, 0, -kInf, O}, {"dCosh", 1e-310, 0, 1},     {"dCosh", 710.5, 0, kInf, O},
      {"dCosh", -710.5, 0, kInf, O}, {"sCosh", 89.5, 0, kInf, O}, {"sCosh", -89.5, 0, kInf, O},
      {"dTanh", 25, 0, 1},          {"dTanh", -1e300, 0, -1},     {"dTanh", -1e-310, 0, -1e-310},
      {"sTanh", 12, 0, 1},          {"sTanh", 1e-40, 0, 1e-40},   {"dAsinh", -1e-310, 0, -1e-310},
      {"sAsinh", 1e-40, 0, 1e-40},  {"dAtanh", 1e-310, 0, 1e-310}, {"sAtanh", 1e-40, 0, 1e-40},
  };
  for (const char *t : {"d", "s"}) {  // the same in both types
    auto row = [&](const char *stem) { return t + std::string(stem); };
    for (const char *odd : {"Sinh", "Tanh", "Asinh", "Atanh"})
      c.insert(c.end(), {{row(odd), 0, 0, 0}, {row(odd), -0.0, 0, -0.0}, {row(odd), NAN, 0, NAN}});
    c.insert(c.end(), {{row("Sinh"), kInf, 0, kInf},    {row("Sinh"), -kInf, 0, -kInf}, {row("Cosh"), 0, 0, 1},
                       {row("Cosh"), -0.0, 0, 1},       {row("Cosh"), kInf, 0, kInf},   {row("Cosh"), -kInf, 0, kInf},
                       {row("Cosh"), NAN, 0, NAN},      {row("Tanh"), kInf, 0, 1},      {row("Tanh"), -kInf, 0, -1},
                       {row("Asinh"), kInf, 0, kInf},   {row("Asinh"), -kInf, 0, -kInf}, {row("Acosh"), 1, 0, 0},
                       {row("Acosh"), kInf, 0, kInf},   {row("Acosh"), NAN, 0, NAN},    {row("Acosh"), 0.99, 0, NAN, D},
                       {row("Acosh"), 0, 0, NAN, D},    {row("Acosh"), -1, 0, NAN, D},
                       {row("Acosh"), -kInf, 0, NAN, D},
                       {row("Atanh"), 1, 0, kInf, S},   {row("Atanh"), -1, 0, -kInf, S}, {row("Atanh"), 1.5, 0, NAN, D},
                       {row("Atanh"), -kInf, 0, NAN, D}, {row("Atanh"), kInf, 0, NAN, D}});
  }
  expect_cases(c);
}

// One report per status, in both types at every level: the bad element among ordinary ones
// carries its index, argument and result in the record, and sets the thread's status.
TEST(HyperReports, OnePerStatusWithItsRecord) {
  struct R {
    const char *stem;
    double fill, bad, result;
    int status;
  };
  const R reports[] = {{"Sinh", 0.5, -800, -kInf, O}, {"Cosh", 0.5, 800, kInf, O}, {"Acosh", 1.5, 0.25, NAN, D},
                       {"Atanh", 0.5, -1, -kInf, S}};
  for (const R &r : reports) {
    for (char t : {'d', 's'}) {
      for (int lv = 0; lv < 3; ++lv) {
        SCOPED_TRACE(std::string(1, t) + r.stem + " " + kLevels[lv]);
        void *k = oracle::stub(oracle::stub_name(t, r.stem, lv));
        ReportLog log;
        std::vector<double> a(19, r.fill), y(19);
        std::vector<float> af(19, static_cast<float>(r.fill)), yf(19);
        a[17] = r.bad;
        af[17] = static_cast<float>(r.bad);
        if (t == 's')
          reinterpret_cast<void (*)(int, const float *, float *)>(k)(19, af.data(), yf.data());
        else
          reinterpret_cast<void (*)(int, const double *, double *)>(k)(19, a.data(), y.data());
        ASSERT_EQ(ReportLog::log().size(), 1u);
        const Report &rep = ReportLog::log()[0];
        EXPECT_EQ(rep.code, r.status);
        EXPECT_EQ(rep.index, 17);
        EXPECT_EQ(rep.arg1, r.bad);
        EXPECT_TRUE(same(rep.res1, r.result)) << rep.res1;
        EXPECT_EQ(_vexGetErrStatus(), r.status);
      }
    }
  }
}
}  // namespace
