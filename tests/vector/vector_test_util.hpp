// Shared helpers of the vector tests: capturing reports through the callback, floating-point
// state helpers, and the table-driven check of special values and statuses.
#pragma once

#include <gtest/gtest.h>
#include <immintrin.h>

#include <cmath>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tools/accuracy/oracle.hpp"
#include "vector/skeleton/simd.hpp"
#include "zyn/vex.h"

namespace zyn::test {

struct Report {
  int code, index;
  double arg1, res1;
};

// Records every report of the calling thread while alive; restores mode and callback after.
class ReportLog {
 public:
  ReportLog() {
    old_cb_ = _vexSetErrorCallBack(&ReportLog::record);
    log().clear();
    _vexClearErrStatus();
  }
  ~ReportLog() {
    if (old_cb_)
      _vexSetErrorCallBack(old_cb_);
    else
      _vexClearErrorCallBack();
  }
  static std::vector<Report> &log() {
    static thread_local std::vector<Report> v;
    return v;
  }
  static int record(ErrorContext *c) {
    log().push_back({c->code, c->index, c->arg1, c->res1});
    return 0;
  }

 private:
  VexErrorCallBack old_cb_;
};

using zyn::vk::bits;  // bit patterns of doubles and floats
// The same bits, or both NaN.
template <class T>
bool same(T x, T y) {
  return (std::isnan(x) && std::isnan(y)) || bits(x) == bits(y);
}

inline uint16_t x87_cw() {
  uint16_t cw;
  asm volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
inline void set_x87_cw(uint16_t cw) { asm volatile("fldcw %0" : : "m"(cw)); }

// Restores MXCSR and the x87 control word on scope exit.
struct FpRestore {
  uint32_t csr = _mm_getcsr();
  uint16_t cw = x87_cw();
  ~FpRestore() {
    _mm_setcsr(csr);
    set_x87_cw(cw);
  }
};

// Error handling off for a scope.
struct QuietErrors {
  unsigned old = _vexSetMode(VEX_ERRMODE_IGNORE);
  ~QuietErrors() { _vexSetMode(old); }
};

inline const char *kLevels[3] = {"LA", "HA", "EP"};

// The argument lists of the rows (zyn/vex_rows.def).
enum class Shape { unary, unary2, binary, scalar, linearfrac, packi, packm, packv, unpacki, unpackm, unpackv, none };
inline Shape shape_of(const std::string &row) {
#define ZYN_VEX_ROW(t, Stem, shape, ...) \
  if (row == #t #Stem) return Shape::shape;
#include "zyn/vex_rows.def"
#undef ZYN_VEX_ROW
  return Shape::none;
}

// One case of a special-values table: the row ("dLn"; Powx takes b as its scalar), the inputs,
// the first result (NaN: any NaN) within `rel` (0: the same bits) and the status reported (0:
// none), at the levels in `levels` (bit 0 LA, 1 HA, 2 EP).
struct Special {
  std::string row;
  double a, b, want;
  int status = 0;
  double rel = 0;
  unsigned levels = 7;
};

template <class T>
T run_case(Shape shape, void *k, const Special &c) {
  T a = static_cast<T>(c.a), b = static_cast<T>(c.b), y[2];
  switch (shape) {
    case Shape::unary: reinterpret_cast<void (*)(int, const T *, T *)>(k)(1, &a, y); break;
    case Shape::unary2: reinterpret_cast<void (*)(int, const T *, T *, T *)>(k)(1, &a, y, y + 1); break;
    case Shape::binary: reinterpret_cast<void (*)(int, const T *, const T *, T *)>(k)(1, &a, &b, y); break;
    case Shape::scalar: reinterpret_cast<void (*)(int, const T *, T, T *)>(k)(1, &a, b, y); break;
    default: ADD_FAILURE() << c.row << ": no case for its shape"; return 0;
  }
  return y[0];
}

inline void expect_cases(const std::vector<Special> &cases) {
  for (const Special &c : cases) {
    for (int lv = 0; lv < 3; ++lv) {
      if (!(c.levels >> lv & 1)) continue;
      void *k = oracle::stub(oracle::stub_name(c.row[0], c.row.substr(1), lv));
      ASSERT_NE(k, nullptr) << c.row << " is not exported";
      ReportLog log;
      const bool single = c.row[0] == 's';
      const double y = single ? run_case<float>(shape_of(c.row), k, c) : run_case<double>(shape_of(c.row), k, c);
      const double want = single ? static_cast<float>(c.want) : c.want;
 char what[128];
      snprintf(what, sizeof what, "%s %s at %.17g, %.17g", c.row.c_str(), kLevels[lv], c.a, c.b);
      if (c.rel == 0 || std::isnan(want) || std::isinf(want) || want == 0)
        EXPECT_TRUE(same(y, want)) << what << ": " << y << ", want " << want;
      else
        EXPECT_LE(std::fabs(y - want), c.rel * std::fabs(want)) << what << ": " << y << ", want " << want;
      const auto &r = ReportLog::log();
      EXPECT_EQ(r.empty() ? 0 : r.back().code, c.status) << what;
      EXPECT_LE(r.size(), 1u) << what;
    }
  }
}

}  // namespace zyn::test
