// Allocation failures, one row per entry that allocates: at every point of failure the entry
// reports RNX_STATUS_NO_MEMORY and leaves nothing half made and nothing leaked (the sanitizer
// build checks leaks). The module is pointed at a core library whose allocations fail on demand.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>

#include "zyn/vex.h"
#ifdef ZYN_DIST_GAUSSIAN
#include "zyn/dist.h"
#endif

namespace {

void *g_core = [] {
  setenv("ZYN_CORE_LIBRARY", ZYN_FAILING_CORE, 1);
  return dlopen(ZYN_FAILING_CORE, RTLD_NOW | RTLD_LOCAL);
}();
const auto allocate = reinterpret_cast<void *(*)(size_t, int)>(dlsym(g_core, "zyn_serv_allocate"));
const auto deallocate = reinterpret_cast<void (*)(void *)>(dlsym(g_core, "zyn_serv_deallocate"));
const auto fail_after = reinterpret_cast<void (*)(long)>(dlsym(g_core, "zyn_test_fail_after"));

// `s` holds three chunks; `ref` is its deep copy; `out` is what the entry makes or changes: null
// or a stream without chunks afterwards; `block` is a spare chunk block, still the caller's.
struct Fixture {
  StreamState *s = nullptr, *ref = nullptr, *out = nullptr;
  void *block = nullptr;
};
StreamState g_untouched;  // what an entry that makes `out` must replace

StreamState *make(int id, int chunks = 0) {
  StreamState *s = nullptr;
  EXPECT_EQ(__rnxNewStreamEx(&s, id, 0, nullptr), 0);
  for (int i = 0; i < chunks; ++i) EXPECT_EQ(__rnxAddChunk(s, 20 + i, nullptr, memset(allocate(16, 128), i, 16), 16), 0);
  return s;
}

StreamState *drawn(int id) {
  StreamState *s = make(id);
  BrngEntry e;
  uint32_t w[5];
  __rnxGetBrngProperties(id, &e);
  e.iGen(s, 5, w);
  return s;
}

struct Row {  // an entry that makes `out` or not, the allocations it makes, the call, what precedes it
  const char *name;
  bool makes;
  int points;
  std::function<int(Fixture &)> call, prepare = nullptr;
};
const uint64_t kLongCount[11] = {5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};  // beyond the fixed buffer

const Row kRows[] = {
    {"NewStream", true, 1, [](Fixture &f) { return __rnxNewStreamEx(&f.out, RNX_BRNG_MCG31, 0, nullptr); }},
    {"AddChunk", false, 1, [](Fixture &f) { return __rnxAddChunk(f.s, 1, nullptr, f.block, 8); }},
    {"CopyStream", true, 7, [](Fixture &f) { return __rnxCopyStream(&f.out, f.s); }},
    {"CopyStreamState", false, 6, [](Fixture &f) { return __rnxCopyStreamState(f.out, f.s); },
     [](Fixture &f) { return (f.out = make(RNX_BRNG_MCG31, 1)) != nullptr; }},
    {"SkipAheadStreamEx", false, 2, [](Fixture &f) { return __rnxSkipAheadStreamEx(f.out, 11, kLongCount); },
     [](Fixture &f) { return (f.out = make(RNX_BRNG_MRG32K3A)) != nullptr; }},
    // Polynomial skip-ahead (the remainder's work area only from t^degree on) from inside a
    // block, and for SFMT inside an element: a tail.
    {"MT19937 SkipAhead", false, 5, [](Fixture &f) { return __rnxSkipAheadStream(f.out, uint64_t{1} << 40); },
     [](Fixture &f) { return (f.out = drawn(RNX_BRNG_MT19937)) != nullptr; }},
    {"SFMT19937 Horner", false, 2, [](Fixture &f) { return __rnxSkipAheadStream(f.out, 5001); },
     [](Fixture &f) { return (f.out = drawn(RNX_BRNG_SFMT19937)) != nullptr; }},
    {"SFMT19937 SWin", false, 5, [](Fixture &f) { return __rnxSkipAheadStream(f.out, 1000001); },
     [](Fixture &f) { return (f.out = drawn(RNX_BRNG_SFMT19937)) != nullptr; }},
#ifdef ZYN_DIST_GAUSSIAN
    // The carry chunks: refused before the stream is touched.
    {"dRngGaussian", false, 1, [](Fixture &f) {
       double r[3] = {7, 7, 7};
       return _rnxdRngGaussian(GaussianMethodBoxMuller2, f.s, 3, r, 0, 1) + (r[0] != 7);
     }},
    {"sRngGaussian", false, 1, [](Fixture &f) {
       float r[3] = {7, 7, 7};
       return _rnxsRngGaussian(GaussianMethodBoxMuller2, f.s, 3, r, 0, 1) + (r[0] != 7);
     }},
#endif
};

TEST(NoMemory, EveryPointOfFailureOfEveryEntry) {
  for (const Row &row : kRows)
    for (int point = 0; point < row.points; ++point) {
      fail_after(-1);
      Fixture f{make(RNX_BRNG_MCG31, 3), nullptr, row.makes ? &g_untouched : nullptr, allocate(8, 128)};
      ASSERT_EQ(__rnxCopyStream(&f.ref, f.s), 0);
      if (row.prepare) row.prepare(f);
      StreamState *out_ref = nullptr;  // a stream the entry changes must come back unchanged
      if (!row.makes && f.out != nullptr) {
        ASSERT_EQ(__rnxCopyStream(&out_ref, f.out), 0);
      }
      const unsigned mode = _vexGetMode();
      fail_after(point);
      EXPECT_EQ(row.call(f), RNX_STATUS_NO_MEMORY) << row.name << " at " << point;
      fail_after(-1);
      ASSERT_NE(f.out, &g_untouched) << row.name;
      EXPECT_TRUE(f.out == nullptr || __rnxGetNumChunks(f.out) == 0) << row.name << " at " << point;
      uint32_t a[4], b[4];
      __rnxiBRngMCG31M1(f.s, 4, a);
      __rnxiBRngMCG31M1(f.ref, 4, b);
      EXPECT_TRUE(__rnxGetNumChunks(f.s) == 3 && std::memcmp(a, b, sizeof a) == 0) << row.name;
      EXPECT_TRUE(_vexGetMode() == mode && _vexGetErrorCallBack() == nullptr) << row.name;
      if (out_ref != nullptr) {
        BrngEntry e;
        ASSERT_EQ(__rnxGetBrngProperties(f.out->brngId, &e), 0);
        EXPECT_EQ(std::memcmp(reinterpret_cast<char *>(f.out) + 16, reinterpret_cast<char *>(out_ref) + 16,
                              e.stateSize - 16), 0) << row.name << " at " << point;
      }
      for (StreamState *s : {f.s, f.ref, f.out, out_ref})
        if (s != nullptr) __rnxDeleteStream(&s);
      deallocate(f.block);
    }
}

}  // namespace
