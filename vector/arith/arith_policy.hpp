// Common ground of the arithmetic, rounding and selection kernels: a policy base for the
// generic skeleton, type-generic vector operations on one register of floats or doubles, and
// names of the rows.
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/kernels.hpp"
#include "vector/skeleton/map.hpp"
#include "zyn/vex.h"

namespace zyn::vk::arith {

// Policy defaults: masks-only x87, one kernel for the row, padded tail with the filler 1.0 (an
// integer, so that the rounding kernels raise no inexact flag on it), nothing to detect.
template <class Elem, int NI, int NO, int kBlockS, int kBlockD, MxKind kMx = MxKind::ModeDriven,
          Tail kT = Tail::Padded>
struct Base {
  using T = Elem;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int kInputs = NI, kOutputs = NO;
  static constexpr int kBlock = sizeof(T) == 8 ? kBlockD : kBlockS;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = kMx;
  static constexpr Tail kTail = kT;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[2] = {T(1), T(1)};
  static int bad(const V *) { return 0; }
};

// The contiguous kernel of a policy, as Map<P> runs it (same blocks, detection, lane loop,
// reports and tail, so the same results), with the block loop written out inline: no call
// and no realigned frame per block, and the output pointers held in registers. The strided
// rows use Map<P> itself.
template <class P>
struct Flat {
  using T = typename P::T;
  using S = Simd<T>;
  using V = typename S::V;
  using M = Map<P>;
  static constexpr int L = S::L, NI = P::kInputs, NO = P::kOutputs, NV = P::kBlock / L;

  // in1 and out1 are used only by two-input and two-result policies.
  static void run(int n, const T *in0, const T *in1, T *out0, T *out1) {
    FpScope<P::kX87, P::kMxcsr> fp;
    if (n <= 0) return;
    Contiguous<T, NI, NO> lay;
    lay.in[0] = in0;
    lay.in[NI - 1] = NI > 1 ? in1 : in0;
    lay.out[0] = out0;
    lay.out[NO - 1] = NO > 1 ? out1 : out0;
    auto load = [&](V *x, int i) {
      x[0] = S::load(in0 + i);
      if constexpr (NI > 1) x[1] = S::load(in1 + i);
    };
    auto store = [&](const V *r, int i) {
      S::store(out0 + i, r[0]);
      if constexpr (NO > 1) S::store(out1 + i, r[1]);
    };
    int i = 0;
    for (; i + P::kBlock <= n; i += P::kBlock) {
      V x[NV][NI], r[NV][NO];
      int mask = 0;
      for (int v = 0; v < NV; ++v) {
        load(x[v], i + v * L);
        mask |= P::bad(x[v]);
        P::eval(x[v], r[v]);
      }
      if (__builtin_expect(mask != 0, 0)) {
        M::block(lay, i);  // the block again, through the lane loop
        continue;
      }
      for (int v = 0; v < NV; ++v) store(r[v], i + v * L);
    }
    if constexpr (P::kTail == Tail::Scalar) {
      for (; i < n; ++i) M::scalar_element(lay, i);
    } else {
      for (; i + L <= n; i += L) {  // whole vectors one by one, then one padded vector
        V x[NI], r[NO];
        load(x, i);
        if (P::bad(x) != 0) {
          M::padded(lay, i, L);
          continue;
        }
        P::eval(x, r);
        store(r, i);
      }
      if (i < n) M::padded(lay, i, n - i);
    }
  }
  static void unary(int n, const T *a, T *y) { run(n, a, nullptr, y, nullptr); }
  static void binary(int n, const T *a, const T *b, T *y) { run(n, a, b, y, nullptr); }
  static void unary2(int n, const T *a, T *y, T *z) { run(n, a, nullptr, y, z); }
};

// Kernels of a row: Flat for the contiguous row, the generic skeleton for the strided one.
#define ZYN_FLAT_UNARY_KERNELS(row, lvl, P)                                                    \
  extern "C" void zyn_vk_##row##_##lvl(int n, const P::T *a, P::T *y) {                       \
    ::zyn::vk::arith::Flat<P>::unary(n, a, y);                                                 \
  }                                                                                            \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const P::T *a, int inca, P::T *y, int incy) { \
    ::zyn::vk::Map<P>::unary_i(n, a, inca, y, incy);                                           \
  }
