// The properties every basic generator must have, checked against its reference model: a row of
// the generator table (generator_models.hpp) gets all of them. A model gives the words of `count`
// outputs after `skip` steps, written directly from the recurrence with 128-bit arithmetic.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "zyn/rng.h"

namespace zyn::test {

// The module finds the core library among the loaded objects: a reference keeps the test linked
// to it (the linker drops unreferenced libraries).
[[gnu::used]] static void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

using u128 = unsigned __int128;
using Count = std::vector<uint64_t>;  // a step count in 64-bit words, least significant first

inline uint64_t pow_mod(uint64_t b, const Count &e, u128 m) {  // any modulus up to 2^64
  u128 r = 1 % m, x = b % m;
  for (uint64_t w : e)
    for (int i = 0; i < 64; ++i, w >>= 1, x = x * x % m)
      if (w & 1) r = r * x % m;
  return static_cast<uint64_t>(r);
}

struct Gen {
  std::string name;
  int id;
  std::vector<uint32_t> seed;
  int words;                   // 32-bit words per output
  int empty = 0;               // outputs an empty call writes and moves on by
  bool leapfrog = true, skip = true, skip_ex = false;
  int count = INT_MIN;         // seed count passed, if not the seed's length
  std::function<std::vector<uint32_t>(int count, const Count &skip)> raw{};
  std::function<double(const uint32_t *, double, double)> d{};
  std::function<float(const uint32_t *, float, float)> s{};
};

// A stream that deletes itself; copies are deep.
struct Stream {
  StreamState *s = nullptr;
  explicit Stream(int id = RNX_BRNG_MCG31, const std::vector<uint32_t> &seed = {1}, int count = INT_MIN) {
    EXPECT_EQ(__rnxNewStreamEx(&s, id, count == INT_MIN ? int(seed.size()) : count, seed.data()), 0);
  }
  explicit Stream(const Gen &g) : Stream(g.id, g.seed, g.count) {}
  Stream(const Stream &o) { EXPECT_EQ(__rnxCopyStream(&s, o.s), 0); }
  Stream &operator=(const Stream &) = delete;
  ~Stream() {
    if (s != nullptr) __rnxDeleteStream(&s);
  }
  operator StreamState *() const { return s; }
  const BrngEntry &row() const {
    int row, sub;
    return __rnxGetBrngBaseOffset(s->brngId, &row, &sub)[row];
  }
  std::vector<uint32_t> ints(int n, int words = 1) {
    std::vector<uint32_t> r(size_t(n) * words);
    EXPECT_EQ(row().iGen(s, n, r.data()), 0);
    return r;
  }
  template <class T>
  T &state(int word) {
    return static_cast<T *>(RNX_STREAM_STATE(s))[word];
  }
};

enum Kind { kInt, kDouble, kFloat };

// Draws n outputs of a kind (an empty call draws g.empty) and checks them against the model words
// from output `at`, and that nothing is written past them. Returns the outputs drawn.
inline int ExpectOutputs(Stream &st, const Gen &g, Kind kind, int at, int n, const std::vector<uint32_t> &ref) {
  constexpr double a = -1.5, b = 2.5;
  const int drawn = n > 0 ? n : g.empty, w = g.words;
  const uint32_t *m = ref.data() + size_t(at) * w;
  std::vector<uint32_t> ri(size_t(drawn + 1) * w, 0xDEADBEEF);
  std::vector<double> rd(drawn + 1, 7.0);
  std::vector<float> rf(drawn + 1, 7.0f);
  EXPECT_EQ(kind == kInt ? st.row().iGen(st, n, ri.data())
            : kind == kDouble ? st.row().dGen(st, n, rd.data(), a, b)
                              : st.row().sGen(st, n, rf.data(), float(a), float(b)), 0);
  for (int i = 0; i < drawn; ++i) {
    const uint32_t *mi = m + size_t(i) * w;
    const bool ok = kind == kInt      ? std::equal(mi, mi + w, ri.data() + size_t(i) * w)
                    : kind == kDouble ? rd[i] == g.d(mi, a, b)
                                      : rf[i] == g.s(mi, float(a), float(b));
    if (!ok) {
      ADD_FAILURE() << g.name << " kind " << kind << " output " << at + i;
      break;
    }
  }
  EXPECT_TRUE(ri[size_t(drawn) * w] == 0xDEADBEEF && rd[drawn] == 7.0 && rf[drawn] == 7.0f) << g.name;
  return drawn;
}

// Calls of n then the rest give the numbers of one call, for every n around the block sizes, with
// the kinds of output mixed; then one long call across several buffers.
inline void CheckSplit(const Gen &g) {
  constexpr int kTotal = 1300, kLong = 2100;
  const auto ref = g.raw(kTotal + kLong + 1, {});
  BrngEntry e;
  ASSERT_EQ(__rnxGetBrngProperties(g.id, &e), 0);
  EXPECT_EQ(e.wordSize, 4 * g.words) << g.name;
  for (size_t i = 0; i < ref.size(); i += g.words == 2 ? 2 : 1)  // outputs fit the bit count
    ASSERT_EQ((g.words == 2 ? ref[i] | uint64_t{ref[i + 1]} << 32 : ref[i]) >> e.bitCount, 0u) << g.name;
  for (int n : {0, 1, 7, 8, 9, 15, 16, 17, 249, 250, 251, 1000})
    for (Kind first : {kInt, kDouble, kFloat}) {
      Stream st(g);
      int at = ExpectOutputs(st, g, first, 0, n, ref);
      at += ExpectOutputs(st, g, Kind((first + 1) % 3), at, kTotal - n, ref);
      ExpectOutputs(st, g, first, at, kLong, ref);
      if (testing::Test::HasFailure()) return;
    }
}

// Skip-ahead by k gives the numbers after drawing k, for one-word and multi-word counts; a
// generator without it says so. Methods outside 0 to 3 are refused.
inline void CheckSkip(const Gen &g) {
  Stream st(g);
  EXPECT_EQ(st.row().init(4, st, 0, nullptr), RNX_STATUS_BAD_METHOD) << g.name;
  EXPECT_EQ(st.row().init(-1, st, 0, nullptr), RNX_STATUS_BAD_METHOD) << g.name;
  const uint64_t one = 1;
  EXPECT_TRUE(g.skip || __rnxSkipAheadStream(st, 1) == RNX_STATUS_NO_SKIP) << g.name;
  EXPECT_TRUE(g.skip_ex || __rnxSkipAheadStreamEx(st, 1, &one) == RNX_STATUS_NO_SKIP_EX) << g.name;
  const std::vector<Count> counts = {{0}, {1}, {2}, {7}, {16}, {17}, {250}, {1000}, {99999}, {0xFEDCBA9876543210},
      {1, 2, 3, 1}, {5, 0, 0, 2}, {0, 0, 0, 0, 1}, {7, 0, 0, 0, 0, 0}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12},
      Count(12, 0)};
  for (const Count &k : counts) {
    for (bool ex : {false, true}) {
      if (ex ? !g.skip_ex : !g.skip || k.size() > 1) continue;
      Stream sk(g);
      ASSERT_EQ(ex ? __rnxSkipAheadStreamEx(sk, int(k.size()), k.data()) : __rnxSkipAheadStream(sk, k[0]), 0);
      ASSERT_EQ(sk.ints(40, g.words), g.raw(40, k)) << g.name << " skip " << k[0] << " words " << k.size();
    }
  }
}

