// The exponential and logarithm families against their anchors in the same run: glibc's scalar
// functions in a loop, libmvec's SSE4 variants, SLEEF's SSE4 functions (u10, and u35 where it
// has one).
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <functional>
#include <string>

#include "bench/common/harness.hpp"
#include "zyn/vex.h"

extern "C" {
__m128d _ZGVbN2v_exp(__m128d);
__m128d _ZGVbN2v_exp2(__m128d);
__m128d _ZGVbN2v_exp10(__m128d);
__m128d _ZGVbN2v_expm1(__m128d);
__m128d _ZGVbN2v_log2(__m128d);
__m128d _ZGVbN2v_log10(__m128d);
__m128d _ZGVbN2v_log1p(__m128d);
__m128 _ZGVbN4v_expf(__m128);
__m128 _ZGVbN4v_exp2f(__m128);
__m128 _ZGVbN4v_exp10f(__m128);
__m128 _ZGVbN4v_expm1f(__m128);
__m128 _ZGVbN4v_log2f(__m128);
__m128 _ZGVbN4v_log10f(__m128);
__m128 _ZGVbN4v_log1pf(__m128);
}

using zyn::bench::add_unary;

namespace {
using DK = void (*)(int, const double *, double *);
using SK = void (*)(int, const float *, float *);

// Inputs: a hashed sweep of [lo, hi], or of positive numbers by exponent for the logarithms.
std::function<double(size_t)> span(double lo, double hi) {
  return [=](size_t i) { return lo + (hi - lo) * (((i * 2654435761u) % 100003) / 100003.0); };
}
double pos_d(size_t i) { return std::exp2(((i * 2654435761u) % 20000) / 1000.0 - 10.0); }

template <class T>
std::function<T(size_t)> as(std::function<double(size_t)> f) {
  return [f](size_t i) { return static_cast<T>(f(i)); };
}

template <auto F, double (*G)(double)>
void vec_d(int n, const double *a, double *y) {
  int i = 0;
  for (; i + 2 <= n; i += 2) _mm_storeu_pd(y + i, F(_mm_loadu_pd(a + i)));
  for (; i < n; ++i) y[i] = G(a[i]);
}
template <auto F, float (*G)(float)>
void vec_s(int n, const float *a, float *y) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(y + i, F(_mm_loadu_ps(a + i)));
  for (; i < n; ++i) y[i] = G(a[i]);
}
template <double (*G)(double)>
void loop_d(int n, const double *a, double *y) {
  for (int i = 0; i < n; ++i) y[i] = G(a[i]);
}
template <float (*G)(float)>
void loop_s(int n, const float *a, float *y) {
  for (int i = 0; i < n; ++i) y[i] = G(a[i]);
}

// The row's levels (LA, HA, EP stubs; the same pointer where levels share a kernel).
void levels_d(const std::string &g, DK la, DK ha, DK ep, std::function<double(size_t)> in) {
  add_unary<double>(g, "HA", ha, in);
  if (la != ha) add_unary<double>(g, "LA", la, in);
  if (ep != la && ep != ha) add_unary<double>(g, "EP", ep, in);
}
void levels_s(const std::string &g, SK la, SK ha, SK ep, std::function<double(size_t)> in) {
  add_unary<float>(g, "HA", ha, as<float>(in));
  if (la != ha) add_unary<float>(g, "LA", la, as<float>(in));
  if (ep != la && ep != ha) add_unary<float>(g, "EP", ep, as<float>(in));
}
// The anchors of a group: glibc's loop, and libmvec's and SLEEF's u10 SSE4 functions where given.
void anchors_d(const std::string &g, std::function<double(size_t)> in, DK glibc, DK libmvec, DK sleef) {
  add_unary<double>(g, "glibc", glibc, in);
  if (libmvec) add_unary<double>(g, "libmvec", libmvec, in);
  add_unary<double>(g, "sleef_u10", sleef, in);
}
void anchors_s(const std::string &g, std::function<double(size_t)> in, SK glibc, SK libmvec, SK sleef) {
  add_unary<float>(g, "glibc", glibc, as<float>(in));
  if (libmvec) add_unary<float>(g, "libmvec", libmvec, as<float>(in));
  add_unary<float>(g, "sleef_u10", sleef, as<float>(in));
}
}  // namespace

