// The reporters, step by step. This binary runs with the test core library, which prints each
// numbered message as "msg <number> <arguments>".
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <string>

#include "frame/report.hpp"
#include "frame/thread_state.hpp"
#include "frame_test_util.hpp"
#include "zyn/vex.h"

using namespace zyn::frame;

namespace {

// What the last callback saw, and what it does.
ErrorContext g_seen;
int g_calls = 0;
int g_return = 0;
double g_res1 = 0, g_res2 = 0;
bool g_change = false;

int Recorder(ErrorContext *c) {
  g_seen = *c;
  ++g_calls;
  if (g_change) c->res1 = g_res1, c->res2 = g_res2;
  return g_return;
}

void ResetRecorder(int ret = 0) {
  memset(&g_seen, 0, sizeof g_seen);
  g_calls = 0;
  g_return = ret;
  g_change = false;
}

// On a fresh thread: the handling field exactly `handling` (0: the default) with the recorder as
// callback returning `ret`, then fn.
template <class F>
void Fresh(unsigned handling, int ret, F fn) {
  InFreshThread([&] {
    _vexSetErrorCallBack(Recorder);
    if (handling != 0) {
      _vexSetMode(handling);
      ASSERT_EQ(_vexGetMode() & ModeErrorHandling, handling);
    }
    ResetRecorder(ret);
    errno = 0;
    fn();
  });
}
void ChangeResults(double r1, double r2) { g_change = true, g_res1 = r1, g_res2 = r2; }

}  // namespace

TEST(Reporter, CallbackReturningZeroWritesItsResultBack) {
  Fresh(VEX_ERRMODE_CALLBACK, 0, [] {
    ChangeResults(42.0, 42.0);
    double a[4] = {1, 2, -3, 4}, y[4] = {0, 0, std::nan(""), 0};
    ReportErrorD(STATUS_DOMAIN, 2, a, a, y, y, "vdLn");
    EXPECT_EQ(_vexGetErrStatus(), STATUS_DOMAIN);
    ASSERT_EQ(g_calls, 1);
    EXPECT_EQ(g_seen.code, STATUS_DOMAIN);
    EXPECT_EQ(g_seen.index, 2);
    EXPECT_EQ(g_seen.arg1, -3.0);
    EXPECT_EQ(g_seen.arg2, -3.0);
    EXPECT_TRUE(std::isnan(g_seen.res1));
    EXPECT_STREQ(g_seen.funcName, "vdLn");
    EXPECT_EQ(g_seen.funcNameLen, 4);
    EXPECT_EQ(y[2], 42.0);
    EXPECT_EQ(errno, 0);  // the callback bit alone sets no errno
    // Names are cut to 47 characters.
    const std::string name(50, 'n');
    ReportErrorD(STATUS_DOMAIN, 0, a, a, y, y, name.c_str());
    EXPECT_EQ(g_seen.funcNameLen, 47);
    EXPECT_EQ(std::string(g_seen.funcName), name.substr(0, 47));
    ReportErrorD(STATUS_DOMAIN, 0, a, a, y, y, "");
    EXPECT_EQ(g_seen.funcNameLen, 0);
  });
}

TEST(Reporter, CallbackReturningNonzeroStopsEverything) {
  Fresh(0, 1, [] {  // default handling 0x1a00: errno, exception, callback
    ChangeResults(42.0, 42.0);
    float a[2] = {0, -1}, y[2] = {0, 7};
    ReportErrorS(STATUS_SINGULARITY, 1, a, a, y, y, "vsLn");
    EXPECT_EQ(g_calls, 1);
    EXPECT_EQ(g_seen.arg1, -1.0);
    EXPECT_EQ(y[1], 7.0f);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(_vexGetErrStatus(), STATUS_SINGULARITY);
  });
}

TEST(Reporter, ErrnoOnlyHandlingSkipsTheCallbackAndWritesBackUnchanged) {
  Fresh(VEX_ERRMODE_IGNORE | VEX_ERRMODE_ERRNO, 0, [] {  // exactly 0x300
    double a[3] = {1, 2, 1e308}, y[3] = {5, 6, HUGE_VAL};
    ReportErrorD(STATUS_OVERFLOW, 2, a, a, y, y, "vdExp");
    EXPECT_EQ(g_calls, 0);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(y[2], HUGE_VAL);
    EXPECT_EQ(y[1], 6.0);
    EXPECT_EQ(_vexGetErrStatus(), STATUS_OVERFLOW);
  });
}

