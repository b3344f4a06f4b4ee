// Every function the MPFR oracle knows, each of its rows in both types at the three levels, held
// to the bounds declared with its registration (tools/accuracy/functions_*.cpp). The inputs are
// the accuracy tool's own: random over the domain, the registered bands, hard points and edges,
// and the special values, with a fixed seed; the tool's sweep of 10^6 inputs is recorded in
// docs/accuracy.md.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tools/accuracy/oracle.hpp"

namespace {
using namespace zyn::oracle;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kCount = 20000;
#else
constexpr size_t kCount = 100000;
#endif
constexpr uint64_t kSeed = 20261123;
const char *kLevel[3] = {"LA", "HA", "EP"};

class Accuracy : public ::testing::TestWithParam<size_t> {};

TEST_P(Accuracy, EveryRowAndLevelWithinItsBound) {
  const Function &f = functions()[GetParam()];
  for (char type : {'d', 's'}) {
    for (const RowSweep &r : sweep_rows(f, type, kCount, kSeed)) {
      for (int lv = 0; lv < 3; ++lv) {
        ASSERT_TRUE(r.built[lv]) << r.row << " " << kLevel[lv];
        const Sweep &s = r.level[lv];
        EXPECT_TRUE(within(f, r.single, lv, s))
            << r.row << " " << kLevel[lv] << ": " << s.max_ulp << " ulp, " << -std::log2(s.max_rel) << " bits (bound "
            << bound_text(f, r.single, lv) << "), worst at " << std::hexfloat << s.worst_x << ", " << s.worst_x2;
      }
    }
  }
}

// Test names: the stem, and for a scalar second argument the exponent's place ("Powx_3").
std::string name_of(const ::testing::TestParamInfo<size_t> &info) {
  const Function &f = functions()[info.param];
  if (f.scalar_b.empty()) return f.stem;
  size_t k = 0;
  for (size_t i = 0; i < info.param; ++i) k += functions()[i].stem == f.stem;
  return f.stem + "_" + std::to_string(k);
}
INSTANTIATE_TEST_SUITE_P(Oracle, Accuracy, ::testing::Range<size_t>(0, functions().size()), name_of);
}  // namespace
