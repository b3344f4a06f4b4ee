// TRNG's entries on the processor's random instruction.
#include "stream/generators/common.hpp"
#include "stream/generators/trng.hpp"

namespace {
using Hw = zyn::rng::hw::Native;
}

extern "C" {

ZYN_API int __rnxBRngTRNGInitStream(int method, StreamState *stream, int n, const void *params) {
  return zyn::rng::trng::init(method, stream, n, params);
}
ZYN_API int __rnxiBRngTRNG(StreamState *stream, int n, uint32_t *r) {
  return zyn::rng::trng::igen<Hw>(stream, n, r);
}
ZYN_API int __rnxdBRngTRNG(StreamState *stream, int n, double *r, double a, double b) {
  return zyn::rng::trng::dgen<Hw>(stream, n, r, a, b);
}
ZYN_API int __rnxsBRngTRNG(StreamState *stream, int n, float *r, float a, float b) {
  return zyn::rng::trng::sgen<Hw>(stream, n, r, a, b);
}

}  // extern "C"
