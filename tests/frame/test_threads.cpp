// Threads that start together: they bind the core names, read the mode variable and make their
// records at the same moment, and from then on each sees only its own mode word and status.
#include <gtest/gtest.h>

#include <cstdlib>
#include <latch>
#include <thread>
#include <vector>

#include "frame/core_link.hpp"
#include "frame/thread_state.hpp"
#include "zyn/vex.h"

TEST(ThreadStateConcurrency, FirstUseTogetherThenEachItsOwnWord) {
  setenv(zyn::frame::kModeVariable, "VEX_LA,VEX_ERRMODE_IGNORE", 1);
  zyn::core::reset_bindings_for_testing();
  constexpr int kThreads = 8;
  constexpr unsigned kLevels[] = {VEX_LA, VEX_HA, VEX_EP};
  constexpr unsigned kHandling[] = {VEX_ERRMODE_ERRNO, VEX_ERRMODE_STDERR};
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int k = 0; k < kThreads; ++k)
    threads.emplace_back([&, k] {
      start.arrive_and_wait();
      EXPECT_EQ(_vexGetMode(), unsigned(VEX_LA | VEX_ERRMODE_IGNORE));
      const unsigned mine = kLevels[k % 3] | kHandling[k % 2];
      _vexSetMode(mine);
      for (int r = 0; r < 2000; ++r) {
        _vexSetErrStatus(k * 10000 + r);
        std::this_thread::yield();
        ASSERT_EQ(_vexGetMode(), mine) << k;
        ASSERT_EQ(_vexGetErrStatus(), k * 10000 + r) << k;
      }
    });
  for (auto &t : threads) t.join();
  unsetenv(zyn::frame::kModeVariable);
}
