// Allocation failures: each operation reports RNX_STATUS_NO_MEMORY and leaves nothing half made
// and nothing leaked. The module is pointed at a core library whose allocations fail on demand.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "zyn/rng.h"

namespace {

struct Core {
  void *(*allocate)(size_t, int);
  void (*deallocate)(void *);
  void (*fail_after)(long);
};

const Core &core() {
  static const Core c = [] {
    setenv("ZYN_CORE_LIBRARY", ZYN_FAILING_CORE, 1);
    void *h = dlopen(ZYN_FAILING_CORE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(h, nullptr);
    return Core{reinterpret_cast<void *(*)(size_t, int)>(dlsym(h, "zyn_serv_allocate")),
                reinterpret_cast<void (*)(void *)>(dlsym(h, "zyn_serv_deallocate")),
                reinterpret_cast<void (*)(long)>(dlsym(h, "zyn_test_fail_after"))};
  }();
  return c;
}

StreamState *make(int id = RNX_BRNG_MCG31) {
  StreamState *s = nullptr;
  const uint32_t seed[1] = {9};
  core().fail_after(-1);
  EXPECT_EQ(__rnxNewStreamEx(&s, id, 1, seed), 0);
  return s;
}

void add(StreamState *s, int id, int bytes) {
  core().fail_after(-1);
  void *p = core().allocate(bytes, 128);
  std::memset(p, id, bytes);
  ASSERT_EQ(__rnxAddChunk(s, id, nullptr, p, bytes), 0);
}

TEST(NoMemory, NewStream) {
  StreamState *s = reinterpret_cast<StreamState *>(&s);
  core().fail_after(0);
  EXPECT_EQ(__rnxNewStreamEx(&s, RNX_BRNG_MCG31, 0, nullptr), RNX_STATUS_NO_MEMORY);
  EXPECT_EQ(s, nullptr);
  core().fail_after(-1);
}

TEST(NoMemory, AddChunkLeavesTheStream) {
  StreamState *s = make();
  void *p = core().allocate(8, 128);
  core().fail_after(0);
  EXPECT_EQ(__rnxAddChunk(s, 1, nullptr, p, 8), RNX_STATUS_NO_MEMORY);
  EXPECT_EQ(__rnxGetNumChunks(s), 0);
  core().fail_after(-1);
  core().deallocate(p);  // still the caller's
  __rnxDeleteStream(&s);
}

TEST(NoMemory, CopiesFailCleanly) {
  StreamState *s = make();
  add(s, 1, 16);
  add(s, 2, 16);
  add(s, 3, 16);
  // every point of failure of a copy: the record, then each data block and chunk record (the
  // seventh allocation is the last one a copy needs)
  for (int ok = 0; ok < 7; ++ok) {
    StreamState *c = nullptr;
    core().fail_after(ok);
    int status = __rnxCopyStream(&c, s);
    core().fail_after(-1);
    if (ok == 0) {
      EXPECT_EQ(status, RNX_STATUS_NO_MEMORY);
      EXPECT_EQ(c, nullptr);
      continue;
    }
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(status, RNX_STATUS_NO_MEMORY) << ok;
    EXPECT_EQ(__rnxGetNumChunks(c), 0) << ok;  // the copy exists without chunks
    __rnxDeleteStream(&c);
  }
  StreamState *d = make();
  add(d, 9, 4);
  core().fail_after(3);  // the third chunk's block
  EXPECT_EQ(__rnxCopyStreamState(d, s), RNX_STATUS_NO_MEMORY);
  core().fail_after(-1);
  EXPECT_EQ(d->chunks, nullptr);
  __rnxDeleteStream(&d);
  __rnxDeleteStream(&s);
}

TEST(NoMemory, LongExponents) {
  const uint32_t coeff[3] = {1, 2, 3};
  uint32_t v[3] = {1, 2, 3};
  uint64_t e[11] = {5};
  core().fail_after(0);
  EXPECT_EQ(__rnxiVect3PowArrayMod(v, coeff, 1000003, 11, e), RNX_STATUS_NO_MEMORY);
  EXPECT_EQ(__rnxiVect3PowArrayMod(v, coeff, 1000003, 10, e), 0);  // the fixed buffer
  core().fail_after(-1);
  StreamState *s = nullptr;
  ASSERT_EQ(__rnxNewStreamEx(&s, RNX_BRNG_MRG32K3A, 0, nullptr), 0);
  e[10] = 1;
  core().fail_after(0);
  EXPECT_EQ(__rnxSkipAheadStreamEx(s, 11, e), RNX_STATUS_NO_MEMORY);
  core().fail_after(-1);
  __rnxDeleteStream(&s);
}

// Polynomial skip-ahead: each of its allocations (the remainder's work area only from t^degree
// on) fails in turn, with the stream (position, words, SFMT's tail) as it was.
TEST(NoMemory, PolynomialSkipLeavesTheStream) {
  const uint64_t cases[][3] = {{RNX_BRNG_MT19937, uint64_t{1} << 40, 5},
                               {RNX_BRNG_SFMT19937, 5001, 2},
                               {RNX_BRNG_SFMT19937, 1000001, 5}};
  for (const auto &c : cases) {
    StreamState *s = make(int(c[0]));
    BrngEntry e;
    uint32_t w[5];
    __rnxGetBrngProperties(int(c[0]), &e);
    e.iGen(s, 5, w);  // inside a block, and an element: a tail
    const std::vector<char> before(reinterpret_cast<char *>(s),
                                   reinterpret_cast<char *>(s) + e.stateSize);
    for (uint64_t ok = 0; ok <= c[2]; ++ok) {
      core().fail_after(long(ok));
      EXPECT_EQ(__rnxSkipAheadStream(s, c[1]), ok < c[2] ? RNX_STATUS_NO_MEMORY : 0) << ok;
      EXPECT_TRUE(ok == c[2] || std::memcmp(before.data(), s, before.size()) == 0) << ok;
    }
    core().fail_after(-1);
    __rnxDeleteStream(&s);
  }
}

}  // namespace
