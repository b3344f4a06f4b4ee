// The registry, the id scheme and the stream operations: creation, copies, deletion,
// registration of a user generator.
#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "tests/stream/generator_checks.hpp"

namespace zyn::test {
namespace {

int make(int id, StreamState **s) {
  *s = nullptr;
  return __rnxNewStreamEx(s, id, 0, nullptr);
}

TEST(Registry, IdResolution) {
  struct Case {
    int id;
    const BrngEntry *table;
    int row, sub;
  };
  const Case cases[] = {{RNX_BRNG_WH + 17, __RegBrngsNew, 4, 17}, {10, __RegBrngs, 4, 6}, {276, __RegBrngs, 4, 272},
                        {277, __RegBrngs, 277, 0}, {RNX_BRNG_PHILOX4X32X10 + 5, __RegBrngsNew, 15, 5}};
  for (const Case &c : cases) {
    int row = -1, sub = -1;
    EXPECT_EQ(__rnxGetBrngBaseOffset(c.id, &row, &sub), c.table) << c.id;
    EXPECT_EQ(std::pair(row, sub), std::pair(c.row, c.sub)) << c.id;
  }
  // the old table: the new rows 0..4, WH repeated over rows 4..276, then zero rows
  for (int r = 0; r < RNX_REG_OLD_ROWS; ++r)
    EXPECT_EQ(std::memcmp(&__RegBrngs[r], r <= RNX_OLD_WH_LAST ? &__RegBrngsNew[std::min(r, 4)] : &__RegBrngs[280],
                          sizeof(BrngEntry)), 0) << r;
  EXPECT_EQ(__RegBrngs[280].init, nullptr);
}

TEST(Registry, Validity) {
  struct Case {
    const BrngEntry *table;
    int row, sub, status;
  };
  // sub is compared as a signed number
  const Case cases[] = {{__RegBrngs, 279, 0, 0},    {__RegBrngs, 280, 99, 0},   {__RegBrngs, 281, 0, RNX_STATUS_BAD_BRNG},
                        {__RegBrngsNew, 4, 272, 0}, {__RegBrngsNew, 4, 273, RNX_STATUS_BAD_BRNG},
                        {__RegBrngsNew, 8, 6023, 0}, {__RegBrngsNew, 8, 6024, RNX_STATUS_BAD_BRNG},
                        {__RegBrngsNew, 0, 1, RNX_STATUS_BAD_BRNG}, {__RegBrngsNew, 4, -1, 0},
                        {__RegBrngsNew, 16, 0, RNX_STATUS_BAD_BRNG}};
  for (const Case &c : cases) EXPECT_EQ(__rnxIsBrngValid(c.table, c.row, c.sub), c.status) << c.row << " " << c.sub;

  StreamState *s;
  EXPECT_EQ(make(RNX_BRNG_WH + 272, &s), 0);
  __rnxDeleteStream(&s);
  // Abstract base ids are refused first (0xA00001 reaches the validity test); generators not in
  // this build are unknown, never a stand-in.
  for (int id : {RNX_BRNG_WH + 273, RNX_BRNG_MCG31 + 1, int{RNX_BRNG_IABSTRACT}, int{RNX_BRNG_DABSTRACT},
                 int{RNX_BRNG_SABSTRACT}, RNX_BRNG_IABSTRACT + 1, int{RNX_BRNG_SOBOL}, int{RNX_BRNG_MT19937},
                 RNX_BRNG_MT2203 + 6023, int{RNX_BRNG_PHILOX4X32X10}, 277, 278, 279, 280, -5}) {
    EXPECT_EQ(make(id, &s), RNX_STATUS_BAD_BRNG) << id;
    EXPECT_EQ(s, nullptr);
  }
  BrngEntry e{};
  EXPECT_EQ(__rnxGetBrngProperties(RNX_BRNG_MT19937, &e), RNX_STATUS_BAD_BRNG);
  EXPECT_EQ(__rnxGetBrngProperties(RNX_BRNG_WH + 273, &e), RNX_STATUS_BAD_BRNG);
  ASSERT_EQ(__rnxGetBrngProperties(100, &e), 0);  // old WH id
  EXPECT_EQ(e.init, __rnxBRngWHInitStream);
  ASSERT_EQ(__rnxGetBrngProperties(280, &e), 0);  // a valid zero row
  EXPECT_EQ(e.init, nullptr);
}

TEST(Streams, HeaderAndArguments) {
  Stream s(10, {3});  // an old WH id
  EXPECT_EQ(__rnxGetStreamStateBrng(s), 10);
  EXPECT_TRUE(s.s->format == 1 && s.s->reserved0 == 0 && s.s->reserved1 == 0 && s.s->chunks == nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(s.s) % 128, 0u);
  EXPECT_EQ(__rnxDeleteStream(&s.s), 0);
  EXPECT_EQ(s.s, nullptr);
  // Leapfrog: the stream count is checked before the generator is reached.
  Stream r250(RNX_BRNG_R250), mcg(RNX_BRNG_MCG31);
  EXPECT_EQ(__rnxLeapfrogStream(r250, 0, -1), RNX_STATUS_BAD_NSTREAMS);
  EXPECT_EQ(__rnxLeapfrogStream(mcg, 0, -1), RNX_STATUS_BAD_NSTREAMS);
  // Allocation alone writes the header and leaves the state unseeded.
  StreamState *a = nullptr;
  EXPECT_EQ(__rnxAllocateStream(&a, __RegBrngsNew, RNX_BRNG_WH + 999, 4, 999), RNX_STATUS_BAD_BRNG);
  EXPECT_EQ(a, nullptr);
  ASSERT_EQ(__rnxAllocateStream(&a, __RegBrngsNew, RNX_BRNG_MRG32K3A, 2, 0), 0);
  EXPECT_TRUE(a->brngId == RNX_BRNG_MRG32K3A && a->format == 1 && a->chunks == nullptr);
  __rnxDeleteStream(&a);
}

TEST(Streams, CopyIsDeepAndIndependent) {
  auto *s = new Stream(RNX_BRNG_MRG32K3A, {77, 88});
  s->ints(5);
  void *block = zyn_serv_allocate(64, 128);
  std::memset(block, 0x5A, 64);
  ASSERT_EQ(__rnxAddChunk(*s, 2, nullptr, block, 64), 0);
  Stream c(*s);
  EXPECT_EQ(c.s->brngId, RNX_BRNG_MRG32K3A);
  EXPECT_EQ(__rnxGetNumChunks(c), 1);
  void *copy = __rnxSearchChunk(c, 2);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, block);
  EXPECT_EQ(std::memcmp(copy, block, 64), 0);
  EXPECT_EQ(s->ints(100), c.ints(100));
  delete s;
  c.ints(1);  // the copy outlives its source
}

// wordSize * seedCount bytes move: MCG31M1 and MCG59 keep the destination's multiplier, WH and
// R250 move their whole state; the destination's chunks are replaced by copies of the source's.
TEST(Streams, CopyStreamStateMovesSeedWordsOnly) {
  auto words = [](Stream &s, int from, int n) {
    return std::vector<uint32_t>(&s.state<uint32_t>(from), &s.state<uint32_t>(from) + n);
  };
  for (int id : {int{RNX_BRNG_MCG31}, int{RNX_BRNG_MCG59}, RNX_BRNG_WH + 1, int{RNX_BRNG_R250}}) {
    Stream src(id, {1111}), dst(id, {2222}), fresh(dst);
    ASSERT_EQ(id != RNX_BRNG_R250 ? __rnxLeapfrogStream(src, 1, 3) : 0, 0);
    __rnxAddChunk(dst, 5, nullptr, zyn_serv_allocate(8, 128), 8);
    __rnxAddChunk(src, 6, nullptr, zyn_serv_allocate(8, 128), 8);
    const int w = id == RNX_BRNG_WH + 1 ? 4 : id == RNX_BRNG_MCG59 ? 2 : 1;
    src.ints(300, w);
    ASSERT_EQ(__rnxCopyStreamState(dst, src), 0);
    EXPECT_EQ(__rnxCopyStreamState(src, src), 0);
    EXPECT_EQ(dst.s->brngId, id);
    EXPECT_TRUE(!__rnxSearchChunk(dst, 5) && __rnxSearchChunk(dst, 6) && __rnxGetNumChunks(dst) == 1) << id;
    EXPECT_EQ(words(dst, 0, w), words(src, 0, w)) << id;
    const bool keeps_step = w < 4 && id != RNX_BRNG_R250;
    EXPECT_EQ(keeps_step ? words(dst, w, w) : dst.ints(300, w), keeps_step ? words(fresh, w, w) : src.ints(300, w)) << id;
  }
}

// A user generator: a counter from the seed.
struct CounterState {
  uint32_t next;
};
int counter_init(int method, StreamState *s, int n, const void *params) {
  if (method != RNX_METHOD_INIT) return RNX_STATUS_NO_SKIP;
  static_cast<CounterState *>(RNX_STREAM_STATE(s))->next = n > 0 ? *static_cast<const uint32_t *>(params) : 0;
  return 0;
}
int counter_i(StreamState *s, int n, uint32_t *r) {
  for (int i = 0; i < n; ++i) r[i] = static_cast<CounterState *>(RNX_STREAM_STATE(s))->next++;
  return 0;
}
int counter_d(StreamState *, int, double *, double, double) { return 0; }
int counter_s(StreamState *, int, float *, float, float) { return 0; }

// Each field is checked in order; a good row gets the next id.
TEST(Registration, ChecksInOrderThenAddsARow) {
  const int before = __rnxGetNumRegBrngs();
  const BrngEntry e{24, 1, 1, 4, 32, counter_init, counter_s, counter_d, counter_i};
  const std::pair<BrngEntry, int> bad[] = {
      {{-1, 0, 0, 3, 0, counter_init, counter_s, counter_d, counter_i}, RNX_STATUS_BAD_STATE_SIZE},
      {{0, 0, 0, 3, 0, counter_init, counter_s, counter_d, counter_i}, RNX_STATUS_BAD_WORD_SIZE},
      {{0, 0, 0, 16, 0, counter_init, counter_s, counter_d, counter_i}, RNX_STATUS_BAD_SEED_COUNT},
      {{0, 1, 0, 16, 0, counter_init, counter_s, counter_d, counter_i}, RNX_STATUS_BAD_BIT_COUNT},
      {{0, 1, 0, 16, 1, nullptr, counter_s, counter_d, counter_i}, RNX_STATUS_NULL_FUNCTION},
      {{0, 1, 0, 16, 1, counter_init, nullptr, counter_d, counter_i}, RNX_STATUS_NULL_FUNCTION},
      {{0, 1, 0, 16, 1, counter_init, counter_s, nullptr, counter_i}, RNX_STATUS_NULL_FUNCTION},
      {{0, 1, 0, 16, 1, counter_init, counter_s, counter_d, nullptr}, RNX_STATUS_NULL_FUNCTION}};
  for (const auto &[row, status] : bad) EXPECT_EQ(__rnxRegisterBrng(&row), status);
  EXPECT_EQ(__rnxGetNumRegBrngs(), before);

  const int id = __rnxRegisterBrng(&e);
  EXPECT_EQ(id, (before + 1) * RNX_BRNG_INC);
  EXPECT_EQ(__rnxGetNumRegBrngs(), before + 1);
  EXPECT_EQ(__rnxIsBrngValid(__RegBrngsNew, before, 0), 0);
  EXPECT_EQ(__rnxIsBrngValid(__RegBrngsNew, before, 1), RNX_STATUS_BAD_BRNG);  // one sub-stream
  Stream s(id, {40});
  EXPECT_EQ(__rnxGetStreamStateBrng(s), id);
  EXPECT_EQ(s.ints(3)[2], 42u);
  EXPECT_EQ(__rnxSkipAheadStream(s, 5), RNX_STATUS_NO_SKIP);
  EXPECT_EQ(Stream(s).ints(1)[0], 43u);
}

}  // namespace
}  // namespace zyn::test
