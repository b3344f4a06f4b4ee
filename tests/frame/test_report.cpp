// The reporters. This binary runs with the test core library, which prints each numbered message
// as "msg <number> <arguments>".
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <tuple>

#include "frame/report.hpp"
#include "frame/thread_state.hpp"
#include "zyn/vex.h"

using namespace zyn::frame;

namespace {

void InFreshThread(const std::function<void()> &fn) { std::thread(fn).join(); }  // a fresh thread state

// What the last callback saw; it sets the results to 42 and 43 and returns g_return.
ErrorContext g_seen;
int g_calls = 0, g_return = 0;
int Recorder(ErrorContext *c) {
  g_seen = *c, ++g_calls, c->res1 = 42, c->res2 = 43;
  return g_return;
}

// On a fresh thread: the recorder as callback returning `ret`, then the handling field exactly
// `handling` (0: the default), then fn.
template <class F>
void Fresh(unsigned handling, int ret, F fn) {
  InFreshThread([&] {
    _vexSetErrorCallBack(Recorder);
    if (handling != 0) _vexSetMode(handling);
    ASSERT_TRUE(handling == 0 || (_vexGetMode() & ModeErrorHandling) == handling);
    g_seen = ErrorContext{}, g_calls = 0, g_return = ret;
    fn();
  });
}

}  // namespace

// Who hears of a report: the status record, the callback (whose nonzero return stops everything
// else), errno by the status, and the write-back of the callback's results (none for -1, -2; r2
// before r1, so with one result vector res1 stands).
TEST(Reporter, HandlingByModeAndStatus) {
  struct Case {
    unsigned handling;
    int ret, status, calls, err, recorded;
    double y;
  };
  const int kUnset = -1;
  const Case cases[] = {
      {VEX_ERRMODE_CALLBACK, 0, STATUS_DOMAIN, 1, kUnset, STATUS_DOMAIN, 42},  // the callback bit sets no errno
      {0, 1, STATUS_SINGULARITY, 1, kUnset, STATUS_SINGULARITY, 5},          // default 0x1a00, stopped
      {VEX_ERRMODE_IGNORE | VEX_ERRMODE_ERRNO, 0, STATUS_OVERFLOW, 0, ERANGE, STATUS_OVERFLOW, 5},
      {VEX_ERRMODE_NOERR, 0, STATUS_DOMAIN, 0, kUnset, -7, 5},
      {VEX_ERRMODE_IGNORE, 0, STATUS_DOMAIN, 0, kUnset, STATUS_DOMAIN, 5},
      {VEX_ERRMODE_CALLBACK, 0, STATUS_BAD_ARGUMENT, 1, kUnset, STATUS_BAD_ARGUMENT, 5},
      {VEX_ERRMODE_CALLBACK, 0, STATUS_BAD_CALL, 1, kUnset, STATUS_BAD_CALL, 5},
      {VEX_ERRMODE_ERRNO, 0, STATUS_OK, 0, 0, STATUS_OK, 5},
      {VEX_ERRMODE_ERRNO, 0, STATUS_DOMAIN, 0, EDOM, STATUS_DOMAIN, 5},
      {VEX_ERRMODE_ERRNO, 0, STATUS_BAD_ARGUMENT, 0, EINVAL, STATUS_BAD_ARGUMENT, 5},
      {VEX_ERRMODE_ERRNO, 0, STATUS_BAD_CALL, 0, EACCES, STATUS_BAD_CALL, 5},
      {VEX_ERRMODE_ERRNO, 0, 9, 0, EFAULT, 9, 5}};
  for (const Case &c : cases)
    Fresh(c.handling, c.ret, [&] {
      _vexSetErrStatus(-7);
      errno = kUnset;
      double a[2] = {1, -3}, y[2] = {0, 5};
      ReportErrorD(c.status, 1, a, a, y, y, "vdLn");
      EXPECT_TRUE(g_calls == c.calls && errno == c.err && _vexGetErrStatus() == c.recorded && y[1] == c.y)
          << c.handling << " " << c.status << ": " << g_calls << " " << errno << " " << _vexGetErrStatus() << " " << y[1];
    });
}

