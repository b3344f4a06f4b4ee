// x^b for a vector x and one scalar b (Powx), and the fixed powers x^(3/2) (Pow3o2) and x^(2/3)
// (Pow2o3). Exponents with a row of their own (1/2, -1/2, 1/3, -1/3, -1, 3/2 and the nearest
// value of the type to 2/3) go through that row's slot; b = 1 copies and b = 2 squares with one
// rounding. Otherwise positive normal bases with normal results take the vector paths of
// powx_core.hpp and every other element the double-double path with the C pow special cases.
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

#include "vector/powx/powx_core.hpp"

namespace zyn::vk::powx {
namespace {

// The kernel of one call: the vector path of the type and level, the same arithmetic (on a
// broadcast) for an element of the scalar path the vector path takes, and the double-double
// path for the rest. Double LA takes HA's path, which costs next to nothing more and keeps
// exact results exact; double EP's is used only for |b| <= 16, where its absolute error in ln x
// is enough.
template <class TT, Level kLevel>
struct Kernel {
  using T = TT;
  using V = typename Simd<T>::V;
  Expo e;
  DExp d;
  double b;
  const char *name;
  __m128d bb2[2];  // b 128 for the single paths (exact), per pair of lanes
  Kernel(double bb, double b_lo, const char *nm) : e(bb, b_lo), d(bb, b_lo), b(bb + b_lo), name(nm) {
    bb2[0] = bb2[1] = _mm_set1_pd(b * 128);
  }
  V eval(const V *x, int &bad) const {
    if constexpr (sizeof(T) == 8)
      return pow_d<kLevel>(x[0], d, bad);
    else if constexpr (kLevel == Level::EP)
      return pow_s_ep(x[0], _mm_set1_ps(static_cast<float>(b)), bad);
    else
      return pow_s<kLevel>(x[0], bb2, bad);
  }
  int scalar(const T *x, T *r) const {
    constexpr double tiny = std::numeric_limits<T>::min(), huge = std::numeric_limits<T>::max();
    auto mag = [this](double ax, double *v) {
      if (!(ax >= tiny)) return false;
      int bad;
      alignas(16) T out[Simd<T>::L];
      const V xv = Simd<T>::set1(static_cast<T>(ax));
      Simd<T>::store(out, eval(&xv, bad));
      *v = out[0];
      return bad == 0;
    };
    double v;
    int status = pow_element(x[0], e, tiny, huge, &v, mag);
    *r = static_cast<T>(v);
    return status;
  }
};

// x^(b + b_lo) at a level (0 LA, 1 HA, 2 EP). Non-finite and huge b need no test of their own:
// their lanes come out of the vector paths as NaN or beyond the range, so they are bad lanes.
template <class T>
void general(int level, double b, double b_lo, const char *name, int n, const T *a, ptrdiff_t inca, T *y,
             ptrdiff_t incy) {
  if constexpr (sizeof(T) == 8) {
    if (level == 2 && std::fabs(b) <= 16.0) return run(Kernel<T, Level::EP>(b, b_lo, name), n, {a}, {inca}, y, incy);
    return run(Kernel<T, Level::HA>(b, b_lo, name), n, {a}, {inca}, y, incy);
  } else {
    if (level == 1) return run(Kernel<T, Level::HA>(b, b_lo, name), n, {a}, {inca}, y, incy);
    if (level == 2) return run(Kernel<T, Level::EP>(b, b_lo, name), n, {a}, {inca}, y, incy);
    return run(Kernel<T, Level::LA>(b, b_lo, name), n, {a}, {inca}, y, incy);
  }
}

template <class T>
struct Names;
template <>
struct Names<double> {
  static constexpr const char *kPowx = "vdPowx", *kPow3o2 = "vdPow3o2", *kPow2o3 = "vdPow2o3";
};
template <>
struct Names<float> {
  static constexpr const char *kPowx = "vsPowx", *kPow3o2 = "vsPow3o2", *kPow2o3 = "vsPow2o3";
};

template <class T>
using Unary = void (*)(int, const T *, T *);
template <class T>
using UnaryI = void (*)(int, const T *, int, T *, int);

// The index of b among the exponents with a row of their own (the rows of ZYN_POWX_ROWS), or -1.
template <class T>
int special_index(T b) {
  const T special[] = {T(0.5), T(-0.5), T(1) / T(3), T(-1) / T(3), T(-1), T(1.5), T(2) / T(3)};
  for (int j = 0; j < 7; ++j)
    if (b == special[j]) return j;
  return -1;
}
// The slots of those rows for type letter t, contiguous (S empty) or strided (S = I).
#define ZYN_POWX_ROWS(t, S)                                                                       \
  {                                                                                               \
    zyn_vex_kernel_##t##Sqrt##S##_ttab[level], zyn_vex_kernel_##t##InvSqrt##S##_ttab[level],    \
        zyn_vex_kernel_##t##Cbrt##S##_ttab[level], zyn_vex_kernel_##t##InvCbrt##S##_ttab[level], \
        zyn_vex_kernel_##t##Inv##S##_ttab[level], zyn_vex_kernel_##t##Pow3o2##S##_ttab[level],   \
        zyn_vex_kernel_##t##Pow2o3##S##_ttab[level]                                              \
  }
template <class T>
Unary<T> special_row(T b, int level) {
  int j = special_index(b);
  if (j < 0) return nullptr;
  if constexpr (sizeof(T) == 8) {
    const Unary<T> rows[] = ZYN_POWX_ROWS(d, );
    return rows[j];
  } else {
    const Unary<T> rows[] = ZYN_POWX_ROWS(s, );
    return rows[j];
  }
}
template <class T>
UnaryI<T> special_row_i(T b, int level) {
  int j = special_index(b);
  if (j < 0) return nullptr;
  if constexpr (sizeof(T) == 8) {
    const UnaryI<T> rows[] = ZYN_POWX_ROWS(d, I);
    return rows[j];
  } else {
    const UnaryI<T> rows[] = ZYN_POWX_ROWS(s, I);
    return rows[j];
  }
}

// b = 1 copies; b = 2 squares with one rounding, overflow and underflow reported.
template <class T>
void copy_or_square(int n, const T *a, ptrdiff_t inca, T b, T *y, ptrdiff_t incy) {
  FpScope<X87Kind::MasksOnly, MxKind::ModeDriven> fp;
  for (int i = 0; i < n; ++i) {
    T x = a[i * inca];
    T v = b == T(1) ? x : x * x;
    int status = 0;
    if (b == T(2)) {
      if (std::isinf(v) && std::isfinite(x))
        status = STATUS_OVERFLOW;
      else if (x != T(0) && std::fabs(v) < std::numeric_limits<T>::min())
        status = STATUS_UNDERFLOW;
    }
    y[i * incy] = v;
    if (status != 0) report(status, i, a, a, y, y, Names<T>::kPowx);
  }
}

template <class T>
void powx(int n, const T *a, ptrdiff_t inca, T b, T *y, ptrdiff_t incy, int level) {
  if (b == T(1) || b == T(2)) return copy_or_square<T>(n, a, inca, b, y, incy);
  general<T>(level, b, 0.0, Names<T>::kPowx, n, a, inca, y, incy);
}

}  // namespace
}  // namespace zyn::vk::powx

