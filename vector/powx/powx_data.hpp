// Tables of the power kernels, generated at build time by tools/gen_tables/powx_tables.cpp.
#pragma once

namespace zyn::vk::data {
// Subinterval i of the float significands [0.699, 1.398): reciprocal of its midpoint, -log2 of it.
extern const double powx_log2f[128][2];
}  // namespace zyn::vk::data