// The record: the element of each input and result, the name cut to 47 characters; with the input
// vector set, the index is the element's place in the whole vector (the unsigned distance wraps
// when the chunk lies before it) and the element is read at the reporter's own index.
TEST(Reporter, CallbackSeesTheElement) {
  Fresh(VEX_ERRMODE_CALLBACK, 0, [] {
    double a[4] = {1, 2, -3, 4}, b[4] = {0, 0, 0.5, 0}, y[4] = {0, 0, std::nan(""), 0}, z[4] = {0, 0, 8, 0};
    ReportErrorD(STATUS_DOMAIN, 2, a, b, y, z, "vdLn");
    EXPECT_TRUE(g_seen.code == STATUS_DOMAIN && g_seen.index == 2 && g_seen.arg1 == -3 && g_seen.arg2 == 0.5);
    EXPECT_TRUE(std::isnan(g_seen.res1) && g_seen.res2 == 8 && g_seen.funcNameLen == 4);
    EXPECT_STREQ(g_seen.funcName, "vdLn");
    EXPECT_TRUE(y[2] == 42 && z[2] == 43);
    const std::string name(50, 'n');
    ReportErrorD(STATUS_DOMAIN, 0, a, a, y, y, name.c_str());
    EXPECT_EQ(std::string(g_seen.funcName, g_seen.funcNameLen), name.substr(0, 47));
    ReportErrorD(STATUS_BAD_ARGUMENT, 0, a, a, y, y, "vdLn");
    EXPECT_EQ(g_seen.funcNameLen, 4);

    double whole[200] = {};
    whole[103] = -2.5;
    const double *chunk = whole + 100;
    float fwhole[8] = {};
    ZynComplex16 zwhole[4] = {};
    const std::tuple<const void *, std::function<void()>, int> cases[] = {
        {whole, [&] { ReportErrorD(STATUS_DOMAIN, 3, chunk, chunk, y, y, "vdLn"); }, 103},
        {chunk + 10, [&] { ReportErrorD(STATUS_DOMAIN, 3, chunk, chunk, y, y, "vdLn"); }, -7},
        {fwhole, [&] { ReportErrorS(STATUS_DOMAIN, 1, fwhole + 5, fwhole + 5, fwhole, fwhole, "vsLn"); }, 6},
        {zwhole + 1, [&] { ReportErrorZ(STATUS_DOMAIN, 2, zwhole, zwhole, zwhole, zwhole, "vzLn"); }, 1},
        {nullptr, [&] { ReportErrorZ(STATUS_DOMAIN, 2, zwhole, zwhole, zwhole, zwhole, "vzLn"); }, 2}};
    for (const auto &[input, report, index] : cases) {
      _vexSetInterfInputVectorPointer(input);
      report();
      EXPECT_EQ(g_seen.index, index);
    }
    _vexSetInterfInputVectorPointer(whole);
    ReportErrorD(STATUS_DOMAIN, 3, chunk, chunk, y, y, "vdLn");
    EXPECT_EQ(g_seen.arg1, -2.5);
  });
}

