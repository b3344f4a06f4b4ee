// Abstract streams: numbers from a caller's ring buffer, refilled by the caller's callback when
// it runs dry. The integer kind copies words; the double and single kinds map the buffer's range
// [low, high) to the call's [a, b) with the quotient fixed once per call in their precision.
#include <algorithm>
#include <type_traits>

#include "stream/generators/common.hpp"

namespace {

using namespace zyn::rng;

// The state behind the header. Ranges are absent (Range<void>) for the integer kind.
template <class T>
struct Range {
  T low, high;
};
template <>
struct Range<uint32_t> {};

template <class T, class Callback>
struct State {
  int32_t size;
  int32_t pos;   // ring index of the next number to deliver
  int32_t used;  // free slots: delivered numbers, out of date
  [[no_unique_address]] Range<T> range;
  T *buffer;
  Callback callback;
};
using IState = State<uint32_t, RnxIAbstractCallback>;
using DState = State<double, RnxDAbstractCallback>;
using SState = State<float, RnxSAbstractCallback>;
static_assert(sizeof(StreamState) + sizeof(IState) == 48 && sizeof(StreamState) + sizeof(DState) == 64 &&
              sizeof(StreamState) + sizeof(SState) == 56);

// Copies words.
struct Copy {
  void operator()(uint32_t *r, const uint32_t *u, int n) const { std::copy(u, u + n, r); }
};

// r = (u - low) q + a, q = (b - a) / (high - low); four at a time.
template <class T>
struct Map {
  T low, q, a;
  void operator()(T *r, const T *u, int n) const {
    int i = 0;
    for (; i + 4 <= n; i += 4)
      for (int j = 0; j < 4; ++j) r[i + j] = (u[i + j] - low) * q + a;
    for (; i < n; ++i) r[i] = (u[i] - low) * q + a;
  }
};

// Delivers n numbers of the ring from index `from`: at most two contiguous pieces.
template <class T, class C, class Deliver>
void deliver(const State<T, C> &s, int from, int n, T *r, const Deliver &put) {
  const int first = std::min(n, s.size - from);
  put(r, s.buffer + from, first);
  put(r + first, s.buffer, n - first);
}

template <class T, class C, class Deliver>
int generate(StreamState *stream, int n, T *r, const Deliver &put) {
  auto &s = state_of<State<T, C>>(stream);
  if (s.buffer == nullptr) return RNX_STATUS_NULL_FUNCTION;
  if (n <= 0) return RNX_STATUS_OK;
  const int avail = s.size - s.used;
  if (n <= avail) {
    deliver(s, s.pos, n, r, put);
    s.pos = (s.pos + n) % s.size;
    s.used += n;
    return RNX_STATUS_OK;
  }
  deliver(s, s.pos, avail, r, put);
  int done = avail, start = (avail + s.pos) % s.size, free = s.size, pos = start;
  while (done < n) {
    // The callback gets copies: what it writes to them is not read back.
    const int at = start;
    int size = s.size, count = std::min(free, n - done), room = free, from = start;
    const int k = s.callback(stream, &size, s.buffer, &count, &room, &from);
    if (k < 0 || k > free) return RNX_STATUS_CALLBACK_COUNT;
    if (k == 0) return RNX_STATUS_CALLBACK_EMPTY;
    const int d = std::min(k, n - done);
    deliver(s, at, d, r + done, put);
    done += d;
    start = (at + k) % s.size;
    free = free - k + d;
    pos = (at + d) % s.size;
  }
  s.pos = pos;
  s.used = free;
  return RNX_STATUS_OK;
}

// Seeding from the table of pointers: size, buffer, then the callback (integer kind) or low,
// high and the callback.
template <class T, class C>
int init(int method, StreamState *stream, const void *params) {
  if (method != RNX_METHOD_INIT) return lacking(method);
  auto *p = static_cast<void *const *>(params);
  auto &s = state_of<State<T, C>>(stream);
  s = {};
  s.size = *static_cast<const int *>(p[0]);
  s.pos = 0;
  s.used = s.size;
  s.buffer = static_cast<T *>(p[1]);
  if constexpr (std::is_same_v<T, uint32_t>) {
    s.callback = reinterpret_cast<C>(p[2]);
  } else {
    s.range = {*static_cast<const T *>(p[2]), *static_cast<const T *>(p[3])};
    s.callback = reinterpret_cast<C>(p[4]);
  }
  return RNX_STATUS_OK;
}

template <class T>
Map<T> map_of(StreamState *stream, T a, T b) {
  using C = std::conditional_t<std::is_same_v<T, double>, RnxDAbstractCallback, RnxSAbstractCallback>;
  const auto &s = state_of<State<T, C>>(stream);
  return {s.range.low, (b - a) / (s.range.high - s.range.low), a};
}

// Header, then the row's seeding with the table of pointers (n: its size in 32-bit words).
int make(StreamState **stream, int id, void **table, int n) {
  zyn::rng::Resolved r = zyn::rng::resolve(id);
  if (int status = __rnxAllocateStream(stream, r.table, id, r.row, r.sub); status != RNX_STATUS_OK)
    return status;
  return r.entry().init(RNX_METHOD_INIT, *stream, n, table);
}

template <class T, class C>
int make_ranged(StreamState **stream, int id, int size, T *buffer, T low, T high, C callback) {
  if (size <= 0 || buffer == nullptr || callback == nullptr || !(low < high))
    return RNX_STATUS_BAD_ABSTRACT_ARG;
  void *table[5] = {&size, buffer, &low, &high, reinterpret_cast<void *>(callback)};
  return make(stream, id, table, 10);
}

}  // namespace