#define ZYN_FLAT_BINARY_KERNELS(row, lvl, P)                                                     \
  extern "C" void zyn_vk_##row##_##lvl(int n, const P::T *a, const P::T *b, P::T *y) {          \
    ::zyn::vk::arith::Flat<P>::binary(n, a, b, y);                                               \
  }                                                                                              \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const P::T *a, int inca, const P::T *b, int incb, \
                                        P::T *y, int incy) {                                     \
    ::zyn::vk::Map<P>::binary_i(n, a, inca, b, incb, y, incy);                                   \
  }
#define ZYN_FLAT_UNARY2_KERNELS(row, lvl, P)                                                      \
  extern "C" void zyn_vk_##row##_##lvl(int n, const P::T *a, P::T *y, P::T *z) {                \
    ::zyn::vk::arith::Flat<P>::unary2(n, a, y, z);                                                \
  }                                                                                               \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const P::T *a, int inca, P::T *y, int incy,       \
                                        P::T *z, int incz) {                                      \
    ::zyn::vk::Map<P>::unary2_i(n, a, inca, y, incy, z, incz);                                    \
  }

// The reporter's function name of a row: "vdDiv", "vsDiv".
#define ZYN_ARITH_NAME(stem) (sizeof(T) == 8 ? "vd" stem : "vs" stem)

// ---- one register of doubles or floats ---
// Note: of the SSE compares only eq, neq, ord and unord are quiet; lt, le, nlt, nle and min,
// max raise the invalid flag on a quiet NaN. Kernels whose NaN lanes leave the fast path clear
// those lanes first (vord) or test with the integer unit, so that no flag leaks from them.------------------------------------------------
inline __m128d vand(__m128d a, __m128d b) { return _mm_and_pd(a, b); }
inline __m128 vand(__m128 a, __m128 b) { return _mm_and_ps(a, b); }
inline __m128d vor(__m128d a, __m128d b) { return _mm_or_pd(a, b); }
inline __m128 vor(__m128 a, __m128 b) { return _mm_or_ps(a, b); }
inline __m128d vxor(__m128d a, __m128d b) { return _mm_xor_pd(a, b); }
inline __m128 vxor(__m128 a, __m128 b) { return _mm_xor_ps(a, b); }
inline __m128d vandnot(__m128d m, __m128d b) { return _mm_andnot_pd(m, b); }  // ~m & b
inline __m128 vandnot(__m128 m, __m128 b) { return _mm_andnot_ps(m, b); }
inline __m128d vmax(__m128d a, __m128d b) { return _mm_max_pd(a, b); }
inline __m128 vmax(__m128 a, __m128 b) { return _mm_max_ps(a, b); }
inline __m128d vmin(__m128d a, __m128d b) { return _mm_min_pd(a, b); }
inline __m128 vmin(__m128 a, __m128 b) { return _mm_min_ps(a, b); }
inline __m128d veq(__m128d a, __m128d b) { return _mm_cmpeq_pd(a, b); }
inline __m128 veq(__m128 a, __m128 b) { return _mm_cmpeq_ps(a, b); }
inline __m128d vlt(__m128d a, __m128d b) { return _mm_cmplt_pd(a, b); }
inline __m128 vlt(__m128 a, __m128 b) { return _mm_cmplt_ps(a, b); }
inline __m128d vle(__m128d a, __m128d b) { return _mm_cmple_pd(a, b); }
inline __m128 vle(__m128 a, __m128 b) { return _mm_cmple_ps(a, b); }
inline __m128d vnle(__m128d a, __m128d b) { return _mm_cmpnle_pd(a, b); }  // true also for NaN
inline __m128 vnle(__m128 a, __m128 b) { return _mm_cmpnle_ps(a, b); }
inline __m128d vneq(__m128d a, __m128d b) { return _mm_cmpneq_pd(a, b); }
inline __m128 vneq(__m128 a, __m128 b) { return _mm_cmpneq_ps(a, b); }
inline __m128d vord(__m128d a, __m128d b) { return _mm_cmpord_pd(a, b); }
inline __m128 vord(__m128 a, __m128 b) { return _mm_cmpord_ps(a, b); }
inline __m128d vunord(__m128d a, __m128d b) { return _mm_cmpunord_pd(a, b); }
inline __m128 vunord(__m128 a, __m128 b) { return _mm_cmpunord_ps(a, b); }
inline __m128d vblend(__m128d a, __m128d b, __m128d m) { return _mm_blendv_pd(a, b, m); }  // m ? b : a
inline __m128 vblend(__m128 a, __m128 b, __m128 m) { return _mm_blendv_ps(a, b, m); }
inline int vmask(__m128d m) { return _mm_movemask_pd(m); }
inline int vmask(__m128 m) { return _mm_movemask_ps(m); }
template <int kMode>
inline __m128d vround(__m128d a) {
  return _mm_round_pd(a, kMode);
}
template <int kMode>
inline __m128 vround(__m128 a) {
  return _mm_round_ps(a, kMode);
}

