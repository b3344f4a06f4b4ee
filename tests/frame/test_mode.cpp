// The mode word: its environment setting, the field merge of SetMode, the callback bit, the
// status services and the level index route; each thread has its own, freed at its exit.
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "frame/thread_state.hpp"
#include "zyn/vex.h"

using zyn::frame::kModeVariable;

namespace {
void InFreshThread(const std::function<void()> &fn) { std::thread(fn).join(); }  // a fresh thread state

// The mode word a new thread gets with ZYN_VEX_MODE set to `value` (unset for null).
unsigned ModeInFreshThread(const char *value) {
  if (value != nullptr) setenv(kModeVariable, value, 1);
  else unsetenv(kModeVariable);
  unsigned mode = 0;
  InFreshThread([&] { mode = _vexGetMode(); });
  unsetenv(kModeVariable);
  return mode;
}
std::string Repeat(const char *token, int times) { return times > 0 ? token + Repeat(token, times - 1) : ""; }
}  // namespace

// The value is read through a 256-byte buffer: at most 255 characters are seen, and a token
// whose end would reach the last byte is not tried.
TEST(ModeEnvironment, TokensFillingAndMalformedLists) {
  const std::string cut_in_token = Repeat("VEX_LA,", 43);  // 301 characters
  // 249 characters, then EP; STDERR lies beyond the cut
  const std::string cut_at_token = Repeat("VEX_LA,", 27) + Repeat("VEX_RESTORE,", 5) + "VEX_EP,VEX_ERRMODE_STDERR,VEX_ERRMODE_STDERR";
  const std::string one_short = Repeat("VEX_LA,", 34) + "VEX_RESTORE,VEX_EP";  // EP loses its P at 256
  const std::pair<const char *, unsigned> cases[] = {
      {nullptr, 0x1a02}, {"", 0x1a02}, {"VEX_EP", 0x1a03}, {"VEX_ERRMODE_STDERR", 0x402},
      {"VEX_EP,VEX_ERRMODE_IGNORE", 0x103}, {"VEX_ERRMODE_NOERR", 0x2002},
      {"VEX_DEFAULT_PRECISION", 0x1a02}, {"VEX_LA,VEX_TRAP_INVALID,VEX_TRAP_UNDERFLOW", 0x9001a01},
      {"VEX_FLOAT_CONSISTENT", 0x1a12}, {"VEX_DOUBLE_CONSISTEN", 0x1a22},
      {"VEX_ERRMODE_DEFAULT,VEX_ERRMODE_STDERR", 0x1e02}, {"VEX_RESTORE", 0x1a32}, {cut_at_token.c_str(), 0x1a33},
      // Malformed lists give the default.
      {"VEX_EP,", 0x1a02},                // NUL after the comma
      {"VEX_LA,VEX_XX", 0x1a02},          // good first token lost
      {"VEX_DOUBLE_CONSISTENT", 0x1a02},  // row 5 lacks the T
      {"VEX_EPX", 0x1a02}, {"vex_EP", 0x1a02}, {"VEX_EP, VEX_LA", 0x1a02}, {"VEX_EP,,VEX_LA", 0x1a02},
      {cut_in_token.c_str(), 0x1a02}, {one_short.c_str(), 0x1a02}, {one_short.substr(0, 255).c_str(), 0x1a02}};
  for (auto [value, mode] : cases) EXPECT_EQ(ModeInFreshThread(value), mode) << (value ? value : "unset");
}

// Read once per thread, and not inherited from the parent thread's word.
TEST(ModeEnvironment, EachThreadReadsItAgain) {
  setenv(kModeVariable, "VEX_LA", 1);
  InFreshThread([] {
    EXPECT_EQ(_vexGetMode(), 0x1a01u);
    _vexSetMode(VEX_EP | VEX_ERRMODE_IGNORE);
    InFreshThread([] { EXPECT_EQ(_vexGetMode(), 0x1a01u); });
    setenv(kModeVariable, "VEX_HA,VEX_ERRMODE_ERRNO", 1);
    InFreshThread([] { EXPECT_EQ(_vexGetMode(), 0x202u); });
    EXPECT_EQ(_vexGetMode(), 0x103u);
  });
  unsetenv(kModeVariable);
}

