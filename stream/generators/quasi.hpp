// The base-2 quasi-random engine shared by Sobol and Niederr: Gray-code stepping, the three
// outputs, leapfrog to one coordinate, skip-ahead and the threaded stripes. The generators differ
// only in how they make direction numbers and where they keep them (View).
//
// Point c (count c, from 1) is x(c) = xor of v_i over the set bits i of gray(c) = c ^ (c >> 1);
// stepping from c to c + 1 flips bit r(c), the lowest zero bit of c, so x ^= v_r(c).
#pragma once

#include <smmintrin.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstddef>
#include <cstring>
#include <utility>

#include "frame/core_link.hpp"
#include "stream/generators/common.hpp"
#include "zyn/core.h"

namespace zyn::rng::quasi {

constexpr uint32_t kNoLeap = 0xFFFFFFFFu;
constexpr uint32_t kLastCount = 0xFFFFFFFFu;
constexpr int32_t kLeapMagic = 0x7FFFFFFF;
constexpr int kStripe = 32;  // dimensions per thread task

struct Head {
  uint32_t count;    // index of the current point, 1 after seeding
  int32_t dim;
  uint32_t leapDim;  // the coordinate chosen by leapfrog, kNoLeap if none
  uint32_t pending;  // components of the current point not yet delivered
};

// The record: x and the vT rows start on 64-byte lines of the 128-aligned stream block.
template <int Room, int Row>
struct Record {
  static constexpr int kRoom = Room, kRow = Row;
  static constexpr int kPad =
      (64 - (64 + 4 * Row + 4 * 33 * Room) % 64) % 64 / 4;
  Head h;
  uint32_t pad0[8];
  uint32_t x[Row];
  uint32_t v[33 * Room];  // 32 direction numbers per dimension, stride 33
  uint32_t pad1[kPad];
  uint32_t vT[32 * Row];  // row i: direction number i of every dimension
};

// Where a stream's numbers are for this call.
struct View {
  Head *h;
  uint32_t *x;
  const uint32_t *v;
  int vs;              // stride of v between dimensions
  const uint32_t *vT;  // null: step by columns of v
  int ts;              // stride of vT between rows
  uint32_t dir(int j, int i) const { return v[size_t(j) * vs + i]; }
};

// A dimension beyond the record's room lives in chunks: without them (deleted by the caller) the
// view is empty, h null, and the entries refuse the stream rather than read past the record.
template <class R>
View record_view(R &s) {
  static_assert((sizeof(StreamState) + offsetof(R, x)) % 64 == 0 &&
                (sizeof(StreamState) + offsetof(R, vT)) % 64 == 0);
  if (s.h.dim > R::kRoom) return {};
  return {&s.h, s.x, s.v, 33, s.vT, R::kRow};
}

inline int low_zero(uint32_t c) { return std::countr_one(c) & 31; }

// ---- outputs: 31 bits, x >> 1, scaled by (b - a) 2^-31 ----

struct DOut {
  double *r;
  double scale, shift;
  void one(int i, uint32_t x) const { r[i] = static_cast<double>(x >> 1) * scale + shift; }
  void four(int i, __m128i v) const {
    v = _mm_srli_epi32(v, 1);
    const __m128d s = _mm_set1_pd(scale), t = _mm_set1_pd(shift);
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(v), s), t));
    _mm_storeu_pd(r + i + 2, _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), s), t));
  }
};

// Wholly single: the rounding of (x >> 1) to float may carry the result to b.
struct SOut {
  float *r;
  float scale, shift;
  void one(int i, uint32_t x) const {
    r[i] = static_cast<float>(static_cast<int32_t>(x >> 1)) * scale + shift;
  }
  void four(int i, __m128i v) const {
    __m128 f = _mm_cvtepi32_ps(_mm_srli_epi32(v, 1));
    _mm_storeu_ps(r + i, _mm_add_ps(_mm_mul_ps(f, _mm_set1_ps(scale)), _mm_set1_ps(shift)));
  }
};

inline DOut dout(double *r, double a, double b) { return {r, (b - a) * 0x1p-31, a}; }
inline SOut sout(float *r, float a, float b) { return {r, (b - a) * 0x1p-31f, a}; }

// ---- whole points ----

