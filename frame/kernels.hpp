// Declarations of every vector kernel the rows can hold, zyn_vk_<row>_<LEVEL>, with the
// argument list of the row's shape. A kernel file includes this header, so a definition whose
// arguments differ from its row's fails to compile.
#pragma once

#include "zyn/vex.h"

#define ZYN_VK_DECLARE(row, level, params) extern "C" void zyn_vk_##row##_##level params;
#define ZYN_VK_LEVELS_three(row, params) \
  ZYN_VK_DECLARE(row, LA, params) ZYN_VK_DECLARE(row, HA, params) ZYN_VK_DECLARE(row, EP, params)
#define ZYN_VK_LEVELS_one(row, params) ZYN_VK_DECLARE(row, HA, params)
#define ZYN_VK_LEVELS_la_ha(row, params) ZYN_VK_DECLARE(row, HA, params) ZYN_VK_DECLARE(row, EP, params)
#define ZYN_VK_LEVELS_la_ep(row, params) ZYN_VK_DECLARE(row, HA, params) ZYN_VK_DECLARE(row, EP, params)

#define ZYN_VEX_ROW(t, Stem, shape, in, out, share, la, ha, ep)                              \
  ZYN_VK_LEVELS_##share(t##Stem, ZYN_VEX_K_##shape(ZYN_VEX_T_##in, ZYN_VEX_T_##out))         \
  ZYN_VEX_HAS_I_##shape(                                                                     \
      ZYN_VK_LEVELS_##share(t##Stem##I, ZYN_VEX_I_##shape(ZYN_VEX_T_##in, ZYN_VEX_T_##out)))
#include "zyn/vex_rows.def"
#undef ZYN_VEX_ROW
