// Add: y = a + b, one exact IEEE addition per element; never reports.
#include "vector/arith/elementwise.hpp"
#include "vector/skeleton/map.hpp"

namespace zyn::vk {
namespace {

// The strided rows go through the generic skeleton with nothing to detect.
template <class Elem, class Op, MxKind kMx>
struct ExactBinary {
  using T = Elem;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int kInputs = 2, kOutputs = 1, kBlock = 4 * S::L;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = kMx;
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[2] = {T(0.75), T(0.75)};
  static constexpr const char *kName = sizeof(T) == 8 ? "vdAdd" : "vsAdd";
  static int bad(const V *) { return 0; }
  static void eval(const V *x, V *r) { r[0] = Op::apply(x[0], x[1]); }
  static int scalar(const T *x, T *r) {
    *r = Op::apply(x[0], x[1]);
    return 0;
  }
};

}  // namespace

extern "C" void zyn_vk_dAdd_HA(int n, const double *a, const double *b, double *y) {
  elementwise_d<OpAdd>(n, a, b, y);
}
extern "C" void zyn_vk_sAdd_HA(int n, const float *a, const float *b, float *y) {
  elementwise_s<OpAdd>(n, a, b, y);
}
extern "C" void zyn_vk_dAddI_HA(int n, const double *a, int inca, const double *b, int incb, double *y,
                                int incy) {
  Map<ExactBinary<double, OpAdd, MxKind::ModeDriven>>::binary_i(n, a, inca, b, incb, y, incy);
}
extern "C" void zyn_vk_sAddI_HA(int n, const float *a, int inca, const float *b, int incb, float *y,
                                int incy) {
  Map<ExactBinary<float, OpAdd, MxKind::ModeDriven>>::binary_i(n, a, inca, b, incb, y, incy);
}

}  // namespace zyn::vk
