// Floating-point state of a vector kernel: saved at entry, set to the kernel's needs, restored
// at exit with the status flags the kernel raised merged back in.
//
// x87 entry kinds test the control word and, when it differs, clear pending exceptions and load
// a new word: MasksOnly sets the six exception masks; Double and Extended also set the
// precision control (bits under 0xf3f become 0x23f or 0x33f). MXCSR entry kinds: ModeDriven
// reads the thread's mode word and forces 0x9fc0 (all masked, flush-to-zero and
// denormals-are-zero, round to nearest) under MODE_DENORMALS_FLUSH, else 0x1f80 (all masked,
// both off, round to nearest), over the bits under 0xffc0; MasksOnly only sets the masks 0x1f80
// and so keeps the caller's rounding and denormal controls.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "frame/thread_state.hpp"

namespace zyn::vk {

enum class X87Kind { MasksOnly, Double, Extended, None };
enum class MxKind { ModeDriven, MasksOnly, None };

inline constexpr uint32_t kModeDenormalsMask = 0x3c0000;
inline constexpr uint32_t kModeDenormalsFlush = 0x280000;
inline constexpr uint32_t kMxcsrFlush = 0x9fc0;
inline constexpr uint32_t kMxcsrKeep = 0x1f80;

// Keeps the compiler from moving floating-point work across a change of MXCSR or x87 state.
inline void fp_barrier() { asm volatile("" ::: "memory"); }

// Quotients that must be computed at run time, to produce the IEEE result and raise the flag.
inline double runtime_div(double a, double b) {
  asm volatile("" : "+x"(a), "+x"(b));
  return a / b;
}

template <X87Kind XK, MxKind MK>
class FpScope {
 public:
  FpScope() {
    if constexpr (XK != X87Kind::None) {
      constexpr uint16_t mask = XK == X87Kind::MasksOnly ? 0x3f : 0xf3f;
      constexpr uint16_t want = XK == X87Kind::MasksOnly ? 0x3f : XK == X87Kind::Double ? 0x23f : 0x33f;
      asm volatile("fnstcw %0" : "=m"(cw_));
      if ((cw_ & mask) != want) {
        uint16_t nw = static_cast<uint16_t>((cw_ & ~mask) | want);
        asm volatile("fnclex\n\tfldcw %0" : : "m"(nw));
        flag_ |= 1;
      }
    }
    if constexpr (MK != MxKind::None) {
      uint32_t mask = kMxcsrKeep, target = kMxcsrKeep;
      if constexpr (MK == MxKind::ModeDriven) {
        mask = 0xffc0;
        target = (frame::GetMode() & kModeDenormalsMask) == kModeDenormalsFlush ? kMxcsrFlush : kMxcsrKeep;
      }
      csr_ = _mm_getcsr();
      if ((csr_ & mask) != target) {
        _mm_setcsr((csr_ & ~mask) | target);
        flag_ |= 2;
      }
    }
    fp_barrier();
  }
  ~FpScope() {
    fp_barrier();
    if (flag_ & 1) asm volatile("fldcw %0" : : "m"(cw_));
    if (flag_ & 2) _mm_setcsr(csr_ | (_mm_getcsr() & 0x3f));
  }
  FpScope(const FpScope &) = delete;
  FpScope &operator=(const FpScope &) = delete;

 private:
  uint16_t cw_ = 0;
  uint32_t csr_ = 0;
  unsigned flag_ = 0;
};

}  // namespace zyn::vk
