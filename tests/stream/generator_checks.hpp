// The properties every basic generator must have, one helper each, run over the table of
// generators (generator_models.hpp): splitting a request anywhere gives the numbers of one call
// (CheckSplit), skip-ahead by k equals drawing k (CheckSkip), stream k of n by leapfrog equals
// every n-th number (CheckLeapfrog); a generator that lacks a method says so. The reference is
// the generator's own single call, or its model where one exists (far skips).
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
  std::function<double(const uint32_t *, double, double)> d{};
  std::function<float(const uint32_t *, float, float)> s{};
  std::vector<int> cuts = {0, 1, 7, 8, 9, 15, 16, 17, 249, 250, 251, 255, 256, 257, 1000};  // around the blocks
  std::vector<uint64_t> from = {0}, skips = {0, 1, 2, 7, 16, 17, 250, 1000, 99999};   // positions, counts drawn
  std::function<std::vector<uint32_t>(int count, const Count &skip)> model{};  // outputs after any skip
};

// A stream that deletes itself; copies are deep.
struct Stream {
  StreamState *s = nullptr;
  explicit Stream(int id = RNX_BRNG_MCG31, const std::vector<uint32_t> &seed = {1}, int count = INT_MIN) {
    EXPECT_EQ(__rnxNewStreamEx(&s, id, count == INT_MIN ? int(seed.size()) : count, seed.data()), 0);
  }
  explicit Stream(const Gen &g) : Stream(g.id, g.seed, g.count) {}
  explicit Stream(std::nullptr_t) {}  // none yet: a loader or a constructor fills s
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
  std::vector<uint32_t> ints(int n, int words = 1) {  // n outputs of `words` words
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

// The first outputs of a generator, as words: its model's, else its own single call.
inline std::vector<uint32_t> Reference(const Gen &g, int count) { return g.model ? g.model(count, {}) : Stream(g).ints(count, g.words); }

// Draws n outputs of a kind (an empty call draws g.empty) and checks them against the reference
// words from output `at`, and that nothing is written past them. Returns the outputs drawn.
inline int ExpectOutputs(Stream &st, const Gen &g, Kind kind, int at, int n, const std::vector<uint32_t> &ref) {
  const int drawn = n > 0 ? n : g.empty, w = g.words;
  std::vector<uint32_t> ri(size_t(drawn + 1) * w, 0xDEADBEEF);
  std::vector<double> rd(drawn + 1, 7.0);
  std::vector<float> rf(drawn + 1, 7.0f);
  EXPECT_EQ(kind == kInt ? st.row().iGen(st, n, ri.data()) : kind == kDouble ? st.row().dGen(st, n, rd.data(), -1.5, 2.5)
                                                                             : st.row().sGen(st, n, rf.data(), -1.5f, 2.5f), 0);
  for (int i = 0; i < drawn; ++i) {
    const uint32_t *m = ref.data() + size_t(at + i) * w;
    if (kind == kInt ? !std::equal(m, m + w, ri.data() + size_t(i) * w)
                     : kind == kDouble ? rd[i] != g.d(m, -1.5, 2.5) : rf[i] != g.s(m, -1.5f, 2.5f)) {
      ADD_FAILURE() << g.name << " kind " << kind << " output " << at + i;
      break;
    }
  }
  EXPECT_TRUE(ri[size_t(drawn) * w] == 0xDEADBEEF && rd[drawn] == 7.0 && rf[drawn] == 7.0f) << g.name;
  return drawn;
}

// Calls of n, then up to `first`, then up to `total` give the numbers of one call, for every cut
// n, with the kinds of output mixed; the registry's word size and bit count are the outputs'.
inline void CheckSplit(const Gen &g, int first = 2100, int total = 7100) {
  const auto ref = Reference(g, total + 1);
  BrngEntry e;
  ASSERT_EQ(__rnxGetBrngProperties(g.id, &e), 0);
  EXPECT_EQ(e.wordSize, 4 * g.words) << g.name;
  for (size_t i = 0; i < ref.size(); i += g.words == 2 ? 2 : 1)
    ASSERT_EQ((g.words == 2 ? ref[i] | uint64_t{ref[i + 1]} << 32 : ref[i]) >> e.bitCount, 0u) << g.name;
  for (int n : g.cuts)
    for (Kind kind : {kInt, kDouble, kFloat}) {
      Stream st(g);
      int at = ExpectOutputs(st, g, kind, 0, n, ref);
      at += ExpectOutputs(st, g, Kind((kind + 1) % 3), at, first - n, ref);
      ExpectOutputs(st, g, kind, at, total - at, ref);
      if (testing::Test::HasFailure()) return;
    }
}

inline Count Plus(Count k, uint64_t f) {  // k + f in 64-bit words, carrying
  k.resize(std::max<size_t>(k.size(), 3));
  for (size_t i = 0; i < k.size() && f != 0; ++i) f = (k[i] += f) < f;
  return k;
}

// Skip-ahead by k from positions f gives the numbers after drawing f + k: counts that can be
// drawn against the reference, far and multi-word counts against the model where there is one;
// skip(a) then skip(b) equals skip(a + b), carrying across the words and past any fixed buffer
// of them. A generator without it says so; methods outside 0 to 3 are refused.
inline void CheckSkip(const Gen &g) {
  Stream st(g);
  const uint64_t one = 1, big = uint64_t{1} << 63, ones = ~uint64_t{0};
  EXPECT_TRUE(st.row().init(4, st, 0, nullptr) == RNX_STATUS_BAD_METHOD && st.row().init(-1, st, 0, nullptr) == RNX_STATUS_BAD_METHOD);
  EXPECT_TRUE(g.skip || __rnxSkipAheadStream(st, 1) == RNX_STATUS_NO_SKIP) << g.name;
  EXPECT_TRUE(g.skip_ex || __rnxSkipAheadStreamEx(st, 1, &one) == RNX_STATUS_NO_SKIP_EX) << g.name;
  if (!g.skip) return;
  auto after = [&g](const std::vector<Count> &ks, uint64_t f, bool ex) {  // skips by each count in turn
    Stream s(g);
    if (f > 0) s.ints(int(f), g.words);
    for (const Count &k : ks)
      EXPECT_EQ(ex ? __rnxSkipAheadStreamEx(s, int(k.size()), k.data()) : __rnxSkipAheadStream(s, k[0]), 0) << g.name;
    return s.ints(40, g.words);
  };
  const uint64_t last = *std::max_element(g.skips.begin(), g.skips.end()) + *std::max_element(g.from.begin(), g.from.end());
  const auto ref = Reference(g, int(last + 40));
  std::vector<Count> far = {{0xFEDCBA9876543210}, {ones - 2, 1}, {5, 0, 7}, {1, 2, 3, 1}, {5, 0, 0, 2}, {0, 0, 0, 0, 1}, {7, 0, 0, 0, 0, 0},
                            {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, Count(12, 0)};
  Count hi(12, 0), twice(13, 0);  // 2^767 and 2^768: past any fixed buffer of count words
  hi[11] = big, twice[12] = 1;
  const std::vector<std::vector<Count>> sums = {{{0xFFFFF}, {1}, {0x100000}}, {{19000}, {968}, {19968}}, {{big}, {big - 1}, {ones}},
                                                {{big - 1}, {big}, {ones}}, {{ones}, {1}, {0, 1}}, {{0, big}, {0, big}, {0, 0, 1}},
                                                {{5, 0, 0, 2}, {1, 2, 3, 1}, {6, 2, 3, 3}}, {{0, 0, big}, {0, 0, big}, {0, 0, 0, 1}},
                                                {{7, 0, 0, 0, 0, 0}, {0}, {7}}, {Count(12, 0), {0}, {0}},
                                                {{0, 0, 0, big}, {0, 0, 0, big}, {0, 0, 0, 0, 1}}, {hi, hi, twice}};
  for (bool ex : {false, true}) {
    if (ex && !g.skip_ex) continue;
    for (uint64_t f : g.from) {
      for (uint64_t k : g.skips)
        ASSERT_EQ(after({{k}}, f, ex), std::vector<uint32_t>(ref.begin() + (f + k) * g.words, ref.begin() + (f + k + 40) * g.words))
            << g.name << " from " << f << " skip " << k << " ex " << ex;
      for (const Count &k : far)
        if (g.model && (ex || k.size() == 1)) {
          ASSERT_EQ(after({k}, f, ex), g.model(40, Plus(k, f))) << g.name << " from " << f << " skip " << k[0] << " words " << k.size();
        }
    }
    for (const auto &c : sums)
      if (ex || (c[0].size() == 1 && c[1].size() == 1 && c[2].size() == 1)) {
        EXPECT_EQ(after({c[0], c[1]}, 0, ex), after({c[2]}, 0, ex)) << g.name << " " << c[0][0] << " + " << c[1][0] << " ex " << ex;
      }
  }
}

// Stream k of n gives every n-th number of the sequence from the k-th; a skip afterwards counts
// the stream's own numbers. A generator without leapfrog says so.
inline void CheckLeapfrog(const Gen &g) {
  Stream st(g);
  EXPECT_TRUE(g.leapfrog || __rnxLeapfrogStream(st, 0, 1) == RNX_STATUS_NO_LEAPFROG) << g.name;
  const auto ref = Reference(g, 900);
  for (int k = 0; g.leapfrog && k < 3; ++k) {
    Stream lf(g), sk(g);
    ASSERT_EQ(__rnxLeapfrogStream(lf, k, 3), 0);
    const auto r = lf.ints(300, g.words);
    for (int i = 0; i < 300 * g.words; ++i)
      ASSERT_EQ(r[i], ref[(size_t(i / g.words) * 3 + k) * g.words + i % g.words]) << g.name << " stream " << k;
    ASSERT_EQ(__rnxLeapfrogStream(sk, k, 3) | (g.skip ? __rnxSkipAheadStream(sk, 7) : 0), 0);
    EXPECT_EQ(sk.ints(1, g.words), std::vector<uint32_t>(r.begin() + (g.skip ? 7 : 0) * g.words, r.begin() + (g.skip ? 8 : 1) * g.words));
  }
}

}  // namespace zyn::test
