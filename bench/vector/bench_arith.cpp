// The arithmetic, rounding and selection rows against their anchors: a plain SSE loop of the
// same instructions (Sub, Mul, Sqr, Abs, CopySign, the rounding family), glibc's scalar
// functions in a loop (Fmod, Remainder, NextAfter, Frac and Modf against modf), and the LA
// kernel for the single EP Inv and Div.
#include <smmintrin.h>

#include <cmath>
#include <vector>

#include "bench/common/harness.hpp"
#include "zyn/vex.h"

using zyn::bench::add_binary;
using zyn::bench::add_unary;
using zyn::bench::Comparison;

namespace {
double any_d(size_t i) { return ((i * 2654435761u) % 200001) / 1000.0 - 100.0; }
double div_d(size_t i) { return 0.5 + ((i * 40503u) % 9973) / 100.0; }  // 0.5 to 100
double far_d(size_t i) { return (any_d(i) + 0.001) * 1000.0; }             // -1e5 to 1e5

// Plain SSE loops of one operation, with a scalar-width tail through the same operation.
struct D {
  using T = double;
  using V = __m128d;
  static constexpr int L = 2;
  static V load(const T *p) { return _mm_loadu_pd(p); }
  static void store(T *p, V v) { _mm_storeu_pd(p, v); }
  static V load1(const T *p) { return _mm_load_sd(p); }
  static void store1(T *p, V v) { _mm_store_sd(p, v); }
  static V set1(double x) { return _mm_set1_pd(x); }
};
struct F {
  using T = float;
  using V = __m128;
  static constexpr int L = 4;
  static V load(const T *p) { return _mm_loadu_ps(p); }
  static void store(T *p, V v) { _mm_storeu_ps(p, v); }
  static V load1(const T *p) { return _mm_load_ss(p); }
  static void store1(T *p, V v) { _mm_store_ss(p, v); }
  static V set1(double x) { return _mm_set1_ps(static_cast<float>(x)); }
};

template <class W, class Op>
void loop1(int n, const typename W::T *a, typename W::T *y, Op op) {
  int i = 0;
  for (; i + W::L <= n; i += W::L) W::store(y + i, op(W::load(a + i)));
  for (; i < n; ++i) W::store1(y + i, op(W::load1(a + i)));
}
template <class W, class Op>
void loop2(int n, const typename W::T *a, const typename W::T *b, typename W::T *y, Op op) {
  int i = 0;
  for (; i + W::L <= n; i += W::L) W::store(y + i, op(W::load(a + i), W::load(b + i)));
  for (; i < n; ++i) W::store1(y + i, op(W::load1(a + i), W::load1(b + i)));
}

template <class W>
void register_type(const char t, std::vector<Comparison> *cmp) {
  using T = typename W::T;
  using V = typename W::V;
  const bool dbl = sizeof(T) == 8;
  auto any = std::function<T(size_t)>([](size_t i) { return static_cast<T>(any_d(i)); });
  auto dv = std::function<T(size_t)>([](size_t i) { return static_cast<T>(div_d(i)); });
  auto far = std::function<T(size_t)>([](size_t i) { return static_cast<T>(far_d(i)); });
  const std::string p(1, t);
  auto sign = [] { return W::set1(-0.0); };
  auto abs_ = [sign](V a) {
    if constexpr (sizeof(T) == 8) return _mm_andnot_pd(sign(), a); else return _mm_andnot_ps(sign(), a);
  };
  auto copysign_ = [sign](V a, V b) {
    if constexpr (sizeof(T) == 8)
      return _mm_or_pd(_mm_andnot_pd(sign(), a), _mm_and_pd(sign(), b));
    else
      return _mm_or_ps(_mm_andnot_ps(sign(), a), _mm_and_ps(sign(), b));
  };
  auto rnd = [](auto mode_tag, V a) {
    constexpr int m = decltype(mode_tag)::value;
    if constexpr (sizeof(T) == 8) return _mm_round_pd(a, m); else return _mm_round_ps(a, m);
  };
  using K1 = void (*)(int, const T *, T *);
  using K2 = void (*)(int, const T *, const T *, T *);

  // exact element-wise rows and their plain loops
  auto bin = [&](const std::string &stem, K2 k, auto op, std::function<T(size_t)> mb) {
    add_binary<T>(p + stem, "HA", k, any, mb);
    add_binary<T>(p + stem, "sse_loop", [op](int n, const T *a, const T *b, T *y) { loop2<W>(n, a, b, y, op); }, any, mb);
    cmp->push_back({p + stem, "HA", {"sse_loop"}});
  };
  auto un = [&](const std::string &stem, K1 k, auto op) {
    add_unary<T>(p + stem, "HA", k, any);
    add_unary<T>(p + stem, "sse_loop", [op](int n, const T *a, T *y) { loop1<W>(n, a, y, op); }, any);
    cmp->push_back({p + stem, "HA", {"sse_loop"}});
  };
  K2 sub, mul, cps, fmod_, rem_, nxt, div_la, div_ep;
  K1 sqr, abs1, ceil_, floor_, trunc_, rint_, nbi, round_, frac_, inv_la, inv_ep;
  void (*modf_)(int, const T *, T *, T *);
  if constexpr (sizeof(T) == 8) {
    sub = _vexdSub, mul = _vexdMul, cps = _vexdCopySign, fmod_ = _vexdFmod, rem_ = _vexdRemainder,
    nxt = _vexdNextAfter, div_la = _vexdDiv_50, div_ep = _vexdDiv_26;
    sqr = _vexdSqr, abs1 = _vexdAbs, ceil_ = _vexdCeil, floor_ = _vexdFloor, trunc_ = _vexdTrunc, rint_ = _vexdRint,
    nbi = _vexdNearbyInt, round_ = _vexdRound, frac_ = _vexdFrac, inv_la = _vexdInv_50, inv_ep = _vexdInv_26;
    modf_ = _vexdModf;
  } else {
    sub = _vexsSub, mul = _vexsMul, cps = _vexsCopySign, fmod_ = _vexsFmod, rem_ = _vexsRemainder,
    nxt = _vexsNextAfter, div_la = _vexsDiv_21, div_ep = _vexsDiv_11;
    sqr = _vexsSqr, abs1 = _vexsAbs, ceil_ = _vexsCeil, floor_ = _vexsFloor, trunc_ = _vexsTrunc, rint_ = _vexsRint,
    nbi = _vexsNearbyInt, round_ = _vexsRound, frac_ = _vexsFrac, inv_la = _vexsInv_21, inv_ep = _vexsInv_11;
    modf_ = _vexsModf;
  }
  bin("Sub", sub, [](V a, V b) { return a - b; }, any);
  bin("Mul", mul, [](V a, V b) { return a * b; }, any);
  bin("CopySign", cps, copysign_, any);
  un("Sqr", sqr, [](V a) { return a * a; });
  un("Abs", abs1, abs_);
  un("Ceil", ceil_, [rnd](V a) { return rnd(std::integral_constant<int, _MM_FROUND_TO_POS_INF>(), a); });
  un("Floor", floor_, [rnd](V a) { return rnd(std::integral_constant<int, _MM_FROUND_TO_NEG_INF>(), a); });
  un("Trunc", trunc_, [rnd](V a) { return rnd(std::integral_constant<int, _MM_FROUND_TO_ZERO>(), a); });
  un("Rint", rint_, [rnd](V a) { return rnd(std::integral_constant<int, _MM_FROUND_CUR_DIRECTION>(), a); });
  un("NearbyInt", nbi, [rnd](V a) {
    return rnd(std::integral_constant<int, _MM_FROUND_CUR_DIRECTION | _MM_FROUND_NO_EXC>(), a);
  });
  // Round: the same instructions as the kernel (round to nearest, tie fix, sign back)
  un("Round", round_, [rnd, abs_, sign](V x) {
    const V ax = abs_(x);
    V r = rnd(std::integral_constant<int, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC>(), ax);
    V d, inf = W::set1(INFINITY), half = W::set1(0.5), one = W::set1(1.0);
    if constexpr (sizeof(T) == 8) {
      d = _mm_and_pd(ax, _mm_cmpneq_pd(ax, inf)) - r;
      r = r + _mm_and_pd(_mm_cmpeq_pd(d, half), one);
      return _mm_or_pd(r, _mm_and_pd(x, sign()));
    } else {
      d = _mm_and_ps(ax, _mm_cmpneq_ps(ax, inf)) - r;
      r = r + _mm_and_ps(_mm_cmpeq_ps(d, half), one);
      return _mm_or_ps(r, _mm_and_ps(x, sign()));
    }
  });

  // rows against glibc in a loop
  auto glibc2 = [&](const std::string &stem, K2 k, T (*f)(T, T), std::function<T(size_t)> ma,
                    std::function<T(size_t)> mb) {
    add_binary<T>(p + stem, "HA", k, ma, mb);
    add_binary<T>(p + stem, "glibc", [f](int n, const T *a, const T *b, T *y) {
      for (int i = 0; i < n; ++i) y[i] = f(a[i], b[i]);
    }, ma, mb);
    cmp->push_back({p + stem, "HA", {"glibc"}});
  };
  glibc2("Fmod", fmod_, [](T a, T b) { return std::fmod(a, b); }, far, dv);
  glibc2("Remainder", rem_, [](T a, T b) { return std::remainder(a, b); }, far, dv);
  glibc2("NextAfter", nxt, [](T a, T b) { return std::nextafter(a, b); }, any, dv);
  add_unary<T>(p + "Frac", "HA", frac_, far);
  add_unary<T>(p + "Frac", "glibc", [](int n, const T *a, T *y) {
    for (int i = 0; i < n; ++i) {
      T ip;
      y[i] = std::modf(a[i], &ip);
    }
  }, far);
  cmp->push_back({p + "Frac", "HA", {"glibc"}});
  // Modf writes two vectors: the second goes to a scratch vector of the bench's own
  static std::vector<T> scratch(10000000);
  add_unary<T>(p + "Modf", "HA", [modf_](int n, const T *a, T *y) { modf_(n, a, y, scratch.data()); }, far);
  add_unary<T>(p + "Modf", "glibc", [](int n, const T *a, T *y) {
    for (int i = 0; i < n; ++i) scratch[i] = std::modf(a[i], &y[i]);
  }, far);
  cmp->push_back({p + "Modf", "HA", {"glibc"}});

  // EP against LA (the single rows have an EP kernel of their own)
  add_unary<T>(p + "Inv", "LA", inv_la, dv);
  add_unary<T>(p + "Inv", "EP", inv_ep, dv);
  add_binary<T>(p + "Div", "LA", div_la, any, dv);
  add_binary<T>(p + "Div", "EP", div_ep, any, dv);
  if (!dbl) {
    cmp->push_back({p + "Inv", "EP", {"LA"}});
    cmp->push_back({p + "Div", "EP", {"LA"}});
  }
}
}  // namespace

int main(int argc, char **argv) {
  std::vector<Comparison> cmp;
  register_type<D>('d', &cmp);
  register_type<F>('s', &cmp);
  return zyn::bench::run_all(argc, argv, cmp);
}
