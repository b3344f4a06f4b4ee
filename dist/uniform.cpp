// The uniform family: real uniforms straight from the generator row, integers by flooring double
// uniforms, and the generator's raw bits at its own or at a fixed word width.
#include <algorithm>
#include <cmath>

#include "dist/frame.hpp"

namespace zyn::dist {
namespace {

// How a generator row gives full-width 32-bit words.
enum class Wide : uint8_t {
  None,      // fewer than 32 uniform bits per word, or no fixed output: RNX_STATUS_NO_BITS
  High59,    // 64-bit words of 59 bits: the high 32 of each
  Straight,  // its words are uniform 32-bit words already
};

// By row of the registry (rows 0..15); user rows and rows beyond give None.
constexpr Wide kWide[RNX_REG_BUILTIN_ROWS] = {
    Wide::None,     Wide::None,     Wide::None,     Wide::High59,    // MCG31M1 R250 MRG32K3A MCG59
    Wide::None,     Wide::None,     Wide::None,     Wide::Straight,  // WH Sobol Niederr MT19937
    Wide::Straight, Wide::None,     Wide::None,     Wide::None,      // MT2203, the abstract streams
    Wide::Straight, Wide::Straight, Wide::Straight, Wide::Straight,  // SFMT19937 TRNG ARS5 PHILOX
};

Wide WideOf(const StreamState *stream) {
  int row, sub;
  __rnxGetBrngBaseOffset(stream->brngId, &row, &sub);
  return row >= 0 && row < RNX_REG_BUILTIN_ROWS ? kWide[row] : Wide::None;
}

// `count` 32-bit words from the high 32 bits of 59-bit words: bits 27 to 58.
int High59(StreamState *stream, int count, uint32_t *r) {
  constexpr int kWords = 2 * kBlock;
  alignas(16) uint64_t buffer[kWords];
  const BrngEntry &row = RowOf(stream);
  int status = RNX_STATUS_OK;
  for (int done = 0; done < count;) {
    const int m = std::min(count - done, kWords);
    status = row.iGen(stream, m, reinterpret_cast<uint32_t *>(buffer));
    if (status < 0) return status;
    for (int i = 0; i < m; ++i) r[done + i] = static_cast<uint32_t>(buffer[i] >> 27);
    done += m;
  }
  return status;
}

// `count` full-width 32-bit words; two per 64-bit word, low first.
int Words32(StreamState *stream, int count, uint32_t *r) {
  switch (WideOf(stream)) {
    case Wide::High59: return High59(stream, count, r);
    case Wide::Straight: return RowOf(stream).iGen(stream, count, r);
    case Wide::None: break;
  }
  return RNX_STATUS_NO_BITS;
}

}  // namespace
}  // namespace zyn::dist

using namespace zyn::dist;

ZYN_API int _rnxdRngUniform(int method, StreamState *stream, int n, double *r, double a, double b) {
  return Uniform<double>(method, stream, n, r, a, b);
}

ZYN_API int _rnxsRngUniform(int method, StreamState *stream, int n, float *r, float a, float b) {
  return Uniform<float>(method, stream, n, r, a, b);
}

// The bounds and their difference are doubles, so a = INT_MIN, b = INT_MAX can't overflow, and
// floor(x) for x in [a, b] always fits.
ZYN_API int _rnxiRngUniform(int, StreamState *stream, int n, int *r, int a, int b) {
  alignas(32) double buffer[kBlock];
  return UniformBlocks(stream, n, buffer, 1, double(a), double(b), [&](int done, int m) {
    for (int i = 0; i < m; ++i) r[done + i] = static_cast<int>(std::floor(buffer[i]));
  });
}

ZYN_API int _rnxiRngUniformBits(int, StreamState *stream, int n, unsigned int *r) {
  return RowOf(stream).iGen(stream, n, r);
}

ZYN_API int _rnxiRngUniformBits32(int, StreamState *stream, int n, unsigned int *r) {
  return Words32(stream, n, r);
}

ZYN_API int _rnxiRngUniformBits64(int, StreamState *stream, int n, uint64_t *r) {
  // 2n in 32-bit arithmetic, as the count of words.
  const int words = static_cast<int>(2u * static_cast<unsigned>(n));
  return Words32(stream, words, reinterpret_cast<uint32_t *>(r));
}
