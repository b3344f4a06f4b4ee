// Reference models of the basic generators, one number at a time with 64- or 128-bit arithmetic,
// their uniform maps, and the table of generators under test with seeds that reach each seeding
// rule and reduction. A new generator adds a model and its rows to all_generators().
#pragma once

#include <bit>

#include "tests/stream/generator_checks.hpp"
#include "zyn/wh_table.inc"

namespace zyn::test {

constexpr uint64_t kM31 = 0x7FFFFFFF, kA31 = 1132489760, kA59 = 302875106592253ULL;
constexpr int64_t kM1 = 4294967087LL, kM2 = 4294944443LL;
constexpr u128 k2p59 = u128{1} << 59;

// u * ((b - a) * c) + a for a one-word output u; singles computed in double and rounded once.
inline void linear(Gen &g, double c) {
  g.d = [c](const uint32_t *w, double a, double b) { return double(w[0]) * ((b - a) * c) + a; };
  g.s = [c](const uint32_t *w, float a, float b) { return float(double(w[0]) * ((double(b) - double(a)) * c) + double(a)); };
}

// Components x_i(n+1) = a_i x_i(n) mod m_i side by side: each output is the words of each x_i in
// turn (two for a modulus above 2^32).
inline auto congruential(std::vector<u128> m, std::vector<u128> a, std::vector<uint64_t> x0) {
  return [=](int count, const Count &skip) {
    std::vector<uint64_t> x = x0;
    std::vector<uint32_t> r;
    for (size_t i = 0; i < x.size(); ++i) x[i] = uint64_t(x[i] * u128{pow_mod(uint64_t(a[i]), skip, m[i])} % m[i]);
    for (int n = 0; n < count; ++n)
      for (size_t i = 0; i < x.size(); x[i] = uint64_t(x[i] * a[i] % m[i]), ++i) {
        r.push_back(uint32_t(x[i]));
        if (m[i] > u128{1} << 32) r.push_back(uint32_t(x[i] >> 32));
      }
    return r;
  };
}

// MCG31M1 and MCG59; a seed of 0 becomes 1.
inline Gen mcg(bool wide, std::vector<uint32_t> seed) {
  Gen g{wide ? "MCG59" : "MCG31M1", wide ? RNX_BRNG_MCG59 : RNX_BRNG_MCG31, seed, wide ? 2 : 1, wide ? 0 : 1};
  uint64_t x = seed.empty() ? 1 : wide ? (seed[0] + (seed.size() > 1 ? uint64_t{seed[1]} << 32 : 0)) % k2p59 : seed[0] % kM31;
  g.raw = congruential({wide ? k2p59 : kM31}, {wide ? kA59 : kA31}, {x == 0 ? 1 : x});
  if (!wide) {
    linear(g, std::bit_cast<double>(uint64_t{0x3E00000000200000}));
    return g;
  }
  auto x59 = [](const uint32_t *w) { return w[0] | uint64_t{w[1]} << 32; };
  g.d = [x59](const uint32_t *w, double a, double b) { return double(x59(w)) * ((b - a) * 0x1p-59) + a; };
  g.s = [x59](const uint32_t *w, float a, float b) { return float(x59(w)) * ((b - a) * 0x1p-59f) + a; };
  return g;
}

// x(n) = x(n-250) xor x(n-147); short seeds fill the ring by x *= 69069 and force a triangle of
// bits into 32 of its words.
inline Gen r250(std::vector<uint32_t> seed) {
  Gen g{"R250", RNX_BRNG_R250, seed, 1, 0, false, false};
  g.raw = [seed](int count, const Count &) {
    std::vector<uint32_t> x(seed.begin(), seed.begin() + (seed.size() >= 250 ? 250 : 0));
    for (uint32_t s = seed.empty() || seed[0] == 0 ? 1 : seed[0]; x.size() < 250;) x.push_back(s *= 69069);
    for (int j = 0; seed.size() < 250 && j < 32; ++j) x[3 + 7 * j] = (x[3 + 7 * j] & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
    for (int n = 250; n < 250 + count; ++n) x.push_back(x[n - 250] ^ x[n - 147]);
    return std::vector<uint32_t>(x.begin() + 250, x.end());
  };
  linear(g, 0x1p-32);
  return g;
}

// MRG32K3A: the state after e steps by powers of the two 3 x 3 companion matrices (v oldest
// first), then the recurrences step by step.
inline std::vector<int64_t> mrg_skip(std::vector<int64_t> v, const Count &e) {
  const u128 m[2] = {kM1, kM2};
  const u128 a[2][9] = {{0, 1, 0, 0, 0, 1, u128(kM1 - 810728), 1403580, 0}, {0, 1, 0, 0, 0, 1, u128(kM2 - 1370589), 0, 527612}};
  for (int c = 0; c < 2; ++c) {
    auto mul = [&](const u128 *x, const u128 *y, int cols) {  // x (3 x 3) y (3 x cols), mod m[c]
      std::vector<u128> t(3 * cols);
      for (int i = 0; i < 3 * cols; ++i)
        for (int k = 0; k < 3; ++k) t[i] = (t[i] + x[i / cols * 3 + k] * y[k * cols + i % cols]) % m[c];
      return t;
    };
    std::vector<u128> p(a[c], a[c] + 9), x(v.begin() + 3 * c, v.begin() + 3 * c + 3);
    for (uint64_t w : e)
      for (int b = 0; b < 64; ++b, w >>= 1, p = mul(p.data(), p.data(), 3))
        if (w & 1) x = mul(p.data(), x.data(), 1);
    std::copy(x.begin(), x.end(), v.begin() + 3 * c);
  }
  return v;
}

inline Gen mrg(std::vector<uint32_t> seed) {
  Gen g{"MRG32K3A", RNX_BRNG_MRG32K3A, seed, 1, 0, false, true, true};
  g.raw = [seed](int count, const Count &skip) {
    std::vector<int64_t> v(6, 1);
    for (size_t i = 0; i < 6 && i < seed.size(); ++i) v[i] = seed[i] % (i < 3 ? kM1 : kM2);
    for (int c : {0, 3})
      if (v[c] == 0 && v[c + 1] == 0 && v[c + 2] == 0) v[c] = 1;
    v = mrg_skip(v, skip);
    std::vector<uint32_t> r;
    for (int i = 0; i < count; ++i) {
      const int64_t x = ((1403580 * v[1] - 810728 * v[0]) % kM1 + kM1) % kM1;
      const int64_t y = ((527612 * v[5] - 1370589 * v[3]) % kM2 + kM2) % kM2;
      v = {v[1], v[2], x, v[4], v[5], y};
      r.push_back(static_cast<uint32_t>(((x - y) % kM1 + kM1) % kM1));
    }
    return r;
  };
  linear(g, std::bit_cast<double>(uint64_t{0x3DF000000D10000B}));
  return g;
}

// WH sub-stream `sub`: four congruential components, each seed word reduced by its modulus (0
// becomes 1); the uniform is the fraction of the sum of x_i / m_i by the table's reciprocals.
inline Gen wh(int sub, std::vector<uint32_t> seed, int id = -1, int count = INT_MIN) {
  Gen g{"WH" + std::to_string(sub), id >= 0 ? id : RNX_BRNG_WH + sub, seed, 4};
  g.count = count;
  std::vector<u128> m, a;
  std::vector<uint64_t> x;
  for (int i = 0; i < 4; ++i) {
    m.push_back(kWhModuli[sub][i]), a.push_back(kWhMultipliers[sub][i]);
    x.push_back(i < int(seed.size()) && seed[i] % kWhModuli[sub][i] != 0 ? seed[i] % kWhModuli[sub][i] : 1);
  }
  g.raw = congruential(m, a, x);
  auto frac = [sub](const uint32_t *w) {
    const double *r = kWhReciprocals[sub];
    const double v = ((double(w[0]) * r[0] + double(w[1]) * r[1]) + double(w[2]) * r[2]) + double(w[3]) * r[3];
    return v - static_cast<double>(static_cast<int64_t>(v));
  };
  g.d = [frac](const uint32_t *w, double a, double b) { return frac(w) * (b - a) + a; };
  g.s = [frac](const uint32_t *w, float a, float b) { return float(frac(w) * (double(b) - double(a)) + double(a)); };
  return g;
}

inline std::vector<Gen> all_generators() {
  std::vector<uint32_t> seed250(250);
  for (int i = 0; i < 250; ++i) seed250[i] = 0x9E3779B9u * (i + 1);
  const std::vector<uint32_t> seed249(seed250.begin(), seed250.end() - 1);
  return {mcg(false, {}), mcg(false, {0}), mcg(false, {0x7FFFFFFF}), mcg(false, {0xFFFFFFFF}), mcg(false, {0x7FFFFFFE, 9}),
          mcg(true, {}), mcg(true, {0xFFFFFFFF}), mcg(true, {0xFFFFFFFF, 0xFFFFFFFF}), mcg(true, {0, 0x08000000}),
          mcg(true, {0x12345678, 0x9ABCDEF}),
          r250({}), r250({0}), r250({0xFFFFFFFF}), r250(seed249), r250(seed250),
          mrg({}), mrg({0, 0, 0, 0, 0, 0}), mrg({4294967087u, 4294967088u, 0xFFFFFFFF, 4294944443u, 4294944444u, 0xFFFFFFFF}),
          mrg({12345, 12345, 12345, 12345, 12345, 12345}), mrg({1, 2}),
          wh(0, {}), wh(1, {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}),
          wh(136, {kWhModuli[136][0], 2 * kWhModuli[136][1] + 5}), wh(272, {7, 8, 9, 10, 11}),
          wh(6, {42}, 10), wh(2, {9, 8, 7, 6}, -1, -3)};
}

}  // namespace zyn::test
