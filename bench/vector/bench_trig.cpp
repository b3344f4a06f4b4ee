// Sine, cosine and tangent against their anchors in the same run: glibc's scalar functions in
// a loop, libmvec's SSE4 variants, SLEEF's SSE4 functions (u10 for HA, u35 for LA).
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

extern "C" __m128d _ZGVbN2v_sin(__m128d);
extern "C" __m128d _ZGVbN2v_cos(__m128d);
extern "C" __m128d _ZGVbN2v_tan(__m128d);
extern "C" __m128 _ZGVbN4v_sinf(__m128);
extern "C" __m128 _ZGVbN4v_cosf(__m128);
extern "C" __m128 _ZGVbN4v_tanf(__m128);

using namespace zyn::bench;

int main(int argc, char **argv) {
  using D = double;
  using S = float;
  // sine, cosine, tangent
  ZYN_LEVELS_D(Sin, trig_d);
  add_unary<D>("dSin", "glibc", loop([](D x) { return std::sin(x); }), trig_d);
  add_unary<D>("dSin", "libmvec", vec_d(_ZGVbN2v_sin), trig_d);
  add_unary<D>("dSin", "sleef_u10", vec_d(Sleef_sind2_u10sse4), trig_d);
  add_unary<D>("dSin", "sleef_u35", vec_d(Sleef_sind2_u35sse4), trig_d);
  ZYN_LEVELS_D(Cos, trig_d);
  add_unary<D>("dCos", "glibc", loop([](D x) { return std::cos(x); }), trig_d);
  add_unary<D>("dCos", "libmvec", vec_d(_ZGVbN2v_cos), trig_d);
  add_unary<D>("dCos", "sleef_u10", vec_d(Sleef_cosd2_u10sse4), trig_d);
  add_unary<D>("dCos", "sleef_u35", vec_d(Sleef_cosd2_u35sse4), trig_d);
  ZYN_LEVELS_D(Tan, trig_d);
  add_unary<D>("dTan", "glibc", loop([](D x) { return std::tan(x); }), trig_d);
  add_unary<D>("dTan", "libmvec", vec_d(_ZGVbN2v_tan), trig_d);
  add_unary<D>("dTan", "sleef_u10", vec_d(Sleef_tand2_u10sse4), trig_d);
  add_unary<D>("dTan", "sleef_u35", vec_d(Sleef_tand2_u35sse4), trig_d);
  ZYN_LEVELS_S(Sin, trig_f);
  add_unary<S>("sSin", "glibc", loop([](S x) { return sinf(x); }), trig_f);
  add_unary<S>("sSin", "libmvec", vec_s(_ZGVbN4v_sinf), trig_f);
  add_unary<S>("sSin", "sleef_u10", vec_s(Sleef_sinf4_u10sse4), trig_f);
  add_unary<S>("sSin", "sleef_u35", vec_s(Sleef_sinf4_u35sse4), trig_f);
  ZYN_LEVELS_S(Cos, trig_f);
  add_unary<S>("sCos", "glibc", loop([](S x) { return cosf(x); }), trig_f);
  add_unary<S>("sCos", "libmvec", vec_s(_ZGVbN4v_cosf), trig_f);
  add_unary<S>("sCos", "sleef_u10", vec_s(Sleef_cosf4_u10sse4), trig_f);
  add_unary<S>("sCos", "sleef_u35", vec_s(Sleef_cosf4_u35sse4), trig_f);
  ZYN_LEVELS_S(Tan, trig_f);
  add_unary<S>("sTan", "glibc", loop([](S x) { return tanf(x); }), trig_f);
  add_unary<S>("sTan", "libmvec", vec_s(_ZGVbN4v_tanf), trig_f);
  add_unary<S>("sTan", "sleef_u10", vec_s(Sleef_tanf4_u10sse4), trig_f);
  add_unary<S>("sTan", "sleef_u35", vec_s(Sleef_tanf4_u35sse4), trig_f);
  // SinCos: the kernel writes both results; the anchors do the same work
  for (const char *lv : {"HA", "LA", "EP"}) {
    auto k = lv[0] == 'H' ? _vexdSinCos : lv[0] == 'L' ? _vexdSinCos_50 : _vexdSinCos_26;
    add_unary<D>("dSinCos", lv, [k](int n, const D *a, D *y) {
      static thread_local std::vector<D> z;
      z.resize(n);
      k(n, a, y, z.data());
    }, trig_d);
  }
  add_unary<D>("dSinCos", "glibc", [](int n, const D *a, D *y) {
    static thread_local std::vector<D> z;
    z.resize(n);
    for (int i = 0; i < n; ++i) sincos(a[i], &y[i], &z[i]);
  }, trig_d);
  auto sleef_sc = [](auto f) {
    return [f](int n, const D *a, D *y) {
      static thread_local std::vector<D> z;
      z.resize(n);
      for (int i = 0; i + 2 <= n; i += 2) {
        Sleef___m128d_2 r = f(_mm_loadu_pd(a + i));
        _mm_storeu_pd(y + i, r.x);
        _mm_storeu_pd(z.data() + i, r.y);
      }
    };
  };
  add_unary<D>("dSinCos", "sleef_u10", sleef_sc(Sleef_sincosd2_u10sse4), trig_d);
  add_unary<D>("dSinCos", "sleef_u35", sleef_sc(Sleef_sincosd2_u35sse4), trig_d);
  std::vector<Comparison> cmp;
  for (const char *g : {"dSin", "dCos", "dTan", "sSin", "sCos", "sTan"}) {
    cmp.push_back({g, "HA", {"glibc", "sleef_u10"}});
    cmp.push_back({g, "LA", {"libmvec", "sleef_u35"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  cmp.push_back({"dSinCos", "HA", {"glibc", "sleef_u10"}});
  cmp.push_back({"dSinCos", "LA", {"sleef_u35"}});
  cmp.push_back({"dSinCos", "EP", {"LA"}});
  return run_all(argc, argv, cmp);
}
