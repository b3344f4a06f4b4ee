// The reporters: what happens to an element that a kernel could not compute cleanly, as the
// thread's mode word says.
#include "frame/report.hpp"

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "frame/core_link.hpp"
#include "frame/thread_state.hpp"

// The callback record's layout is part of the interface: natural alignment, no packing.
static_assert(offsetof(ErrorContext, arg1) == 8 && offsetof(ErrorContext, res2) == 32 &&
              offsetof(ErrorContext, funcName) == 40 && offsetof(ErrorContext, funcNameLen) == 104 &&
              offsetof(ErrorContext, arg1Im) == 112 && offsetof(ErrorContext, res2Im) == 136 &&
              sizeof(ErrorContext) == 144);

namespace zyn::frame {
namespace {

static_assert(EDOM == 33 && ERANGE == 34 && EINVAL == 22 && EACCES == 13 && EFAULT == 14,
              "the status table's errno values are Linux's");

constexpr uint32_t kAnyHandling = VEX_ERRMODE_IGNORE | VEX_ERRMODE_ERRNO | VEX_ERRMODE_STDERR |
                                  VEX_ERRMODE_EXCEPT | VEX_ERRMODE_NOERR;  // 0x2f00
constexpr size_t kMaxName = 47;

// Element access, widening single-precision parts to double and narrowing them back.
inline void load(const float &v, double &re, double &) { re = v; }
inline void load(const double &v, double &re, double &) { re = v; }
template <class C>
inline void load(const C &v, double &re, double &im) {
  re = v.re, im = v.im;
}
inline void store(float &v, double re, double) { v = static_cast<float>(re); }
inline void store(double &v, double re, double) { v = re; }
template <class C>
inline void store(C &v, double re, double im) {
  using Part = decltype(v.re);
  v.re = static_cast<Part>(re), v.im = static_cast<Part>(im);
}

int message_for(int code) {
  switch (code) {
    case STATUS_DOMAIN: return ZYN_MSG_DOMAIN;
    case STATUS_SINGULARITY: return ZYN_MSG_SINGULARITY;
    case STATUS_OVERFLOW: return ZYN_MSG_OVERFLOW;
    case STATUS_UNDERFLOW: return ZYN_MSG_UNDERFLOW;
    default: return ZYN_MSG_UNKNOWN;
  }
}

// One input when the second equals the first bit for bit or compares equal to 0.0; likewise
// for the results. So a second value of 0.0 is never shown.
bool single(double first, double second) {
  return std::bit_cast<uint64_t>(first) == std::bit_cast<uint64_t>(second) || second == 0.0;
}

void print_values(const ErrorContext &c) {
  auto line = [&](int number, double value) { zyn::core::zyn_serv_print(1, number, 2, c.index, value); };
  bool one_in = single(c.arg1, c.arg2), one_out = single(c.res1, c.res2);
  if (one_in && one_out) {
    line(ZYN_MSG_1IN1OUT_ARG, c.arg1);
    line(ZYN_MSG_1IN1OUT_RES, c.res1);
  } else if (one_in) {
    line(ZYN_MSG_1IN2OUT_ARG, c.arg1);
    line(ZYN_MSG_1IN2OUT_RES1, c.res1);
    line(ZYN_MSG_1IN2OUT_RES2, c.res2);
  } else if (one_out) {
    line(ZYN_MSG_2IN1OUT_ARG1, c.arg1);
    line(ZYN_MSG_2IN1OUT_ARG2, c.arg2);
    line(ZYN_MSG_2IN1OUT_RES, c.res1);
  } else {
    line(ZYN_MSG_2IN2OUT_ARG1, c.arg1);
    line(ZYN_MSG_2IN2OUT_ARG2, c.arg2);
    line(ZYN_MSG_2IN2OUT_RES1, c.res1);
    line(ZYN_MSG_2IN2OUT_RES2, c.res2);
  }
}

void print_report(const ErrorContext &c) {
  switch (c.code) {
    case STATUS_BAD_ARGUMENT:
      zyn::core::zyn_serv_print(1, ZYN_MSG_BAD_ARGUMENT, 2, c.funcName, c.index);
      return;
    case STATUS_BAD_CALL:
      zyn::core::zyn_serv_print(1, ZYN_MSG_BAD_CALL, 1, c.funcName);
      return;
    case STATUS_OK:
      return;
    default:
      zyn::core::zyn_serv_print(1, message_for(c.code), 1, c.funcName);
      print_values(c);
  }
}

// The x87 environment as fnstenv stores it (28 bytes).
struct X87Environment {
  uint16_t control, pad0, status, pad1, tags, pad2;
  uint32_t ip;
  uint16_t cs, opcode;
  uint32_t operand;
  uint16_t ds, pad3;
};
static_assert(sizeof(X87Environment) == 28);

constexpr uint16_t kX87Invalid = 0x1, kX87DivideByZero = 0x4, kX87Overflow = 0x8,
                   kX87Underflow = 0x10, kX87AllExceptions = 0x3f;

uint16_t x87_flag(int code) {
  switch (code) {
    case STATUS_DOMAIN: return kX87Invalid;
    case STATUS_SINGULARITY: return kX87DivideByZero;
    case STATUS_OVERFLOW: return kX87Overflow;
    case STATUS_UNDERFLOW: return kX87Underflow;
    default: return 0;
  }
}

// Sets the status's x87 flag; raises it as an exception (SIGFPE) when ModeTraps unmasks it.
// Afterwards every x87 exception is masked and the flag stays set.
void raise_exception(int code) {
  uint32_t mode = GetMode();
  uint16_t unmask = 0;
  if (mode & VEX_TRAP_INVALID) unmask |= kX87Invalid;
  if (mode & VEX_TRAP_DIVBYZERO) unmask |= kX87DivideByZero;
  if (mode & VEX_TRAP_OVERFLOW) unmask |= kX87Overflow;
  if (mode & VEX_TRAP_UNDERFLOW) unmask |= kX87Underflow;
  X87Environment saved;
  asm volatile("fnstenv %0" : "=m"(saved));
  X87Environment armed = saved;
  uint16_t flag = x87_flag(code);
  armed.control = static_cast<uint16_t>(armed.control & ~unmask);
  armed.status = static_cast<uint16_t>((armed.status & ~kX87AllExceptions) | flag);
  asm volatile("fldenv %0" : : "m"(armed));
  saved.control |= kX87AllExceptions;
  saved.status |= flag;
  asm volatile("fldenv %0" : : "m"(saved));
}

thread_local ReportSink *t_sink = nullptr;

}  // namespace

template <class A, class R>
void ReportError(int code, int index, const A *a1, const A *a2, R *r1, R *r2, const char *name) {
  constexpr unsigned kShift = std::countr_zero(sizeof(A));
  if (ReportSink *s = t_sink; s != nullptr) {
    if (s->count < ReportSink::kMax) s->status[s->count] = code, s->index[s->count] = index, ++s->count;
    return;
  }
  uint32_t handling = GetMode() & ModeErrorHandling;
  if (handling == VEX_ERRMODE_NOERR) return;
  ThreadState *ts = GetThreadState();
  ts->status = code;
  if (handling == VEX_ERRMODE_IGNORE) return;

  ErrorContext c{};
  c.code = code;
  c.index = index;
  if (ts->inputVector != nullptr) {
    uintptr_t bytes = reinterpret_cast<uintptr_t>(a1) - reinterpret_cast<uintptr_t>(ts->inputVector);
    c.index = static_cast<int>(static_cast<uint32_t>(index) + static_cast<uint32_t>(bytes >> kShift));
  }
  size_t length = strnlen(name, kMaxName);
  memcpy(c.funcName, name, length);
  c.funcName[length] = '\0';

  bool callback_bit = (handling & VEX_ERRMODE_CALLBACK) != 0;
  bool other_bits = (handling & kAnyHandling) != 0;
  if (code == STATUS_BAD_ARGUMENT) {
    c.funcNameLen = static_cast<int>(length);
  } else if (code == STATUS_BAD_CALL) {
    if (!callback_bit && !other_bits) return;
    c.funcNameLen = static_cast<int>(length);
  } else {
    c.funcNameLen = static_cast<int>(length);
    load(a1[index], c.arg1, c.arg1Im);
    load(a2[index], c.arg2, c.arg2Im);
    load(r1[index], c.res1, c.res1Im);
    load(r2[index], c.res2, c.res2Im);
  }

  if (callback_bit && ts->callback != nullptr && ts->callback(&c) != 0) return;

  if (other_bits) {
    uint32_t now = GetMode();
    if (now & VEX_ERRMODE_ERRNO) SetErrnoForStatus(&c);
    if (now & VEX_ERRMODE_STDERR) print_report(c);
    if (now & VEX_ERRMODE_EXCEPT) raise_exception(code);
  }

  if (code != STATUS_BAD_ARGUMENT && code != STATUS_BAD_CALL) {
    store(r2[index], c.res2, c.res2Im);
    store(r1[index], c.res1, c.res1Im);
  }
}

template <class A, class R>
using Reporter = void(int, int, const A *, const A *, R *, R *, const char *);
template Reporter<float, float> ReportError;
template Reporter<double, double> ReportError;
template Reporter<ZynComplex8, ZynComplex8> ReportError;
template Reporter<ZynComplex16, ZynComplex16> ReportError;
template Reporter<ZynComplex8, float> ReportError;
template Reporter<float, ZynComplex8> ReportError;
template Reporter<ZynComplex16, double> ReportError;
template Reporter<double, ZynComplex16> ReportError;

ReportSink *SetReportSink(ReportSink *sink) {
  ReportSink *old = t_sink;
  t_sink = sink;
  return old;
}

void SetErrnoForStatus(const ErrorContext *context) {
  switch (context->code) {
    case STATUS_OK: errno = 0; break;
    case STATUS_DOMAIN: errno = EDOM; break;
    case STATUS_SINGULARITY:
    case STATUS_OVERFLOW:
    case STATUS_UNDERFLOW: errno = ERANGE; break;
    case STATUS_BAD_ARGUMENT: errno = EINVAL; break;
    case STATUS_BAD_CALL: errno = EACCES; break;
    default: errno = EFAULT;
  }
}

}  // namespace zyn::frame
