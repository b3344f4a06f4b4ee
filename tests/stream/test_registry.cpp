// The registry, the id scheme and the stream operations: creation, copies, deletion,
// registration of a user generator.
#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "reference.hpp"
#include "zyn/rng.h"

namespace {

using reftest::Stream;

int make(int id, StreamState **s, int n = 0, const uint32_t *seed = nullptr) {
  *s = nullptr;
  return __rnxNewStreamEx(s, id, n, seed);
}

TEST(Registry, StartsWithSixteenRows) { EXPECT_EQ(__rnxGetNumRegBrngs(), RNX_REG_BUILTIN_ROWS); }

TEST(Registry, IdResolution) {
  struct Case {
    int id;
    const BrngEntry *table;
    int row, sub;
  };
  const Case cases[] = {{RNX_BRNG_WH + 17, __RegBrngsNew, 4, 17}, {10, __RegBrngs, 4, 6},
                        {276, __RegBrngs, 4, 272},                 {277, __RegBrngs, 277, 0},
                        {RNX_BRNG_PHILOX4X32X10 + 5, __RegBrngsNew, 15, 5}};
  for (const Case &c : cases) {
    int row = -1, sub = -1;
    EXPECT_EQ(__rnxGetBrngBaseOffset(c.id, &row, &sub), c.table) << c.id;
    EXPECT_EQ(std::pair(row, sub), std::pair(c.row, c.sub)) << c.id;
  }
  // the old table: WH repeated over rows 4..276, then four zero rows
  for (int r = 4; r <= 276; ++r) EXPECT_EQ(std::memcmp(&__RegBrngs[r], &__RegBrngs[4], sizeof(BrngEntry)), 0);
  EXPECT_EQ(__RegBrngs[4].iGen, __rnxiBRngWH);
  EXPECT_EQ(__RegBrngs[3].init, __rnxBRngMCG59InitStream);
  for (int r = 277; r < RNX_REG_OLD_ROWS; ++r) EXPECT_EQ(__RegBrngs[r].init, nullptr);
  for (int r = 0; r < 5; ++r)
    EXPECT_EQ(std::memcmp(&__RegBrngs[r], &__RegBrngsNew[r], sizeof(BrngEntry)), 0);
}

TEST(Registry, Validity) {
  struct Case {
    const BrngEntry *table;
    int row, sub, status;
  };
  // sub is compared as a signed number
  const Case cases[] = {{__RegBrngs, 279, 0, 0},      {__RegBrngs, 280, 99, 0},   {__RegBrngs, 281, 0, RNX_STATUS_BAD_BRNG},
                        {__RegBrngsNew, 4, 272, 0},   {__RegBrngsNew, 4, 273, RNX_STATUS_BAD_BRNG},
                        {__RegBrngsNew, 8, 6023, 0},  {__RegBrngsNew, 8, 6024, RNX_STATUS_BAD_BRNG},
                        {__RegBrngsNew, 0, 1, RNX_STATUS_BAD_BRNG}, {__RegBrngsNew, 4, -1, 0},
                        {__RegBrngsNew, 16, 0, RNX_STATUS_BAD_BRNG}};
  for (const Case &c : cases) EXPECT_EQ(__rnxIsBrngValid(c.table, c.row, c.sub), c.status) << c.row << " " << c.sub;

  StreamState *s;
  EXPECT_EQ(make(RNX_BRNG_WH + 272, &s), 0);
  __rnxDeleteStream(&s);
  EXPECT_EQ(make(RNX_BRNG_WH + 273, &s), RNX_STATUS_BAD_BRNG);
  EXPECT_EQ(s, nullptr);
  EXPECT_EQ(make(RNX_BRNG_MCG31 + 1, &s), RNX_STATUS_BAD_BRNG);
  // Abstract base ids are refused before anything else; 0xA00001 reaches the validity test
  for (int id : {int{RNX_BRNG_IABSTRACT}, int{RNX_BRNG_DABSTRACT}, int{RNX_BRNG_SABSTRACT},
                 RNX_BRNG_IABSTRACT + 1})
    EXPECT_EQ(make(id, &s), RNX_STATUS_BAD_BRNG) << id;
  // generators not in this build are unknown, never a stand-in
  for (int id : {int{RNX_BRNG_SOBOL}, int{RNX_BRNG_NONDETERM}, RNX_BRNG_MT2203 + 6024,
                 int{RNX_BRNG_PHILOX4X32X10}, 277, 278, 279, 280, -5}) {
    EXPECT_EQ(make(id, &s), RNX_STATUS_BAD_BRNG) << id;
    EXPECT_EQ(s, nullptr);
  }
  BrngEntry e{};
  EXPECT_EQ(__rnxGetBrngProperties(RNX_BRNG_NONDETERM, &e), RNX_STATUS_BAD_BRNG);
  EXPECT_EQ(__rnxGetBrngProperties(RNX_BRNG_WH + 273, &e), RNX_STATUS_BAD_BRNG);
  ASSERT_EQ(__rnxGetBrngProperties(RNX_BRNG_WH + 3, &e), 0);
  EXPECT_EQ(e.stateSize, 48);
  EXPECT_EQ(e.wordSize, 16);
  EXPECT_EQ(e.bitCount, 24);
  ASSERT_EQ(__rnxGetBrngProperties(100, &e), 0);  // old WH id
  EXPECT_EQ(e.init, __rnxBRngWHInitStream);
  ASSERT_EQ(__rnxGetBrngProperties(280, &e), 0);  // a valid zero row
  EXPECT_EQ(e.init, nullptr);
  EXPECT_EQ(e.stateSize, 0);
}

TEST(Registry, RowProperties) {
  struct Row {
    int id, stateSize, seedCount, includesZero, wordSize, bitCount;
  };
  const Row rows[] = {{RNX_BRNG_MCG31, 24, 1, 0, 4, 31},   {RNX_BRNG_R250, 1024, 252, 1, 4, 32},
                      {RNX_BRNG_MRG32K3A, 40, 6, 1, 4, 32}, {RNX_BRNG_MCG59, 32, 1, 0, 8, 59},
                      {RNX_BRNG_WH, 48, 4, 1, 16, 24}};
  for (const Row &r : rows) {
    BrngEntry e{};
    ASSERT_EQ(__rnxGetBrngProperties(r.id, &e), 0);
    EXPECT_EQ(e.stateSize, r.stateSize);
    EXPECT_EQ(e.seedCount, r.seedCount);
    EXPECT_EQ(e.includesZero, r.includesZero);
    EXPECT_EQ(e.wordSize, r.wordSize);
    EXPECT_EQ(e.bitCount, r.bitCount);
  }
}

TEST(Streams, HeaderAndArguments) {
  Stream s(10, {3});  // an old WH id; its numbers are checked with the generators
  EXPECT_EQ(__rnxGetStreamStateBrng(s.s), 10);
  EXPECT_EQ(s.s->format, 1);
  EXPECT_EQ(s.s->reserved0, 0);
  EXPECT_EQ(s.s->reserved1, 0);
  EXPECT_EQ(s.s->chunks, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(s.s) % 128, 0u);
  EXPECT_EQ(__rnxDeleteStream(&s.s), 0);
  EXPECT_EQ(s.s, nullptr);
  // Leapfrog: the stream count is checked before the generator is reached.
  Stream r250(RNX_BRNG_R250), mcg(RNX_BRNG_MCG31);
  EXPECT_EQ(__rnxLeapfrogStream(r250.s, 0, -1), RNX_STATUS_BAD_NSTREAMS);
  EXPECT_EQ(__rnxLeapfrogStream(r250.s, 0, 0), RNX_STATUS_NO_LEAPFROG);
  EXPECT_EQ(__rnxLeapfrogStream(mcg.s, 0, -1), RNX_STATUS_BAD_NSTREAMS);
}

TEST(Streams, AllocateLeavesStateUnseeded) {
  StreamState *s = nullptr;
  EXPECT_EQ(__rnxAllocateStream(&s, __RegBrngsNew, RNX_BRNG_WH + 999, 4, 999), RNX_STATUS_BAD_BRNG);
  EXPECT_EQ(s, nullptr);
  ASSERT_EQ(__rnxAllocateStream(&s, __RegBrngsNew, RNX_BRNG_MRG32K3A, 2, 0), 0);
  EXPECT_EQ(s->brngId, RNX_BRNG_MRG32K3A);
  EXPECT_EQ(s->format, 1);
  EXPECT_EQ(s->chunks, nullptr);
  __rnxDeleteStream(&s);
}

TEST(Streams, CopyIsDeepAndIndependent) {
  Stream s(RNX_BRNG_MRG32K3A, {77, 88});
  s.ints(5);
  void *block = zyn_serv_allocate(64, 128);
  std::memset(block, 0x5A, 64);
  ASSERT_EQ(__rnxAddChunk(s.s, 2, nullptr, block, 64), 0);
  StreamState *c;
  ASSERT_EQ(__rnxCopyStream(&c, s.s), 0);
  EXPECT_EQ(c->brngId, s.s->brngId);
  EXPECT_EQ(__rnxGetNumChunks(c), 1);
  void *copy = __rnxSearchChunk(c, 2);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, block);
  EXPECT_EQ(std::memcmp(copy, block, 64), 0);
  uint32_t b[100];
  __rnxiBRngMRG32K3A(c, 100, b);
  EXPECT_EQ(s.ints(100), std::vector<uint32_t>(b, b + 100));
  __rnxDeleteStream(&s.s);
  __rnxiBRngMRG32K3A(c, 1, b);  // the copy outlives its source
  __rnxDeleteStream(&c);
}

