// A carry chunk that can't be allocated: GaussianMethodBoxMuller2 returns RNX_STATUS_NO_MEMORY
// before it touches the stream, with the caller's state put back. The module is pointed at a
// core library whose allocations fail on demand.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "zyn/dist.h"
#include "zyn/vex.h"

namespace {

void (*FailAfter())(long) {
  static void (*fail_after)(long) = [] {
    setenv("ZYN_CORE_LIBRARY", ZYN_FAILING_CORE, 1);
    void *h = dlopen(ZYN_FAILING_CORE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(h, nullptr);
    return reinterpret_cast<void (*)(long)>(dlsym(h, "zyn_test_fail_after"));
  }();
  return fail_after;
}

template <class T, class Entry>
void Check(Entry entry, Entry uniform) {
  FailAfter()(-1);
  StreamState *s = nullptr, *copy = nullptr;
  const uint32_t seed[1] = {5};
  ASSERT_EQ(__rnxNewStreamEx(&s, RNX_BRNG_MCG59, 1, seed), 0);
  ASSERT_EQ(__rnxCopyStream(&copy, s), 0);
  const unsigned mode = _vexGetMode();
  T r[3] = {7, 7, 7}, u, v;
  FailAfter()(0);
  EXPECT_EQ(entry(GaussianMethodBoxMuller2, s, 3, r, T(0), T(1)), RNX_STATUS_NO_MEMORY);
  FailAfter()(-1);
  EXPECT_EQ(r[0], T(7));
  EXPECT_EQ(__rnxGetNumChunks(s), 0);
  EXPECT_EQ(_vexGetMode(), mode);
  EXPECT_EQ(_vexGetErrorCallBack(), nullptr);
  uniform(0, s, 1, &u, T(0), T(1));
  uniform(0, copy, 1, &v, T(0), T(1));
  EXPECT_EQ(u, v);
  __rnxDeleteStream(&s);
  __rnxDeleteStream(&copy);
}

TEST(DistNoMemory, CarryChunk) {
  Check<double>(_rnxdRngGaussian, _rnxdRngUniform);
  Check<float>(_rnxsRngGaussian, _rnxsRngUniform);
}

}  // namespace