// Under VEX_RESTORE, whose consistency field SetMode can neither set nor remove.
TEST(SetMode, MergesByField) {
  setenv(kModeVariable, "VEX_RESTORE", 1);
  InFreshThread([] {
    EXPECT_EQ(_vexSetMode(0x10), 0x1a32u);
    EXPECT_EQ(_vexSetMode(0), 0x1a32u);
    EXPECT_EQ(_vexSetMode(0x103), 0x1a32u);
    EXPECT_EQ(zyn_vex_kernel_SetMode(0xf0000007u), 0x133u);  // bits outside the fields drop
    EXPECT_EQ(_vexGetMode(), 0x137u);                         // an unchecked level stays
    unsigned saved = _vexSetMode(MODE_DENORMALS_FLUSH | VEX_TRAP_OVERFLOW);
    EXPECT_EQ(_vexGetMode(), 0x137u | MODE_DENORMALS_FLUSH | VEX_TRAP_OVERFLOW);
    _vexSetMode(MODE_DENORMALS_KEEP);
    _vexSetMode(saved);  // restoring: fields that were 0 keep what was set in between
    EXPECT_EQ(_vexGetMode(), 0x137u | MODE_DENORMALS_KEEP | VEX_TRAP_OVERFLOW);
  });
  unsetenv(kModeVariable);
}

int CallbackA(ErrorContext *) { return 0; }
int CallbackB(ErrorContext *) { return 1; }

// Setting sets the callback bit, clearing clears it; a handling field of only that bit stays
// (SetMode cannot empty a field).
TEST(ErrorCallBack, SetsAndClearsTheBit) {
  InFreshThread([] {
    EXPECT_TRUE(_vexGetErrorCallBack() == nullptr && _vexSetErrorCallBack(CallbackA) == nullptr && _vexGetMode() == 0x1a02u);
    EXPECT_EQ(_vexSetErrorCallBack(CallbackB), CallbackA);
    EXPECT_EQ(_vexClearErrorCallBack(), CallbackB);
    EXPECT_TRUE(_vexGetErrorCallBack() == nullptr && _vexGetMode() == 0xa02u);
    _vexSetMode(VEX_ERRMODE_IGNORE);
    _vexSetErrorCallBack(CallbackA);
    EXPECT_EQ(_vexGetMode(), 0x1102u);
    EXPECT_TRUE(zyn_vex_kernel_ClearErrorCallBack() == CallbackA && _vexGetMode() == 0x102u);
    _vexSetMode(VEX_ERRMODE_CALLBACK);
    _vexSetErrorCallBack(CallbackA);
    EXPECT_TRUE(_vexClearErrorCallBack() == CallbackA && _vexGetMode() == 0x1002u);
  });
}

// The status and input-vector services (values unchecked), per thread; the level index from the
// mode without range check, bringing the word into being.
TEST(Status, ServicesAndLevelIndex) {
  InFreshThread([] {
    EXPECT_EQ(zyn_vex_kernel_GetTTableIndex(), 1);
    EXPECT_EQ(zyn::frame::GetThreadState()->mode, 0x1a02u);
    _vexSetMode(VEX_EP);
    EXPECT_EQ(zyn_vex_kernel_GetTTableIndex(), 2);
    EXPECT_EQ(_vexSetErrStatus(77), STATUS_OK);
    EXPECT_EQ(zyn_vex_kernel_GetErrStatus(), 77);
    EXPECT_EQ(_vexClearErrStatus(), 77);
    EXPECT_EQ(_vexGetErrStatus(), STATUS_OK);
    int x = 0;
    EXPECT_TRUE(_vexSetInterfInputVectorPointer(&x) == &x && zyn::frame::GetThreadState()->inputVector == &x);
    _vexSetErrStatus(5);
    InFreshThread([] { EXPECT_EQ(_vexGetErrStatus(), STATUS_OK); });
  });
  EXPECT_TRUE(zyn_vex_kernel_GetTTableIndexM(12345, 0x1a03) == 2 && zyn_vex_kernel_GetTTableIndexM(-1, 0) == -1 &&
              zyn_vex_kernel_GetTTableIndexM(0, 0xfffffff7u) == 6);
}

TEST(ThreadState, RecordsGoAtThreadExit) {
  _vexGetMode();
  const int before = zyn::frame::LiveRecordsForTesting();
  std::thread threads[8];
  for (auto &t : threads) t = std::thread([] { _vexSetMode(VEX_EP); });
  for (auto &t : threads) t.join();
  EXPECT_EQ(zyn::frame::LiveRecordsForTesting(), before);
  InFreshThread([&] {
    _vexGetMode();
    EXPECT_EQ(zyn::frame::LiveRecordsForTesting(), before + 1);
  });
  EXPECT_EQ(zyn::frame::LiveRecordsForTesting(), before);
}
