// Exponential tables, generated at build time by tools/gen_tables/exp_tables.cpp.
#pragma once

#include <cstdint>

namespace zyn::vk::data {
// Entry j: bits of the relative tail of 2^(j/N) rounded, and bits(2^(j/N)) - (j << (52 - log2 N)).
extern const uint64_t exp128[128][2];  // N = 128: vector paths
extern const uint64_t exp64[64][2];    // N = 64: the double scalar path
}  // namespace zyn::vk::data