#define ZYN_POWX_KERNELS(t, T, lvl, level)                                                          \
  extern "C" void zyn_vk_##t##Powx_##lvl(int n, const T *a, T b, T *y) {                            \
    using namespace ::zyn::vk::powx;                                                                \
    if (auto row = special_row(b, level)) return row(n, a, y);                                      \
    powx<T>(n, a, 1, b, y, 1, level);                                                               \
  }                                                                                                 \
  extern "C" void zyn_vk_##t##PowxI_##lvl(int n, const T *a, int inca, T b, T *y, int incy) {        \
    using namespace ::zyn::vk::powx;                                                                \
    if (auto row = special_row_i(b, level)) return row(n, a, inca, y, incy);                        \
    powx<T>(n, a, inca, b, y, incy, level);                                                         \
  }                                                                                                 \
  extern "C" void zyn_vk_##t##Pow3o2_##lvl(int n, const T *a, T *y) {                               \
    ::zyn::vk::powx::general<T>(level, 1.5, 0.0, ::zyn::vk::powx::Names<T>::kPow3o2, n, a, 1, y, 1); \
  }                                                                                                 \
  extern "C" void zyn_vk_##t##Pow3o2I_##lvl(int n, const T *a, int inca, T *y, int incy) {          \
    ::zyn::vk::powx::general<T>(level, 1.5, 0.0, ::zyn::vk::powx::Names<T>::kPow3o2, n, a, inca, y, \
                                incy);                                                              \
  }                                                                                                 \
  extern "C" void zyn_vk_##t##Pow2o3_##lvl(int n, const T *a, T *y) {                               \
    ::zyn::vk::powx::general<T>(level, ::zyn::vk::powx::kTwoThirdsHi, ::zyn::vk::powx::kTwoThirdsLo, \
                                ::zyn::vk::powx::Names<T>::kPow2o3, n, a, 1, y, 1);                 \
  }                                                                                                 \
  extern "C" void zyn_vk_##t##Pow2o3I_##lvl(int n, const T *a, int inca, T *y, int incy) {          \
    ::zyn::vk::powx::general<T>(level, ::zyn::vk::powx::kTwoThirdsHi, ::zyn::vk::powx::kTwoThirdsLo, \
                                ::zyn::vk::powx::Names<T>::kPow2o3, n, a, inca, y, incy);           \
  }
ZYN_POWX_KERNELS(d, double, LA, 0)
ZYN_POWX_KERNELS(d, double, HA, 1)
ZYN_POWX_KERNELS(d, double, EP, 2)
ZYN_POWX_KERNELS(s, float, LA, 0)
ZYN_POWX_KERNELS(s, float, HA, 1)
ZYN_POWX_KERNELS(s, float, EP, 2)
