// Shared helpers of the vector tests: capturing reports through the callback, and
// floating-point state helpers.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>
#include <vector>

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

}  // namespace zyn::test
