// Helpers shared by the statistics entries.
#pragma once

#include <cstdint>
#include <cstring>

namespace zyn::stats {

// Reads element `k` of an integer array of the task's width (32 bits, or 64 when `wide`).
inline int64_t read_int(bool wide, const void *p, int64_t k = 0) {
  if (wide) {
    int64_t v;
    std::memcpy(&v, static_cast<const char *>(p) + 8 * k, 8);
    return v;
  }
  int32_t v;
  std::memcpy(&v, static_cast<const char *>(p) + 4 * k, 4);
  return v;
}

}  // namespace zyn::stats
