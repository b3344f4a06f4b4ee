// Sqr (one multiply), Abs (clear the sign bit) and CopySign (bit select): exact, branch-free,
// never reported. Abs raises no flag and so keeps the caller's controls (masks-only entry);
// Sqr and CopySign are mode-driven.
#include "vector/arith/arith_policy.hpp"

namespace zyn::vk {
namespace {
using namespace arith;

template <class Elem>
struct Sqr : Base<Elem, 1, 1, 8, 8> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = ZYN_ARITH_NAME("Sqr");
  static void eval(const V *x, V *r) { r[0] = x[0] * x[0]; }
  static int scalar(const T *x, T *r) {
    *r = x[0] * x[0];
    return 0;
  }
};

template <class Elem>
struct Abs : Base<Elem, 1, 1, 8, 4, MxKind::MasksOnly> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = ZYN_ARITH_NAME("Abs");
  static void eval(const V *x, V *r) { r[0] = vabs(x[0]); }
  static int scalar(const T *x, T *r) {
    *r = from_bits_t<T>(to_bits(x[0]) & ~Bits<T>::kSign);
    return 0;
  }
};

template <class Elem>
struct CopySign : Base<Elem, 2, 1, 32, 4> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = ZYN_ARITH_NAME("CopySign");
  static void eval(const V *x, V *r) {
    const V s = sign_bit<V>();
    r[0] = vor(vandnot(s, x[0]), vand(s, x[1]));
  }
  static int scalar(const T *x, T *r) {
    using B = Bits<T>;
    *r = from_bits_t<T>((to_bits(x[0]) & ~B::kSign) | (to_bits(x[1]) & B::kSign));
    return 0;
  }
};

}  // namespace

ZYN_FLAT_UNARY_KERNELS(dSqr, HA, Sqr<double>)
ZYN_FLAT_UNARY_KERNELS(sSqr, HA, Sqr<float>)
ZYN_FLAT_UNARY_KERNELS(dAbs, HA, Abs<double>)
ZYN_FLAT_UNARY_KERNELS(sAbs, HA, Abs<float>)
ZYN_FLAT_BINARY_KERNELS(dCopySign, HA, CopySign<double>)
ZYN_FLAT_BINARY_KERNELS(sCopySign, HA, CopySign<float>)

}  // namespace zyn::vk
