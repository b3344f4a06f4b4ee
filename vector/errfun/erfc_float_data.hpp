// Tables of the float Erfc and CdfNorm kernels (single LA and EP), generated at build time by
// tools/gen_tables/erfcf_tables.cpp (weighted Remez in MPFR, coefficients rounded to float and
// the rounded polynomial checked). With sigma = 1 (erfc) or 1/sqrt(2) (CdfNorm) and k = 1 or 1/2:
//   central, |x| < ac:  k erf(sigma x) = x P(x^2);
//   tail, a = |x| >= ac: k erfc(sigma a) = e^(-sigma^2 a^2) Q(v), v = b ib - bm in [-1, 1],
//     b = a and 1 / a on two intervals of a split at a1 (LA), b = 1 / (1 + c a) (EP).
// Every coefficient is stored four times, ready for one aligned load.
#pragma once

namespace zyn::vk::data {

struct alignas(16) F4 {
  float v[4];
};
inline constexpr int kErfcfCentralDegLa = 4, kErfcfTailDegLa = 10;
inline constexpr int kErfcfCentralDegEp = 2, kErfcfTailDegEp = 5;

template <int KC, int KT, int NI>
struct ErfcfSet {
  F4 ac, a1, hi;    // central limit, interval split, clamp of a (kept in the vector range)
  F4 central[KC + 1];  // highest degree first
  F4 c[NI], bm[NI], ib[NI], tail_lo[NI];  // tail_lo: low part of the constant term
  F4 tail[NI][KT + 1];
};
using ErfcfLa = ErfcfSet<kErfcfCentralDegLa, kErfcfTailDegLa, 2>;
using ErfcfEp = ErfcfSet<kErfcfCentralDegEp, kErfcfTailDegEp, 1>;
// [0] erfc, [1] CdfNorm
extern const ErfcfLa erfcf_la[2];
extern const ErfcfEp erfcf_ep[2];

}  // namespace zyn::vk::data
