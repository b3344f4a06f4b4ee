// The reporters every vector kernel calls for an element that went wrong. Each takes the status,
// the element's index within the call, the input vectors a1 and a2 (the same vector twice for a
// function of one input), the result vectors r1 and r2 (likewise), and the function's name
// ("vdLn"). They record the status in the thread's state, call the callback, set errno, print and
// raise exceptions as the thread's mode word says, and write the record's results back into r2
// then r1 at `index`.
#pragma once

#include <cstdint>

#include "zyn/vex.h"

namespace zyn::frame {

// A is the element type of a1 and a2, R that of r1 and r2: float, double, ZynComplex8 or
// ZynComplex16 on both sides, or a complex type on one side and its part's real type on the other
// (Abs, Arg: complex in, real out; CIS: real in, complex out). The real side shows with imaginary
// part 0; the index counts elements of a1. Instantiated for those pairs only.
template <class A, class R>
void ReportError(int status, int index, const A *a1, const A *a2, R *r1, R *r2, const char *name);

// The names the kernels call, one per type letter; all are the one reporter above.
inline constexpr auto &ReportErrorS = ReportError<float, float>;
inline constexpr auto &ReportErrorD = ReportError<double, double>;
inline constexpr auto ReportErrorC = [](int status, int index, const auto *a1, decltype(a1) a2,
                                        auto *r1, decltype(r1) r2, const char *name) {
  ReportError(status, index, a1, a2, r1, r2, name);
};
inline constexpr auto ReportErrorZ = ReportErrorC;

// While a sink is set on a thread, every report of that thread only appends (status, index) to
// it: a kernel that runs another row on its own buffers collects that row's reports and makes
// them its own.
struct ReportSink {
  static constexpr int kMax = 64;
  int count = 0;
  int status[kMax], index[kMax];
};
ReportSink *SetReportSink(ReportSink *sink);  // returns the previous sink

// Sets errno from the record's status: EDOM, ERANGE, EINVAL, EACCES, else EFAULT (0 for
// STATUS_OK).
void SetErrnoForStatus(const ErrorContext *context);

}  // namespace zyn::frame