inline void xor_row(uint32_t *x, const uint32_t *row, int n) {
  int j = 0;
  auto x4 = [&](int k) {
    auto *p = reinterpret_cast<__m128i *>(x + k);
    _mm_storeu_si128(p, _mm_xor_si128(_mm_loadu_si128(p),
                                      _mm_loadu_si128(reinterpret_cast<const __m128i *>(row + k))));
  };
  for (; j + 8 <= n; j += 8) x4(j), x4(j + 4);
  for (; j + 4 <= n; j += 4) x4(j);
  for (; j < n; ++j) x[j] ^= row[j];
}

// Components j0 .. j0 + len of p points from count c, kept in xs, written at at + k dim + j.
template <class Out>
void stripe_points(const View &w, uint32_t *xs, int j0, int len, uint32_t c, int p, int at,
                   const Out &o) {
  const Out out = o;
  const int d = w.h->dim;
  for (int k = 0; k < p; ++k, at += d, ++c) {
    emit_words(out, at + j0, xs, len);
    const int r = low_zero(c);
    if (w.vT != nullptr) {
      xor_row(xs, w.vT + size_t(r) * w.ts + j0, len);
    } else {
      for (int j = 0; j < len; ++j) xs[j] ^= w.dir(j0 + j, r);
    }
  }
}

// Dimensions 1 to 15: the point lives in registers.
template <int D, class Out>
void small_points(const View &w, int p, int at, const Out &o) {
  const Out out = o;  // a local copy: the stores can't alias it
  uint32_t x[D];
  std::memcpy(x, w.x, sizeof x);
  uint32_t c = w.h->count;
  for (int k = 0; k < p; ++k, at += D, ++c) {
    emit_words(out, at, x, D);
    const uint32_t *row = w.vT + size_t(low_zero(c)) * w.ts;
    for (int j = 0; j < D; ++j) x[j] ^= row[j];
  }
  std::memcpy(w.x, x, sizeof x);
}

template <class Out>
using SmallFn = void (*)(const View &, int, int, const Out &);

template <class Out, size_t... D>
constexpr auto small_table(std::index_sequence<D...>) {
  return std::array<SmallFn<Out>, sizeof...(D)>{&small_points<int(D) + 1, Out>...};
}

// Fewest whole points of a call that are worth threads, by dimension.
inline int64_t thread_threshold(int d) {
  if (d < 64) return INT64_MAX;
  if (d < 250) return 0x20000;
  if (d < 500) return 0x2000;
  if (d < 1000) return 0x100;
  if (d < 2000) return 0x40;
  if (d < 4000) return 0x20;
  if (d < 16000) return 8;
  if (d < 32000) return 2;
  return 1;
}

template <class Out>
struct StripeJob {
  const View *w;
  int p, at;
  const Out *out;
};

template <class Out>
void stripe_task(int64_t t, int, void *context) {
  const auto &job = *static_cast<const StripeJob<Out> *>(context);
  const int j0 = int(t) * kStripe, len = std::min(kStripe, job.w->h->dim - j0);
  uint32_t xs[kStripe];
  std::memcpy(xs, job.w->x + j0, 4 * size_t(len));
  stripe_points(*job.w, xs, j0, len, job.w->h->count, job.p, job.at, *job.out);
  std::memcpy(job.w->x + j0, xs, 4 * size_t(len));
}

using ForFn = int (*)(int64_t, int, void *, zyn_loop_body, ...);
using LimitFn = int (*)(void);

// Runs the stripes on the pool when the core library offers one with more than one thread.
template <class Out>
bool threaded_points(const View &w, int p, int at, const Out &out) {
  if (p < thread_threshold(w.h->dim)) return false;
  auto limit = reinterpret_cast<LimitFn>(
      zyn::core::zyn_serv_load_thread_fun("zyn_rnx_serv_threader_get_num_threads_limit"));
  auto loop = reinterpret_cast<ForFn>(
      zyn::core::zyn_serv_load_thread_fun("zyn_rnx_serv_threader_for"));
  if (limit == nullptr || loop == nullptr || limit() <= 1) return false;
  StripeJob<Out> job{&w, p, at, &out};
  loop((w.h->dim + kStripe - 1) / kStripe, 0, &job, &stripe_task<Out>);
  return true;
}

template <class Out>
void whole_points(const View &w, int p, int at, const Out &out) {
  const int d = w.h->dim;
  if (d < 16) {
    static constexpr auto kSmall = small_table<Out>(std::make_index_sequence<15>());
    kSmall[d - 1](w, p, at, out);
  } else if (!threaded_points(w, p, at, out)) {
    stripe_points(w, w.x, 0, d, w.h->count, p, at, out);
  }
  w.h->count += uint32_t(p);
}

