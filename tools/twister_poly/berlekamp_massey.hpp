// Berlekamp-Massey over GF(2): the minimal polynomial of a bit sequence, bit-parallel on 64-bit
// words. Given 2L bits of a sequence whose linear complexity is L, it returns the polynomial
// t^L + c_1 t^(L-1) + ... + c_L of the shortest recurrence s(n) = c_1 s(n-1) + ... + c_L s(n-L),
// as the ascending list of the exponents of its non-zero terms (the degree last).
#pragma once

#include <bit>
#include <cstdint>
#include <vector>

namespace zyn::tools {

inline std::vector<int> berlekamp_massey(const std::vector<uint8_t> &s) {
  const size_t n = s.size();
  const size_t words = n / 64 + 2;
  // c: connection polynomial 1 + c_1 x + ...; b: its copy at the last length change;
  // window: bit i is s(k - i) at step k.
  std::vector<uint64_t> c(words, 0), b(words, 0), t(words), window(words, 0);
  c[0] = b[0] = 1;
  int len = 0;
  size_t shift = 1;
  auto xor_shifted = [&](std::vector<uint64_t> &dst, const std::vector<uint64_t> &src, size_t by) {
    const size_t q = by / 64, r = by % 64;
    for (size_t i = 0; i + q < words; ++i) {
      dst[i + q] ^= src[i] << r;
      if (r != 0 && i + q + 1 < words) dst[i + q + 1] ^= src[i] >> (64 - r);
    }
  };
  for (size_t k = 0; k < n; ++k) {
    for (size_t i = words - 1; i > 0; --i) window[i] = (window[i] << 1) | (window[i - 1] >> 63);
    window[0] = (window[0] << 1) | s[k];
    uint64_t d = 0;
    for (size_t i = 0; i <= size_t(len) / 64; ++i) d ^= c[i] & window[i];
    if ((std::popcount(d) & 1) == 0) {
      ++shift;
      continue;
    }
    if (2 * size_t(len) <= k) {
      t = c;
      xor_shifted(c, b, shift);
      len = int(k + 1) - len;
      b = t;
      shift = 1;
    } else {
      xor_shifted(c, b, shift);
      ++shift;
    }
  }
  // t^len c(1/t): the coefficient c_i belongs to the exponent len - i.
  std::vector<int> exponents;
  for (int i = len; i >= 0; --i)
    if ((c[size_t(i) / 64] >> (i % 64)) & 1) exponents.push_back(len - i);
  return exponents;
}

}  // namespace zyn::tools