TEST(Streams, CopyStreamStateMovesSeedWordsOnly) {
  {  // MCG31M1: only x moves; the destination keeps its own multiplier
    Stream src(RNX_BRNG_MCG31, {1111}), dst(RNX_BRNG_MCG31, {2222});
    __rnxLeapfrogStream(src.s, 0, 2);  // src multiplier becomes a^2
    ASSERT_NE(src.state<uint32_t>(1), dst.state<uint32_t>(1));
    EXPECT_EQ(__rnxCopyStreamState(dst.s, src.s), 0);
    EXPECT_EQ(dst.state<uint32_t>(0), src.state<uint32_t>(0));
    EXPECT_EQ(dst.state<uint32_t>(1), 1132489760u);
    EXPECT_EQ(dst.s->brngId, RNX_BRNG_MCG31);
    EXPECT_EQ(__rnxCopyStreamState(src.s, src.s), 0);
  }
  {  // MCG59 likewise: 8 bytes of 16
    Stream src(RNX_BRNG_MCG59, {1111}), dst(RNX_BRNG_MCG59, {2222});
    __rnxLeapfrogStream(src.s, 1, 3);
    __rnxCopyStreamState(dst.s, src.s);
    EXPECT_EQ(dst.state<uint64_t>(0), src.state<uint64_t>(0));
    EXPECT_NE(dst.state<uint64_t>(1), src.state<uint64_t>(1));
  }
  {  // WH: 16 * 4 bytes asked, the whole 32-byte state moved, nothing past it; the id stays
    Stream src(RNX_BRNG_WH + 1, {1111}), dst(RNX_BRNG_WH + 1, {2222});
    __rnxLeapfrogStream(src.s, 2, 5);
    EXPECT_EQ(__rnxCopyStreamState(dst.s, src.s), 0);
    EXPECT_EQ(std::memcmp(RNX_STREAM_STATE(dst.s), RNX_STREAM_STATE(src.s), 32), 0);
    EXPECT_EQ(src.ints(2, 4), dst.ints(2, 4));
  }
  // R250: the whole ring and positions; chunks of the destination are replaced by the source's
  Stream src(RNX_BRNG_R250, {1111}), dst(RNX_BRNG_R250, {2222});
  __rnxAddChunk(dst.s, 5, nullptr, zyn_serv_allocate(8, 128), 8);
  __rnxAddChunk(src.s, 6, nullptr, zyn_serv_allocate(8, 128), 8);
  src.ints(300);
  EXPECT_EQ(__rnxCopyStreamState(dst.s, src.s), 0);
  EXPECT_EQ(__rnxSearchChunk(dst.s, 5), nullptr);
  EXPECT_NE(__rnxSearchChunk(dst.s, 6), nullptr);
  EXPECT_EQ(__rnxGetNumChunks(dst.s), 1);
  EXPECT_EQ(src.ints(300), dst.ints(300));
}