// Printing: the message of the status, then the values with one or two inputs and results (a
// second one of 0.0 counts as absent); the printed index is the whole vector's.
TEST(Reporter, PrintsByMessageNumber) {
  double a[2] = {0.5, 0.5}, b[2] = {0.25, 0.0}, y[2] = {1.5, 1.5}, z[2] = {2.5, 0.0}, whole[8] = {};
  struct Case {
    int status, index;
    const double *a2, *whole;
    double *r2;
    const char *printed;
  };
  const Case cases[] = {
      {STATUS_SINGULARITY, 0, a, nullptr, y, "msg 751 vdF (1 to 1)\nmsg 755 0 0.5 (2 to 1)\nmsg 756 0 1.5 (2 to 1)\n"},
      {STATUS_DOMAIN, 0, a, nullptr, z,
       "msg 750 vdF (1 to 1)\nmsg 757 0 0.5 (2 to 1)\nmsg 758 0 1.5 (2 to 1)\nmsg 759 0 2.5 (2 to 1)\n"},
      {STATUS_OVERFLOW, 0, b, nullptr, y,
       "msg 752 vdF (1 to 1)\nmsg 760 0 0.5 (2 to 1)\nmsg 761 0 0.25 (2 to 1)\nmsg 762 0 1.5 (2 to 1)\n"},
      {STATUS_UNDERFLOW, 0, b, nullptr, z,
       "msg 753 vdF (1 to 1)\nmsg 763 0 0.5 (2 to 1)\nmsg 764 0 0.25 (2 to 1)\nmsg 765 0 1.5 (2 to 1)\nmsg 766 0 2.5 (2 to 1)\n"},
      {12, 1, b, nullptr, z, "msg 754 vdF (1 to 1)\nmsg 755 1 0.5 (2 to 1)\nmsg 756 1 1.5 (2 to 1)\n"},
      {STATUS_BAD_ARGUMENT, 1, a, nullptr, y, "msg 748 vdF 1 (2 to 1)\n"},
      {STATUS_BAD_CALL, 1, a, nullptr, y, "msg 749 vdF (1 to 1)\n"},
      {STATUS_OK, 1, a, nullptr, y, ""},
      {STATUS_BAD_ARGUMENT, 1, a, whole + 4, y, "msg 748 vdF 5 (2 to 1)\n"}};
  for (const Case &c : cases) {
    testing::internal::CaptureStderr();
    InFreshThread([&] {
      _vexSetMode(VEX_ERRMODE_STDERR);
      _vexSetInterfInputVectorPointer(c.whole ? whole : nullptr);
      const double *a1 = c.whole ? c.whole : a;
      ReportErrorD(c.status, c.index, a1, c.whole ? a1 : c.a2, y, c.r2, "vdF");
    });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.printed) << c.status;
  }
}

// Exceptions: a trap bit raises SIGFPE for its own exception only; otherwise the status's x87
// flag stays set with every x87 exception masked. The child exits with 100 + the signal's code,
// or with the flags and 64 for a fully masked control word.
namespace {
void ExitWithFpeCode(int, siginfo_t *info, void *) { _exit(100 + info->si_code); }

void ReportUnderTrap(unsigned traps, int status) {
  struct sigaction sa {};
  sa.sa_sigaction = ExitWithFpeCode;
  sa.sa_flags = SA_SIGINFO;
  sigaction(SIGFPE, &sa, nullptr);
  _vexSetMode(VEX_ERRMODE_EXCEPT | traps);
  asm volatile("fnclex");
  double a[1] = {0}, y[1] = {0};
  ReportErrorD(status, 0, a, a, y, y, "vdLn");
  uint16_t sw, cw;
  asm volatile("fnstsw %0\n\tfnstcw %1" : "=m"(sw), "=m"(cw));
  _exit((sw & 0x3f) | ((cw & 0x3f) == 0x3f ? 64 : 0));
}
}  // namespace

TEST(ReporterDeathTest, ExceptionsAndTraps) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::tuple<unsigned, int, int> cases[] = {
      {VEX_TRAP_INVALID, STATUS_DOMAIN, 100 + FPE_FLTINV}, {VEX_TRAP_DIVBYZERO, STATUS_SINGULARITY, 100 + FPE_FLTDIV},
      {VEX_TRAP_OVERFLOW, STATUS_OVERFLOW, 100 + FPE_FLTOVF}, {VEX_TRAP_UNDERFLOW, STATUS_UNDERFLOW, 100 + FPE_FLTUND},
      {0, STATUS_SINGULARITY, 64 + 0x4}, {VEX_TRAP_INVALID, STATUS_OVERFLOW, 64 + 0x8},
      {VEX_TRAP_INVALID | VEX_TRAP_OVERFLOW, STATUS_BAD_CALL, 64}};
  for (auto [traps, status, code] : cases) EXPECT_EXIT(ReportUnderTrap(traps, status), testing::ExitedWithCode(code), "") << status;
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
