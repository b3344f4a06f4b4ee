// The inverse trigonometric rows, the pi- and degree-scaled sine, cosine and tangent, and Hypot
// against their anchors in the same run: glibc's scalar functions in a loop and SLEEF's u10
// (u05 for Hypot, Sinpi, Cospi) SSE4 functions for HA, libmvec's SSE4 functions and SLEEF's
// u35 for LA, and EP against LA. Rows without an anchor of their own are timed against each
// library's radian function with the scaling multiply (tan(pi x), asin(x)/pi, ...); glibc has no
// sinpi or cospi (sin and cos stand in); Sinpi and Cospi at LA against SLEEF's sincospi u35.
// Inputs: (-1, 1) for the inverse sines, [-3600, 3600] for the degree forms, [-100, 100] for the
// rest.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <string>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

extern "C" {
__m128d _ZGVbN2v_asin(__m128d);
__m128d _ZGVbN2v_acos(__m128d);
__m128d _ZGVbN2v_atan(__m128d);
__m128d _ZGVbN2v_sin(__m128d);
__m128d _ZGVbN2v_cos(__m128d);
__m128d _ZGVbN2v_tan(__m128d);
__m128d _ZGVbN2vv_atan2(__m128d, __m128d);
__m128d _ZGVbN2vv_hypot(__m128d, __m128d);
__m128 _ZGVbN4v_asinf(__m128);
__m128 _ZGVbN4v_acosf(__m128);
__m128 _ZGVbN4v_atanf(__m128);
__m128 _ZGVbN4v_sinf(__m128);
__m128 _ZGVbN4v_cosf(__m128);
__m128 _ZGVbN4v_tanf(__m128);
__m128 _ZGVbN4vv_atan2f(__m128, __m128);
__m128 _ZGVbN4vv_hypotf(__m128, __m128);
}

using namespace zyn::bench;

namespace {
using D = double;
using S = float;
using KD = void (*)(int, const D *, D *);
using KS = void (*)(int, const S *, S *);
using KD2 = void (*)(int, const D *, const D *, D *);
using KS2 = void (*)(int, const S *, const S *, S *);

// The pi and degree forms off the grid of trig_d (steps of 1/100), whose multiples of 1/2 would
// put poles of the tangents, with their reports, into the timing.
double pi_d(size_t i) { return trig_d(i) + 0.003; }
float pi_f(size_t i) { return static_cast<float>(pi_d(i)); }
double deg_d(size_t i) { return pi_d(i) * 36; }
float deg_f(size_t i) { return static_cast<float>(deg_d(i)); }
double other_d(size_t i) { return trig_d(i * 7 + 3); }  // a second argument, uncorrelated
float other_f(size_t i) { return static_cast<float>(other_d(i)); }

// Vector anchors with a scaling of the argument (pre) or of the result (post).
template <class F>
auto vec_d_scaled(F f, double pre, double post) {
  return vec_d([f, pre, post](__m128d x) { return _mm_mul_pd(f(_mm_mul_pd(x, _mm_set1_pd(pre))), _mm_set1_pd(post)); });
}
template <class F>
auto vec_s_scaled(F f, float pre, float post) {
  return vec_s([f, pre, post](__m128 x) { return _mm_mul_ps(f(_mm_mul_ps(x, _mm_set1_ps(pre))), _mm_set1_ps(post)); });
}
template <class F>
auto vec2_d(F f, double post = 1) {
  return [f, post](int n, const D *a, const D *b, D *y) {
    for (int i = 0; i + 2 <= n; i += 2)
      _mm_storeu_pd(y + i, _mm_mul_pd(f(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)), _mm_set1_pd(post)));
  };
}
template <class F>
auto vec2_s(F f, float post = 1) {
  return [f, post](int n, const S *a, const S *b, S *y) {
    for (int i = 0; i + 4 <= n; i += 4)
      _mm_storeu_ps(y + i, _mm_mul_ps(f(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)), _mm_set1_ps(post)));
  };
}
template <class F>
auto loop2(F f) {
  return [f](int n, const auto *a, const auto *b, auto *y) {
    for (int i = 0; i < n; ++i) y[i] = f(a[i], b[i]);
  };
}