TEST(Reporter, ErrnoFollowsTheStatusTable) {
  InFreshThread([] {
    _vexSetMode(VEX_ERRMODE_ERRNO);
    double a[1] = {0}, y[1] = {0};
    const std::pair<int, int> table[] = {{STATUS_OK, 0},           {STATUS_DOMAIN, EDOM},
                                         {STATUS_SINGULARITY, ERANGE}, {STATUS_OVERFLOW, ERANGE},
                                         {STATUS_UNDERFLOW, ERANGE},   {STATUS_BAD_ARGUMENT, EINVAL},
                                         {STATUS_BAD_CALL, EACCES},    {9, EFAULT}};
    for (auto [status, expected] : table) {
      errno = -1;
      ReportErrorD(status, 0, a, a, y, y, "vdX");
      EXPECT_EQ(errno, expected) << status;
      EXPECT_EQ(_vexGetErrStatus(), status);
    }
  });
}

TEST(Reporter, NoErrAndIgnore) {
  Fresh(VEX_ERRMODE_NOERR, 0, [] {
    _vexSetErrStatus(-7);
    double a[1] = {-1}, y[1] = {3};
    ReportErrorD(STATUS_DOMAIN, 0, a, a, y, y, "vdLn");
    EXPECT_EQ(_vexGetErrStatus(), -7);  // nothing recorded
    _vexSetMode(VEX_ERRMODE_IGNORE);
    ReportErrorD(STATUS_DOMAIN, 0, a, a, y, y, "vdLn");
    ReportErrorD(STATUS_SINGULARITY, 0, a, a, y, y, "vdLn");
    EXPECT_EQ(_vexGetErrStatus(), STATUS_SINGULARITY);  // the last report, not a sum
    EXPECT_EQ(g_calls, 0);
    EXPECT_EQ(errno, 0);
  });
}

TEST(Reporter, WriteBackOrderAndComplexParts) {
  Fresh(VEX_ERRMODE_CALLBACK, 0, [] {
    ChangeResults(1.0, 2.0);
    double a[1] = {0}, y[1] = {0}, z[1] = {0};
    ReportErrorD(STATUS_DOMAIN, 0, a, a, y, z, "vdSinCos");
    EXPECT_EQ(y[0], 1.0);
    EXPECT_EQ(z[0], 2.0);
    ReportErrorD(STATUS_DOMAIN, 0, a, a, y, y, "vdLn");
    EXPECT_EQ(y[0], 1.0);  // same vector: res1 wins

    Complex8 ca[2] = {{1, 2}, {3, 4}}, cb[2] = {{5, 6}, {7, 8}}, cy[2] = {{0, 0}, {9, 10}};
    ReportErrorC(STATUS_OVERFLOW, 1, ca, cb, cy, cy, "vcMul");
    EXPECT_EQ(g_seen.arg1, 3.0);
    EXPECT_EQ(g_seen.arg1Im, 4.0);
    EXPECT_EQ(g_seen.arg2, 7.0);
    EXPECT_EQ(g_seen.arg2Im, 8.0);
    EXPECT_EQ(g_seen.res1Im, 10.0);
    EXPECT_EQ(cy[1].re, 1.0f);   // changed real part
    EXPECT_EQ(cy[1].im, 10.0f);  // imaginary part written back as read

    Complex16 za[1] = {{-1, 0.5}}, zy[1] = {{0, 0}};
    ReportErrorZ(STATUS_UNDERFLOW, 0, za, za, zy, zy, "vzExp");
    EXPECT_EQ(g_seen.arg1Im, 0.5);
    EXPECT_EQ(zy[0].re, 1.0);

    ZynComplex8 pa[1] = {{0.5f, 0.25f}}, py[1] = {{0, -3}};  // the public types
    ReportErrorC(STATUS_DOMAIN, 0, pa, pa, py, py, "vcLn");
    EXPECT_EQ(g_seen.arg1Im, 0.25);
    EXPECT_EQ(py[0].re, 1.0f);
    EXPECT_EQ(py[0].im, -3.0f);

    // No write-back for -1 and -2, but the callback sees them.
    double b[1] = {1}, r[1] = {5};
    ReportErrorD(STATUS_BAD_ARGUMENT, 0, b, b, r, r, "vdLn");
    EXPECT_EQ(g_seen.code, STATUS_BAD_ARGUMENT);
    EXPECT_EQ(g_seen.funcNameLen, 4);
    const int calls = g_calls;
    ReportErrorD(STATUS_BAD_CALL, 0, b, b, r, r, "vdLn");
    EXPECT_EQ(g_calls, calls + 1);
    EXPECT_EQ(r[0], 5.0);
    EXPECT_EQ(_vexGetErrStatus(), STATUS_BAD_CALL);
  });
}

