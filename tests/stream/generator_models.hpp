// The generators under test with seeds that reach each seeding rule and reduction, and their
// uniform maps. Models only where nothing published pins the numbers: the congruential
// generators by powers mod m (any seed, any skip) and R250's seeding; the counter generators'
// blocks by streams seeded at each counter (known answers pin those first blocks), which checks
// the carry at 2^64, the wrap at 2^128 and skips of any length.
#pragma once

#include <bit>

#include "tests/stream/generator_checks.hpp"
#include "zyn/wh_table.inc"

namespace zyn::test {

constexpr uint64_t kM31 = 0x7FFFFFFF, kA31 = 1132489760, kA59 = 302875106592253ULL;
constexpr u128 k2p59 = u128{1} << 59;

// u * ((b - a) * c) + a for a one-word output u; singles computed in double and rounded once.
inline void linear(Gen &g, double c) {
  g.d = [c](const uint32_t *w, double a, double b) { return double(w[0]) * ((b - a) * c) + a; };
  g.s = [c](const uint32_t *w, float a, float b) { return float(double(w[0]) * ((double(b) - double(a)) * c) + double(a)); };
}

// s (b - a) 2^-32 + (a + b) / 2 for the output as a signed number s (its top bit flipped first).
inline void centred(Gen &g, uint32_t flip = 0) {
  g.d = [flip](const uint32_t *w, double a, double b) { return double(int32_t(w[0] ^ flip)) * ((b - a) * 0x1p-32) + (a + b) * 0.5; };
  g.s = [flip](const uint32_t *w, float a, float b) { return float(int32_t(w[0] ^ flip)) * ((b - a) * 0x1p-32f) + (a + b) * 0.5f; };
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
  g.model = congruential({wide ? k2p59 : kM31}, {wide ? kA59 : kA31}, {x == 0 ? 1 : x});
  linear(g, std::bit_cast<double>(uint64_t{0x3E00000000200000}));
  if (wide) {
    g.d = [](const uint32_t *w, double a, double b) { return double(w[0] | uint64_t{w[1]} << 32) * ((b - a) * 0x1p-59) + a; };
    g.s = [](const uint32_t *w, float a, float b) { return float(w[0] | uint64_t{w[1]} << 32) * ((b - a) * 0x1p-59f) + a; };
  }
  return g;
}

// x(n) = x(n-250) xor x(n-147); short seeds fill the ring by x *= 69069 and force a triangle of
// bits into 32 of its words.
inline Gen r250(std::vector<uint32_t> seed) {
  Gen g{"R250", RNX_BRNG_R250, seed, 1, 0, false, false};
  g.model = [seed](int count, const Count &) {
    std::vector<uint32_t> x(seed.begin(), seed.begin() + (seed.size() >= 250 ? 250 : 0));
    for (uint32_t s = seed.empty() || seed[0] == 0 ? 1 : seed[0]; x.size() < 250;) x.push_back(s *= 69069);
    for (int j = 0; seed.size() < 250 && j < 32; ++j) x[3 + 7 * j] = (x[3 + 7 * j] & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
    for (int n = 250; n < 250 + count; ++n) x.push_back(x[n - 250] ^ x[n - 147]);
    return std::vector<uint32_t>(x.begin() + 250, x.end());
  };
  linear(g, 0x1p-32);
  return g;
}

inline Gen mrg(std::vector<uint32_t> seed) {  // seeding rules: MrgSeeding
  Gen g{"MRG32K3A", RNX_BRNG_MRG32K3A, seed, 1, 0, false, true, true};
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
  g.model = congruential(m, a, x);
  auto frac = [sub](const uint32_t *w) {
    const double *r = kWhReciprocals[sub];
    const double v = ((double(w[0]) * r[0] + double(w[1]) * r[1]) + double(w[2]) * r[2]) + double(w[3]) * r[3];
    return v - static_cast<double>(static_cast<int64_t>(v));
  };
  g.d = [frac](const uint32_t *w, double a, double b) { return frac(w) * (b - a) + a; };
  g.s = [frac](const uint32_t *w, float a, float b) { return float(frac(w) * (double(b) - double(a)) + double(a)); };
  return g;
}

// A counter generator seeded (key, counter): block j is the first block of a stream seeded at
// counter + j (mod 2^128); a skip reads at most three count words.
inline Gen counter_gen(bool ars, std::vector<uint32_t> seed) {
  const int id = ars ? RNX_BRNG_ARS5 : RNX_BRNG_PHILOX4X32X10, nk = ars ? 4 : 2;
  Gen g{ars ? "ARS5" : "PHILOX4X32X10", id, seed, 1, 0, false, true, true};
  g.model = [id, nk, seed](int count, const Count &skip) {
    std::vector<uint32_t> w(seed), r;
    w.resize(nk + 4);
    u128 ctr = u128{w[nk + 3]} << 96 | u128{w[nk + 2]} << 64 | u128{w[nk + 1]} << 32 | w[nk];
    const uint64_t s0 = skip.empty() ? 0 : skip[0], s1 = skip.size() > 1 ? skip[1] : 0, s2 = skip.size() > 2 ? skip[2] : 0;
    ctr += (u128{s1} << 64 | s0) >> 2 | u128{s2 & 3} << 126;
    for (size_t j = s0 & 3; r.size() < size_t(count); j = 0, ++ctr) {
      for (int i = 0; i < 4; ++i) w[nk + i] = uint32_t(ctr >> 32 * i);
      const auto b = Stream(id, w).ints(4);
      r.insert(r.end(), b.begin() + j, b.begin() + j + std::min(4 - j, size_t(count) - r.size()));
    }
    return r;
  };
  centred(g);
  g.from = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  g.skips = {0, 1, 2, 3, 4, 5, 8, 250};
  return g;
}

// MT19937: singles through (y >> 8) 256 + (y & 255); SFMT19937 signed; MT2203 signed less 2^31,
// singles through doubles. Cuts and skips around the blocks (69 and 624 words, 4-word elements)
// and the skip methods' thresholds.
inline Gen twister(int id, std::vector<uint32_t> seed) {
  Gen g{"twister " + std::to_string(id), id, seed, 1, 0, false, id != RNX_BRNG_MT2203 + 4};
  g.cuts = {1, 3, 4, 5, 68, 69, 70, 623, 624, 625, 1248, 2048};
  if (id == RNX_BRNG_MT19937) {
    linear(g, 0x1p-32);
    g.s = [](const uint32_t *w, float a, float b) { return (float(w[0] >> 8) * 256 + float(w[0] & 255)) * ((b - a) * 0x1p-32f) + a; };
    g.from = {0, 1, 623, 624}, g.skips = {1, 700, 0xFFFFF, 0x100000, 0x100001};
  } else if (id == RNX_BRNG_SFMT19937) {
    centred(g);
    g.from = {0, 1, 2, 3, 621}, g.skips = {1, 5, 624, 19967, 19968, 19969};
  } else {
    centred(g, 0x80000000);
    g.s = [d = g.d](const uint32_t *w, float a, float b) { return float(d(w, a, b)); };
  }
  return g;
}

// Seeds that reach each seeding rule and reduction; the counter generators' with no key, a short
// one, and counters about to carry at 2^64 and to wrap at 2^128.
inline std::vector<Gen> all_generators() {
  const uint32_t m = 0xFFFFFFFF;
  std::vector<uint32_t> seed250(250);
  for (int i = 0; i < 250; ++i) seed250[i] = 0x9E3779B9u * (i + 1);
  std::vector<Gen> g = {mcg(false, {}), mcg(false, {0}), mcg(false, {0x7FFFFFFF}), mcg(false, {m}), mcg(false, {0x7FFFFFFE, 9}),
                        mcg(true, {}), mcg(true, {m}), mcg(true, {m, m}), mcg(true, {0, 0x08000000}), mcg(true, {0x12345678, 0x9ABCDEF}),
                        r250({}), r250({0}), r250({m}), r250({seed250.begin(), seed250.end() - 1}), r250(seed250),
                        mrg(std::vector<uint32_t>(6, 12345)), wh(0, {}), wh(1, {m, m, m, m}),
                        wh(136, {kWhModuli[136][0], 2 * kWhModuli[136][1] + 5}), wh(272, {7, 8, 9, 10, 11}), wh(6, {42}, 10),
                        wh(2, {9, 8, 7, 6}, -1, -3)};
  for (bool ars : {false, true})
    for (std::vector<uint32_t> s : {std::vector<uint32_t>{}, {7}, {1, 2, 3, 4, m - 40, m, 5, 0}, {5, 6, 7, 8, m - 30, m, m, m}})
      g.push_back(counter_gen(ars, ars || s.size() < 8 ? s : std::vector<uint32_t>(s.begin() + 2, s.end())));
  for (int id : {int{RNX_BRNG_MT19937}, RNX_BRNG_MT2203 + 4, int{RNX_BRNG_SFMT19937}}) g.push_back(twister(id, {9}));
  return g;
}

}  // namespace zyn::test