// One unary row: its three levels and its anchors, scaled by pre and post (1 for none).
struct Unary {
  const char *stem;
  KD d[3];
  KS s[3];
  D (*glibc_d)(D);
  S (*glibc_s)(S);
  __m128d (*ha_d)(__m128d);
  __m128 (*ha_s)(__m128);
  __m128d (*la_d)(__m128d);
  __m128 (*la_s)(__m128);
  __m128d (*mvec_d)(__m128d);
  __m128 (*mvec_s)(__m128);
  double pre, post;
  D (*make)(size_t);
  S (*make_s)(size_t);
};

// SLEEF declares its functions const: plain function pointers for the tables.
#define PD(f) reinterpret_cast<__m128d (*)(__m128d)>(f)
#define PS(f) reinterpret_cast<__m128 (*)(__m128)>(f)
#define PD2(f) reinterpret_cast<__m128d (*)(__m128d, __m128d)>(f)
#define PS2(f) reinterpret_cast<__m128 (*)(__m128, __m128)>(f)

#define ZYN_ROW_KERNELS(stem)                                                  \
  {_vexd##stem, _vexd##stem##_50, _vexd##stem##_26}, {_vexs##stem, _vexs##stem##_21, _vexs##stem##_11}

const double kPi = M_PI, kInvPi = 1 / M_PI, kDeg = M_PI / 180;

void add(const Unary &u, std::vector<Comparison> &cmp) {
  const char *lv[3] = {"HA", "LA", "EP"};
  const std::string gd = std::string("d") + u.stem, gs = std::string("s") + u.stem;
  for (int l = 0; l < 3; ++l) {
    add_unary<D>(gd, lv[l], u.d[l], u.make);
    add_unary<S>(gs, lv[l], u.s[l], u.make_s);
  }
  const double pre = u.pre, post = u.post;
  const auto gdf = u.glibc_d;
  const auto gsf = u.glibc_s;
  add_unary<D>(gd, "glibc", loop([gdf, pre, post](D x) { return gdf(x * pre) * post; }), u.make);
  add_unary<S>(gs, "glibc", loop([gsf, pre, post](S x) { return gsf(x * S(pre)) * S(post); }), u.make_s);
  add_unary<D>(gd, "sleef_ha", vec_d_scaled(u.ha_d, pre, post), u.make);
  add_unary<S>(gs, "sleef_ha", vec_s_scaled(u.ha_s, S(pre), S(post)), u.make_s);
  add_unary<D>(gd, "sleef_u35", vec_d_scaled(u.la_d, pre, post), u.make);
  add_unary<S>(gs, "sleef_u35", vec_s_scaled(u.la_s, S(pre), S(post)), u.make_s);
  std::vector<std::string> la = {"sleef_u35"};
  if (u.mvec_d) {
    add_unary<D>(gd, "libmvec", vec_d_scaled(u.mvec_d, pre, post), u.make);
    add_unary<S>(gs, "libmvec", vec_s_scaled(u.mvec_s, S(pre), S(post)), u.make_s);
    la.push_back("libmvec");
  }
  for (const std::string &g : {gd, gs}) {
    cmp.push_back({g, "HA", {"glibc", "sleef_ha"}});
    cmp.push_back({g, "LA", la});
    cmp.push_back({g, "EP", {"LA"}});
  }
}

__m128d sincospi_sin_d(__m128d x) { return Sleef_sincospid2_u35sse4(x).x; }
__m128d sincospi_cos_d(__m128d x) { return Sleef_sincospid2_u35sse4(x).y; }
__m128 sincospi_sin_s(__m128 x) { return Sleef_sincospif4_u35sse4(x).x; }
__m128 sincospi_cos_s(__m128 x) { return Sleef_sincospif4_u35sse4(x).y; }
D sin_(D x) { return std::sin(x); }
D cos_(D x) { return std::cos(x); }
D tan_(D x) { return std::tan(x); }
D asin_(D x) { return std::asin(x); }
D acos_(D x) { return std::acos(x); }
D atan_(D x) { return std::atan(x); }
}  // namespace

