// The generic vector kernel: entry and exit of the floating-point state, blocks with one
// detection test per block, the lane loop through the scalar path and the reporter, the tail,
// and the contiguous and strided layouts. A function is a policy:
//
//   struct P {
//     using T = double;                          // element type
//     static constexpr int kInputs, kOutputs;    // 1 or 2 each
//     static constexpr int kBlock;               // elements per block, a multiple of the lanes
//     static constexpr X87Kind kX87; static constexpr MxKind kMxcsr;
//     static constexpr Tail kTail;               // Padded: vectors with filler lanes; Scalar
//     static constexpr BadBlock kBadBlock;       // Lanes: only bad lanes go to the scalar path;
//                                                // WholeBlock: the whole block does
//     static constexpr T kPad[kInputs];          // filler of a padded tail lane
//     static constexpr const char *kName;        // "vdLn"
//     static void eval(const V *x, V *r);        // fast path on one vector of each input
//     static int bad(const V *x);                // lanes the fast path can't take, one bit each
//     static int scalar(const T *x, T *r);       // any element; returns the status
//   };
//
// The lane loop takes bad lanes lowest first: the scalar result goes to the block's stack
// buffer; for a nonzero status it is stored in the output, the reporter is called, and the
// output is read back into the buffer so that a value set by the callback survives. The block
// is stored from the buffer afterwards, so vector results of bad lanes never reach the output.
// Strided calls report with the element's number and the base pointers; their tail goes one
// element at a time, through the same vector arithmetic, so an element's result never depends
// on where it stands.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/report.hpp"
#include "vector/skeleton/fpenv.hpp"
#include "vector/skeleton/simd.hpp"

namespace zyn::vk {

enum class Tail { Padded, Scalar };
enum class BadBlock { Lanes, WholeBlock };

inline void report(int status, int index, const double *a1, const double *a2, double *r1, double *r2,
                   const char *name) {
  frame::ReportErrorD(status, index, a1, a2, r1, r2, name);
}
inline void report(int status, int index, const float *a1, const float *a2, float *r1, float *r2,
                   const char *name) {
  frame::ReportErrorS(status, index, a1, a2, r1, r2, name);
}

// The common choices of a one-input, one-result policy: mode-driven, masks-only x87, bad lanes
// one by one, padded tail with 0.75. A policy derives from it and redeclares what differs.
template <class Elem>
struct UnaryPolicy {
  using T = Elem;
  using V = typename Simd<Elem>::V;
  static constexpr int kInputs = 1, kOutputs = 1;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = MxKind::ModeDriven;
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[1] = {T(0.75)};
};

template <class T, int NI, int NO>
struct Contiguous {
  const T *in[NI];
  T *out[NO];
  using S = Simd<T>;
  typename S::V load(int k, int i) const { return S::load(in[k] + i); }
  void store(int k, int i, typename S::V v) const { S::store(out[k] + i, v); }
  const T *in_at(int k, int i) const { return in[k] + i; }
  T *out_at(int k, int i) const { return out[k] + i; }
};

template <class T, int NI, int NO>
struct Strided {
  const T *in[NI];
  int inc_in[NI];
  T *out[NO];
  int inc_out[NO];
  using S = Simd<T>;
  typename S::V load(int k, int i) const {
    alignas(16) T buf[S::L];
    for (int j = 0; j < S::L; ++j) buf[j] = *in_at(k, i + j);
    return S::load(buf);
  }
  void store(int k, int i, typename S::V v) const {
    alignas(16) T buf[S::L];
    S::store(buf, v);
    for (int j = 0; j < S::L; ++j) *out_at(k, i + j) = buf[j];
  }
  const T *in_at(int k, int i) const { return in[k] + static_cast<ptrdiff_t>(i) * inc_in[k]; }
  T *out_at(int k, int i) const { return out[k] + static_cast<ptrdiff_t>(i) * inc_out[k]; }
};

template <class P>
struct Map {
  using T = typename P::T;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int L = S::L;
  static constexpr int NI = P::kInputs, NO = P::kOutputs;
  static constexpr int NV = P::kBlock / L;  // vectors per block
  static_assert(P::kBlock % L == 0);

