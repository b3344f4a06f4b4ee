// The element loop of the complex rows: entry and exit of the floating-point state, one element
// at a time through the row's operation, and the report of a nonzero status with the element's
// number and the base pointers (for a strided call, element i of the vectors taken
// contiguously), through the complex reporter of the row's type.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "frame/report.hpp"
#include "vector/skeleton/fpenv.hpp"
#include "zyn/vex.h"

namespace zyn::vk::cx {

template <class R>
struct CxOf;
template <>
struct CxOf<float> {
  using type = ZynComplex8;
};
template <>
struct CxOf<double> {
  using type = ZynComplex16;
};

// A vector at a stride; inc 1 for a contiguous call.
template <class T>
struct Vec {
  T *p;
  int inc;
  T &operator[](int i) const { return p[static_cast<ptrdiff_t>(i) * inc]; }
};

template <class A, class R>
inline void report(int status, int i, const A *a1, const A *a2, R *r1, const char *name) {
  if constexpr (sizeof(A) == 4 || sizeof(R) == 4 || std::is_same_v<A, ZynComplex8>)
    frame::ReportErrorC(status, i, a1, a2, r1, r1, name);
  else
    frame::ReportErrorZ(status, i, a1, a2, r1, r1, name);
}

// Whether the floating-point state is the one error-free transformations and shifter constants
// assume: MXCSR rounding to nearest without flush-to-zero or denormals-are-zero, and the x87
// word rounding to nearest (a row that keeps the caller's x87 word rounds its scalar results
// there).
inline bool plain_nearest() {
  uint16_t cw;
  asm volatile("fnstcw %0" : "=m"(cw));
  return (_mm_getcsr() & (0x6000u | 0x8000u | 0x40u)) == 0 && (cw & 0xc00) == 0;
}

// Op::eval(x, w, r) returns the status; w is x for a function of one input, and a scalar
// second input is a vector of stride 0. An optional Op::vec(&x, &w, &r) computes the element
// the same way on SSE registers and returns false where the scalar path (and report) is due;
// an optional Op::vec2(&x, &r) does so for two elements of a one-input call (strided ones
// gathered into a pair), Op::vec2(&x, &w, &r) for two of a two-input call (gathered), and
// Op::vec4(&x, &r) for four of a one-input call (strided ones gathered). An Op with kNearestOnly runs its SSE forms only where plain_nearest()
// holds at entry; elsewhere every element takes the scalar path.
template <class Op, class In, class Out>
void each(int n, Vec<const In> a, Vec<const In> b, Vec<Out> y) {
  FpScope<Op::kX87, Op::kMx> fp;
  if constexpr (requires { &Op::parts; }) {  // a part-wise operation: contiguous vectors of parts
    if (a.inc == 1 && b.inc == 1 && y.inc == 1 && n > 0) return Op::parts(2 * n, &a.p->re, &b.p->re, &y.p->re);
  }
  bool fast = true;
  if constexpr (requires { Op::kNearestOnly; }) fast = plain_nearest();
  for (int i = 0; i < n; ++i) {
    if constexpr (requires { Op::vec4(&a[i], &y[i]); }) {  // four usual elements
      if (fast && i + 3 < n) {
        if (a.inc == 1 && y.inc == 1) {
          if (Op::vec4(&a[i], &y[i])) {
            i += 3;
            continue;
          }
        } else {
          const In four[4] = {a[i], a[i + 1], a[i + 2], a[i + 3]};
          Out r[4];
          if (Op::vec4(four, r)) {
            y[i] = r[0], y[i + 1] = r[1], y[i + 2] = r[2], y[i + 3] = r[3];
            i += 3;
            continue;
          }
        }
      }
    }
    if constexpr (requires { Op::vec2(&a[i], &y[i]); }) {  // two usual elements
      if (fast && i + 1 < n) {
        if (a.inc == 1 && y.inc == 1) {
          if (Op::vec2(&a[i], &y[i])) {
            ++i;
            continue;
          }
        } else if constexpr (requires { Op::kNearestOnly; }) {
          const In two[2] = {a[i], a[i + 1]};
          Out r[2];
          if (Op::vec2(two, r)) {
            y[i] = r[0], y[i + 1] = r[1];
            ++i;
            continue;
          }
        }
      }
    }
    if constexpr (requires { Op::vec2(&a[i], &b[i], &y[i]); }) {  // two usual elements, two inputs
      if (fast && i + 1 < n) {
        const In ta[2] = {a[i], a[i + 1]}, tb[2] = {b[i], b[i + 1]};
        Out r[2];
        if (Op::vec2(ta, tb, r)) {
          y[i] = r[0], y[i + 1] = r[1];
          ++i;
          continue;
        }
      }
    }
    if constexpr (requires { Op::vec(&a[i], &b[i], &y[i]); }) {  // an SSE form for the usual element
      if (fast && Op::vec(&a[i], &b[i], &y[i])) continue;
    }
    Out r;
    const int status = Op::eval(a[i], b[i], r);
    y[i] = r;
    if (status != 0) report(status, i, a.p, b.inc == 0 ? a.p : b.p, y.p, Op::kName);  // a scalar b: a twice
  }
}

// The entry kinds and name of a row.
template <X87Kind X, MxKind M, const char *N>
struct Kinds {
  static constexpr X87Kind kX87 = X;
  static constexpr MxKind kMx = M;
  static constexpr const char *kName = N;
};
template <class O, X87Kind X, MxKind M, const char *N>
struct Row : O, Kinds<X, M, N> {};

using C8 = ZynComplex8;
using C16 = ZynComplex16;
using LD = long double;

// One element's parts in an SSE register (re low, im high), c rows widened to double.
inline __m128d load(const C16 *p) { return _mm_loadu_pd(&p->re); }
inline __m128d load(const C8 *p) { return _mm_cvtps_pd(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double *>(p)))); }
inline void store(C16 *p, __m128d v) { _mm_storeu_pd(&p->re, v); }
inline void store(C8 *p, __m128d v) { _mm_store_sd(reinterpret_cast<double *>(p), _mm_castps_pd(_mm_cvtpd_ps(v))); }
// Two elements as their real parts and their imaginary parts, and back.
template <class C>
inline void load2(const C *p, __m128d &re, __m128d &im) {
  const __m128d e0 = load(p), e1 = load(p + 1);
  re = _mm_unpacklo_pd(e0, e1), im = _mm_unpackhi_pd(e0, e1);
}
template <class C>
inline void store2(C *p, __m128d re, __m128d im) {
  store(p, _mm_unpacklo_pd(re, im)), store(p + 1, _mm_unpackhi_pd(re, im));
}

