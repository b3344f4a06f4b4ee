// What every vector row owes whatever the layout of its vectors, checked for every row of
// zyn/vex_rows.def whose stub is exported, at every level, against the same row called on one
// element alone:
//   - in blocks, in the tail, at any offset and with y on an input, each element gets the bits
//     (any NaN for a NaN) and the reports (code, index, argument) it gets alone; the status is
//     the last report's code; a result set by the callback lands in y; nothing past n is
//     written; n <= 0 does nothing; the caller's MXCSR and x87 controls come back;
//   - the strided row, at strides 1, 2, -1, mixed, and 0 for the inputs or the outputs, gives
//     those results at its positions, leaves every other place alone, and reports the element's
//     number with the argument of the vectors taken contiguously from their base.
// The inputs mix ordinary values of the row's domain (from the accuracy oracle), specials,
// denormals, huge values and values outside the domain, so blocks mix fast and slow lanes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;
namespace oracle = zyn::oracle;

// Complex results in failure messages (found by argument-dependent lookup, so global).
template <class C>
  requires(std::is_same_v<C, ZynComplex8> || std::is_same_v<C, ZynComplex16>)
std::ostream &operator<<(std::ostream &o, const C &x) {
  return o << x.re << (x.im < 0 ? " - " : " + ") << std::fabs(x.im) << "i";
}