extern "C" {

ZYN_API int __rnxiNewAbstractStream(StreamState **stream, int size, uint32_t *buffer,
                                    RnxIAbstractCallback callback) {
  if (size <= 0 || buffer == nullptr || callback == nullptr) return RNX_STATUS_BAD_ABSTRACT_ARG;
  void *table[3] = {&size, buffer, reinterpret_cast<void *>(callback)};
  return make(stream, RNX_BRNG_IABSTRACT, table, 6);
}
ZYN_API int __rnxdNewAbstractStream(StreamState **stream, int size, double *buffer, double low,
                                    double high, RnxDAbstractCallback callback) {
  return make_ranged(stream, RNX_BRNG_DABSTRACT, size, buffer, low, high, callback);
}
ZYN_API int __rnxsNewAbstractStream(StreamState **stream, int size, float *buffer, float low,
                                    float high, RnxSAbstractCallback callback) {
  return make_ranged(stream, RNX_BRNG_SABSTRACT, size, buffer, low, high, callback);
}

ZYN_API int __rnxBRngiAbstractInitStream(int method, StreamState *stream, int, const void *params) {
  return init<uint32_t, RnxIAbstractCallback>(method, stream, params);
}
ZYN_API int __rnxBRngdAbstractInitStream(int method, StreamState *stream, int, const void *params) {
  return init<double, RnxDAbstractCallback>(method, stream, params);
}
ZYN_API int __rnxBRngsAbstractInitStream(int method, StreamState *stream, int, const void *params) {
  return init<float, RnxSAbstractCallback>(method, stream, params);
}

ZYN_API int __rnxiBRngiAbstract(StreamState *stream, int n, uint32_t *r) {
  return generate<uint32_t, RnxIAbstractCallback>(stream, n, r, Copy{});
}
ZYN_API int __rnxdBRngdAbstract(StreamState *stream, int n, double *r, double a, double b) {
  return generate<double, RnxDAbstractCallback>(stream, n, r, map_of(stream, a, b));
}
ZYN_API int __rnxsBRngsAbstract(StreamState *stream, int n, float *r, float a, float b) {
  return generate<float, RnxSAbstractCallback>(stream, n, r, map_of(stream, a, b));
}

// The one stub of the wrong kinds, under its six names.
ZYN_API int __rnxsBRngiAbstract(StreamState *, int, float *, float, float) {
  return RNX_STATUS_WRONG_ABSTRACT;
}
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattribute-alias"
#define ZYN_WRONG_KIND(name, ...) \
  ZYN_API int name(__VA_ARGS__) __attribute__((alias("__rnxsBRngiAbstract")));
ZYN_WRONG_KIND(__rnxsBRngdAbstract, StreamState *, int, float *, float, float)
ZYN_WRONG_KIND(__rnxdBRngiAbstract, StreamState *, int, double *, double, double)
ZYN_WRONG_KIND(__rnxdBRngsAbstract, StreamState *, int, double *, double, double)
ZYN_WRONG_KIND(__rnxiBRngdAbstract, StreamState *, int, uint32_t *)
ZYN_WRONG_KIND(__rnxiBRngsAbstract, StreamState *, int, uint32_t *)
#undef ZYN_WRONG_KIND
#pragma GCC diagnostic pop

}  // extern "C"