template <class V>
inline V vsplat(double x) {
  if constexpr (sizeof(V{}[0]) == 8)
    return _mm_set1_pd(x);
  else
    return _mm_set1_ps(static_cast<float>(x));
}
template <class V>
inline V sign_bit() {
  return vsplat<V>(-0.0);
}
template <class V>
inline V vabs(V a) {
  return vandnot(sign_bit<V>(), a);
}

// Integer view of a register: the bit patterns as 64-bit or 32-bit lanes.
inline __m128i vbits(__m128d a) { return _mm_castpd_si128(a); }
inline __m128i vbits(__m128 a) { return _mm_castps_si128(a); }
template <class V>
inline V vfrom(__m128i a) {
  if constexpr (sizeof(V{}[0]) == 8)
    return _mm_castsi128_pd(a);
  else
    return _mm_castsi128_ps(a);
}

// The largest finite value, splat.
template <class V>
inline V vmax_finite() {
  if constexpr (sizeof(V{}[0]) == 8)
    return _mm_set1_pd(1.7976931348623157e308);
  else
    return _mm_set1_ps(3.40282347e38f);
}

// A scalar path for functions whose fast path takes every element: the vector step on a
// splat, so that an element gets the same result wherever it stands.
template <class P, class T>
inline int scalar_by_eval(const T *x, T *r) {
  using S = Simd<T>;
  typename S::V v[2] = {S::set1(x[0]), S::set1(P::kInputs > 1 ? x[P::kInputs - 1] : x[0])}, o[2];
  P::eval(v, o);
  for (int k = 0; k < P::kOutputs; ++k) {
    alignas(16) T buf[S::L];
    S::store(buf, o[k]);
    r[k] = buf[0];
  }
  return STATUS_OK;
}

// Integer lanes of the element width.
inline __m128i iadd(__m128i a, __m128i b, double) { return _mm_add_epi64(a, b); }
inline __m128i iadd(__m128i a, __m128i b, float) { return _mm_add_epi32(a, b); }
inline __m128i isub(__m128i a, __m128i b, double) { return _mm_sub_epi64(a, b); }
inline __m128i isub(__m128i a, __m128i b, float) { return _mm_sub_epi32(a, b); }
inline __m128i ieq(__m128i a, __m128i b, double) { return _mm_cmpeq_epi64(a, b); }
inline __m128i ieq(__m128i a, __m128i b, float) { return _mm_cmpeq_epi32(a, b); }
inline __m128i isplat(uint64_t v, double) { return _mm_set1_epi64x(static_cast<long long>(v)); }
inline __m128i isplat(uint32_t v, float) { return _mm_set1_epi32(static_cast<int>(v)); }

// ---- scalar bit patterns -----------------------------------------------------------------
template <class T>
struct Bits;
template <>
struct Bits<double> {
  using U = uint64_t;
  static constexpr int kMant = 52;
  static constexpr U kSign = 0x8000000000000000ull, kExp = 0x7ff0000000000000ull, kMantMask = 0xfffffffffffffull;
  static constexpr U kOne = 0x3ff0000000000000ull;
};
template <>
struct Bits<float> {
  using U = uint32_t;
  static constexpr int kMant = 23;
  static constexpr U kSign = 0x80000000u, kExp = 0x7f800000u, kMantMask = 0x7fffffu;
  static constexpr U kOne = 0x3f800000u;
};
template <class T>
inline typename Bits<T>::U to_bits(T x) {
  typename Bits<T>::U u;
  memcpy(&u, &x, sizeof x);
  return u;
}
template <class T>
inline T from_bits_t(typename Bits<T>::U u) {
  T x;
  memcpy(&x, &u, sizeof x);
  return x;
}

// All-ones in the lanes holding an infinity or a NaN, by the integer unit (no flag).
template <class V>
inline V vnonfinite(V x) {
  using T = std::remove_reference_t<decltype(x[0])>;
  const __m128i e = isplat(Bits<T>::kExp, T());
  return vfrom<V>(ieq(_mm_and_si128(vbits(x), e), e, T()));
}

// Arithmetic the compiler must not fold, so that it happens at run time with its flags.
template <class T>
inline T opaque(T x) {
  asm volatile("" : "+x"(x));
  return x;
}

}  // namespace zyn::vk::arith
