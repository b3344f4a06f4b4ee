// Logarithm tables, generated at build time by tools/gen_tables/ln_tables.cpp.
#pragma once

namespace zyn::vk::data {
extern const double ln_ep[513][2];      // EP: reciprocal of 1 + i/512 (26 bits), -ln of it (x2 from 256)
extern const double ln_la[513];         // LA: -ln(r/512) (r <= 724) or -ln(r/1024), r = 512 + j
extern const double ln_ha[513][2];      // HA: -ln(r/1024) - 1023 ln2, high (2^-36 grid) and low
extern const double log2_ha[513][2];    // HA log2: -log2(r/1024) - 1023, high (2^-42 grid) and low
extern const double ln_scalar[65][3];   // scalar path: reciprocal (21 bits), -ln high (2^-42 grid), low
}  // namespace zyn::vk::data