// A user generator: a counter from the seed, step given by leapfrog.
struct CounterState {
  uint32_t next, step;
};
int counter_init(int method, StreamState *s, int n, const void *params) {
  auto *c = static_cast<CounterState *>(RNX_STREAM_STATE(s));
  if (method == RNX_METHOD_INIT) {
    c->next = n > 0 ? *static_cast<const uint32_t *>(params) : 0;
    c->step = 1;
    return 0;
  }
  return method == RNX_METHOD_LEAPFROG ? RNX_STATUS_NO_LEAPFROG : RNX_STATUS_NO_SKIP;
}
int counter_i(StreamState *s, int n, uint32_t *r) {
  auto *c = static_cast<CounterState *>(RNX_STREAM_STATE(s));
  for (int i = 0; i < n; ++i, c->next += c->step) r[i] = c->next;
  return 0;
}
int counter_d(StreamState *, int, double *, double, double) { return 0; }
int counter_s(StreamState *, int, float *, float, float) { return 0; }

TEST(Registration, ChecksInOrderThenAddsARow) {
  const int before = __rnxGetNumRegBrngs();
  BrngEntry e{24, 1, 1, 4, 32, counter_init, counter_s, counter_d, counter_i};
  BrngEntry bad = e;
  bad.stateSize = -1;
  bad.wordSize = 3;  // the state size is looked at first
  EXPECT_EQ(__rnxRegisterBrng(&bad), RNX_STATUS_BAD_STATE_SIZE);
  bad.stateSize = 0;
  EXPECT_EQ(__rnxRegisterBrng(&bad), RNX_STATUS_BAD_WORD_SIZE);
  bad.wordSize = 16;
  bad.seedCount = 0;
  bad.bitCount = 0;
  EXPECT_EQ(__rnxRegisterBrng(&bad), RNX_STATUS_BAD_SEED_COUNT);
  bad.seedCount = 1;
  EXPECT_EQ(__rnxRegisterBrng(&bad), RNX_STATUS_BAD_BIT_COUNT);
  bad.bitCount = 1;
  for (int f = 0; f < 4; ++f) {
    BrngEntry n = bad;
    if (f == 0) n.init = nullptr;
    if (f == 1) n.sGen = nullptr;
    if (f == 2) n.dGen = nullptr;
    if (f == 3) n.iGen = nullptr;
    EXPECT_EQ(__rnxRegisterBrng(&n), RNX_STATUS_NULL_FUNCTION) << f;
  }
  EXPECT_EQ(__rnxGetNumRegBrngs(), before);

  const int id = __rnxRegisterBrng(&e);
  EXPECT_EQ(id, before * RNX_BRNG_INC + RNX_BRNG_INC);
  if (before == RNX_REG_BUILTIN_ROWS) {
    EXPECT_EQ(id, 0x1100000);
  }
  EXPECT_EQ(__rnxGetNumRegBrngs(), before + 1);
  EXPECT_EQ(__rnxIsBrngValid(__RegBrngsNew, before, 0), 0);
  EXPECT_EQ(__rnxIsBrngValid(__RegBrngsNew, before, 1), RNX_STATUS_BAD_BRNG);  // one sub-stream

  StreamState *s;
  const uint32_t seed[1] = {40};
  ASSERT_EQ(__rnxNewStreamEx(&s, id, 1, seed), 0);
  EXPECT_EQ(__rnxGetStreamStateBrng(s), id);
  uint32_t r[3];
  int row, sub;
  const BrngEntry *t = __rnxGetBrngBaseOffset(id, &row, &sub);
  EXPECT_EQ(t[row].iGen(s, 3, r), 0);
  EXPECT_EQ(r[2], 42u);
  EXPECT_EQ(__rnxSkipAheadStream(s, 5), RNX_STATUS_NO_SKIP);
  StreamState *c;
  ASSERT_EQ(__rnxCopyStream(&c, s), 0);
  EXPECT_EQ(t[row].iGen(c, 1, r), 0);
  EXPECT_EQ(r[0], 43u);
  __rnxDeleteStream(&c);
  __rnxDeleteStream(&s);
}

}  // namespace
