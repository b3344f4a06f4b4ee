// Pack and unpack: elements moved between a contiguous vector and a strided, masked or indexed
// one, for s, d, c and z, one kernel per row in all three slots.
//
// Elements are copied as bit patterns of 4, 8 or 16 bytes through memcpy (integer or plain SSE
// moves, never arithmetic), so a signalling NaN arrives unchanged and no flag is raised; and
// since nothing is computed there is no floating-point entry or exit, no mode read and no
// report. A count of zero or less does nothing; nothing is checked.
//
// The width flag: 1 means n, the stride and the mask or index elements are 32-bit (only the low
// half of the n and stride registers counts), any other value 64-bit. Each kernel instantiates
// its loop once per width. PackM, PackV, UnpackM and UnpackV take two elements a trip and one
// more step for an odd n; PackI takes one, and at stride 1 copies the block whole when the
// vectors do not overlap. UnpackI at stride 0 in the 64-bit form has a loop of its own.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <immintrin.h>

#include "frame/kernels.hpp"

namespace zyn::vk::pack {
namespace {

using Byte = unsigned char;

// An element moved as a float, a double or an SSE register, through pointers that allow any
// alignment (a c vector's elements are 4-byte aligned): plain loads and stores, never
// arithmetic, so no flag is raised and a signalling NaN stays. (A copy through a general
// register instead, as memcpy compiles to, runs at half the speed on this processor family.)
typedef float FloatAny __attribute__((aligned(1), may_alias));
typedef double DoubleAny __attribute__((aligned(1), may_alias));
template <size_t E>
inline void copy(Byte *dst, const Byte *src) {
  if constexpr (E == 4) {
    *reinterpret_cast<FloatAny *>(dst) = *reinterpret_cast<const FloatAny *>(src);
  } else if constexpr (E == 8) {
    *reinterpret_cast<DoubleAny *>(dst) = *reinterpret_cast<const DoubleAny *>(src);
  } else {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), _mm_loadu_si128(reinterpret_cast<const __m128i *>(src)));
  }
}
// Element i of a selector of 32- or 64-bit integers (the caller's array need not be aligned).
template <class N>
inline ptrdiff_t sel(const void *s, ptrdiff_t i) {
  N v;
  memcpy(&v, static_cast<const Byte *>(s) + i * static_cast<ptrdiff_t>(sizeof(N)), sizeof v);
  return static_cast<ptrdiff_t>(v);
}

// The loops, one struct per stem: run(n, a, sel, y) with sel the stride or the selector array,
// N the integer type of the selector's elements.
template <size_t E, class N>
struct PackI {
  static void run(ptrdiff_t n, const Byte *a, ptrdiff_t inca, Byte *y) {
    const uintptr_t bytes = static_cast<uintptr_t>(n) * E, from = reinterpret_cast<uintptr_t>(a),
                    to = reinterpret_cast<uintptr_t>(y);
    if (inca == 1 && (from + bytes <= to || to + bytes <= from)) {
      memcpy(y, a, bytes);
      return;
    }
    for (ptrdiff_t i = 0; i < n; ++i) copy<E>(y + E * i, a + i * inca * static_cast<ptrdiff_t>(E));
  }
};

template <size_t E, class N>
struct PackM {
  static void run(ptrdiff_t n, const Byte *a, const void *mask, Byte *y) {
    ptrdiff_t i = 0, k = 0;
    for (; i + 2 <= n; i += 2) {
      if (sel<N>(mask, i) != 0) copy<E>(y + E * k++, a + E * i);
      if (sel<N>(mask, i + 1) != 0) copy<E>(y + E * k++, a + E * (i + 1));
    }
    if (i < n && sel<N>(mask, i) != 0) copy<E>(y + E * k, a + E * i);
  }
};

template <size_t E, class N>
struct PackV {
  static void run(ptrdiff_t n, const Byte *a, const void *index, Byte *y) {
    ptrdiff_t i = 0;
    for (; i + 2 <= n; i += 2) {
      copy<E>(y + E * i, a + E * sel<N>(index, i));
      copy<E>(y + E * (i + 1), a + E * sel<N>(index, i + 1));
    }
    if (i < n) copy<E>(y + E * i, a + E * sel<N>(index, i));
  }
};

