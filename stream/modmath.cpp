// Modular powers of scalars and of 3 by 3 companion matrices, for leapfrog and skip-ahead.
#include "stream/modmath.hpp"

#include <cstring>

#include "frame/core_link.hpp"
#include "stream/stream_internal.hpp"

namespace {

using zyn::rng::Mat3;

constexpr uint32_t kM1 = 4294967087u;  // the two moduli of MRG32K3A
constexpr uint32_t kM2 = 4294944443u;
constexpr int kFixedExponentWords = 10;

// Matrix product for table-driven powers; terms reduced by one conditional subtraction.
Mat3 table_power(int n, const uint64_t *e, const uint32_t *table, uint32_t m) {
  Mat3 r = zyn::rng::identity3();
  for (int w = 0; w < 2 * n; ++w) {
    uint32_t word = static_cast<uint32_t>(e[w / 2] >> (32 * (w % 2)));
    for (; word != 0; word &= word - 1) {
      int b = __builtin_ctz(word);
      Mat3 t;
      std::memcpy(t.data(), table + 9 * (32 * w + b), sizeof t);
      r = zyn::rng::mat_mul(r, t, m);
    }
  }
  return r;
}

}  // namespace

extern "C" {

ZYN_API uint32_t __rnxiPowMod(uint32_t base, uint64_t e, uint32_t m) {
  uint64_t r = 1, b = base % m;
  for (; e != 0; e >>= 1) {
    if (e & 1) r = r * b % m;
    b = b * b % m;
  }
  return static_cast<uint32_t>(r);
}

// Products below 2^62 fold as (low 31 bits) + (high part) < 2 * (2^31 - 1): one subtraction.
ZYN_API uint32_t __rnxiPowMod2P31M1(uint32_t base, uint64_t e) {
  constexpr uint64_t m = 0x7FFFFFFF;
  auto mul = [](uint64_t a, uint64_t b) {
    uint64_t p = a * b;
    uint64_t s = (p & m) + (p >> 31);
    return s >= m ? s - m : s;
  };
  uint64_t r = 1, b = base >= m ? base - m : base;
  for (; e != 0; e >>= 1) {
    if (e & 1) r = mul(r, b);
    b = mul(b, b);
  }
  return static_cast<uint32_t>(r);
}

ZYN_API uint64_t __rnxiPowMod2P59(uint64_t base, uint64_t e) {
  constexpr uint64_t mask = (uint64_t{1} << 59) - 1;
  uint64_t r = 1, b = base & mask;
  for (; e != 0; e >>= 1) {
    if (e & 1) r = (r * b) & mask;
    b = (b * b) & mask;
  }
  return r;
}

ZYN_API void __rnxiVect3PowMod(uint32_t *v, const uint32_t *coeff, uint32_t m, uint64_t e) {
  zyn::rng::mat_apply(zyn::rng::mat_pow(zyn::rng::companion3(coeff), e, m), v, m);
}

ZYN_API int __rnxiVect3PowArrayMod(uint32_t *v, const uint32_t *coeff, uint32_t m, int n,
                                   const uint64_t *e) {
  if (n <= 0) return RNX_STATUS_OK;
  uint64_t fixed[kFixedExponentWords];
  uint64_t *w = fixed;
  if (n > kFixedExponentWords) {
    w = static_cast<uint64_t *>(zyn::core::zyn_serv_allocate(sizeof(uint64_t) * n, 128));
    if (w == nullptr) return RNX_STATUS_NO_MEMORY;
  }
  std::memcpy(w, e, sizeof(uint64_t) * n);
  Mat3 a = zyn::rng::companion3(coeff), r = zyn::rng::identity3();
  int top = n;  // words above top are zero
  while (top > 0 && w[top - 1] == 0) --top;
  bool any = top > 0;
  while (top > 0) {
    if (w[0] & 1) r = zyn::rng::mat_mul(r, a, m);
    a = zyn::rng::mat_mul(a, a, m);
    for (int i = 0; i < top; ++i) w[i] = (w[i] >> 1) | (i + 1 < top ? w[i + 1] << 63 : 0);
    while (top > 0 && w[top - 1] == 0) --top;
  }
  if (any) zyn::rng::mat_apply(r, v, m);
  if (w != fixed) zyn::core::zyn_serv_deallocate(w);
  return RNX_STATUS_OK;
}

ZYN_API void __rnxiVect3PowArrayMod_M1(uint32_t *v, int n, const uint64_t *e,
                                       const uint32_t *table) {
  zyn::rng::mat_apply(table_power(n, e, table, kM1), v, kM1);
}

ZYN_API void __rnxiVect3PowArrayMod_M2(uint32_t *v, int n, const uint64_t *e,
                                       const uint32_t *table) {
  zyn::rng::mat_apply(table_power(n, e, table, kM2), v, kM2);
}

}  // extern "C"
