// Modular arithmetic shared by the congruential and recursive generators: 3 by 3 matrices
// modulo m, usable at compile time for the tables of MRG32K3A.
#pragma once

#include <array>
#include <cstdint>

namespace zyn::rng {

using Mat3 = std::array<uint32_t, 9>;  // row-major

constexpr uint32_t mul_mod(uint32_t a, uint32_t b, uint32_t m) {
  return static_cast<uint32_t>(static_cast<uint64_t>(a) * b % m);
}
// a + b mod m for a, b below m < 2^32.
constexpr uint32_t add_mod(uint32_t a, uint32_t b, uint32_t m) {
  uint64_t s = static_cast<uint64_t>(a) + b;
  return static_cast<uint32_t>(s >= m ? s - m : s);
}

constexpr Mat3 identity3() { return {1, 0, 0, 0, 1, 0, 0, 0, 1}; }

// The companion matrix of x(n) = coeff[0] x(n-1) + coeff[1] x(n-2) + coeff[2] x(n-3), acting on
// (x(n-3), x(n-2), x(n-1)).
constexpr Mat3 companion3(const uint32_t *coeff) {
  return {0, 1, 0, 0, 0, 1, coeff[2], coeff[1], coeff[0]};
}

// A·B mod m, each three-term sum reduced after each term.
constexpr Mat3 mat_mul(const Mat3 &a, const Mat3 &b, uint32_t m) {
  Mat3 c{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      uint32_t s = 0;
      for (int k = 0; k < 3; ++k) s = add_mod(s, mul_mod(a[3 * i + k], b[3 * k + j], m), m);
      c[3 * i + j] = s;
    }
  return c;
}

// v := A v mod m.
constexpr void mat_apply(const Mat3 &a, uint32_t *v, uint32_t m) {
  uint32_t r[3] = {};
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 3; ++k) r[i] = add_mod(r[i], mul_mod(a[3 * i + k], v[k], m), m);
  for (int i = 0; i < 3; ++i) v[i] = r[i];
}

// A^e mod m by square and multiply, low bit first.
constexpr Mat3 mat_pow(Mat3 a, uint64_t e, uint32_t m) {
  Mat3 r = identity3();
  for (; e != 0; e >>= 1) {
    if (e & 1) r = mat_mul(r, a, m);
    a = mat_mul(a, a, m);
  }
  return r;
}

// A^(2^k) mod m for k = 0 .. K-1.
template <int K>
constexpr std::array<Mat3, K> pow2_table(const Mat3 &a, uint32_t m) {
  std::array<Mat3, K> t{};
  t[0] = a;
  for (int k = 1; k < K; ++k) t[k] = mat_mul(t[k - 1], t[k - 1], m);
  return t;
}

}  // namespace zyn::rng
