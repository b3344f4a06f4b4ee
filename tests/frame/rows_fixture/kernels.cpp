// Dummy kernels for the rows of rows.on: each records its name and arguments in the probe.
#include <cstdint>

#include "frame/kernels.hpp"
#include "rows_fixture/probe.hpp"

namespace {
RowsProbe g_probe;
}  // namespace

RowsProbe *zyn_test_rows_probe(void) { return &g_probe; }

namespace {
RowsProbe &start(const char *kernel) {
  RowsProbe &p = g_probe;
  p = RowsProbe{};
  p.kernel = kernel;
  // The caller's frame: 16-byte aligned at the call when the frame address is.
  p.aligned = (reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) & 15) == 0;
  return p;
}
}  // namespace

#define UNARY(row, level, T)                                                           \
  extern "C" void zyn_vk_##row##_##level(int n, const T *a, T *y) {                    \
    RowsProbe &p = start(#row "_" #level);                                             \
    p.i[0] = n, p.p[0] = a, p.p[1] = y;                                                \
  }
#define UNARY_I(row, level, T)                                                         \
  extern "C" void zyn_vk_##row##_##level(int n, const T *a, int inca, T *y, int incy) { \
    RowsProbe &p = start(#row "_" #level);                                             \
    p.i[0] = n, p.i[1] = inca, p.i[2] = incy, p.p[0] = a, p.p[1] = y;                  \
  }

UNARY(dLn, LA, double)
UNARY(dLn, HA, double)
UNARY(dLn, EP, double)
UNARY_I(dLnI, LA, double)
UNARY_I(dLnI, HA, double)
UNARY_I(dLnI, EP, double)
UNARY(sInv, HA, float)
UNARY(sInv, EP, float)
UNARY(dInv, HA, double)
UNARY(dTanh, HA, double)
UNARY(dTanh, EP, double)

extern "C" void zyn_vk_sSinCos_LA(int, const float *, float *, float *) { start("sSinCos_LA"); }
extern "C" void zyn_vk_sSinCos_HA(int n, const float *a, float *y, float *z) {
  RowsProbe &p = start("sSinCos_HA");
  p.i[0] = n, p.p[0] = a, p.p[1] = y, p.p[2] = z;
}
extern "C" void zyn_vk_sSinCos_EP(int, const float *, float *, float *) { start("sSinCos_EP"); }

extern "C" void zyn_vk_dLinearFrac_HA(int n, const double *a, const double *b, double sa, double ha,
                                      double sb, double hb, double *y) {
  RowsProbe &p = start("dLinearFrac_HA");
  p.i[0] = n, p.p[0] = a, p.p[1] = b, p.p[2] = y;
  p.d[0] = sa, p.d[1] = ha, p.d[2] = sb, p.d[3] = hb;
}

extern "C" void zyn_vk_sPackI_HA(long long n, const float *a, long long inca, float *y, int width) {
  RowsProbe &p = start("sPackI_HA");
  p.i[0] = n, p.i[1] = inca, p.i[2] = width, p.p[0] = a, p.p[1] = y;
}
extern "C" void zyn_vk_dUnpackM_HA(long long n, const double *a, double *y, const void *mask, int width) {
  RowsProbe &p = start("dUnpackM_HA");
  p.i[0] = n, p.i[2] = width, p.p[0] = a, p.p[1] = y, p.p[2] = mask;
}

extern "C" void zyn_vk_cPowx_HA(int n, const ZynComplex8 *a, ZynComplex8 b, ZynComplex8 *y) {
  RowsProbe &p = start("cPowx_HA");
  p.i[0] = n, p.p[0] = a, p.p[1] = y, p.d[0] = b.re, p.d[1] = b.im;
}
extern "C" void zyn_vk_zPowx_HA(int n, const ZynComplex16 *a, ZynComplex16 b, ZynComplex16 *y) {
  RowsProbe &p = start("zPowx_HA");
  p.i[0] = n, p.p[0] = a, p.p[1] = y, p.d[0] = b.re, p.d[1] = b.im;
}
extern "C" void zyn_vk_cPowxI_HA(int n, const ZynComplex8 *a, int inca, ZynComplex8 b, ZynComplex8 *y,
                                 int incy) {
  RowsProbe &p = start("cPowxI_HA");
  p.i[0] = n, p.i[1] = inca, p.i[2] = incy, p.p[0] = a, p.p[1] = y, p.d[0] = b.re, p.d[1] = b.im;
}
extern "C" void zyn_vk_zPowxI_HA(int n, const ZynComplex16 *a, int inca, ZynComplex16 b,
                                 ZynComplex16 *y, int incy) {
  RowsProbe &p = start("zPowxI_HA");
  p.i[0] = n, p.i[1] = inca, p.i[2] = incy, p.p[0] = a, p.p[1] = y, p.d[0] = b.re, p.d[1] = b.im;
}