// Stream k of n gives every n-th number of the sequence from the k-th; a skip afterwards counts
// the stream's own numbers. A generator without leapfrog says so.
inline void CheckLeapfrog(const Gen &g) {
  constexpr int kStreams = 3, kEach = 300;
  if (!g.leapfrog) {
    Stream st(g);
    EXPECT_EQ(__rnxLeapfrogStream(st, 0, 1), RNX_STATUS_NO_LEAPFROG) << g.name;
    return;
  }
  const auto ref = g.raw(kStreams * kEach, {});
  for (int k = 0; k < kStreams; ++k) {
    Stream st(g), sk(g);
    ASSERT_EQ(__rnxLeapfrogStream(st, k, kStreams), 0);
    const auto r = st.ints(kEach, g.words);
    for (int i = 0; i < kEach * g.words; ++i)
      ASSERT_EQ(r[i], ref[(size_t(i / g.words) * kStreams + k) * g.words + i % g.words]) << g.name << " stream " << k;
    __rnxLeapfrogStream(sk, k, kStreams);
    if (g.skip) {
      __rnxSkipAheadStream(sk, 7);
      EXPECT_EQ(sk.ints(1, g.words), std::vector<uint32_t>(r.begin() + 7 * g.words, r.begin() + 8 * g.words)) << g.name;
    }
  }
}

}  // namespace zyn::test