inline void step(const View &w) {
  const int r = low_zero(w.h->count++);
  if (w.vT != nullptr) {
    xor_row(w.x, w.vT + size_t(r) * w.ts, w.h->dim);
  } else {
    for (int j = 0; j < w.h->dim; ++j) w.x[j] ^= w.dir(j, r);
  }
}

template <class Out>
int run(const View &w, int n, const Out &out) {
  Head &h = *w.h;
  if (int64_t{h.count} + n > int64_t{kLastCount}) return RNX_STATUS_QRNG_END;
  if (n <= 0) return RNX_STATUS_OK;
  if (h.leapDim != kNoLeap) {
    const int k = int(h.leapDim);
    uint32_t x = w.x[k], c = h.count;
    for (int i = 0; i < n; ++i, ++c) {
      out.one(i, x);
      x ^= w.dir(k, low_zero(c));
    }
    w.x[k] = x, h.count = c;
    return RNX_STATUS_OK;
  }
  const int d = h.dim;
  int i = 0;
  if (h.pending != 0) {
    const int take = std::min<int64_t>(n, h.pending);
    emit_words(out, 0, w.x + (d - int(h.pending)), take);
    if (uint32_t(n) < h.pending) {
      h.pending -= uint32_t(n);
      return RNX_STATUS_OK;
    }
    i = take;
    h.pending = 0;
    step(w);
  }
  const int p = (n - i) / d;
  whole_points(w, p, i, out);
  i += p * d;
  if (i < n) {
    emit_words(out, i, w.x, n - i);
    h.pending = uint32_t(d - (n - i));
  }
  return RNX_STATUS_OK;
}

// ---- seeding's common end, leapfrog, skip-ahead ----

// Fills vT from v (when there is a vT) and sets the first point.
inline void start(const View &w, uint32_t *vT) {
  const int d = w.h->dim;
  for (int j = 0; j < d; ++j) {
    w.x[j] = w.dir(j, 0);
    if (vT != nullptr)
      for (int i = 0; i < 32; ++i) vT[size_t(i) * w.ts + j] = w.dir(j, i);
  }
  w.h->count = 1;
  w.h->pending = 0;
  w.h->leapDim = kNoLeap;
}

// x of dimension k at count c: v_0 if c is odd, and v_i ^ v_(i-1) for each set bit i > 0.
inline uint32_t point_at(const View &w, int k, uint32_t c) {
  uint32_t x = (c & 1) != 0 ? w.dir(k, 0) : 0;
  for (int i = 1; i < 32; ++i)
    if ((c >> i) & 1) x ^= w.dir(k, i) ^ w.dir(k, i - 1);
  return x;
}

inline int leapfrog(const View &w, int nstreams, int32_t k) {
  Head &h = *w.h;
  if (nstreams != kLeapMagic || k < 0 || k >= h.dim) return RNX_STATUS_NO_LEAPFROG;
  if (h.leapDim == uint32_t(k)) return RNX_STATUS_OK;
  if (h.leapDim == kNoLeap) {
    if (h.pending != 0 && k < h.dim - int(h.pending)) {
      w.x[k] ^= w.dir(k, low_zero(h.count));
      ++h.count;
    }
  } else {
    // Switching coordinates moves on one point, as the coordinate in hand has been delivered.
    ++h.count;
    w.x[k] = point_at(w, k, h.count);
  }
  h.pending = 0;
  h.leapDim = uint32_t(k);
  return RNX_STATUS_OK;
}

// Skip by N numbers in O(log t) per dimension: from c, an odd t takes v_r(c); the remaining
// 2h points move count/2 by h, each set bit of h at level L flips v_(r(c2)+L) ^ v_(L-1).
// leapDim is not consulted: on a leapfrogged stream N counts numbers of whole points.
inline int skip(const View &w, int n, uint64_t N) {
  Head &h = *w.h;
  const uint64_t d = uint64_t(h.dim), q = N / d;
  if (n < 1 || q >= kLastCount || h.count + q >= kLastCount) return RNX_STATUS_NO_SKIP;
  if (N < h.pending) {
    h.pending -= uint32_t(N);
    return RNX_STATUS_OK;
  }
  uint64_t t = q, e = N - d * q;
  if (h.pending != 0) t = (N - h.pending) / d + 1, e = (N - h.pending) % d;
  if (t != 0) {
    for (int j = 0; j < h.dim; ++j) {
      uint32_t acc = 0, c = h.count;
      if (t & 1) acc = w.dir(j, low_zero(c++));
      uint32_t c2 = c / 2;
      for (uint64_t half = t / 2, level = 1; half != 0; half /= 2, ++level, c2 /= 2)
        if (half & 1) acc ^= w.dir(j, (low_zero(c2++) + int(level)) & 31) ^ w.dir(j, int(level) - 1);
      w.x[j] ^= acc;
    }
    h.count += uint32_t(t);
  }
  h.pending = e != 0 ? uint32_t(d - e) : 0;
  return RNX_STATUS_OK;
}