namespace {

struct RowInfo {
  char t;
  const char *stem;
  void (*run)(const RowInfo &);  // null: no layout case for the row's shape and element types
};

template <class In, class Out, Shape S>
void run_row(const RowInfo &row);
template <size_t E, Shape S>
void run_pack(const RowInfo &row);

// The layout case of a shape and its element types: a row whose shape and types have none here
// fails once it is switched on, until its case is added.
using E_s = float;
using E_d = double;
using E_c = ZynComplex8;
using E_z = ZynComplex16;
template <class T>
constexpr bool kComplex = std::is_same_v<T, ZynComplex8> || std::is_same_v<T, ZynComplex16>;
using RunFn = void (*)(const RowInfo &);
template <class In, class Out, Shape S>
constexpr RunFn kRun = nullptr;
template <class T, Shape S>
  requires(std::is_floating_point_v<T> && S <= Shape::linearfrac)
constexpr RunFn kRun<T, T, S> = &run_row<T, T, S>;
template <class T, Shape S>
  requires(S >= Shape::packi && S <= Shape::unpackv)
constexpr RunFn kRun<T, T, S> = &run_pack<sizeof(T), S>;
template <class In, class Out, Shape S>
  requires((kComplex<In> || kComplex<Out>) && (S == Shape::unary || S == Shape::binary || S == Shape::scalar))
constexpr RunFn kRun<In, Out, S> = &run_row<In, Out, S>;

// Parts of complex elements: the same bits (or both NaN) part by part; the real part is what
// the record's arg1 shows.
using zyn::test::same;
template <class C>
  requires kComplex<C>
bool same(C x, C y) {
  return same(x.re, y.re) && same(x.im, y.im);
}
template <class T>
std::string show(T x) {
  std::ostringstream o;
  o << x;
  return o.str();
}
template <class T>
double re_of(T x) {
  if constexpr (kComplex<T>) return x.re;
  else return x;
}

#define ZYN_VEX_ROW(t, Stem, shape, in, out, share, LA, HA, EP) \
  RowInfo{#t[0], #Stem, kRun<E_##in, E_##out, Shape::shape>},
const RowInfo kRows[] = {
#include "zyn/vex_rows.def"
};
#undef ZYN_VEX_ROW

void *stub(const RowInfo &r, const std::string &suffix, int level) {
  return oracle::stub(oracle::stub_name(r.t, r.stem + suffix, level));
}

std::vector<const RowInfo *> switched_on() {
  std::vector<const RowInfo *> v;
  for (const RowInfo &r : kRows)
    if (stub(r, "", 1)) v.push_back(&r);
  return v;
}

constexpr int inputs_of(Shape s) { return s == Shape::binary || s == Shape::linearfrac ? 2 : 1; }
constexpr int outputs_of(Shape s) { return s == Shape::unary2 ? 2 : 1; }

// A row at one level with its scalars bound: inc null is the contiguous row, else the strided.
template <class In, class Out>
using Kernel = std::function<void(int n, const In *const *a, const int *inca, Out *const *y, const int *incy)>;
template <class F>
F *as(void *p) {
  return reinterpret_cast<F *>(p);
}
template <class T, class Out, Shape S>
Kernel<T, Out> bind(void *k, void *ki, std::array<T, 4> c) {
  return [=](int n, const T *const *a, const int *ia, Out *const *y, const int *iy) {
    if constexpr (S == Shape::unary) {
      if (ia) as<void(int, const T *, int, Out *, int)>(ki)(n, a[0], ia[0], y[0], iy[0]);
      else as<void(int, const T *, Out *)>(k)(n, a[0], y[0]);
    } else if constexpr (S == Shape::unary2) {
      if (ia) as<void(int, const T *, int, T *, int, T *, int)>(ki)(n, a[0], ia[0], y[0], iy[0], y[1], iy[1]);
      else as<void(int, const T *, T *, T *)>(k)(n, a[0], y[0], y[1]);
    } else if constexpr (S == Shape::binary) {
      if (ia) as<void(int, const T *, int, const T *, int, Out *, int)>(ki)(n, a[0], ia[0], a[1], ia[1], y[0], iy[0]);
      else as<void(int, const T *, const T *, Out *)>(k)(n, a[0], a[1], y[0]);
    } else if constexpr (S == Shape::scalar) {
      if (ia) as<void(int, const T *, int, T, T *, int)>(ki)(n, a[0], ia[0], c[0], y[0], iy[0]);
      else as<void(int, const T *, T, T *)>(k)(n, a[0], c[0], y[0]);
    } else {
      if (ia)
        as<void(int, const T *, int, const T *, int, T, T, T, T, T *, int)>(ki)(n, a[0], ia[0], a[1], ia[1], c[0],
                                                                              c[1], c[2], c[3], y[0], iy[0]);
      else
        as<void(int, const T *, const T *, T, T, T, T, T *)>(k)(n, a[0], a[1], c[0], c[1], c[2], c[3], y[0]);
    }
  };
}

// The scalars a row is run with: Powx's exponents with their own paths (the routed ones, the
// copy and the square) and some of the oracle's; LinearFrac with ordinary scalars and with a
// denominator that is b itself (zeros, denormals and huge values leave the fast path).
template <class T, Shape S>
std::vector<std::array<T, 4>> scalars() {
  if constexpr (S == Shape::scalar && kComplex<T>) {  // the square root, integers, the rest
    std::vector<std::array<T, 4>> v;
    for (T b : {T{0.5, 0}, T{2, 0}, T{-3, 0}, T{0, 0}, T{1.5, -0.5}, T{0, 2}}) v.push_back({b});
    return v;
  } else if constexpr (S == Shape::scalar) {
    std::vector<std::array<T, 4>> v;
    for (T b : {T(2.7), T(10), T(-1.3), T(0.5), T(-0.5), T(1) / 3, T(-1) / 3, T(-1), T(1.5), T(2) / 3, T(2), T(1)})
      v.push_back({b});
    return v;
  } else if constexpr (S == Shape::linearfrac) {
    return {{T(1.5), T(-0.25), T(-3), T(0.5)}, {T(2), T(1), T(1), T(0)}};
  } else {
    return {{}};
  }
}

// Element k of the pool of one input: specials, powers of two and their neighbours, values over
// the whole range, then the oracle's points for the row (hard arguments, edges of its paths) and
// ordinary values of its domain (at the exponent b for Powx); moderate values without an oracle.
template <class T>
std::vector<T> pool(const std::string &stem, int arg, double b, uint64_t seed) {
  using L = std::numeric_limits<T>;
  std::vector<T> v = {T(0), -T(0), L::infinity(), -L::infinity(), L::quiet_NaN(), -L::quiet_NaN(),
                      L::denorm_min(), -L::min() / 3, L::min(), L::max(), -L::max(), T(1), T(-1), T(-2.5)};
  std::mt19937_64 g(seed);
  for (int k : {-1022, -960, -126, -8, 11, 20, 29, 52, 126, 960})  // where kernels switch paths
    if (std::abs(k) < L::max_exponent)
      for (T x : {std::ldexp(T(1), k), std::nextafter(std::ldexp(T(1), k), T(0))}) v.push_back((g() & 1) ? -x : x);
  std::uniform_real_distribution<double> u(1, 2);
  for (int i = 0; i < 14; ++i) {
    const int e = static_cast<int>(g() % (2 * L::max_exponent)) - L::max_exponent;
    v.push_back(static_cast<T>(((g() & 1) ? -1 : 1) * std::ldexp(u(g), e)));
  }
  const oracle::Function *f = oracle::find(stem);
  for (const oracle::Function &h : oracle::functions())
    if (h.stem == stem && !h.scalar_b.empty() && h.scalar_b[0] == b) f = &h;
  if (f) {
    const size_t step = f->points.size() / 16 + 1;  // the hard points and path edges, some
    for (size_t i = 0; arg == 0 && i < f->points.size(); i += step) v.push_back(static_cast<T>(f->points[i]));
    if constexpr (sizeof(T) == 8) {
      for (double x : oracle::inputs_d(f->dom[arg], 33, seed)) v.push_back(x);
    } else {
      for (float x : oracle::inputs_s(f->dom[arg], 33, seed)) v.push_back(x);
    }
  } else {
    std::uniform_real_distribution<double> mid(-8, 8);
    for (int i = 0; i < 33; ++i) v.push_back(static_cast<T>(mid(g)));
  }
  std::shuffle(v.begin(), v.end(), g);
  return v;
}

constexpr double kMark1 = -1234.5, kMark2 = 4321.25;  // what the replacing callback sets
int replace(ErrorContext *c) {
  ReportLog::record(c);
  c->res1 = kMark1;
  c->res2 = kMark2;
  c->res1Im = c->res2Im = kMark2;
  return 0;
}
// A result of the given parts (the real part alone for a real type).
template <class E>
constexpr E mark(double re, double im) {
  if constexpr (kComplex<E>) return E{static_cast<decltype(E::re)>(re), static_cast<decltype(E::re)>(im)};
  else return static_cast<E>(re);
}

template <class T, class Out, Shape S>
struct Check {
  static constexpr int NI = inputs_of(S), NO = outputs_of(S);
  static constexpr Out kUnset = mark<Out>(-4242.25, 0.75);  // never a result here
  Kernel<T, Out> f;
  std::vector<T> in[NI];  // pool element k is (in[0][k], in[1][k])
  struct Alone {
    Out y[NO];
    std::vector<Report> reports;
  };
  std::vector<Alone> alone;
  int m = 0;

  // LinearFrac's blocks divide by a refined reciprocal and its remainder truly, so next to a tie
  // the two round apart: its results may differ by one ulp from where they stand.
  static bool as_alone(Out got, Out want) {
    if constexpr (kComplex<Out>) return same(got, want);
    else return same(got, want) || (S == Shape::linearfrac && std::nextafter(want, got) == got);
  }

  // Calls f; the reports it made, with the controls and the status checked.
  std::vector<Report> call(int n, const T *const *a, const int *ia, Out *const *y, const int *iy, bool replacing = false) {
    ReportLog log;
    if (replacing) _vexSetErrorCallBack(&replace);
    const uint32_t csr = _mm_getcsr() & ~0x3fu;
    const uint16_t cw = x87_cw();
    f(n, a, ia, y, iy);
    EXPECT_EQ(_mm_getcsr() & ~0x3fu, csr) << "MXCSR controls not restored";
    EXPECT_EQ(x87_cw(), cw) << "x87 control word not restored";
    const std::vector<Report> r = ReportLog::log();
    EXPECT_EQ(_vexGetErrStatus(), r.empty() ? 0 : r.back().code) << "the status is the last report's";
    return r;
  }

  void alone_results() {
    for (int k = 0; k < m; ++k) {
      Alone e;
      std::vector<T> a[NI];
      std::vector<Out> y[NO];
      const T *pa[NI];
      Out *py[NO];
      for (int j = 0; j < NI; ++j) a[j] = {in[j][k]}, pa[j] = a[j].data();
      for (int j = 0; j < NO; ++j) y[j] = {kUnset}, py[j] = y[j].data();
      e.reports = call(1, pa, nullptr, py, nullptr);
      for (int j = 0; j < NO; ++j) e.y[j] = y[j][0];
      alone.push_back(e);
    }
  }

  // Reports of elements `who` (pool indices, one per element), as alone, with their numbers;
  // arg1 as the reporter reads it: from `a1` at the element's number.
  std::vector<Report> want_reports(const std::vector<int> &who, const T *a1) const {
    std::vector<Report> w;
    for (size_t i = 0; i < who.size(); ++i)
      for (Report r : alone[who[i]].reports) {
        r.index = static_cast<int>(i);
        r.arg1 = a1 ? re_of(a1[i]) : r.arg1;
        w.push_back(r);
      }
    return w;
  }
  static void expect_reports(const std::vector<Report> &got, const std::vector<Report> &want, bool args) {
    ASSERT_EQ(got.size(), want.size()) << "reports";
    for (size_t r = 0; r < got.size(); ++r) {
      ASSERT_EQ(got[r].code, want[r].code) << "report " << r << " (element " << want[r].index << ")";
      ASSERT_EQ(got[r].index, want[r].index) << "report " << r;
      if (args) {
        ASSERT_TRUE(same(got[r].arg1, want[r].arg1)) << "argument of report " << r;
      }
    }
  }

  // A contiguous call of 64 to 71 elements starting at pool element s; the vectors at offsets
  // of 0 to 3 elements. Variants: plain, y on a, a callback that sets the results, y (or z) on
  // the last input.
  void contiguous(int s) {
    const int n = 71 - s % 8, variant = s % 4;
    std::vector<int> who(n);
    for (int i = 0; i < n; ++i) who[i] = (i + s) % m;
    std::vector<T> a[NI];
    std::vector<Out> y[NO];
    const T *pa[NI];
    Out *py[NO];
    for (int j = 0; j < NI; ++j) {
      const int off = (s >> j) & 3;
      a[j].assign(off + n, T{});  // exactly n: reading past them is an overflow
      for (int i = 0; i < n; ++i) a[j][off + i] = in[j][who[i]];
      pa[j] = a[j].data() + off;
    }
    for (int j = 0; j < NO; ++j) {
      const int off = (s >> (j + 2)) & 3;
      y[j].assign(off + n + 4, kUnset);
      py[j] = y[j].data() + off;
    }
    bool own[2] = {true, true};
    if constexpr (std::is_same_v<T, Out>) {  // y on an input
      if (variant == 1) py[0] = const_cast<T *>(pa[0]), own[0] = false;
      if (variant == 3) py[NO - 1] = const_cast<T *>(pa[NI - 1]), own[NO - 1] = false;
    }
    const auto got = call(n, pa, nullptr, py, nullptr, variant == 2);
    expect_reports(got, want_reports(who, nullptr), variant == 0 || variant == 2);
    for (int i = 0; i < n; ++i) {
      const bool marked = variant == 2 && !alone[who[i]].reports.empty();
      for (int j = 0; j < NO; ++j) {
        const Out want = marked ? mark<Out>(j == 0 ? kMark1 : kMark2, kMark2) : alone[who[i]].y[j];
        ASSERT_TRUE(as_alone(py[j][i], want)) << "element " << i << " of " << n << ", result " << j << ": "
                                          << py[j][i] << ", alone " << want << (marked ? " (set by the callback)" : "");
      }
    }
    for (int j = 0; j < NO; ++j)
      for (int i = n; own[j] && i < n + 4; ++i) ASSERT_TRUE(same(py[j][i], kUnset)) << "written past n";
  }

  // A vector of n elements at stride inc from its base, laid out with room for the reporter's
  // view of it (elements 0 to n-1 from the base).
  template <class E>
  struct Strided {
    std::vector<E> v;
    int base;
    E *at(int i, int inc) { return v.data() + base + static_cast<ptrdiff_t>(i) * inc; }
    Strided(int n, int inc, E fill) {
      const int lo = std::min(0, (n - 1) * inc), hi = std::max(n - 1, (n - 1) * inc);
      v.assign(hi - lo + 1, fill);
      base = -lo;
    }
  };

  void strided(std::array<int, 2> ia, std::array<int, 2> iy) {
    const int n = 71;
    std::vector<int> who(n, -1);
    std::vector<Strided<T>> a;
    std::vector<Strided<Out>> y, want;
    const T *pa[NI];
    Out *py[NO];
    for (int j = 0; j < NI; ++j) {
      a.emplace_back(n, ia[j], in[j][0]);
      for (int i = 0; i < n; ++i) *a[j].at(i, ia[j]) = in[j][(5 * i + 3) % m];
      pa[j] = a[j].at(0, 1);
    }
    for (int i = 0; i < n; ++i) who[i] = (5 * (ia[0] ? i : n - 1) + 3) % m;  // the last write stands
    for (int j = 0; j < NO; ++j) {
      y.emplace_back(n, iy[j], kUnset);
      want.push_back(y[j]);
      for (int i = 0; i < n; ++i) *want[j].at(i, iy[j]) = alone[who[i]].y[j];
      py[j] = y[j].at(0, 1);
    }
    const auto got = call(n, pa, ia.data(), py, iy.data());
    expect_reports(got, want_reports(who, a[0].at(0, 1)), true);
    for (int j = 0; j < NO; ++j)
      for (size_t p = 0; p < y[j].v.size(); ++p)
        ASSERT_TRUE(as_alone(y[j].v[p], want[j].v[p])) << "result " << j << " at place " << static_cast<int>(p) - y[j].base
                                                   << ": " << y[j].v[p] << ", want " << want[j].v[p];
  }

  void empty_calls() {
    T a[NI][4] = {};
    Out y[NO][4];
    const T *pa[NI];
    Out *py[NO];
    for (int j = 0; j < NI; ++j) pa[j] = a[j];
    for (int j = 0; j < NO; ++j) std::fill(y[j], y[j] + 4, kUnset), py[j] = y[j];
    const int inc[2] = {1, 1};
    for (int n : {0, -5})
      for (const int *i : {static_cast<const int *>(nullptr), inc}) EXPECT_TRUE(call(n, pa, i, py, i).empty());
    for (int j = 0; j < NO; ++j) EXPECT_TRUE(same(y[j][0], kUnset)) << "n <= 0 wrote";
  }

  void all() {
    m = static_cast<int>(in[0].size());
    alone_results();
    for (int s = 0; s < m && !::testing::Test::HasFatalFailure(); ++s) {
      SCOPED_TRACE("contiguous, shift " + std::to_string(s));
      contiguous(s);
    }
    const std::array<int, 2> kIn[] = {{1, 1}, {2, 2}, {-1, -1}, {1, -2}, {0, 0}, {1, 1}};
    const std::array<int, 2> kOut[] = {{1, 1}, {2, 2}, {-1, -1}, {3, -1}, {1, 1}, {0, 0}};
    for (int c = 0; c < 6 && !::testing::Test::HasFatalFailure(); ++c) {
      SCOPED_TRACE("strides " + std::to_string(kIn[c][0]) + ", " + std::to_string(kIn[c][1]) + " in, " +
                   std::to_string(kOut[c][0]) + ", " + std::to_string(kOut[c][1]) + " out");
      strided(kIn[c], kOut[c]);
    }
    empty_calls();
  }
};

// Complex elements pair two pools of their part type, one of them reversed, so that specials
// meet ordinary values and each other.
template <class T>
std::vector<T> element_pool(const std::string &stem, int arg, double b, uint64_t seed) {
  if constexpr (kComplex<T>) {
    using P = decltype(T::re);
    const std::vector<P> re = pool<P>(stem, arg, b, seed), im = pool<P>(stem, arg, b, seed + 100);
    std::vector<T> v;
    for (size_t k = 0; k < std::min(re.size(), im.size()); ++k) v.push_back(T{re[k], im[im.size() - 1 - k]});
    return v;
  } else {
    return pool<T>(stem, arg, b, seed);
  }
}

template <class T, class Out, Shape S>
void run_row(const RowInfo &row) {
  using C = Check<T, Out, S>;
  for (const auto &sc : scalars<T, S>()) {
    C proto;
    for (int j = 0; j < C::NI; ++j) proto.in[j] = element_pool<T>(row.stem, j, re_of(sc[0]), 7 + j);
    const size_t m = std::min(proto.in[0].size(), proto.in[C::NI - 1].size());
    for (auto &v : proto.in) v.resize(m);
    for (int lv = 0; lv < 3; ++lv) {
      void *k = stub(row, "", lv), *ki = stub(row, "I", lv);
      ASSERT_TRUE(k && ki) << row.t << row.stem << " " << kLevels[lv] << ": a stub is missing";
      SCOPED_TRACE(std::string(kLevels[lv]) + (S == Shape::scalar ? " b = " + show(sc[0]) : ""));
      C c = proto;
      c.f = bind<T, Out, S>(k, ki, sc);
      c.all();
      if (::testing::Test::HasFatalFailure()) return;
    }
  }
}

// Pack and unpack rows: the kernel against the loop that defines it, every element a bit
// pattern (signalling NaNs among them: copied as they are, with no flag raised), at counts
// around the two-element trip, strides 1, 2, -1, 0 and 3, masks sparse, empty and full, indices
// with repeats; the whole destination compared, so that nothing is written where the loop
// writes nothing. Three forms at every level: the stub (32-bit), the row's slot with flag 1 and
// garbage above the low halves of n and the stride, and the slot with flag 2, 64-bit count,
// stride and selector elements (masks nonzero only in their upper halves).
template <size_t E, Shape S>
void run_pack(const RowInfo &row) {
  constexpr bool kPack = S == Shape::packi || S == Shape::packm || S == Shape::packv;
  constexpr bool kStrided = S == Shape::packi || S == Shape::unpacki, kMask = S == Shape::packm || S == Shape::unpackm;
  using Slot = void (*)(long long, const void *, const void *, void *, int);  // selector by value or pointer
  auto *ttab = static_cast<void *const *>(oracle::stub(std::string("zyn_vex_kernel_") + row.t + row.stem + "_ttab"));
  ASSERT_NE(ttab, nullptr);
  std::mt19937_64 g(11);
  for (int n : {0, -3, 1, 2, 3, 8, 9, 37}) {
    const int m = std::max(n, 0);
    for (int sel = 0; sel < (kStrided ? 5 : 3); ++sel) {
      const long long inc = kStrided ? std::array<int, 5>{1, 2, -1, 0, 3}[sel] : 1;
      const int span = kStrided ? m * static_cast<int>(std::max(inc, -inc)) + 1 : m + 1;  // the strided side
      std::vector<int64_t> selector(m);
      for (int i = 0; i < m; ++i) selector[i] = kMask ? (sel == 2 || (sel == 0 && (g() & 1))) : int64_t(g() % span);
      // elements: random bits, a signalling NaN in each 4 bytes now and then
      const auto fill = [&](std::vector<unsigned char> &v) {
        for (size_t b = 0; b < v.size(); b += 4) {
          const uint32_t w = (g() % 5 == 0) ? 0x7f800001u : static_cast<uint32_t>(g());
          memcpy(&v[b], &w, 4);
        }
      };
      std::vector<unsigned char> a((kPack ? span : m + 1) * E), y((kPack ? m + 1 : span) * E), want;
      fill(a);
      fill(y);
      const ptrdiff_t base = inc < 0 ? static_cast<ptrdiff_t>(span - 1) * E : 0;  // where the strided side starts
      unsigned char *pa = a.data() + (kPack && kStrided ? base : 0), *py = y.data() + (!kPack && kStrided ? base : 0);
      want = y;
      unsigned char *pw = want.data() + (py - y.data());
      for (int i = 0, k = 0; i < m; ++i) {  // the defining loop
        const ptrdiff_t s = static_cast<ptrdiff_t>(kStrided ? i * inc : selector[i]);
        if (S == Shape::packi) memcpy(pw + i * E, pa + s * E, E);
        if (S == Shape::packm && s) memcpy(pw + k++ * E, pa + i * E, E);
        if (S == Shape::packv) memcpy(pw + i * E, pa + s * E, E);
        if (S == Shape::unpacki) memcpy(pw + s * E, pa + i * E, E);
        if (S == Shape::unpackm && s) memcpy(pw + i * E, pa + k++ * E, E);
        if (S == Shape::unpackv) memcpy(pw + s * E, pa + i * E, E);
      }
      std::vector<int32_t> s32(selector.begin(), selector.end());
      std::vector<int64_t> s64(selector);
      if (kMask)
        for (auto &v : s64) v <<= 32;
      const long long junk = static_cast<long long>(0x5a5a5a5aULL << 32);
      for (int lv = 0; lv < 3; ++lv)
        for (int form = 0; form < 3; ++form) {
          SCOPED_TRACE(std::string(kLevels[lv]) + " n " + std::to_string(n) + " selector " + std::to_string(sel) +
                       " form " + std::to_string(form));
          std::vector<unsigned char> out = y;
          unsigned char *po = out.data() + (py - y.data());
          const void *sp = kStrided ? nullptr : form == 2 ? static_cast<const void *>(s64.data()) : s32.data();
          const long long nn = form == 1 ? (junk | static_cast<uint32_t>(n)) : n;
          const long long ii = form == 1 ? (junk | static_cast<uint32_t>(static_cast<int>(inc))) : inc;
          const void *x = kStrided ? reinterpret_cast<const void *>(ii) : sp;
          _mm_setcsr(_mm_getcsr() & ~0x3fu);
          if (form == 0) {  // the exported name: n and the stride as int
            void *k = stub(row, "", lv);
            if (kStrided && kPack) reinterpret_cast<void (*)(int, const void *, int, void *)>(k)(n, pa, static_cast<int>(inc), po);
            if (kStrided && !kPack) reinterpret_cast<void (*)(int, const void *, void *, int)>(k)(n, pa, po, static_cast<int>(inc));
            if (!kStrided && kPack) reinterpret_cast<void (*)(int, const void *, const void *, void *)>(k)(n, pa, sp, po);
            if (!kStrided && !kPack) reinterpret_cast<void (*)(int, const void *, void *, const void *)>(k)(n, pa, po, sp);
          } else if (kPack) {
            reinterpret_cast<Slot>(ttab[lv])(nn, pa, x, po, form);
          } else {
            reinterpret_cast<void (*)(long long, const void *, void *, const void *, int)>(ttab[lv])(nn, pa, po, x, form);
          }
          EXPECT_EQ(_mm_getcsr() & 0x3fu, 0u) << "a flag was raised";
          ASSERT_TRUE(out == want) << "the destination differs from the loop's";
        }
    }
  }
}

class Layout : public ::testing::TestWithParam<const RowInfo *> {};

TEST_P(Layout, EveryElementAsAloneInEveryLayout) {
  const RowInfo &r = *GetParam();
  ASSERT_NE(r.run, nullptr) << r.t << r.stem << " is switched on but its shape has no layout case";
  r.run(r);
}

INSTANTIATE_TEST_SUITE_P(Rows, Layout, ::testing::ValuesIn(switched_on()),
                         [](const auto &info) { return std::string(1, info.param->t) + info.param->stem; });

}  // namespace
