// Coefficients of the pi- and degree-scaled sine, cosine and tangent, generated at build time by
// tools/gen_tables/trigpi_tables.cpp: weighted minimax polynomials by the Remez exchange in
// MPFR, rounded once; the generated file states each set's error with its coefficients rounded.
//
// For the unit U (1 for the pi forms, 180 for degrees) and |r| <= U/4 (and a margin), z = r^2:
//   sin(pi r/U) = r S(z),  cos(pi r/U) = 1 + z C(z),
// errors relative to the sine and the cosine. Sets: [0] double LA, [1] double EP, [2] single HA
// (evaluated in double), then in float [0] single LA, [1] single EP. Double HA scales r by pi/U
// as a double-double into the radian core instead.
#pragma once

namespace zyn::vk::data {

inline constexpr int kTrigpiSinDeg[5] = {6, 3, 4, 3, 2};
inline constexpr int kTrigpiCosDeg[5] = {5, 3, 3, 3, 1};
inline constexpr double kTrigpiBits[5] = {53, 28, 31, 24, 13};
inline constexpr int kTrigpiMaxDeg = 6;

template <class T>
struct TrigpiSet {
  T sin[kTrigpiMaxDeg + 1];  // highest degree first, then zeros
  T cos[kTrigpiMaxDeg + 1];
};
extern const TrigpiSet<double> trigpi_d[2][3];  // [unit: pi forms, degrees][set]
extern const TrigpiSet<float> trigpi_s[2][2];
extern const double trigpi_scale[2][2];  // pi/U, high part and the rest

}  // namespace zyn::vk::data
