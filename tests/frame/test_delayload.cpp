// A program linked only to libzyn_kernel.so: the core library is loaded at the first call that
// needs it, and ZYN_CORE_LIBRARY chooses which one; the generated rows' slots and level stubs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "zyn/vex.h"

namespace {
std::string Maps() {
  std::stringstream s;
  s << std::ifstream("/proc/self/maps").rdbuf();
  return s.str();
}
}  // namespace

TEST(DelayLoad, CoreLibraryLoadedAtFirstUse) {
  const char *chosen = getenv("ZYN_CORE_LIBRARY");
  const std::string core = chosen ? std::string(chosen).substr(std::string(chosen).rfind('/') + 1) : "libzyn_core.so";
  EXPECT_EQ(zyn_vex_kernel_GetTTableIndexM(0, 0x1a01), 0);
  EXPECT_EQ(Maps().find(core), std::string::npos) << "loaded before any core name was called";
  EXPECT_EQ(_vexGetMode(), 0x1a03u);  // ZYN_VEX_MODE is VEX_EP for the default core; the test core's environment holds VEX_EP
  EXPECT_NE(Maps().find(core), std::string::npos);
  EXPECT_TRUE(!chosen || Maps().find("libzyn_core.so") == std::string::npos);
}

// Each level's slot holds the kernel the row's sharing says (dLn three kernels, sInv LA = HA, dInv
// one, dCbrt LA = EP), and each level's stub runs its own slot's kernel.
TEST(Rows, SlotsAndLevelStubsFollowTheSharing) {
  auto *ln = zyn_vex_kernel_dLn_ttab, *inv = zyn_vex_kernel_dInv_ttab, *cbrt = zyn_vex_kernel_dCbrt_ttab;
  auto *sinv = zyn_vex_kernel_sInv_ttab;  // single
  EXPECT_TRUE(ln[0] != ln[1] && ln[1] != ln[2] && ln[0] != ln[2] && inv[0] == inv[1] && inv[1] == inv[2]);
  EXPECT_TRUE(sinv[0] == sinv[1] && sinv[1] != sinv[2] && cbrt[0] == cbrt[2] && cbrt[0] != cbrt[1]);
  std::vector<double> x(1000), y[3], z(1000);
  for (int i = 0; i < 1000; ++i) x[i] = 0.5 + i * 0.37;
  void (*const stubs[3])(int, const double *, double *) = {_vexdLn_50, _vexdLn, _vexdLn_26};
  for (int level = 0; level < 3; ++level) {
    y[level].resize(1000);
    stubs[level](1000, x.data(), y[level].data());
    ln[level](1000, x.data(), z.data());
    EXPECT_EQ(y[level], z) << level;
  }
  EXPECT_TRUE(y[0] != y[1] && y[1] != y[2]) << "the levels must differ for the routing to show";
}
