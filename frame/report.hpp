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

struct Complex8 {
  float re, im;
};
struct Complex16 {
  double re, im;
};

void ReportErrorS(int status, int index, const float *a1, const float *a2, float *r1, float *r2,
                  const char *name);
void ReportErrorD(int status, int index, const double *a1, const double *a2, double *r1,
                  double *r2, const char *name);
void ReportErrorC(int status, int index, const Complex8 *a1, const Complex8 *a2, Complex8 *r1,
                  Complex8 *r2, const char *name);
void ReportErrorZ(int status, int index, const Complex16 *a1, const Complex16 *a2, Complex16 *r1,
                  Complex16 *r2, const char *name);

// The same for the public complex types of the stubs' argument lists.
void ReportErrorC(int status, int index, const ZynComplex8 *a1, const ZynComplex8 *a2,
                  ZynComplex8 *r1, ZynComplex8 *r2, const char *name);
void ReportErrorZ(int status, int index, const ZynComplex16 *a1, const ZynComplex16 *a2,
                  ZynComplex16 *r1, ZynComplex16 *r2, const char *name);

// Mixed rows of a complex type (Abs, Arg: complex in, real out; CIS: real in, complex out)
// report through their type's reporter: the real side shows with imaginary part 0, the index
// counts elements of a1.
void ReportErrorC(int status, int index, const ZynComplex8 *a1, const ZynComplex8 *a2, float *r1,
                  float *r2, const char *name);
void ReportErrorC(int status, int index, const float *a1, const float *a2, ZynComplex8 *r1,
                  ZynComplex8 *r2, const char *name);
void ReportErrorZ(int status, int index, const ZynComplex16 *a1, const ZynComplex16 *a2, double *r1,
                  double *r2, const char *name);
void ReportErrorZ(int status, int index, const double *a1, const double *a2, ZynComplex16 *r1,
                  ZynComplex16 *r2, const char *name);

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
