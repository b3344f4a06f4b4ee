// Plain reference models of the basic generators for the tests: each recurrence written directly
// with 64- or 128-bit arithmetic, one number at a time, and the conversions to uniform numbers;
// and a stream wrapper.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "zyn/rng.h"
#include "zyn/wh_table.inc"

namespace reftest {

// The module finds the core library among the loaded objects: a reference keeps the test linked
// to it (the linker drops unreferenced libraries).
[[gnu::used]] static void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

using u128 = unsigned __int128;
constexpr uint64_t kM31 = 0x7FFFFFFF, kA31 = 1132489760;
constexpr uint64_t kMask59 = (uint64_t{1} << 59) - 1, kA59 = 302875106592253ULL;
constexpr int64_t kM1 = 4294967087LL, kM2 = 4294944443LL;

inline uint64_t pow_mod(uint64_t b, u128 e, uint64_t m) {  // any modulus up to 2^64
  u128 r = 1 % m, x = b % m;
  for (; e != 0; e >>= 1, x = x * x % m)
    if (e & 1) r = r * x % m;
  return static_cast<uint64_t>(r);
}

// A generator under test: its id, seed, words per output, a reference model of its raw outputs
// from the seed, and its uniform maps.
struct Gen {
  std::string name;
  int id;
  std::vector<uint32_t> seed;
  int words;
  std::function<std::vector<uint32_t>(int)> raw;  // words of the first count outputs
  std::function<double(const uint32_t *, double, double)> d;
  std::function<float(const uint32_t *, float, float)> s;
};

inline Gen mcg31(std::vector<uint32_t> seed) {
  Gen g{"MCG31M1", RNX_BRNG_MCG31, seed, 1, nullptr, nullptr, nullptr};
  g.raw = [seed](int count) {
    uint64_t x = seed.empty() ? 1 : seed[0] % kM31;
    if (x == 0) x = 1;
    std::vector<uint32_t> r;
    for (int i = 0; i < count; ++i, x = x * kA31 % kM31) r.push_back(static_cast<uint32_t>(x));
    return r;
  };
  const double c = std::bit_cast<double>(uint64_t{0x3E00000000200000});
  g.d = [c](const uint32_t *w, double a, double b) { return double(w[0]) * ((b - a) * c) + a; };
  g.s = [c](const uint32_t *w, float a, float b) {
    return float(double(w[0]) * ((double(b) - double(a)) * c) + double(a));
  };
  return g;
}

inline Gen mcg59(std::vector<uint32_t> seed) {
  Gen g{"MCG59", RNX_BRNG_MCG59, seed, 2, nullptr, nullptr, nullptr};
  g.raw = [seed](int count) {
    uint64_t x = 1;
    if (seed.size() == 1) x = seed[0];
    if (seed.size() >= 2) x = (seed[0] + (uint64_t{seed[1]} << 32)) % (uint64_t{1} << 59);
    if (x == 0) x = 1;
    std::vector<uint32_t> r;
    for (int i = 0; i < count; ++i) {
      r.push_back(static_cast<uint32_t>(x));
      r.push_back(static_cast<uint32_t>(x >> 32));
      x = static_cast<uint64_t>(u128{x} * kA59 % (u128{1} << 59));
    }
    return r;
  };
  g.d = [](const uint32_t *w, double a, double b) {
    uint64_t x = w[0] | (uint64_t{w[1]} << 32);
    return double(x) * ((b - a) * 0x1p-59) + a;
  };
  g.s = [](const uint32_t *w, float a, float b) {
    uint64_t x = w[0] | (uint64_t{w[1]} << 32);
    return float(x) * ((b - a) * 0x1p-59f) + a;
  };
  return g;
}

inline std::vector<uint32_t> r250_seed_words(const std::vector<uint32_t> &seed) {
  std::vector<uint32_t> w(250);
  if (seed.size() >= 250) return {seed.begin(), seed.begin() + 250};
  uint32_t s = seed.empty() || seed[0] == 0 ? 1 : seed[0];
  for (int i = 0; i < 250; ++i) w[i] = s * static_cast<uint32_t>(pow_mod(69069, i + 1, u128{1} << 32));
  for (int j = 0; j < 32; ++j)
    w[3 + 7 * j] = (w[3 + 7 * j] & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
  return w;
}

inline Gen r250(std::vector<uint32_t> seed) {
  Gen g{"R250", RNX_BRNG_R250, seed, 1, nullptr, nullptr, nullptr};
  g.raw = [seed](int count) {
    std::vector<uint32_t> x = r250_seed_words(seed);  // x[0..249] precede the outputs
    for (int n = 250; n < 250 + count; ++n) x.push_back(x[n - 250] ^ x[n - 147]);
    return std::vector<uint32_t>(x.begin() + 250, x.end());
  };
  g.d = [](const uint32_t *w, double a, double b) { return double(w[0]) * ((b - a) * 0x1p-32) + a; };
  g.s = [](const uint32_t *w, float a, float b) {
    return float(double(w[0]) * ((double(b) - double(a)) * 0x1p-32) + double(a));
  };
  return g;
}

inline Gen mrg(std::vector<uint32_t> seed) {
  Gen g{"MRG32K3A", RNX_BRNG_MRG32K3A, seed, 1, nullptr, nullptr, nullptr};
  g.raw = [seed](int count) {
    int64_t x[3], y[3];
    for (int i = 0; i < 3; ++i) {
      x[i] = i < int(seed.size()) ? seed[i] : 1;
      y[i] = 3 + i < int(seed.size()) ? seed[3 + i] : 1;
      if (x[i] >= kM1) x[i] -= kM1;
      if (y[i] >= kM2) y[i] -= kM2;
    }
    if (x[0] == 0 && x[1] == 0 && x[2] == 0) x[0] = 1;
    if (y[0] == 0 && y[1] == 0 && y[2] == 0) y[0] = 1;
    std::vector<uint32_t> r;
    for (int i = 0; i < count; ++i) {
      int64_t xn = ((1403580 * x[1] - 810728 * x[0]) % kM1 + kM1) % kM1;
      int64_t yn = ((527612 * y[2] - 1370589 * y[0]) % kM2 + kM2) % kM2;
      x[0] = x[1], x[1] = x[2], x[2] = xn;
      y[0] = y[1], y[1] = y[2], y[2] = yn;
      r.push_back(static_cast<uint32_t>(((xn - yn) % kM1 + kM1) % kM1));
    }
    return r;
  };
  const double c = std::bit_cast<double>(uint64_t{0x3DF000000D10000B});
  g.d = [c](const uint32_t *w, double a, double b) { return double(w[0]) * ((b - a) * c) + a; };
  g.s = [c](const uint32_t *w, float a, float b) {
    return float(double(w[0]) * ((double(b) - double(a)) * c) + double(a));
  };
  return g;
}

inline Gen wh(int sub, std::vector<uint32_t> seed, int old_id = -1) {
  Gen g{"WH" + std::to_string(sub), old_id >= 0 ? old_id : RNX_BRNG_WH + sub, seed, 4, nullptr,
        nullptr, nullptr};
  g.raw = [sub, seed](int count) {
    uint64_t x[4];
    for (int i = 0; i < 4; ++i) {
      x[i] = i < int(seed.size()) ? seed[i] % kWhModuli[sub][i] : 1;
      if (x[i] == 0) x[i] = 1;
    }
    std::vector<uint32_t> r;
    for (int n = 0; n < count; ++n)
      for (int i = 0; i < 4; ++i) {
        r.push_back(static_cast<uint32_t>(x[i]));
        x[i] = x[i] * kWhMultipliers[sub][i] % kWhModuli[sub][i];
      }
    return r;
  };
  auto frac = [sub](const uint32_t *w) {
    const double *r = kWhReciprocals[sub];
    double v = ((double(w[0]) * r[0] + double(w[1]) * r[1]) + double(w[2]) * r[2]) + double(w[3]) * r[3];
    return v - static_cast<double>(static_cast<int64_t>(v));
  };
  g.d = [frac](const uint32_t *w, double a, double b) { return frac(w) * (b - a) + a; };
  g.s = [frac](const uint32_t *w, float a, float b) {
    return float(frac(w) * (double(b) - double(a)) + double(a));
  };
  return g;
}

// A stream that deletes itself, with its generator row's outputs and its state words.
struct Stream {
  StreamState *s = nullptr;
  explicit Stream(int id = RNX_BRNG_MCG31, const std::vector<uint32_t> &seed = {1}) {
    EXPECT_EQ(__rnxNewStreamEx(&s, id, int(seed.size()), seed.data()), RNX_STATUS_OK);
  }
  explicit Stream(const Gen &g) : Stream(g.id, g.seed) {}
  ~Stream() {
    if (s != nullptr) __rnxDeleteStream(&s);
  }
  Stream(const Stream &) = delete;
  Stream &operator=(const Stream &) = delete;
  const BrngEntry &row() const {
    int row, sub;
    return __rnxGetBrngBaseOffset(s->brngId, &row, &sub)[row];
  }
  std::vector<uint32_t> ints(int n, int words = 1) {
    std::vector<uint32_t> r(size_t(n > 0 ? n : 1) * words);
    EXPECT_EQ(row().iGen(s, n, r.data()), RNX_STATUS_OK);
    r.resize(size_t(n > 0 ? n : 0) * words);
    return r;
  }
  std::vector<double> doubles(int n, double a, double b) {
    std::vector<double> r(n);
    EXPECT_EQ(row().dGen(s, n, r.data(), a, b), RNX_STATUS_OK);
    return r;
  }
  std::vector<float> floats(int n, float a, float b) {
    std::vector<float> r(n);
    EXPECT_EQ(row().sGen(s, n, r.data(), a, b), RNX_STATUS_OK);
    return r;
  }
  template <class T>
  T &state(int word) {
    return *reinterpret_cast<T *>(static_cast<char *>(RNX_STREAM_STATE(s)) + word * sizeof(T));
  }
};

// Every generator with seeds that reach its reductions and seeding rules.
inline std::vector<Gen> all_generators() {
  std::vector<uint32_t> seed250(250);
  for (int i = 0; i < 250; ++i) seed250[i] = 0x9E3779B9u * (i + 1);
  std::vector<uint32_t> seed249(seed250.begin(), seed250.end() - 1);
  return {
      mcg31({}), mcg31({0}), mcg31({0x7FFFFFFF}), mcg31({0xFFFFFFFF}), mcg31({0x7FFFFFFE, 9}),
      mcg59({}), mcg59({0xFFFFFFFF}), mcg59({0xFFFFFFFF, 0xFFFFFFFF}), mcg59({0, 0x08000000}),
      mcg59({0x12345678, 0x9ABCDEF}),
      r250({}), r250({0}), r250({0xFFFFFFFF}), r250(seed249), r250(seed250),
      mrg({}), mrg({0, 0, 0, 0, 0, 0}), mrg({4294967087u, 4294967088u, 0xFFFFFFFF, 4294944443u,
                                              4294944444u, 0xFFFFFFFF}),
      mrg({12345, 12345, 12345, 12345, 12345, 12345}), mrg({1, 2}),
      wh(0, {}), wh(1, {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}),
      wh(136, {kWhModuli[136][0], 2 * kWhModuli[136][1] + 5}), wh(272, {7, 8, 9, 10, 11}),
      wh(6, {42}, 10),
  };
}

}  // namespace reftest