// The SSE forms of a one-input row from F(x, y, re, im), which computes the parts of two elements
// held in lanes and returns false where the scalar path is due; a lone element runs in both lanes,
// so it gets the bits it gets in a pair. The element loop runs them in round-to-nearest only.
template <class C, bool (*F)(__m128d, __m128d, __m128d &, __m128d &)>
struct Lanes {
  static constexpr bool kNearestOnly = true;
  static bool vec(const C *p, const C *, C *r) {
    const __m128d e = load(p);
    __m128d re, im;
    if (!F(_mm_unpacklo_pd(e, e), _mm_unpackhi_pd(e, e), re, im)) return false;
    store(r, _mm_unpacklo_pd(re, im));
    return true;
  }
  static bool vec2(const C *p, C *r) {
    __m128d x, y, re, im;
    load2(p, x, y);
    if (!F(x, y, re, im)) return false;
    store2(r, re, im);
    return true;
  }
};

// A function F on one element of C: the parts in double, the result rounded once to C's parts,
// overflow and underflow found from the rounded result.
template <class C, class F>
struct Elem {
  static int eval(const C &p, const C &, C &r) {
    using P = decltype(C::re);
    LD re, im;
    int status = F::template f<P>(p.re, p.im, re, im);
    r = C{static_cast<P>(re), static_cast<P>(im)};
    if (status == STATUS_OK && std::isfinite(p.re) && std::isfinite(p.im)) {
      const LD m = hypotl(re, im);
      if (std::isinf(r.re) || std::isinf(r.im)) status = STATUS_OVERFLOW;
      else if (m != 0 && m < std::numeric_limits<P>::min()) status = STATUS_UNDERFLOW;
    }
    return status;
  }
};

}  // namespace zyn::vk::cx

// The contiguous and strided kernels of a one-input complex row at one level.
#define ZYN_CX_UNARY(row, lvl, C, ...)                                                            \
  extern "C" void zyn_vk_##row##_##lvl(int n, const C *a, C *y) {                                 \
    each<__VA_ARGS__>(n, Vec<const C>{a, 1}, Vec<const C>{a, 1}, Vec<C>{y, 1});                   \
  }                                                                                               \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const C *a, int inca, C *y, int incy) {           \
    each<__VA_ARGS__>(n, Vec<const C>{a, inca}, Vec<const C>{a, inca}, Vec<C>{y, incy});          \
  }
