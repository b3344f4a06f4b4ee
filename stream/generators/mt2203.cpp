// MT2203: 6024 twisters of period 2^2203 - 1 for parallel streams, N 69, M 34, five lower bits,
// tempering shifts 12, 7, 15, 18; set s has its own matrix a and tempering masks b, c, copied
// from row s of the table into the state at seeding. Sets, not positions in one sequence, are
// the parallel streams here: no skip-ahead, no leapfrog. Double outputs read the word as signed
// after removing 2^31 and add the midpoint of [a, b).
#include <array>

#include "stream/generators/twister.hpp"

namespace {

using namespace zyn::rng;
constexpr int kN = 69;
using T = Twister<kN, 34, 5, 12>;

struct State {
  uint32_t w[kN];
  int32_t idx;
  uint32_t a, b, c;
  uint32_t unused;
};
static_assert(sizeof(StreamState) + sizeof(State) == 312);

struct Row {
  uint32_t a, b, c;
};

// Rows made by tools/mt2203_table; a set without a row (a = 0) is not generated yet.
constexpr std::array<Row, RNX_MT2203_SUBSTREAMS> make_table() {
  std::array<Row, RNX_MT2203_SUBSTREAMS> t{};
#define ZYN_MT2203_ROW(i, a, b, c) t[i] = Row{a, b, c};
#include "stream/generators/mt2203_table.inc"
#undef ZYN_MT2203_ROW
  return t;
}
constexpr std::array<Row, RNX_MT2203_SUBSTREAMS> kTable = make_table();

template <class Out>
int run(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  T::run(s.w, s.idx, n, out, s.a, s.b, s.c);
  return RNX_STATUS_OK;
}

constexpr uint32_t kSignFlip = 0x80000000;

}  // namespace

extern "C" {

ZYN_API int __rnxBRngMT2203InitStream(int method, StreamState *stream, int n, const void *params) {
  if (method != RNX_METHOD_INIT) return lacking(method);
  const Row &row = kTable[size_t(resolve(stream->brngId).sub)];
  if (row.a == 0) return RNX_STATUS_BAD_BRNG;
  State &s = state_of<State>(stream);
  T::seed(s.w, n, static_cast<const uint32_t *>(params));
  s.idx = kN;
  s.a = row.a;
  s.b = row.b;
  s.c = row.c;
  return RNX_STATUS_OK;
}

ZYN_API int __rnxiBRngMT2203(StreamState *stream, int n, uint32_t *r) {
  return run(stream, n, U32Out{r});
}

ZYN_API int __rnxdBRngMT2203(StreamState *stream, int n, double *r, double a, double b) {
  return run(stream, n, signed_out(r, a, b, kSignFlip));
}

ZYN_API int __rnxsBRngMT2203(StreamState *stream, int n, float *r, float a, float b) {
  return run(stream, n, signed_out(r, double(a), double(b), kSignFlip));
}

}  // extern "C"
