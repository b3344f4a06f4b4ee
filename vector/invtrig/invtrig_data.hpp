// Coefficients and constants of the inverse trigonometric kernels, generated at build time by
// tools/gen_tables/invtrig_tables.cpp: weighted minimax polynomials by the Remez exchange in
// MPFR, rounded once; the generated file states each set's error with its coefficients rounded.
//
//   asin t = t + t z P(z), z = t^2 in [0, 1/4]: t = |x| up to 1/2, beyond t = sqrt((1 - |x|)/2)
//   atan t = t + t z Q(z), z = t^2 in [0, (7/16)^2] (double HA), [0, tan^2(pi/8)] (the others):
//   t the reduced argument
// Errors relative to asin t and atan t. Sets: [0] double HA, [1] double LA, [2] double EP,
// [3] single HA (evaluated in double), then in float [0] single LA, [1] single EP.
#pragma once

namespace zyn::vk::data {

inline constexpr int kInvtrigMaxDeg = 12;
inline constexpr int kAsinDeg[6] = {12, 11, 4, 5, 4, 1};
inline constexpr int kAtanDeg[6] = {11, 9, 4, 4, 3, 1};
// The bound each set must keep (the build fails otherwise), as -log2 of the relative error.
inline constexpr double kInvtrigBits[6] = {58, 54, 27, 30, 24, 14};

template <class T>
struct InvtrigSet {
  T asin[kInvtrigMaxDeg + 1];  // highest degree first, then zeros
  T atan[kInvtrigMaxDeg + 1];
};
extern const InvtrigSet<double> invtrig_d[4];
extern const InvtrigSet<float> invtrig_s[2];

// Constants, high part and the rest: pi/2, pi, 1/pi; atan c and atan c / pi for the reduction
// points c = 0, 1/2, 1.
template <class T>
struct InvtrigConst {
  T pio2[2], pi[2], inv_pi[2];
  T atan_c[3][2], atan_c_pi[3][2];
};
extern const InvtrigConst<double> invtrig_kd;
extern const InvtrigConst<float> invtrig_ks;

}  // namespace zyn::vk::data
