// NextAfter(x, y): the neighbour of x in the direction of y, by an integer step of one on the
// bit pattern: up when x lies below y and is positive, or above y and negative, down otherwise.
// The fast path takes the lanes where that step is the whole story: both inputs numbers, x
// nonzero and finite, x not equal to y, and a result neither denormal (or zero) nor infinite.
// All others take the scalar path, which reports a zero x (the smallest denormal toward y) and
// a denormal result as STATUS_UNDERFLOW and an infinite one as STATUS_OVERFLOW, and raises the
// matching flag on purpose by squaring a tiny or a huge value.
#include <limits>

#include "vector/arith/arith_policy.hpp"

namespace zyn::vk {
namespace {
using namespace arith;

template <class T>
inline void raise_by_square(T v) {
  T s = opaque(v) * opaque(v);
  asm volatile("" : : "x"(s));
}

template <class T>
int next_after(T x, T y, T *r) {
  using B = Bits<T>;
  using L = std::numeric_limits<T>;
  if (x != x || y != y) {
    *r = x + y;
    return STATUS_OK;
  }
  if (x == y) {
    *r = y;
    return STATUS_OK;
  }
  if (x == T(0)) {
    *r = from_bits_t<T>((to_bits(y) & B::kSign) | 1);
    raise_by_square(L::min());
    return STATUS_UNDERFLOW;
  }
  typename B::U u = to_bits(x);
  if ((x < y) == (x > T(0)))
    ++u;
  else
    --u;
  *r = from_bits_t<T>(u);
  const typename B::U e = u & B::kExp;
  if (e == B::kExp) {
    raise_by_square(L::max());
    return STATUS_OVERFLOW;
  }
  if (e == 0) {
    raise_by_square(L::min());
    return STATUS_UNDERFLOW;
  }
  return STATUS_OK;
}

template <class Elem>
struct NextAfter : Base<Elem, 2, 1, 8, 4> {
  using T = Elem;
  using V = typename Simd<T>::V;
  using B = Bits<T>;
  static constexpr const char *kName = ZYN_ARITH_NAME("NextAfter");
  static __m128i step(const V *x) {
    // t all ones where the step is up: (x < y) differs from (x < 0); NaN lanes are cleared
    // first since the ordered compares would raise the invalid flag on them
    const V o = vord(x[0], x[1]), a = vand(x[0], o), b = vand(x[1], o);
    const __m128i t = vbits(vxor(vlt(a, b), vlt(a, V{})));
    const __m128i delta = _mm_or_si128(iadd(t, t, T()), isplat(typename B::U(1), T()));  // -1 or 1
    return isub(vbits(x[0]), delta, T());
  }
  static int bad(const V *x) {
    const __m128i e = _mm_and_si128(step(x), isplat(B::kExp, T()));
    const V special = vor(vor(vunord(x[0], x[1]), veq(x[0], x[1])),
                          vor(veq(x[0], V{}), vnonfinite(x[0])));
    const __m128i edge = _mm_or_si128(ieq(e, _mm_setzero_si128(), T()), ieq(e, isplat(B::kExp, T()), T()));
    return vmask(vor(special, vfrom<V>(edge)));
  }
  static void eval(const V *x, V *r) { r[0] = vfrom<V>(step(x)); }
  static int scalar(const T *x, T *r) { return next_after(x[0], x[1], r); }
};

}  // namespace

ZYN_FLAT_BINARY_KERNELS(dNextAfter, HA, NextAfter<double>)
ZYN_FLAT_BINARY_KERNELS(sNextAfter, HA, NextAfter<float>)

}  // namespace zyn::vk
