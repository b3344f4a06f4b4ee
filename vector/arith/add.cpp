// Add, Sub, Mul: y = a op b, one exact IEEE operation per element; never reports.
// Contiguous rows: the element-wise loops of elementwise.hpp (double masks-only, single
// mode-driven). Strided rows: the generic skeleton with nothing to detect, mode-driven.
#include "vector/arith/arith_policy.hpp"
#include "vector/arith/elementwise.hpp"

namespace zyn::vk {
namespace {

template <class Elem, class Op>
struct ExactBinary : arith::Base<Elem, 2, 1, 32, 8> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr T kPad[2] = {T(0.75), T(0.75)};
  static constexpr const char *kName = "";  // never reports
  static void eval(const V *x, V *r) { r[0] = Op::apply(x[0], x[1]); }
  static int scalar(const T *x, T *r) {
    *r = Op::apply(x[0], x[1]);
    return 0;
  }
};

}  // namespace

#define ZYN_EXACT_BINARY_ROWS(Stem, Op)                                                              \
  extern "C" void zyn_vk_d##Stem##_HA(int n, const double *a, const double *b, double *y) {          \
    elementwise_d<Op>(n, a, b, y);                                                                   \
  }                                                                                                  \
  extern "C" void zyn_vk_s##Stem##_HA(int n, const float *a, const float *b, float *y) {             \
    elementwise_s<Op>(n, a, b, y);                                                                   \
  }                                                                                                  \
  extern "C" void zyn_vk_d##Stem##I_HA(int n, const double *a, int inca, const double *b, int incb,  \
                                        double *y, int incy) {                                       \
    Map<ExactBinary<double, Op>>::binary_i(n, a, inca, b, incb, y, incy);                            \
  }                                                                                                  \
  extern "C" void zyn_vk_s##Stem##I_HA(int n, const float *a, int inca, const float *b, int incb,    \
                                        float *y, int incy) {                                        \
    Map<ExactBinary<float, Op>>::binary_i(n, a, inca, b, incb, y, incy);                             \
  }

ZYN_EXACT_BINARY_ROWS(Add, OpAdd)
ZYN_EXACT_BINARY_ROWS(Sub, OpSub)
ZYN_EXACT_BINARY_ROWS(Mul, OpMul)

}  // namespace zyn::vk
