// Selection: Fmax, Fmin, MaxMag, MinMag, Fdim. One packed step; a lane with a NaN in either
// input takes the scalar path, where a NaN loses to a number (Fmax, Fmin, MaxMag, MinMag) or
// propagates (Fdim). Nothing is ever reported.
#include "vector/arith/arith_policy.hpp"

namespace zyn::vk {
namespace {
using namespace arith;

template <class T>
inline T mul1(T x) {
  return opaque(x) * T(1);  // quiets a signalling NaN
}

// The NaN rule of Fmax, Fmin, MaxMag, MinMag: b is checked first and a second, so with two
// NaNs the later store stands and the result is a NaN.
template <class T>
inline bool nan_loses(const T *x, T *r) {
  const bool na = x[0] != x[0], nb = x[1] != x[1];
  if (nb) *r = mul1(x[0]);
  if (na) *r = mul1(x[1]);
  return na || nb;
}

template <class Elem, class Op, int kBlockS, int kBlockD>
struct Select : Base<Elem, 2, 1, kBlockS, kBlockD> {
  using T = Elem;
  using V = typename Simd<T>::V;
  static constexpr const char *kName = "";  // never reports
  static int bad(const V *x) { return vmask(vunord(x[0], x[1])); }
  // NaN lanes are cleared first: max, min and the ordered compares raise the invalid flag on
  // a quiet NaN, and those lanes take the scalar path anyway
  static void eval(const V *x, V *r) {
    const V o = vord(x[0], x[1]);
    r[0] = Op::apply(vand(x[0], o), vand(x[1], o));
  }
  static int scalar(const T *x, T *r) {
    if (!Op::kNanPropagates) {
      if (!nan_loses(x, r)) return scalar_by_eval<Select>(x, r);
    } else {
      if (x[0] != x[0]) *r = mul1(x[0]);
      if (x[1] != x[1]) *r = mul1(x[1]);
      if (x[0] == x[0] && x[1] == x[1]) return scalar_by_eval<Select>(x, r);
    }
    return STATUS_OK;
  }
};

struct OpMax {
  static constexpr bool kNanPropagates = false;
  template <class V>
  static V apply(V a, V b) {
    return vmax(a, b);
  }
};
struct OpMin {
  static constexpr bool kNanPropagates = false;
  template <class V>
  static V apply(V a, V b) {
    return vmin(a, b);
  }
};
// The larger (smaller) magnitude wins; equal magnitudes fall to the signed maximum (minimum).
template <bool kMax>
struct OpByMag {
  static constexpr bool kNanPropagates = false;
  template <class V>
  static V apply(V a, V b) {
    const V aa = vabs(a), ab = vabs(b);
    const V a_wins = kMax ? vlt(ab, aa) : vlt(aa, ab), b_wins = kMax ? vlt(aa, ab) : vlt(ab, aa);
    return vblend(vblend(kMax ? vmax(a, b) : vmin(a, b), a, a_wins), b, b_wins);
  }
};
// a - b where a > b, else +0.
struct OpFdim {
  static constexpr bool kNanPropagates = true;
  template <class V>
  static V apply(V a, V b) {
    const V m = vlt(b, a);  // masked before the subtraction: no overflow flag from other lanes
    return vand(a, m) - vand(b, m);
  }
};

template <class T>
using Fmax = Select<T, OpMax, 16, 8>;
template <class T>
using Fmin = Select<T, OpMin, 16, 8>;
template <class T>
using MaxMag = Select<T, OpByMag<true>, 8, 4>;
template <class T>
using MinMag = Select<T, OpByMag<false>, 8, 4>;
template <class T>
using Fdim = Select<T, OpFdim, 16, 4>;

}  // namespace

#define ZYN_SELECT_ROWS(Stem)                     \
  ZYN_FLAT_BINARY_KERNELS(d##Stem, HA, Stem<double>)   \
  ZYN_FLAT_BINARY_KERNELS(s##Stem, HA, Stem<float>)
ZYN_SELECT_ROWS(Fmax)
ZYN_SELECT_ROWS(Fmin)
ZYN_SELECT_ROWS(MaxMag)
ZYN_SELECT_ROWS(MinMag)
ZYN_SELECT_ROWS(Fdim)

}  // namespace zyn::vk
