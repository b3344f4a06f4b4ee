// Dummy kernels for the rows of rows.on: each records its name and arguments in the probe
// (integers, pointers and floating-point parts, each kind in order).
#include <cstdint>
#include <type_traits>

#include "frame/kernels.hpp"
#include "rows_fixture/probe.hpp"

namespace {
RowsProbe g_probe;

// `frame` is the kernel's frame address: 16-byte aligned at the call when it is.
template <class... A>
void record(void *frame, const char *kernel, A... args) {
  RowsProbe &p = g_probe = RowsProbe{kernel, {}, {}, {}, (reinterpret_cast<uintptr_t>(frame) & 15) == 0};
  int i = 0, q = 0, d = 0;
  auto put = [&](auto x) {
    if constexpr (std::is_pointer_v<decltype(x)>) p.p[q++] = x;
    else if constexpr (std::is_integral_v<decltype(x)>) p.i[i++] = x;
    else if constexpr (std::is_floating_point_v<decltype(x)>) p.d[d++] = x;
    else p.d[d++] = x.re, p.d[d++] = x.im;
  };
  (put(args), ...);
}
}  // namespace

RowsProbe *zyn_test_rows_probe(void) { return &g_probe; }

#define KERNEL(row, level, params, ...) \
  extern "C" void zyn_vk_##row##_##level params { record(__builtin_frame_address(0), #row "_" #level, __VA_ARGS__); }
#define UNARY(row, level, T) KERNEL(row, level, (int n, const T *a, T *y), n, a, y)

UNARY(dLn, LA, double)
UNARY(dLn, HA, double)
UNARY(dLn, EP, double)
UNARY(sInv, HA, float)
UNARY(sInv, EP, float)
UNARY(dInv, HA, double)
UNARY(dTanh, HA, double)
UNARY(dTanh, EP, double)
KERNEL(sPackI, HA, (long long n, const float *a, long long inca, float *y, int width), n, a, inca, y, width)
KERNEL(dUnpackM, HA, (long long n, const double *a, double *y, const void *mask, int width), n, a, y, mask, width)
KERNEL(cPowx, HA, (int n, const ZynComplex8 *a, ZynComplex8 b, ZynComplex8 *y), n, a, b, y)
KERNEL(zPowx, HA, (int n, const ZynComplex16 *a, ZynComplex16 b, ZynComplex16 *y), n, a, b, y)
KERNEL(cPowxI, HA, (int n, const ZynComplex8 *a, int inca, ZynComplex8 b, ZynComplex8 *y, int incy), n, a, inca, b, y, incy)
KERNEL(zPowxI, HA, (int n, const ZynComplex16 *a, int inca, ZynComplex16 b, ZynComplex16 *y, int incy), n, a, inca, b, y, incy)
