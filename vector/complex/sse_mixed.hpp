// Abs and Arg on SSE registers: the lanes of the real Hypot and Atan2 kernels run on the parts
// of two (z) or four (c) elements a vector, two vectors a step, deinterleaved in registers. A step with a lane the
// kernel's fast path declines goes element by element through the kernel's scalar path, whose
// status the complex row reports as its own. Every element gets the real row's bits (but zAbs HA
// and the usual element of zArg HA, sse_arg.hpp), wherever it stands and whatever the strides.
#pragma once

#include <immintrin.h>

#include "vector/complex/complex_map.hpp"
#include "vector/complex/sse_arg.hpp"
#include "vector/hypot/hypot_core.hpp"
#include "vector/invtrig/invtrig_core.hpp"

namespace zyn::vk::cx {

// The parts of the elements from i on, real and imaginary, in vectors of the part type.
inline void parts(Vec<const C16> a, int i, __m128d &re, __m128d &im) {
  const __m128d e0 = load(&a[i]), e1 = load(&a[i + 1]);
  re = _mm_unpacklo_pd(e0, e1), im = _mm_unpackhi_pd(e0, e1);
}
inline void parts(Vec<const C8> a, int i, __m128 &re, __m128 &im) {
  auto two = [&](int k) {
    const double *p = reinterpret_cast<const double *>(&a[k]), *q = reinterpret_cast<const double *>(&a[k + 1]);
    return _mm_castpd_ps(_mm_loadh_pd(_mm_load_sd(p), q));
  };
  const __m128 e0 = two(i), e1 = two(i + 2);
  re = _mm_shuffle_ps(e0, e1, _MM_SHUFFLE(2, 0, 2, 0)), im = _mm_shuffle_ps(e0, e1, _MM_SHUFFLE(3, 1, 3, 1));
}

// y = f(re, im) by the real row's kernel K (kSwap: f(im, re)); kUnit for contiguous vectors.
// As in the real row, lanes the fast path takes get its result, the others the scalar path's.
template <class Fn, bool kSwap, bool kUnit, class C, class T>
void real_lanes(int n, Vec<const C> a, Vec<T> y, const char *name) {
  using K = Kern<T, Fn>;
  using V = typename K::V;
  using S = typename K::S;
  constexpr int L = S::L;
  if constexpr (kUnit) a.inc = y.inc = 1;
  auto slow = [&](int i) {
    const T in[2] = {kSwap ? a[i].im : a[i].re, kSwap ? a[i].re : a[i].im};
    T r;
    const int status = K::scalar(in, &r);
    y[i] = r;
    if (status != 0) report(status, i, a.p, a.p, y.p, name);
  };
  // An Fn with fast() and usual() gives the lanes usual() marks fast()'s result, in round-to-nearest
  // without FTZ/DAZ (read once a call).
  constexpr bool kFast = requires(const V (&x)[2][2], V (&f)[2]) { Fn::fast(x, f); };
  bool fast = false;
  if constexpr (kFast) fast = plain_nearest();
  int i = 0;
  for (; i + 2 * L <= n; i += 2 * L) {  // two vectors a step: their chains overlap
    V in[2][2], r[2], f[2] = {};
    for (int h = 0; h < 2; ++h) {
      V re, im;
      parts(a, i + h * L, re, im);
      in[h][0] = kSwap ? im : re, in[h][1] = kSwap ? re : im;
    }
    int u = 0;
    if constexpr (kFast) {
      if (fast && (u = Fn::usual(in[0][0], in[0][1]) | Fn::usual(in[1][0], in[1][1]) << L) != 0) {
        if (u == (1 << 2 * L) - 1) {
          u &= ~Fn::fast(in, f, true);
          if (u == (1 << 2 * L) - 1) {
            if constexpr (kUnit) {
              S::store(&y[i], f[0]), S::store(&y[i + L], f[1]);
            } else {
              alignas(16) T t[2 * L];
              S::store(t, f[0]), S::store(t + L, f[1]);
              for (int k = 0; k < 2 * L; ++k) y[i + k] = t[k];
            }
            continue;
          }
        } else {
          u &= ~Fn::fast(in, f);
        }
      }
    }
    if constexpr (requires { Fn::common(in[0][0], in[0][1], r[0]); }) {  // the common case first
      if (kUnit && Fn::common(in[0][0], in[0][1], r[0]) && Fn::common(in[1][0], in[1][1], r[1])) {
        S::store(&y[i], r[0]), S::store(&y[i + L], r[1]);
        continue;
      }
    }
    const int bad = K::bad(in[0]) | K::bad(in[1]) << L;
    K::eval(in[0], &r[0]);
    K::eval(in[1], &r[1]);
    if (kUnit && bad == 0 && u == 0) {
      S::store(&y[i], r[0]), S::store(&y[i + L], r[1]);
      continue;
    }
    alignas(16) T t[2 * L], ft[2 * L];
    S::store(t, r[0]), S::store(t + L, r[1]);
    if (u != 0) S::store(ft, f[0]), S::store(ft + L, f[1]);
    for (int k = 0; k < 2 * L; ++k) {
      if (u >> k & 1) y[i + k] = ft[k];
      else if (bad >> k & 1) slow(i + k);
      else y[i + k] = t[k];
    }
  }
  for (; i < n; ++i) {  // one element in every lane
    const V in[2] = {S::set1(kSwap ? a[i].im : a[i].re), S::set1(kSwap ? a[i].re : a[i].im)};
    V r;
    if constexpr (kFast) {
      if (fast && (Fn::usual(in[0], in[1]) & 1)) {
        const V two[2][2] = {{in[0], in[1]}, {in[0], in[1]}};
        V f[2];
        if ((Fn::fast(two, f) & 1) == 0) {
          y[i] = vo::lane0(f[0]);
          continue;
        }
      }
    }
    if (K::bad(in)) {
      slow(i);
    } else {
      K::eval(in, &r);
      y[i] = vo::lane0(r);
    }
  }
}

template <class Fn, bool kSwap, class C, class T>
void real_row(int n, Vec<const C> a, Vec<T> y, const char *name) {
  FpScope<X87Kind::MasksOnly, MxKind::ModeDriven> fp;
  if (a.inc == 1 && y.inc == 1) return real_lanes<Fn, kSwap, true>(n, a, y, name);
  real_lanes<Fn, kSwap, false>(n, a, y, name);
}

// The real lanes of Abs and Arg at level kLv (0 LA, 1 HA, 2 EP) for part type T.
// zAbs HA squares by masking (not the bits of dHypot HA, the same bound).
template <class T, int kLv>
using HypotLanes =
    hyp::HypotFn<T, std::conditional_t<sizeof(T) == 4 && kLv != 1, float, double>,
                 kLv == 0 ? hyp::kLA : kLv == 2 ? hyp::kEP : sizeof(T) == 8 ? hyp::kHAMasked : hyp::kHA>;
template <int kLv, class Ha, class La, class Ep>
using AtLevel = std::conditional_t<kLv == 0, La, std::conditional_t<kLv == 1, Ha, Ep>>;
// zArg HA takes the table form (sse_arg.hpp) for the usual element.
template <class T, int kLv>
using Atan2Lanes = std::conditional_t<
    sizeof(T) == 8 && kLv == 1, arg::ArgHa,
    invtrig::Atan2Fn<T,
                     std::conditional_t<sizeof(T) == 8, AtLevel<kLv, invtrig::DHa, invtrig::DLa, invtrig::DEp>,
                                        AtLevel<kLv, invtrig::SHa, invtrig::SLa, invtrig::SEp>>,
                     invtrig::kAtan2>>;

}  // namespace zyn::vk::cx