template <size_t E, class N>
struct UnpackI {
  static void run(ptrdiff_t n, const Byte *a, ptrdiff_t incy, Byte *y) {
    if (sizeof(N) == 8 && incy == 0) return stride0(n, a, y);
    for (ptrdiff_t i = 0; i < n; ++i) copy<E>(y + i * incy * static_cast<ptrdiff_t>(E), a + E * i);
  }
  // Stride 0: every element lands on y[0] and the last one stands. The 64-bit form reads
  // through a in blocks of 8 after a peel that brings a to 16 bytes, and stores once at the end.
  static void stride0(ptrdiff_t n, const Byte *a, Byte *y) {
    Byte last[E];
    ptrdiff_t i = 0;
    for (; i < n && reinterpret_cast<uintptr_t>(a + E * i) % 16 != 0; ++i) copy<E>(last, a + E * i);
    for (; i + 8 <= n; i += 8)
      for (int j = 0; j < 8; ++j) copy<E>(last, a + E * (i + j));
    for (; i < n; ++i) copy<E>(last, a + E * i);
    copy<E>(y, last);
  }
};

template <size_t E, class N>
struct UnpackM {
  static void run(ptrdiff_t n, const Byte *a, const void *mask, Byte *y) {
    ptrdiff_t i = 0, k = 0;
    for (; i + 2 <= n; i += 2) {
      if (sel<N>(mask, i) != 0) copy<E>(y + E * i, a + E * k++);
      if (sel<N>(mask, i + 1) != 0) copy<E>(y + E * (i + 1), a + E * k++);
    }
    if (i < n && sel<N>(mask, i) != 0) copy<E>(y + E * i, a + E * k);
  }
};

template <size_t E, class N>
struct UnpackV {
  static void run(ptrdiff_t n, const Byte *a, const void *index, Byte *y) {
    ptrdiff_t i = 0;
    for (; i + 2 <= n; i += 2) {
      copy<E>(y + E * sel<N>(index, i), a + E * i);
      copy<E>(y + E * sel<N>(index, i + 1), a + E * (i + 1));
    }
    if (i < n) copy<E>(y + E * sel<N>(index, i), a + E * i);
  }
};

// The 32-bit form reads only the low half of the count and of a stride.
inline ptrdiff_t low_half(long long v) { return static_cast<int32_t>(v); }
inline const void *low_half(const void *p) { return p; }

template <template <size_t, class> class Loop, size_t E, class S>
inline void by_width(long long n, const void *a, S sel, void *y, int width) {
  auto *src = static_cast<const Byte *>(a);
  auto *dst = static_cast<Byte *>(y);
  if (width == 1) {
    if (low_half(n) > 0) Loop<E, int32_t>::run(low_half(n), src, low_half(sel), dst);
  } else if (n > 0) {
    Loop<E, int64_t>::run(n, src, sel, dst);
  }
}

}  // namespace
}  // namespace zyn::vk::pack

#define ZYN_PACK_KERNELS(t, T)                                                                            \
  extern "C" void zyn_vk_##t##PackI_HA(long long n, const T *a, long long inca, T *y, int width) {       \
    ::zyn::vk::pack::by_width<::zyn::vk::pack::PackI, sizeof(T)>(n, a, inca, y, width);                   \
  }                                                                                                     \
  extern "C" void zyn_vk_##t##PackM_HA(long long n, const T *a, const void *mask, T *y, int width) {    \
    ::zyn::vk::pack::by_width<::zyn::vk::pack::PackM, sizeof(T)>(n, a, mask, y, width);                   \
  }                                                                                                     \
  extern "C" void zyn_vk_##t##PackV_HA(long long n, const T *a, const void *index, T *y, int width) {   \
    ::zyn::vk::pack::by_width<::zyn::vk::pack::PackV, sizeof(T)>(n, a, index, y, width);                  \
  }                                                                                                     \
  extern "C" void zyn_vk_##t##UnpackI_HA(long long n, const T *a, T *y, long long incy, int width) {     \
    ::zyn::vk::pack::by_width<::zyn::vk::pack::UnpackI, sizeof(T)>(n, a, incy, y, width);                 \
  }                                                                                                     \
  extern "C" void zyn_vk_##t##UnpackM_HA(long long n, const T *a, T *y, const void *mask, int width) {   \
    ::zyn::vk::pack::by_width<::zyn::vk::pack::UnpackM, sizeof(T)>(n, a, mask, y, width);                 \
  }                                                                                                     \
  extern "C" void zyn_vk_##t##UnpackV_HA(long long n, const T *a, T *y, const void *index, int width) {  \
    ::zyn::vk::pack::by_width<::zyn::vk::pack::UnpackV, sizeof(T)>(n, a, index, y, width);                \
  }

ZYN_PACK_KERNELS(s, float)
ZYN_PACK_KERNELS(d, double)
ZYN_PACK_KERNELS(c, ZynComplex8)
ZYN_PACK_KERNELS(z, ZynComplex16)
