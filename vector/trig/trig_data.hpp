// Constants of the trigonometric argument reduction, generated at build time by
// tools/gen_tables/trig_tables.cpp.
#pragma once

#include <cstdint>

namespace zyn::vk::data {
extern const uint64_t trig_two_over_pi[24];  // fraction bits of 2/pi, most significant first
extern const double trig_pio2_4[4];          // pi/2 in pieces of 32, 32, 32, 53 bits
extern const double trig_pio2_2[2];          // pi/2 in pieces of 32, 53 bits
extern const double trig_pio2_dd[2];         // pi/2 as a double-double
}  // namespace zyn::vk::data