// The dimension by the seed words alone, falling back to 1 outside 1 .. max.
inline int plain_dim(int n, const uint32_t *p, int max) {
  if (n < 1) return 1;
  const int32_t d = int32_t(p[0]);
  return d >= 1 && d <= max ? d : 1;
}

// A user block is present: n > 1, word 0 positive, word 1 is 1 and a kind follows.
inline bool has_block(int n, const uint32_t *p) {
  return n >= 3 && int32_t(p[0]) > 0 && p[1] == 1;
}

// Whether words [from, from + count) lie within the n words given.
inline bool within(int n, uint64_t from, uint64_t count) { return from + count <= uint64_t(n); }

// A block of `bytes` for a direction table, written by fill(t) and added as the stream's chunk
// `id`, under a fresh shared id when `shared`; null when memory runs out.
template <class Fill>
uint32_t *add_table(StreamState *stream, int id, size_t bytes, bool shared, Fill fill) {
  auto *t = static_cast<uint32_t *>(zyn::core::zyn_serv_allocate(bytes, 128));
  if (t == nullptr) return nullptr;
  fill(t);
  uint64_t key[2];
  if (shared) __rnxGenerateNewGlobalRODataTableEntryId(key, reinterpret_cast<uintptr_t>(t));
  if (__rnxAddChunk(stream, id, shared ? key : nullptr, t, int(bytes)) != RNX_STATUS_OK) {
    zyn::core::zyn_serv_deallocate(t);
    return nullptr;
  }
  return t;
}

// The init entry and the three outputs of a generator with a view function and a seeding function.
#define ZYN_QUASI_ENTRIES(name, view, seed)                                                        \
  ZYN_API int __rnxBRng##name##InitStream(int method, StreamState *stream, int n,                  \
                                          const void *params) {                                    \
    if (method == RNX_METHOD_INIT) return seed(stream, n, static_cast<const uint32_t *>(params));  \
    if (method != RNX_METHOD_LEAPFROG && method != RNX_METHOD_SKIP)                                \
      return zyn::rng::lacking(method);                                                            \
    const zyn::rng::quasi::View w = view(stream);                                                  \
    if (w.h == nullptr) return RNX_STATUS_BAD_BRNG;                                                \
    return method == RNX_METHOD_LEAPFROG                                                           \
               ? zyn::rng::quasi::leapfrog(w, n, zyn::rng::leapfrog_k(params))                     \
               : zyn::rng::quasi::skip(w, n, zyn::rng::skip_count(params));                        \
  }                                                                                                \
  ZYN_API int __rnxiBRng##name(StreamState *stream, int n, uint32_t *r) {                          \
    const zyn::rng::quasi::View w = view(stream);                                                  \
    return w.h ? zyn::rng::quasi::run(w, n, zyn::rng::U32Out{r}) : RNX_STATUS_BAD_BRNG;            \
  }                                                                                                \
  ZYN_API int __rnxdBRng##name(StreamState *stream, int n, double *r, double a, double b) {        \
    const zyn::rng::quasi::View w = view(stream);                                                  \
    return w.h ? zyn::rng::quasi::run(w, n, zyn::rng::quasi::dout(r, a, b)) : RNX_STATUS_BAD_BRNG; \
  }                                                                                                \
  ZYN_API int __rnxsBRng##name(StreamState *stream, int n, float *r, float a, float b) {           \
    const zyn::rng::quasi::View w = view(stream);                                                  \
    return w.h ? zyn::rng::quasi::run(w, n, zyn::rng::quasi::sout(r, a, b)) : RNX_STATUS_BAD_BRNG; \
  }

}  // namespace zyn::rng::quasi
