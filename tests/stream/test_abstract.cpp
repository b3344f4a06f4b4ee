// Abstract streams over a scripted callback that writes 1, 2, 3, ... into the ring: a correct
// stream delivers them in order, so each step's output and the counts the callback was asked
// for tell the whole story.
#include <gtest/gtest.h>

#include <deque>

#include "tests/stream/generator_checks.hpp"
#include "zyn/dist.h"

namespace zyn::test {
namespace {

struct Script {
  static inline std::deque<int> gives;  // results in turn; -1 (or none left): as many as asked
  static inline std::vector<int> asked;
  static inline int next = 1;
  template <class T>
  static int callback(StreamState *, int *size, T *buffer, int *count, int *free, int *start) {
    asked.push_back(*count);
    int k = *count;
    if (!gives.empty()) {
      if (gives.front() != -1) k = gives.front();
      gives.pop_front();
    }
    for (int i = 0; i < k && k <= *free; ++i) buffer[(*start + i) % *size] = T(next++);
    return k;
  }
};

struct Step {
  int n;
  std::deque<int> gives;
  int status;
  std::vector<uint32_t> out;  // what the step writes
  std::vector<int> asked;
};

std::vector<uint32_t> iota(int from, int to) {
  std::vector<uint32_t> v;
  for (int i = from; i <= to; ++i) v.push_back(uint32_t(i));
  return v;
}

TEST(Abstract, DeliveryAndCallbacks) {
  const int free1 = 5, bad = -2;
  const std::vector<std::pair<int, std::vector<Step>>> cases = {
      {8, {{5, {}, 0, iota(1, 5), {5}}}},                                       // a new stream calls at once
      {8, {{3, {8}, 0, iota(1, 3), {3}}, {5, {}, 0, iota(4, 8), {}}}},          // surplus kept; exact draw, no call
      {4, {{10, std::deque<int>(10, 1), 0, iota(1, 10), std::vector<int>{4, 4, 4, 4, 4, 4, 4, 3, 2, 1}}}},
      {5, {{3, {}, 0, iota(1, 3), {3}}, {4, {}, 0, iota(4, 7), {4}}, {9, {2, -1}, 0, iota(8, 16), {5, 5, 2}}}},  // wrap
      {4, {{2, {4}, 0, iota(1, 2), {2}}, {5, {0}, RNX_STATUS_CALLBACK_EMPTY, iota(3, 4), {3}},
           {2, {}, 0, iota(3, 4), {}}}},                                         // a failed step changes nothing
      {4, {{3, {free1}, RNX_STATUS_CALLBACK_COUNT, {}, {3}}, {1, {bad}, RNX_STATUS_CALLBACK_COUNT, {}, {1}}}},
  };
  for (size_t c = 0; c < cases.size(); ++c) {
    const int size = cases[c].first;
    std::vector<uint32_t> buffer(size);
    StreamState *s = nullptr;
    ASSERT_EQ(__rnxiNewAbstractStream(&s, size, buffer.data(), Script::callback<uint32_t>), 0);
    Script::next = 1;
    for (const Step &st : cases[c].second) {
      Script::gives = st.gives;
      Script::asked.clear();
      std::vector<uint32_t> r(st.n, 0);
      EXPECT_EQ(__rnxiBRngiAbstract(s, st.n, r.data()), st.status) << "case " << c;
      r.resize(st.out.size());
      EXPECT_EQ(r, st.out) << "case " << c;
      EXPECT_EQ(Script::asked, st.asked) << "case " << c;
    }
    __rnxDeleteStream(&s);
  }
}

// Arguments refused, wrong kinds, methods lacking, a null buffer; the range map; a distribution
// on a single stream and one that needs doubles from it.
TEST(Abstract, KindsAndArguments) {
  std::vector<double> db(16);
  std::vector<float> fb(16);
  std::vector<uint32_t> ib(16);
  StreamState *d = nullptr, *f = nullptr, *i = nullptr, *x = nullptr;
  EXPECT_EQ(__rnxiNewAbstractStream(&x, 0, ib.data(), Script::callback<uint32_t>), RNX_STATUS_BAD_ABSTRACT_ARG);
  EXPECT_EQ(__rnxiNewAbstractStream(&x, 4, nullptr, Script::callback<uint32_t>), RNX_STATUS_BAD_ABSTRACT_ARG);
  EXPECT_EQ(__rnxdNewAbstractStream(&x, 4, db.data(), 1, 1, Script::callback<double>), RNX_STATUS_BAD_ABSTRACT_ARG);
  EXPECT_EQ(__rnxsNewAbstractStream(&x, 4, fb.data(), 0, 1, nullptr), RNX_STATUS_BAD_ABSTRACT_ARG);
  EXPECT_EQ(x, nullptr);
  ASSERT_EQ(__rnxdNewAbstractStream(&d, 16, db.data(), 0, 32, Script::callback<double>) |
                __rnxsNewAbstractStream(&f, 16, fb.data(), 0, 32, Script::callback<float>) |
                __rnxiNewAbstractStream(&i, 16, ib.data(), Script::callback<uint32_t>),
            0);
  EXPECT_TRUE(__rnxGetStreamStateBrng(d) == RNX_BRNG_DABSTRACT && __rnxGetStreamStateBrng(f) == RNX_BRNG_SABSTRACT);
  double rd[7];
  float rf[7];
  uint32_t ri[7];
  const uint64_t one = 1;
  for (StreamState *s : {d, f, i}) {
    const BrngEntry &e = __RegBrngsNew[(__rnxGetStreamStateBrng(s) >> RNX_BRNG_SHIFT) - 1];
    const int wrong = (s == d ? 0 : e.dGen(s, 1, rd, 0, 1)) + (s == f ? 0 : e.sGen(s, 1, rf, 0, 1)) + (s == i ? 0 : e.iGen(s, 1, ri));
    EXPECT_EQ(wrong, 2 * RNX_STATUS_WRONG_ABSTRACT);
    EXPECT_TRUE(__rnxLeapfrogStream(s, 0, 2) == RNX_STATUS_NO_LEAPFROG && __rnxSkipAheadStream(s, 1) == RNX_STATUS_NO_SKIP &&
                __rnxSkipAheadStreamEx(s, 1, &one) == RNX_STATUS_NO_SKIP_EX);
  }
  Script::gives.clear();
  Script::next = 1;
  ASSERT_EQ(__rnxdBRngdAbstract(d, 7, rd, 100, 200), 0);
  for (int k = 0; k < 7; ++k) EXPECT_EQ(rd[k], (k + 1 - 0.0) * (100.0 / 32.0) + 100) << k;
  Script::next = 1;
  ASSERT_EQ(_rnxsRngUniform(0, f, 7, rf, -1.f, 1.f), 0);
  for (int k = 0; k < 7; ++k) EXPECT_EQ(rf[k], float(k + 1) * (2.f / 32.f) - 1.f) << k;
  EXPECT_EQ(_rnxdRngUniform(0, f, 7, rd, 0, 1), RNX_STATUS_WRONG_ABSTRACT);
  static_cast<uint32_t **>(RNX_STREAM_STATE(i))[2] = nullptr;  // the buffer
  EXPECT_EQ(__rnxiBRngiAbstract(i, 1, ri), RNX_STATUS_NULL_FUNCTION);
  for (StreamState *s : {d, f, i}) __rnxDeleteStream(&s);
}

}  // namespace
}  // namespace zyn::test