  // The reporter sees the element's number and the base pointers: for a contiguous call that
  // is the element itself, for a strided call element `i` of the vectors taken contiguously.
  template <class Lay>
  static void report_at(const Lay &lay, int status, int i) {
    report(status, i, lay.in[0], lay.in[NI - 1], lay.out[0], lay.out[NO - 1], P::kName);
  }

  // One element through the scalar path, written straight to the output and reported.
  template <class Lay>
  static void scalar_element(const Lay &lay, int i) {
    T x[NI], r[NO];
    for (int k = 0; k < NI; ++k) x[k] = *lay.in_at(k, i);
    int status = P::scalar(x, r);
    for (int k = 0; k < NO; ++k) *lay.out_at(k, i) = r[k];
    if (status != 0) report_at(lay, status, i);
  }

  // Lanes of `mask` (bit j is element i0 + j) through the scalar path into buf.
  template <class Lay>
  static void lane_loop(const Lay &lay, int i0, unsigned mask, T (*buf)[P::kBlock]) {
    while (mask != 0) {
      int j = __builtin_ctz(mask);
      mask &= mask - 1;
      T x[NI], r[NO];
      for (int k = 0; k < NI; ++k) x[k] = *lay.in_at(k, i0 + j);
      int status = P::scalar(x, r);
      for (int k = 0; k < NO; ++k) buf[k][j] = r[k];
      if (status != 0) {
        for (int k = 0; k < NO; ++k) *lay.out_at(k, i0 + j) = r[k];
        report_at(lay, status, i0 + j);
        for (int k = 0; k < NO; ++k) buf[k][j] = *lay.out_at(k, i0 + j);
      }
    }
  }

  template <class Lay>
  static void block(const Lay &lay, int i0) {
    V x[NV][NI], r[NV][NO];
    unsigned mask = 0;
    for (int v = 0; v < NV; ++v) {
      for (int k = 0; k < NI; ++k) x[v][k] = lay.load(k, i0 + v * L);
      mask |= static_cast<unsigned>(P::bad(x[v])) << (v * L);
    }
    if constexpr (P::kBadBlock == BadBlock::WholeBlock) {
      if (mask != 0) {
        for (int j = 0; j < P::kBlock; ++j) scalar_element(lay, i0 + j);
        return;
      }
    }
    for (int v = 0; v < NV; ++v) P::eval(x[v], r[v]);
    if (__builtin_expect(mask == 0, 1)) {
      for (int v = 0; v < NV; ++v)
        for (int k = 0; k < NO; ++k) lay.store(k, i0 + v * L, r[v][k]);
      return;
    }
    alignas(64) T buf[NO][P::kBlock];
    for (int v = 0; v < NV; ++v)
      for (int k = 0; k < NO; ++k) S::store(&buf[k][v * L], r[v][k]);
    lane_loop(lay, i0, mask, buf);
    for (int v = 0; v < NV; ++v)
      for (int k = 0; k < NO; ++k) lay.store(k, i0 + v * L, S::load(&buf[k][v * L]));
  }

  // `count` (< L) elements from i0 through one vector with filler lanes.
  template <class Lay>
  static void padded(const Lay &lay, int i0, int count) {
    alignas(16) T xin[NI][L];
    V x[NI], r[NO];
    for (int k = 0; k < NI; ++k) {
      for (int j = 0; j < L; ++j) xin[k][j] = j < count ? *lay.in_at(k, i0 + j) : P::kPad[k];
      x[k] = S::load(xin[k]);
    }
    unsigned mask = static_cast<unsigned>(P::bad(x)) & ((1u << count) - 1);
    P::eval(x, r);
    alignas(64) T buf[NO][P::kBlock];
    for (int k = 0; k < NO; ++k) S::store(buf[k], r[k]);
    lane_loop(lay, i0, mask, buf);
    for (int k = 0; k < NO; ++k)
      for (int j = 0; j < count; ++j) *lay.out_at(k, i0 + j) = buf[k][j];
  }

