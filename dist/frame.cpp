// The distribution call frame: see frame.hpp.
#include "dist/frame.hpp"

#include <algorithm>
#include <cstddef>

#include "frame/core_link.hpp"
#include "vector/explog/ln_core.hpp"

namespace zyn::dist {

template <class T>
int GaussianCallback(ErrorContext *c) {
  double v;
  if (c->code == STATUS_SINGULARITY && c->arg1 == 0.0)
    v = Constants<T>::kLnZero;
  else if (c->code == STATUS_SINGULARITY)
    v = !(c->arg1 < 0.0) ? Constants<T>::kErfInvOne : -Constants<T>::kErfInvOne;
  else if (c->code == STATUS_DOMAIN)
    v = c->arg1 >= 0.0 ? Constants<T>::kErfInvOne : -Constants<T>::kErfInvOne;
  else
    return 0;
  c->res1 = c->res2 = v;
  return 0;
}

template <class T>
int ExponentialCallback(ErrorContext *c) {
  c->res1 = c->res2 = Constants<T>::kLnZero;
  return 0;
}

template int GaussianCallback<float>(ErrorContext *);
template int GaussianCallback<double>(ErrorContext *);
template int ExponentialCallback<float>(ErrorContext *);
template int ExponentialCallback<double>(ErrorContext *);

FrameState OpenFrame(VexErrorCallBack callback) {
  FrameState f{};
  asm volatile("fnclex\n\tfnstcw %0" : "=m"(f.x87) : : "memory");
  const uint16_t x87 = static_cast<uint16_t>(f.x87 | 0x3f);
  if (x87 != f.x87) {
    asm volatile("fldcw %0" : : "m"(x87) : "memory");
    f.changed |= 1;
  }
  f.mxcsr = _mm_getcsr();
  if ((f.mxcsr | 0x1f80u) != f.mxcsr) {
    _mm_setcsr(f.mxcsr | 0x1f80u);
    f.changed |= 2;
  }
  f.mode = _vexSetMode(VEX_ERRMODE_CALLBACK);
  f.callback = _vexSetErrorCallBack(callback);
  return f;
}

void CloseFrame(const FrameState &f) {
  _vexSetErrorCallBack(f.callback);
  _vexSetMode(f.mode);
  asm volatile("fnclex" : : : "memory");
  if (f.changed & 1) asm volatile("fldcw %0" : : "m"(f.x87) : "memory");
  if (f.changed & 2) _mm_setcsr(f.mxcsr);
}

const BrngEntry &RowOf(const StreamState *stream) {
  int row, sub;
  const BrngEntry *table = __rnxGetBrngBaseOffset(stream->brngId, &row, &sub);
  return table[row];
}

template <class T>
int Uniform(int method, StreamState *stream, int n, T *r, T a, T b) {
  const BrngEntry &row = RowOf(stream);
  int status;
  if constexpr (std::is_same_v<T, double>)
    status = row.dGen(stream, n, r, a, b);
  else
    status = row.sGen(stream, n, r, a, b);
  if (status >= 0 && (method & RNX_METHOD_ACCURATE) && n > 0)
    for (int i = 0; i < n; ++i) r[i] = std::min(b, std::max(a, r[i]));
  return status;
}
template int Uniform<float>(int, StreamState *, int, float *, float, float);
template int Uniform<double>(int, StreamState *, int, double *, double, double);

template <class T>
int CarryChunk(StreamState *stream, int id, int count, T init, T **data) {
  if (void *found = __rnxSearchChunk(stream, id)) {
    *data = static_cast<T *>(found);
    return RNX_STATUS_OK;
  }
  const int bytes = count * static_cast<int>(sizeof(T));
  T *block = static_cast<T *>(core::zyn_serv_allocate(static_cast<size_t>(bytes), 128));
  if (block == nullptr) return RNX_STATUS_NO_MEMORY;
  std::fill(block, block + count, init);
  const int status = __rnxAddChunk(stream, id, nullptr, block, bytes);
  if (status < 0) {
    core::zyn_serv_deallocate(block);
    return status;
  }
  *data = block;
  return RNX_STATUS_OK;
}
template int CarryChunk<float>(StreamState *, int, int, float, float **);
template int CarryChunk<double>(StreamState *, int, int, double, double **);

namespace {
inline __m128 Load(const float *p) { return _mm_load_ps(p); }
inline __m128d Load(const double *p) { return _mm_load_pd(p); }
inline void Store(float *p, __m128 v) { _mm_store_ps(p, v); }
inline void Store(double *p, __m128d v) { _mm_store_pd(p, v); }
inline __m128 Splat(float x) { return _mm_set1_ps(x); }
inline __m128d Splat(double x) { return _mm_set1_pd(x); }
inline __m128 MulAdd(__m128 x, __m128 s, __m128 a) { return _mm_add_ps(_mm_mul_ps(x, s), a); }
inline __m128d MulAdd(__m128d x, __m128d s, __m128d a) { return _mm_add_pd(_mm_mul_pd(x, s), a); }
}  // namespace

// Lanes round exactly as the scalar x * s + a (no contraction), so the path taken never changes
// a result.
template <class T>
void ScaleShift(T *r, int n, T s, T a) {
  constexpr int kLanes = 16 / sizeof(T);
  int i = 0;
  if (n >= 8 && reinterpret_cast<uintptr_t>(r) % sizeof(T) == 0) {
    for (; i < n && reinterpret_cast<uintptr_t>(r + i) % 16 != 0; ++i) r[i] = r[i] * s + a;
    const auto vs = Splat(s), va = Splat(a);
    for (; i + 8 <= n; i += 8)
      for (int k = 0; k < 8; k += kLanes) Store(r + i + k, MulAdd(Load(r + i + k), vs, va));
    for (; i + kLanes <= n; i += kLanes) Store(r + i, MulAdd(Load(r + i), vs, va));
  }
  for (; i < n; ++i) r[i] = r[i] * s + a;
}
template void ScaleShift<float>(float *, int, float, float);
template void ScaleShift<double>(double *, int, double, double);

// ==== transformation and gamma families =====================================================

template <class T>
int LogCallback(ErrorContext *c) {
  if (c->code == STATUS_SINGULARITY) c->res1 = c->res2 = Constants<T>::kLnZero;
  return 0;
}
template int LogCallback<float>(ErrorContext *);
template int LogCallback<double>(ErrorContext *);

template <class T>
T ScalarLn(T x) {
  double y;
  if (vk::ln_scalar_d(static_cast<double>(x), &y) == STATUS_SINGULARITY) return Constants<T>::kLnZero;
  return static_cast<T>(y);
}
template float ScalarLn<float>(float);
template double ScalarLn<double>(double);

template <class T>
void ScalarLn2(T a, T b, T *ln_a, T *ln_b) {
  const __m128d x = _mm_setr_pd(static_cast<double>(a), static_cast<double>(b));
  if (vk::bad_not_positive_normal(x) != 0) {
    *ln_a = ScalarLn(a);
    *ln_b = ScalarLn(b);
    return;
  }
  __m128d hi, lo;
  vk::ln_parts<true>(x, vk::ln_biased_exponent(x), hi, lo);
  alignas(16) double y[2];
  _mm_store_pd(y, _mm_add_pd(hi, lo));
  *ln_a = static_cast<T>(y[0]);
  *ln_b = static_cast<T>(y[1]);
}
template void ScalarLn2<float>(float, float, float *, float *);
template void ScalarLn2<double>(double, double, double *, double *);

// ==== end of transformation and gamma families ==============================================

}  // namespace zyn::dist
