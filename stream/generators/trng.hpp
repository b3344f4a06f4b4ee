// TRNG: numbers from the processor's random instruction, no seed and no sequence. Templated on
// the hardware seam (hw.hpp). The state is a zero word and the retry limit.
#pragma once

#include "stream/generators/hw.hpp"
#include "stream/generators/common.hpp"

namespace zyn::rng::trng {

struct State {
  uint32_t zero;
  uint32_t retries;
};

constexpr uint32_t kDefaultRetries = 10;

// One number: a first try, then repeated ones; the repeated try that reaches the limit ends the
// call, whatever it gives.
template <class Hw, class T>
int draw(uint32_t retries, T *x) {
  auto once = [](T *y) {
    if constexpr (sizeof(T) == 8)
      return Hw::draw64(y);
    else
      return Hw::draw32(y);
  };
  if (once(x)) return RNX_STATUS_OK;
  for (uint32_t tries = 1;; ++tries) {
    const bool ok = once(x);
    if (tries >= retries) return RNX_STATUS_RDRAND_RETRIES;
    if (ok) return RNX_STATUS_OK;
  }
}

// Two numbers per 64-bit draw (low half first) through put(i, half), an odd last one from a
// 32-bit draw.
template <class Hw, class Put>
int pairs(StreamState *stream, int n, const Put &put) {
  if (!Hw::rdrand()) return RNX_STATUS_NO_RDRAND;
  const uint32_t retries = state_of<State>(stream).retries;
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    uint64_t y;
    if (int st = draw<Hw>(retries, &y); st != RNX_STATUS_OK) return st;
    put(i, static_cast<uint32_t>(y));
    put(i + 1, static_cast<uint32_t>(y >> 32));
  }
  if (i < n) {
    uint32_t y;
    if (int st = draw<Hw>(retries, &y); st != RNX_STATUS_OK) return st;
    put(i, y);
  }
  return RNX_STATUS_OK;
}

template <class Hw>
int igen(StreamState *stream, int n, uint32_t *r) {
  return pairs<Hw>(stream, n, [r](int i, uint32_t h) { r[i] = h; });
}

template <class Hw>
int sgen(StreamState *stream, int n, float *r, float a, float b) {
  const float scale = (b - a) * 0x1p-32f;
  return pairs<Hw>(stream, n, [=](int i, uint32_t h) { r[i] = static_cast<float>(h) * scale + a; });
}

// One 64-bit draw per number: y (b - a) 2^-64 + a.
template <class Hw>
int dgen(StreamState *stream, int n, double *r, double a, double b) {
  if (!Hw::rdrand()) return RNX_STATUS_NO_RDRAND;
  const uint32_t retries = state_of<State>(stream).retries;
  const double scale = (b - a) * 0x1p-64;
  for (int i = 0; i < n; ++i) {
    uint64_t y;
    if (int st = draw<Hw>(retries, &y); st != RNX_STATUS_OK) return st;
    r[i] = static_cast<double>(y) * scale + a;
  }
  return RNX_STATUS_OK;
}

// Seeding works on any processor: word 1, if given and not 0, is the retry limit.
inline int init(int method, StreamState *stream, int n, const void *params) {
  if (method != RNX_METHOD_INIT) return lacking(method);
  const auto *w = static_cast<const uint32_t *>(params);
  state_of<State>(stream) = {0, n >= 2 && w[1] != 0 ? w[1] : kDefaultRetries};
  return RNX_STATUS_OK;
}

}  // namespace zyn::rng::trng