TEST(Reporter, IndexCountsFromTheWholeVector) {
  Fresh(VEX_ERRMODE_CALLBACK, 0, [] {
    double whole[200] = {};
    whole[103] = -2.5;
    const double *chunk = whole + 100;
    double y[200] = {};
    _vexSetInterfInputVectorPointer(whole);
    ReportErrorD(STATUS_DOMAIN, 3, chunk, chunk, y, y, "vdLn");
    EXPECT_EQ(g_seen.index, 103);
    EXPECT_EQ(g_seen.arg1, -2.5);  // read at the reporter's own index within the chunk

    _vexSetInterfInputVectorPointer(chunk + 10);  // after a1: the unsigned distance wraps
    ReportErrorD(STATUS_DOMAIN, 3, chunk, chunk, y, y, "vdLn");
    EXPECT_EQ(g_seen.index, -7);

    float fwhole[8] = {};
    _vexSetInterfInputVectorPointer(fwhole);
    ReportErrorS(STATUS_DOMAIN, 1, fwhole + 5, fwhole + 5, fwhole, fwhole, "vsLn");
    EXPECT_EQ(g_seen.index, 6);
    Complex16 zwhole[4] = {};
    _vexSetInterfInputVectorPointer(zwhole + 1);
    ReportErrorZ(STATUS_DOMAIN, 2, zwhole, zwhole, zwhole, zwhole, "vzLn");
    EXPECT_EQ(g_seen.index, 1);
    _vexSetInterfInputVectorPointer(nullptr);
    ReportErrorZ(STATUS_DOMAIN, 2, zwhole, zwhole, zwhole, zwhole, "vzLn");
    EXPECT_EQ(g_seen.index, 2);
  });
}

// Printing: the message of the status, then the values with one or two inputs and results.
std::string Printed(int status, int index, const double *a1, const double *a2, double *r1, double *r2,
                    const void *whole = nullptr) {
  testing::internal::CaptureStderr();
  InFreshThread([&] {
    _vexSetMode(VEX_ERRMODE_STDERR);
    _vexSetInterfInputVectorPointer(whole);
    ReportErrorD(status, index, a1, a2, r1, r2, "vdF");
  });
  return testing::internal::GetCapturedStderr();
}

TEST(Reporter, PrintsByMessageNumber) {
  double a[2] = {0.5, 0.5}, b[2] = {0.25, 0.0}, y[2] = {1.5, 1.5}, z[2] = {2.5, 0.0};
  EXPECT_EQ(Printed(STATUS_SINGULARITY, 0, a, a, y, y),
            "msg 751 vdF (1 to 1)\nmsg 755 0 0.5 (2 to 1)\nmsg 756 0 1.5 (2 to 1)\n");
  EXPECT_EQ(Printed(STATUS_DOMAIN, 0, a, a, y, z),
            "msg 750 vdF (1 to 1)\nmsg 757 0 0.5 (2 to 1)\nmsg 758 0 1.5 (2 to 1)\n"
            "msg 759 0 2.5 (2 to 1)\n");
  EXPECT_EQ(Printed(STATUS_OVERFLOW, 0, a, b, y, y),
            "msg 752 vdF (1 to 1)\nmsg 760 0 0.5 (2 to 1)\nmsg 761 0 0.25 (2 to 1)\n"
            "msg 762 0 1.5 (2 to 1)\n");
  EXPECT_EQ(Printed(STATUS_UNDERFLOW, 0, a, b, y, z),
            "msg 753 vdF (1 to 1)\nmsg 763 0 0.5 (2 to 1)\nmsg 764 0 0.25 (2 to 1)\n"
            "msg 765 0 1.5 (2 to 1)\nmsg 766 0 2.5 (2 to 1)\n");
  // A second input or result of 0.0 counts as absent.
  EXPECT_EQ(Printed(12, 1, a, b, y, z),
            "msg 754 vdF (1 to 1)\nmsg 755 1 0.5 (2 to 1)\nmsg 756 1 1.5 (2 to 1)\n");
  EXPECT_EQ(Printed(STATUS_BAD_ARGUMENT, 1, a, a, y, y), "msg 748 vdF 1 (2 to 1)\n");
  EXPECT_EQ(Printed(STATUS_BAD_CALL, 1, a, a, y, y), "msg 749 vdF (1 to 1)\n");
  EXPECT_EQ(Printed(STATUS_OK, 1, a, a, y, y), "");
  double whole[8] = {};  // the printed index is the whole vector's
  EXPECT_EQ(Printed(STATUS_BAD_ARGUMENT, 1, whole + 4, whole + 4, y, y, whole), "msg 748 vdF 5 (2 to 1)\n");
}