int main(int argc, char **argv) {
  auto ein = span(-700, 700), e2in = span(-1000, 1000), e10in = span(-300, 300), m1in = span(-2, 2);
  auto sein = span(-85, 85), se2in = span(-125, 125), se10in = span(-37, 37);

  levels_d("dExp", _vexdExp_50, _vexdExp, _vexdExp_26, ein);
  anchors_d("dExp", ein, loop_d<std::exp>, vec_d<_ZGVbN2v_exp, std::exp>,
            vec_d<Sleef_expd2_u10sse4, std::exp>);
  levels_s("sExp", _vexsExp_21, _vexsExp, _vexsExp_11, sein);
  anchors_s("sExp", sein, loop_s<std::exp>, vec_s<_ZGVbN4v_expf, std::exp>,
            vec_s<Sleef_expf4_u10sse4, std::exp>);

  levels_d("dExp2", _vexdExp2_50, _vexdExp2, _vexdExp2_26, e2in);
  anchors_d("dExp2", e2in, loop_d<std::exp2>, vec_d<_ZGVbN2v_exp2, std::exp2>,
            vec_d<Sleef_exp2d2_u10sse4, std::exp2>);
  levels_s("sExp2", _vexsExp2_21, _vexsExp2, _vexsExp2_11, se2in);
  anchors_s("sExp2", se2in, loop_s<std::exp2>, nullptr,
            vec_s<Sleef_exp2f4_u10sse4, std::exp2>);

  levels_d("dExp10", _vexdExp10_50, _vexdExp10, _vexdExp10_26, e10in);
  anchors_d("dExp10", e10in, loop_d<::exp10>, vec_d<_ZGVbN2v_exp10, ::exp10>,
            vec_d<Sleef_exp10d2_u10sse4, ::exp10>);
  levels_s("sExp10", _vexsExp10_21, _vexsExp10, _vexsExp10_11, se10in);
  anchors_s("sExp10", se10in, loop_s<::exp10f>, nullptr,
            vec_s<Sleef_exp10f4_u10sse4, ::exp10f>);

  levels_d("dExpm1", _vexdExpm1_50, _vexdExpm1, _vexdExpm1_26, m1in);
  anchors_d("dExpm1", m1in, loop_d<std::expm1>, vec_d<_ZGVbN2v_expm1, std::expm1>,
            vec_d<Sleef_expm1d2_u10sse4, std::expm1>);
  levels_s("sExpm1", _vexsExpm1_21, _vexsExpm1, _vexsExpm1_11, m1in);
  anchors_s("sExpm1", m1in, loop_s<std::expm1>, nullptr,
            vec_s<Sleef_expm1f4_u10sse4, std::expm1>);

  levels_d("dLog2", _vexdLog2_50, _vexdLog2, _vexdLog2_26, pos_d);
  anchors_d("dLog2", pos_d, loop_d<std::log2>, vec_d<_ZGVbN2v_log2, std::log2>,
            vec_d<Sleef_log2d2_u10sse4, std::log2>);
  add_unary<double>("dLog2", "sleef_u35", vec_d<Sleef_log2d2_u35sse4, std::log2>, pos_d);
  levels_s("sLog2", _vexsLog2_21, _vexsLog2, _vexsLog2_11, pos_d);
  anchors_s("sLog2", pos_d, loop_s<std::log2>, nullptr,
            vec_s<Sleef_log2f4_u10sse4, std::log2>);

  levels_d("dLog10", _vexdLog10_50, _vexdLog10, _vexdLog10_26, pos_d);
  anchors_d("dLog10", pos_d, loop_d<std::log10>, vec_d<_ZGVbN2v_log10, std::log10>,
            vec_d<Sleef_log10d2_u10sse4, std::log10>);
  levels_s("sLog10", _vexsLog10_21, _vexsLog10, _vexsLog10_11, pos_d);
  anchors_s("sLog10", pos_d, loop_s<std::log10>, nullptr,
            vec_s<Sleef_log10f4_u10sse4, std::log10>);

  auto l1in = span(-0.9, 10);
  levels_d("dLog1p", _vexdLog1p_50, _vexdLog1p, _vexdLog1p_26, l1in);
  anchors_d("dLog1p", l1in, loop_d<std::log1p>, vec_d<_ZGVbN2v_log1p, std::log1p>,
            vec_d<Sleef_log1pd2_u10sse4, std::log1p>);
  levels_s("sLog1p", _vexsLog1p_21, _vexsLog1p, _vexsLog1p_11, l1in);
  anchors_s("sLog1p", l1in, loop_s<std::log1p>, nullptr,
            vec_s<Sleef_log1pf4_u10sse4, std::log1p>);

  auto lbin = span(-1e6, 1e6);
  levels_d("dLogb", _vexdLogb_50, _vexdLogb, _vexdLogb_26, lbin);
  add_unary<double>("dLogb", "glibc", loop_d<std::logb>, lbin);
  levels_s("sLogb", _vexsLogb_21, _vexsLogb, _vexsLogb_11, lbin);
  add_unary<float>("sLogb", "glibc", loop_s<std::logb>, as<float>(lbin));

  return zyn::bench::run_all(argc, argv, {
      {"dExp", "HA", {"glibc", "sleef_u10"}},
      {"dExp", "LA", {"libmvec"}},
      {"dExp", "EP", {"LA"}},
      {"sExp", "HA", {"glibc", "sleef_u10"}},
      {"sExp", "LA", {"libmvec"}},
      {"sExp", "EP", {"LA"}},
      {"dExp2", "HA", {"glibc", "libmvec", "sleef_u10"}},
      {"sExp2", "HA", {"glibc", "sleef_u10"}},
      {"dExp10", "HA", {"glibc", "libmvec", "sleef_u10"}},
      {"sExp10", "HA", {"glibc", "sleef_u10"}},
      {"dExpm1", "HA", {"glibc", "sleef_u10"}},
      {"dExpm1", "LA", {"libmvec"}},
      {"dExpm1", "EP", {"LA"}},
      {"sExpm1", "HA", {"glibc", "sleef_u10"}},
      {"sExpm1", "EP", {"LA"}},
      {"dLog2", "HA", {"glibc", "sleef_u10"}},
      {"dLog2", "LA", {"libmvec", "sleef_u35"}},
      {"dLog2", "EP", {"LA"}},
      {"sLog2", "HA", {"glibc", "sleef_u10"}},
      {"sLog2", "EP", {"LA"}},
      {"dLog10", "HA", {"glibc", "sleef_u10"}},
      {"dLog10", "EP", {"libmvec"}},
      {"sLog10", "HA", {"glibc", "sleef_u10"}},
      {"sLog10", "EP", {"LA"}},
      {"dLog1p", "HA", {"glibc", "sleef_u10"}},
      {"dLog1p", "LA", {"libmvec"}},
      {"dLog1p", "EP", {"LA"}},
      {"sLog1p", "HA", {"glibc", "sleef_u10"}},
      {"sLog1p", "EP", {"LA"}},
      {"dLogb", "HA", {"glibc"}},
      {"sLogb", "HA", {"glibc"}},
  });
}