int main(int argc, char **argv) {
  std::vector<Comparison> cmp;
  const Unary rows[] = {
      {"Asin", ZYN_ROW_KERNELS(Asin), asin_, asinf, PD(Sleef_asind2_u10sse4), PS(Sleef_asinf4_u10sse4),
       PD(Sleef_asind2_u35sse4), PS(Sleef_asinf4_u35sse4), _ZGVbN2v_asin, _ZGVbN4v_asinf, 1, 1, unit_d, unit_f},
      {"Acos", ZYN_ROW_KERNELS(Acos), acos_, acosf, PD(Sleef_acosd2_u10sse4), PS(Sleef_acosf4_u10sse4),
       PD(Sleef_acosd2_u35sse4), PS(Sleef_acosf4_u35sse4), _ZGVbN2v_acos, _ZGVbN4v_acosf, 1, 1, unit_d, unit_f},
      {"Atan", {_vexdAtan, _vexdAtan_50, _vexdAtan_26}, {_vexsAtan, _vexsAtan_21, _vexsAtan_11}, atan_, atanf,
       PD(Sleef_atand2_u10sse4), PS(Sleef_atanf4_u10sse4), PD(Sleef_atand2_u35sse4), PS(Sleef_atanf4_u35sse4), _ZGVbN2v_atan,
       _ZGVbN4v_atanf, 1, 1, trig_d, trig_f},
      {"Asinpi", ZYN_ROW_KERNELS(Asinpi), asin_, asinf, PD(Sleef_asind2_u10sse4), PS(Sleef_asinf4_u10sse4),
       PD(Sleef_asind2_u35sse4), PS(Sleef_asinf4_u35sse4), _ZGVbN2v_asin, _ZGVbN4v_asinf, 1, kInvPi, unit_d, unit_f},
      {"Acospi", ZYN_ROW_KERNELS(Acospi), acos_, acosf, PD(Sleef_acosd2_u10sse4), PS(Sleef_acosf4_u10sse4),
       PD(Sleef_acosd2_u35sse4), PS(Sleef_acosf4_u35sse4), _ZGVbN2v_acos, _ZGVbN4v_acosf, 1, kInvPi, unit_d, unit_f},
      {"Atanpi", ZYN_ROW_KERNELS(Atanpi), atan_, atanf, PD(Sleef_atand2_u10sse4), PS(Sleef_atanf4_u10sse4),
       PD(Sleef_atand2_u35sse4), PS(Sleef_atanf4_u35sse4), _ZGVbN2v_atan, _ZGVbN4v_atanf, 1, kInvPi, trig_d, trig_f},
      {"Sinpi", ZYN_ROW_KERNELS(Sinpi), sin_, sinf, PD(Sleef_sinpid2_u05sse4), PS(Sleef_sinpif4_u05sse4), sincospi_sin_d,
       sincospi_sin_s, nullptr, nullptr, 1, 1, pi_d, pi_f},
      {"Cospi", ZYN_ROW_KERNELS(Cospi), cos_, cosf, PD(Sleef_cospid2_u05sse4), PS(Sleef_cospif4_u05sse4), sincospi_cos_d,
       sincospi_cos_s, nullptr, nullptr, 1, 1, pi_d, pi_f},
      {"Tanpi", ZYN_ROW_KERNELS(Tanpi), tan_, tanf, PD(Sleef_tand2_u10sse4), PS(Sleef_tanf4_u10sse4), PD(Sleef_tand2_u35sse4),
       PS(Sleef_tanf4_u35sse4), _ZGVbN2v_tan, _ZGVbN4v_tanf, kPi, 1, pi_d, pi_f},
      {"Sind", ZYN_ROW_KERNELS(Sind), sin_, sinf, PD(Sleef_sind2_u10sse4), PS(Sleef_sinf4_u10sse4), PD(Sleef_sind2_u35sse4),
       PS(Sleef_sinf4_u35sse4), _ZGVbN2v_sin, _ZGVbN4v_sinf, kDeg, 1, deg_d, deg_f},
      {"Cosd", ZYN_ROW_KERNELS(Cosd), cos_, cosf, PD(Sleef_cosd2_u10sse4), PS(Sleef_cosf4_u10sse4), PD(Sleef_cosd2_u35sse4),
       PS(Sleef_cosf4_u35sse4), _ZGVbN2v_cos, _ZGVbN4v_cosf, kDeg, 1, deg_d, deg_f},
      {"Tand", ZYN_ROW_KERNELS(Tand), tan_, tanf, PD(Sleef_tand2_u10sse4), PS(Sleef_tanf4_u10sse4), PD(Sleef_tand2_u35sse4),
       PS(Sleef_tanf4_u35sse4), _ZGVbN2v_tan, _ZGVbN4v_tanf, kDeg, 1, deg_d, deg_f},
  };
  for (const Unary &u : rows) add(u, cmp);

  // binary rows: Atan2, Atan2pi (atan2 / pi), Hypot
  struct Binary {
    const char *stem;
    KD2 d[3];
    KS2 s[3];
    D (*glibc_d)(D, D);
    S (*glibc_s)(S, S);
    __m128d (*ha_d)(__m128d, __m128d);
    __m128 (*ha_s)(__m128, __m128);
    __m128d (*la_d)(__m128d, __m128d);
    __m128 (*la_s)(__m128, __m128);
    __m128d (*mvec_d)(__m128d, __m128d);
    __m128 (*mvec_s)(__m128, __m128);
    double post;
  };
  const Binary bin[] = {
      {"Atan2", ZYN_ROW_KERNELS(Atan2), [](D y, D x) { return std::atan2(y, x); }, atan2f, PD2(Sleef_atan2d2_u10sse4),
       PS2(Sleef_atan2f4_u10sse4), PD2(Sleef_atan2d2_u35sse4), PS2(Sleef_atan2f4_u35sse4), _ZGVbN2vv_atan2, _ZGVbN4vv_atan2f, 1},
      {"Atan2pi", ZYN_ROW_KERNELS(Atan2pi), [](D y, D x) { return std::atan2(y, x); }, atan2f,
       PD2(Sleef_atan2d2_u10sse4), PS2(Sleef_atan2f4_u10sse4), PD2(Sleef_atan2d2_u35sse4), PS2(Sleef_atan2f4_u35sse4), _ZGVbN2vv_atan2,
       _ZGVbN4vv_atan2f, kInvPi},
      {"Hypot", ZYN_ROW_KERNELS(Hypot), [](D x, D y) { return std::hypot(x, y); }, hypotf, PD2(Sleef_hypotd2_u05sse4),
       PS2(Sleef_hypotf4_u05sse4), PD2(Sleef_hypotd2_u35sse4), PS2(Sleef_hypotf4_u35sse4), _ZGVbN2vv_hypot, _ZGVbN4vv_hypotf, 1},
  };
  const char *lv[3] = {"HA", "LA", "EP"};
  for (const Binary &b : bin) {
    const std::string gd = std::string("d") + b.stem, gs = std::string("s") + b.stem;
    for (int l = 0; l < 3; ++l) {
      add_binary<D>(gd, lv[l], b.d[l], trig_d, other_d);
      add_binary<S>(gs, lv[l], b.s[l], trig_f, other_f);
    }
    const double post = b.post;
    const auto gdf = b.glibc_d;
    const auto gsf = b.glibc_s;
    add_binary<D>(gd, "glibc", loop2([gdf, post](D y, D x) { return gdf(y, x) * post; }), trig_d, other_d);
    add_binary<S>(gs, "glibc", loop2([gsf, post](S y, S x) { return gsf(y, x) * S(post); }), trig_f, other_f);
    add_binary<D>(gd, "sleef_ha", vec2_d(b.ha_d, post), trig_d, other_d);
    add_binary<S>(gs, "sleef_ha", vec2_s(b.ha_s, S(post)), trig_f, other_f);
    add_binary<D>(gd, "sleef_u35", vec2_d(b.la_d, post), trig_d, other_d);
    add_binary<S>(gs, "sleef_u35", vec2_s(b.la_s, S(post)), trig_f, other_f);
    add_binary<D>(gd, "libmvec", vec2_d(b.mvec_d, post), trig_d, other_d);
    add_binary<S>(gs, "libmvec", vec2_s(b.mvec_s, S(post)), trig_f, other_f);
    for (const std::string &g : {gd, gs}) {
      cmp.push_back({g, "HA", {"glibc", "sleef_ha"}});
      cmp.push_back({g, "LA", {"sleef_u35", "libmvec"}});
      cmp.push_back({g, "EP", {"LA"}});
    }
  }
  return run_all(argc, argv, cmp);
}