// Exceptions: with no trap bit only the x87 flag stays set; with one, SIGFPE.
uint16_t X87Status() {
  uint16_t sw;
  asm volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

TEST(Reporter, ExceptionWithoutTrapLeavesTheFlag) {
  InFreshThread([] {
    _vexSetMode(VEX_ERRMODE_EXCEPT);
    asm volatile("fnclex");
    double a[1] = {0}, y[1] = {0};
    ReportErrorD(STATUS_SINGULARITY, 0, a, a, y, y, "vdLn");
    EXPECT_EQ(X87Status() & 0x3f, 0x4);  // divide-by-zero flag
    uint16_t cw;
    asm volatile("fnstcw %0" : "=m"(cw));
    EXPECT_EQ(cw & 0x3f, 0x3f);
    asm volatile("fnclex");
  });
}

namespace {
void ExitWithFpeCode(int, siginfo_t *info, void *) { _exit(100 + info->si_code); }

void ReportUnderTrap(unsigned traps, int status) {
  struct sigaction sa {};
  sa.sa_sigaction = ExitWithFpeCode;
  sa.sa_flags = SA_SIGINFO;
  sigaction(SIGFPE, &sa, nullptr);
  _vexSetMode(VEX_ERRMODE_EXCEPT | traps);
  double a[1] = {0}, y[1] = {0};
  ReportErrorD(status, 0, a, a, y, y, "vdLn");
  _exit(0);
}
}  // namespace

TEST(ReporterDeathTest, TrapBitsRaiseSigfpe) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(ReportUnderTrap(VEX_TRAP_INVALID, STATUS_DOMAIN), testing::ExitedWithCode(100 + FPE_FLTINV), "");
  EXPECT_EXIT(ReportUnderTrap(VEX_TRAP_DIVBYZERO, STATUS_SINGULARITY), testing::ExitedWithCode(100 + FPE_FLTDIV), "");
  EXPECT_EXIT(ReportUnderTrap(VEX_TRAP_OVERFLOW, STATUS_OVERFLOW), testing::ExitedWithCode(100 + FPE_FLTOVF), "");
  EXPECT_EXIT(ReportUnderTrap(VEX_TRAP_UNDERFLOW, STATUS_UNDERFLOW), testing::ExitedWithCode(100 + FPE_FLTUND), "");
  // A trap on another exception than the status's does not fire.
  EXPECT_EXIT(ReportUnderTrap(VEX_TRAP_INVALID, STATUS_OVERFLOW), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(ReportUnderTrap(VEX_TRAP_INVALID | VEX_TRAP_OVERFLOW, STATUS_BAD_CALL), testing::ExitedWithCode(0), "");
}

TEST(ThreadStateDeathTest, NoMemoryAtFirstUseEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        FailAllocationsForTesting(true);
        InFreshThread([] { _vexGetMode(); });
        _exit(0);
      },
      testing::ExitedWithCode(3), "msg 773 \\(0 to 1\\)");
}

TEST(ThreadState, RecordsAreFreshPerThread) {
  ThreadState *mine = GetThreadState();
  EXPECT_EQ(GetThreadState(), mine);
  ThreadState *other = nullptr;
  InFreshThread([&] {
    other = GetThreadState();
    EXPECT_EQ(other->mode, 0u);
    EXPECT_EQ(other->status, 0);
    EXPECT_EQ(other->callback, nullptr);
    EXPECT_EQ(_vexGetMode(), 0x1a03u);  // the test core's environment holds VEX_EP
  });
  EXPECT_NE(other, mine);
}
