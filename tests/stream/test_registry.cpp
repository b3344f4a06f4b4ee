// The registry, the id scheme and the stream operations: creation, copies, deletion,
// registration of a user generator.
#include <gtest/gtest.h>

#include <utility>

#include "tests/stream/generator_checks.hpp"

namespace zyn::test {
namespace {

TEST(Registry, IdResolutionAndValidity) {
  struct Id {
    int id;
    const BrngEntry *table;
    int row, sub;
  };
  for (const Id &c : {Id{RNX_BRNG_WH + 17, __RegBrngsNew, 4, 17}, Id{10, __RegBrngs, 4, 6}, Id{276, __RegBrngs, 4, 272},
                      Id{277, __RegBrngs, 277, 0}, Id{RNX_BRNG_PHILOX4X32X10 + 5, __RegBrngsNew, 15, 5}}) {
    int row = -1, sub = -1;
    EXPECT_EQ(__rnxGetBrngBaseOffset(c.id, &row, &sub), c.table) << c.id;
    EXPECT_EQ(std::pair(row, sub), std::pair(c.row, c.sub)) << c.id;
  }
  struct Valid {
    const BrngEntry *table;
    int row, sub, status;
  };
  // sub is compared as a signed number
  for (const Valid &c : {Valid{__RegBrngs, 279, 0, 0}, Valid{__RegBrngs, 280, 99, 0}, Valid{__RegBrngs, 281, 0, RNX_STATUS_BAD_BRNG},
                         Valid{__RegBrngsNew, 4, 272, 0}, Valid{__RegBrngsNew, 4, 273, RNX_STATUS_BAD_BRNG},
                         Valid{__RegBrngsNew, 8, 6023, 0}, Valid{__RegBrngsNew, 8, 6024, RNX_STATUS_BAD_BRNG},
                         Valid{__RegBrngsNew, 0, 1, RNX_STATUS_BAD_BRNG}, Valid{__RegBrngsNew, 4, -1, 0},
                         Valid{__RegBrngsNew, 16, 0, RNX_STATUS_BAD_BRNG}})
    EXPECT_EQ(__rnxIsBrngValid(c.table, c.row, c.sub), c.status) << c.row << " " << c.sub;
}

// Abstract base ids are refused first (0xA00001 reaches the validity test); generators not in
// this build are unknown, never a stand-in; a zero row is valid but makes no stream.
TEST(Registry, UnknownGeneratorsAreRefused) {
  for (int id : {RNX_BRNG_WH + 273, RNX_BRNG_MCG31 + 1, int{RNX_BRNG_IABSTRACT}, int{RNX_BRNG_DABSTRACT},
                 int{RNX_BRNG_SABSTRACT}, RNX_BRNG_IABSTRACT + 1, RNX_BRNG_SOBOL + 1,
                 RNX_BRNG_MT2203 + 6024, RNX_BRNG_PHILOX4X32X10 + 1, 279, 280, -5}) {
    StreamState *s = nullptr;
    EXPECT_EQ(__rnxNewStreamEx(&s, id, 0, nullptr), RNX_STATUS_BAD_BRNG) << id;
    EXPECT_EQ(s, nullptr);
  }
  BrngEntry e{};
  EXPECT_TRUE(__rnxGetBrngProperties(RNX_BRNG_SOBOL + 1, &e) == RNX_STATUS_BAD_BRNG &&
              __rnxGetBrngProperties(RNX_BRNG_WH + 273, &e) == RNX_STATUS_BAD_BRNG);
  EXPECT_TRUE(__rnxGetBrngProperties(100, &e) == 0 && e.init == __rnxBRngWHInitStream);  // old WH id
  EXPECT_TRUE(__rnxGetBrngProperties(280, &e) == 0 && e.init == nullptr);
  EXPECT_TRUE(__rnxGetBrngProperties(277, &e) == 0 && e.init == __rnxBRngSobolInitStream);
  EXPECT_TRUE(__rnxGetBrngProperties(278, &e) == 0 && e.init == __rnxBRngNiederrInitStream);
  StreamState *a = nullptr;
  EXPECT_EQ(__rnxAllocateStream(&a, __RegBrngsNew, RNX_BRNG_WH + 999, 4, 999), RNX_STATUS_BAD_BRNG);
  EXPECT_EQ(a, nullptr);
}

// A new stream: its header, 128-byte aligned; deletion clears the pointer; leapfrog
// checks the stream count before the generator is reached.
TEST(Streams, HeaderAndArguments) {
  Stream s(10, {3}), r250(RNX_BRNG_R250);  // an old WH id
  EXPECT_TRUE(__rnxGetStreamStateBrng(s) == 10 && s.s->format == 1 && s.s->chunks == nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(s.s) % 128, 0u);
  EXPECT_TRUE(__rnxDeleteStream(&s.s) == 0 && s.s == nullptr);
  EXPECT_EQ(__rnxLeapfrogStream(r250, 0, -1), RNX_STATUS_BAD_NSTREAMS);
}

// wordSize * seedCount bytes move: MCG31M1 and MCG59 keep the destination's multiplier, WH and
// R250 move their whole state; the destination's chunks are replaced by copies of the source's.
TEST(Streams, CopyStreamStateMovesSeedWordsOnly) {
  auto words = [](Stream &s, int from, int n) { return std::vector<uint32_t>(&s.state<uint32_t>(from), &s.state<uint32_t>(from) + n); };
  for (int id : {int{RNX_BRNG_MCG31}, int{RNX_BRNG_MCG59}, RNX_BRNG_WH + 1, int{RNX_BRNG_R250}}) {
    Stream src(id, {1111}), dst(id, {2222}), fresh(dst);
    ASSERT_EQ(id != RNX_BRNG_R250 ? __rnxLeapfrogStream(src, 1, 3) : 0, 0);
    __rnxAddChunk(dst, 5, nullptr, zyn_serv_allocate(8, 128), 8);
    __rnxAddChunk(src, 6, nullptr, zyn_serv_allocate(8, 128), 8);
    const int w = id == RNX_BRNG_WH + 1 ? 4 : id == RNX_BRNG_MCG59 ? 2 : 1;
    src.ints(300, w);
    ASSERT_EQ(__rnxCopyStreamState(dst, src) | __rnxCopyStreamState(src, src), 0);
    EXPECT_EQ(dst.s->brngId, id);
    EXPECT_TRUE(!__rnxSearchChunk(dst, 5) && __rnxSearchChunk(dst, 6) && __rnxSearchChunk(dst, 6) != __rnxSearchChunk(src, 6) &&
                __rnxGetNumChunks(dst) == 1) << id;
    EXPECT_EQ(words(dst, 0, w), words(src, 0, w)) << id;
    const bool keeps_step = w < 4 && id != RNX_BRNG_R250;
    EXPECT_EQ(keeps_step ? words(dst, w, w) : dst.ints(300, w), keeps_step ? words(fresh, w, w) : src.ints(300, w)) << id;
  }
}

// A user generator: a counter from the seed. Each field of a row is checked in order; a good row
// gets the next id.
int counter_init(int method, StreamState *s, int n, const void *params) {
  if (method != RNX_METHOD_INIT) return RNX_STATUS_NO_SKIP;
  *static_cast<uint32_t *>(RNX_STREAM_STATE(s)) = n > 0 ? *static_cast<const uint32_t *>(params) : 0;
  return 0;
}
int counter_i(StreamState *s, int n, uint32_t *r) {
  for (int i = 0; i < n; ++i) r[i] = (*static_cast<uint32_t *>(RNX_STREAM_STATE(s)))++;
  return 0;
}
int counter_d(StreamState *, int, double *, double, double) { return 0; }
int counter_s(StreamState *, int, float *, float, float) { return 0; }

TEST(Registration, ChecksInOrderThenAddsARow) {
  const int before = __rnxGetNumRegBrngs();
  const BrngEntry e{24, 1, 1, 4, 32, counter_init, counter_s, counter_d, counter_i};
  BrngEntry bad{-1, 0, 0, 3, 0, counter_init, counter_s, counter_d, counter_i};
  EXPECT_EQ(__rnxRegisterBrng(&bad), RNX_STATUS_BAD_STATE_SIZE);  // looked at first
  bad.stateSize = 0;
  EXPECT_EQ(__rnxRegisterBrng(&bad), RNX_STATUS_BAD_WORD_SIZE);
  bad.wordSize = 16;
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
  EXPECT_EQ(id, (before + 1) * RNX_BRNG_INC);
  EXPECT_EQ(__rnxGetNumRegBrngs(), before + 1);
  EXPECT_EQ(__rnxIsBrngValid(__RegBrngsNew, before, 1), RNX_STATUS_BAD_BRNG);  // one sub-stream
  Stream s(id, {40});
  EXPECT_EQ(s.ints(3)[2], 42u);
  EXPECT_EQ(__rnxSkipAheadStream(s, 5), RNX_STATUS_NO_SKIP);
  EXPECT_EQ(Stream(s).ints(1)[0], 43u);
}

}  // namespace
}  // namespace zyn::test