  template <class Lay>
  static void run(int n, const Lay &lay, bool strided) {
    FpScope<P::kX87, P::kMxcsr> fp;
    if (n <= 0) return;
    int i = 0;
    for (; i + P::kBlock <= n; i += P::kBlock) block(lay, i);
    if constexpr (P::kTail == Tail::Scalar) {
      for (; i < n; ++i) scalar_element(lay, i);
    } else {
      if (strided) {
        for (; i < n; ++i) padded(lay, i, 1);
      } else {
        for (; i < n; i += L) padded(lay, i, n - i < L ? n - i : L);
      }
    }
  }

  // Unary and binary entry points; two-result functions take y and z.
  static void unary(int n, const T *a, T *y) requires(NI == 1 && NO == 1) {
    run(n, Contiguous<T, 1, 1>{{a}, {y}}, false);
  }
  static void unary_i(int n, const T *a, int inca, T *y, int incy) requires(NI == 1 && NO == 1) {
    run(n, Strided<T, 1, 1>{{a}, {inca}, {y}, {incy}}, true);
  }
  static void binary(int n, const T *a, const T *b, T *y) requires(NI == 2 && NO == 1) {
    run(n, Contiguous<T, 2, 1>{{a, b}, {y}}, false);
  }
  static void binary_i(int n, const T *a, int inca, const T *b, int incb, T *y, int incy)
    requires(NI == 2 && NO == 1) {
    run(n, Strided<T, 2, 1>{{a, b}, {inca, incb}, {y}, {incy}}, true);
  }
  static void unary2(int n, const T *a, T *y, T *z) requires(NI == 1 && NO == 2) {
    run(n, Contiguous<T, 1, 2>{{a}, {y, z}}, false);
  }
  static void unary2_i(int n, const T *a, int inca, T *y, int incy, T *z, int incz)
    requires(NI == 1 && NO == 2) {
    run(n, Strided<T, 1, 2>{{a}, {inca}, {y, z}, {incy, incz}}, true);
  }
};

// Defines the contiguous and strided kernels of row <row> at level <lvl> from policy P, with the
// names the row tables expect (zyn_vk_dLn_HA and zyn_vk_dLnI_HA).
#define ZYN_UNARY_KERNELS(row, lvl, P)                                                          \
  extern "C" void zyn_vk_##row##_##lvl(int n, const P::T *a, P::T *y) {                        \
    ::zyn::vk::Map<P>::unary(n, a, y);                                                          \
  }                                                                                             \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const P::T *a, int inca, P::T *y, int incy) {  \
    ::zyn::vk::Map<P>::unary_i(n, a, inca, y, incy);                                            \
  }
// The three levels of a row from the policies <P>La, <P>Ha and <P>Ep.
#define ZYN_UNARY_LEVELS3(row, P)    \
  ZYN_UNARY_KERNELS(row, LA, P##La) \
  ZYN_UNARY_KERNELS(row, HA, P##Ha) \
  ZYN_UNARY_KERNELS(row, EP, P##Ep)
#define ZYN_BINARY_KERNELS(row, lvl, P)                                                          \
  extern "C" void zyn_vk_##row##_##lvl(int n, const P::T *a, const P::T *b, P::T *y) {         \
    ::zyn::vk::Map<P>::binary(n, a, b, y);                                                       \
  }                                                                                              \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const P::T *a, int inca, const P::T *b, int incb, \
                                        P::T *y, int incy) {                                     \
    ::zyn::vk::Map<P>::binary_i(n, a, inca, b, incb, y, incy);                                   \
  }
#define ZYN_UNARY2_KERNELS(row, lvl, P)                                                           \
  extern "C" void zyn_vk_##row##_##lvl(int n, const P::T *a, P::T *y, P::T *z) {                \
    ::zyn::vk::Map<P>::unary2(n, a, y, z);                                                        \
  }                                                                                               \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const P::T *a, int inca, P::T *y, int incy,       \
                                        P::T *z, int incz) {                                      \
    ::zyn::vk::Map<P>::unary2_i(n, a, inca, y, incy, z, incz);                                    \
  }

}  // namespace zyn::vk
