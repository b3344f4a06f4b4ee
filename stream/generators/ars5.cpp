// ARS5's entries and the processor probes (function 1 of the identification instruction: AES in
// bit 25 of its third register, the random instruction in bit 30).
#include <cpuid.h>

#include "frame/core_link.hpp"
#include "stream/generators/ars5.hpp"

namespace {

int cpuid1_ecx_bit(int bit) {
  unsigned a, b, c, d;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0) return 0;
  return (c >> bit) & 1;
}

using Hw = zyn::rng::hw::Native;

}  // namespace

extern "C" {

ZYN_API int __rnxCPUisAES(void) { return cpuid1_ecx_bit(25); }
ZYN_API int __rnxCPUisRDRAND(void) { return cpuid1_ecx_bit(30); }
ZYN_API int __rnxCPUisVAES(void) { return zyn::core::zyn_serv_cpuisicx(0); }

ZYN_API int __rnxBRngARS5InitStream(int method, StreamState *stream, int n, const void *params) {
  return zyn::rng::ars5::init<Hw>(method, stream, n, params);
}
ZYN_API int __rnxiBRngARS5(StreamState *stream, int n, uint32_t *r) {
  return zyn::rng::ars5::run<Hw>(stream, n, zyn::rng::U32Out{r});
}
ZYN_API int __rnxdBRngARS5(StreamState *stream, int n, double *r, double a, double b) {
  return zyn::rng::ars5::run<Hw>(stream, n, zyn::rng::counter::signed_out(r, a, b));
}
ZYN_API int __rnxsBRngARS5(StreamState *stream, int n, float *r, float a, float b) {
  return zyn::rng::ars5::run<Hw>(stream, n, zyn::rng::counter::signed_out(r, a, b));
}

}  // extern "C"
