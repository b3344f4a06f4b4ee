// Inv (1/a) and Div (a/b). The only error is a zero divisor, whatever the dividend: the lane
// goes through the scalar path, gets the IEEE quotient (so 0/0 is a NaN) and is reported as
// STATUS_SINGULARITY. Infinities and NaNs stay on the fast path and are not reported.
//
// dInv, dDiv: one kernel, packed division (correctly rounded). sInv, sDiv at LA and HA: packed
// division. sInv, sDiv at EP: the hardware's 12-bit reciprocal estimate r of the divisor and
// one Newton step r' = r (2 - b r), which leaves a relative error below 2^-21 (measured worst:
// sInv 2.75 ulp, 2^-22.3 relative; sDiv 3.37 ulp, 2^-22.1); where the estimate is 0 or infinite (zero, denormal, huge or
// infinite divisors) the lane takes the scalar path's true division. There a zero divisor
// also leaves the invalid flag of 0 * inf from the refinement.
// The lane loops of the 16- and 32-element single kernels are identical code; after GCC merges
// them it sees the other block's buffer type and warns falsely about its bounds.
#pragma GCC diagnostic ignored "-Warray-bounds"

#include "vector/arith/arith_policy.hpp"

namespace zyn::vk {
namespace {
using namespace arith;

template <class T>
int divide(T a, T b, T *r) {
  *r = opaque(a) / opaque(b);
  return b == T(0) ? STATUS_SINGULARITY : STATUS_OK;
}

template <class Elem, int kBlockS, int kBlockD>
struct Div : Base<Elem, 2, 1, kBlockS, kBlockD> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = ZYN_ARITH_NAME("Div");
  static int bad(const V *x) { return vmask(veq(x[1], V{})); }
  static void eval(const V *x, V *r) { r[0] = x[0] / x[1]; }
  static int scalar(const T *x, T *r) { return divide(x[0], x[1], r); }
};

template <class Elem, int kBlockS, int kBlockD>
struct Inv : Base<Elem, 1, 1, kBlockS, kBlockD> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = ZYN_ARITH_NAME("Inv");
  static int bad(const V *x) { return vmask(veq(x[0], V{})); }
  static void eval(const V *x, V *r) { r[0] = vsplat<V>(1.0) / x[0]; }
  static int scalar(const T *x, T *r) { return divide(T(1), x[0], r); }
};

// The estimate is 0 or infinite exactly where it is out of its range (|b| from 2^126 on, or
// zero, denormal or infinite): r + r == r finds those lanes with two quiet operations. A NaN
// divisor gives a NaN estimate and stays on the fast path, which gives the NaN it should.
inline int rcp_out_of_range(__m128 b) {
  const __m128 r = _mm_rcp_ps(b);
  return vmask(veq(r + r, r));
}
inline __m128 rcp_refined(__m128 b) {
  const __m128 r = _mm_rcp_ps(b);
  return r * (_mm_set1_ps(2.0f) - b * r);
}

struct SDivEp : Div<float, 16, 16> {
  static int bad(const V *x) { return rcp_out_of_range(x[1]); }
  static void eval(const V *x, V *r) { r[0] = x[0] * rcp_refined(x[1]); }
};
struct SInvEp : Inv<float, 16, 16> {
  static int bad(const V *x) { return rcp_out_of_range(x[0]); }
  static void eval(const V *x, V *r) { r[0] = rcp_refined(x[0]); }
};

using DDiv = Div<double, 32, 4>;
using SDiv = Div<float, 32, 4>;
using DInv = Inv<double, 32, 16>;
using SInv = Inv<float, 32, 16>;

}  // namespace

ZYN_FLAT_BINARY_KERNELS(dDiv, HA, DDiv)
ZYN_FLAT_BINARY_KERNELS(sDiv, HA, SDiv)
ZYN_FLAT_BINARY_KERNELS(sDiv, EP, SDivEp)
ZYN_FLAT_UNARY_KERNELS(dInv, HA, DInv)
ZYN_FLAT_UNARY_KERNELS(sInv, HA, SInv)
ZYN_FLAT_UNARY_KERNELS(sInv, EP, SInvEp)

}  // namespace zyn::vk
