// A program linked only to libzyn_kernel.so: the core library is loaded at the first call that
// needs it, and ZYN_CORE_LIBRARY chooses which one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "zyn/vex.h"

namespace {
std::string Maps() {
  std::ifstream in("/proc/self/maps");
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}
}  // namespace

TEST(DelayLoad, CoreLibraryLoadedAtFirstUse) {
  const char *chosen = getenv("ZYN_CORE_LIBRARY");
  std::string core = chosen != nullptr ? std::string(chosen).substr(std::string(chosen).rfind('/') + 1)
                                       : "libzyn_core.so";
  EXPECT_EQ(dll_cpu_version(), 4);
  EXPECT_EQ(zyn_vex_kernel_GetTTableIndexM(0, 0x1a01), 0);
  EXPECT_EQ(Maps().find(core), std::string::npos) << "loaded before any core name was called";

  // ZYN_VEX_MODE is VEX_EP for the default core; the test core's environment holds VEX_EP.
  EXPECT_EQ(_vexGetMode(), 0x1a03u);
  std::string maps = Maps();
  EXPECT_NE(maps.find(core), std::string::npos);
  if (chosen != nullptr) {
    EXPECT_EQ(maps.find("libzyn_core.so"), std::string::npos);
  }
}
