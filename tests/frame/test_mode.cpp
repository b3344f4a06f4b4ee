// The mode word: its environment setting, the field merge of SetMode, the callback bit, the
// status services and the level index route.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <string>

#include "frame/thread_state.hpp"
#include "frame_test_util.hpp"
#include "zyn/vex.h"

using zyn::frame::kModeVariable;

namespace {
// The mode word a new thread gets with ZYN_VEX_MODE set to `value` (unset for null).
unsigned ModeInFreshThread(const char *value) {
  if (value != nullptr)
    setenv(kModeVariable, value, 1);
  else
    unsetenv(kModeVariable);
  unsigned mode = 0;
  InFreshThread([&] { mode = _vexGetMode(); });
  unsetenv(kModeVariable);
  return mode;
}
}  // namespace

TEST(ModeEnvironment, TokensFillingAndMalformedLists) {
  const std::pair<const char *, unsigned> cases[] = {
      {nullptr, 0x1a02}, {"", 0x1a02}, {"VEX_EP", 0x1a03}, {"VEX_ERRMODE_STDERR", 0x402},
      {"VEX_EP,VEX_ERRMODE_IGNORE", 0x103}, {"VEX_ERRMODE_NOERR", 0x2002},
      {"VEX_DEFAULT_PRECISION", 0x1a02}, {"VEX_LA,VEX_TRAP_INVALID,VEX_TRAP_UNDERFLOW", 0x9001a01},
      {"VEX_FLOAT_CONSISTENT", 0x1a12}, {"VEX_DOUBLE_CONSISTEN", 0x1a22},
      {"VEX_ERRMODE_DEFAULT,VEX_ERRMODE_STDERR", 0x1e02},
      // Malformed lists give the default.
      {"VEX_EP,", 0x1a02},                // NUL after the comma
      {"VEX_LA,VEX_XX", 0x1a02},          // good first token lost
      {"VEX_DOUBLE_CONSISTENT", 0x1a02},  // row 5 lacks the T
      {"VEX_EPX", 0x1a02}, {"vex_EP", 0x1a02}, {"VEX_EP, VEX_LA", 0x1a02}, {"VEX_EP,,VEX_LA", 0x1a02}};
  for (auto [value, mode] : cases) EXPECT_EQ(ModeInFreshThread(value), mode) << (value ? value : "unset");
}

TEST(ModeEnvironment, RestoreCannotBeRemoved) {
  setenv(kModeVariable, "VEX_RESTORE", 1);
  InFreshThread([] {
    EXPECT_EQ(_vexGetMode(), 0x1a32u);
    EXPECT_EQ(_vexSetMode(0x101), 0x1a32u);
    EXPECT_EQ(_vexGetMode(), 0x131u);
    _vexSetMode(0x0f);
    EXPECT_EQ(_vexGetMode() & ModeConsistency, 0x30u);
  });
  unsetenv(kModeVariable);
}

// The value is read through a 256-byte buffer: at most 255 characters are seen, and a token
// whose end would reach the last byte is not tried.
TEST(ModeEnvironment, ValuesLongerThanTheBuffer) {
  std::string cut_in_token;
  while (cut_in_token.size() < 300) cut_in_token += "VEX_LA,";
  EXPECT_EQ(ModeInFreshThread(cut_in_token.c_str()), 0x1a02u);

  std::string cut_at_token;
  for (int i = 0; i < 27; ++i) cut_at_token += "VEX_LA,";
  for (int i = 0; i < 5; ++i) cut_at_token += "VEX_RESTORE,";
  ASSERT_EQ(cut_at_token.size(), 249u);
  cut_at_token += "VEX_EP,VEX_ERRMODE_STDERR,VEX_ERRMODE_STDERR,VEX_ERRMODE_STDERR";
  ASSERT_GT(cut_at_token.size(), 256u);
  EXPECT_EQ(ModeInFreshThread(cut_at_token.c_str()), 0x1a33u);  // STDERR lies beyond the cut

  std::string one_short;  // the token after 250 characters loses its last letter
  for (int i = 0; i < 34; ++i) one_short += "VEX_LA,";
  one_short += "VEX_RESTORE,VEX_EP";
  ASSERT_EQ(one_short.size(), 256u);
  EXPECT_EQ(ModeInFreshThread(one_short.c_str()), 0x1a02u);
  EXPECT_EQ(ModeInFreshThread(one_short.substr(0, 255).c_str()), 0x1a02u);
}

TEST(ModeEnvironment, EachThreadReadsItAgain) {
  setenv(kModeVariable, "VEX_LA", 1);
  InFreshThread([] {
    EXPECT_EQ(_vexGetMode(), 0x1a01u);
    _vexSetMode(VEX_EP | VEX_ERRMODE_IGNORE);
    EXPECT_EQ(_vexGetMode(), 0x103u);
    InFreshThread([] { EXPECT_EQ(_vexGetMode(), 0x1a01u); });  // not the parent's word
    setenv(kModeVariable, "VEX_HA,VEX_ERRMODE_ERRNO", 1);
    InFreshThread([] { EXPECT_EQ(_vexGetMode(), 0x202u); });
    EXPECT_EQ(_vexGetMode(), 0x103u);  // read once per thread
  });
  unsetenv(kModeVariable);
}

TEST(SetMode, MergesByField) {
  unsetenv(kModeVariable);
  InFreshThread([] {
    EXPECT_EQ(_vexSetMode(0x10), 0x1a02u);  // consistency is never set
    EXPECT_EQ(_vexGetMode(), 0x1a02u);
    EXPECT_EQ(_vexSetMode(0), 0x1a02u);
    EXPECT_EQ(_vexSetMode(0x103), 0x1a02u);
    EXPECT_EQ(_vexGetMode(), 0x103u);
    EXPECT_EQ(zyn_vex_kernel_SetMode(0xf0000007u), 0x103u);  // bits outside the fields drop
    EXPECT_EQ(_vexGetMode(), 0x107u);                         // an unchecked level stays
    unsigned saved = _vexSetMode(MODE_DENORMALS_FLUSH | VEX_TRAP_OVERFLOW);
    EXPECT_EQ(_vexGetMode(), 0x107u | MODE_DENORMALS_FLUSH | VEX_TRAP_OVERFLOW);
    _vexSetMode(MODE_DENORMALS_KEEP);
    EXPECT_EQ(_vexGetMode() & ModeDenormals, unsigned(MODE_DENORMALS_KEEP));
    _vexSetMode(saved);  // restoring: fields that were 0 keep what was set in between
    EXPECT_EQ(_vexGetMode(), 0x107u | MODE_DENORMALS_KEEP | VEX_TRAP_OVERFLOW);
  });
}

int CallbackA(ErrorContext *) { return 0; }
int CallbackB(ErrorContext *) { return 1; }

TEST(ErrorCallBack, SetsAndClearsTheBit) {
  InFreshThread([] {
    EXPECT_EQ(_vexGetErrorCallBack(), nullptr);
    EXPECT_EQ(_vexSetErrorCallBack(CallbackA), nullptr);
    EXPECT_EQ(_vexGetMode(), 0x1a02u);
    EXPECT_EQ(_vexSetErrorCallBack(CallbackB), CallbackA);
    EXPECT_EQ(_vexClearErrorCallBack(), CallbackB);
    EXPECT_EQ(_vexGetErrorCallBack(), nullptr);
    EXPECT_EQ(_vexGetMode(), 0xa02u);
    _vexSetMode(VEX_ERRMODE_IGNORE);
    _vexSetErrorCallBack(CallbackA);
    EXPECT_EQ(_vexGetMode(), 0x1102u);
    EXPECT_EQ(zyn_vex_kernel_ClearErrorCallBack(), CallbackA);
    EXPECT_EQ(_vexGetMode(), 0x102u);
  });
}

TEST(ErrorCallBack, ClearingLeavesAHandlingFieldOfOnlyTheCallbackBit) {
  InFreshThread([] {
    _vexSetMode(VEX_ERRMODE_CALLBACK);
    EXPECT_EQ(_vexGetMode(), 0x1002u);
    _vexSetErrorCallBack(CallbackA);
    EXPECT_EQ(_vexClearErrorCallBack(), CallbackA);
    EXPECT_EQ(_vexGetErrorCallBack(), nullptr);
    EXPECT_EQ(_vexGetMode(), 0x1002u);  // SetMode cannot empty the field
  });
}

TEST(Status, ServicesReturnTheOldValue) {
  InFreshThread([] {
    EXPECT_EQ(_vexGetErrStatus(), STATUS_OK);
    EXPECT_EQ(_vexSetErrStatus(77), STATUS_OK);  // unchecked
    EXPECT_EQ(zyn_vex_kernel_GetErrStatus(), 77);
    EXPECT_EQ(_vexSetErrStatus(STATUS_BAD_CALL), 77);
    EXPECT_EQ(_vexClearErrStatus(), STATUS_BAD_CALL);
    EXPECT_EQ(_vexGetErrStatus(), STATUS_OK);
    int x = 0;
    EXPECT_EQ(_vexSetInterfInputVectorPointer(&x), &x);
    EXPECT_EQ(zyn::frame::GetThreadState()->inputVector, &x);
    InFreshThread([] { EXPECT_EQ(_vexGetErrStatus(), STATUS_OK); });  // per thread
  });
}

TEST(LevelIndex, FollowsTheModeWithoutRangeCheck) {
  EXPECT_EQ(zyn_vex_kernel_GetTTableIndexM(12345, 0x1a03), 2);
  EXPECT_EQ(zyn_vex_kernel_GetTTableIndexM(-1, 0), -1);
  EXPECT_EQ(zyn_vex_kernel_GetTTableIndexM(0, 0xfffffff7u), 6);
  unsetenv(kModeVariable);
  InFreshThread([] {
    EXPECT_EQ(zyn_vex_kernel_GetTTableIndex(), 1);  // brings the word into being
    EXPECT_EQ(zyn::frame::GetThreadState()->mode, 0x1a02u);
    _vexSetMode(VEX_EP);
    EXPECT_EQ(zyn_vex_kernel_GetTTableIndex(), 2);
    _vexSetMode(VEX_LA);
    EXPECT_EQ(zyn_vex_kernel_GetTTableIndex(), 0);
  });
  setenv(kModeVariable, "VEX_EP", 1);
  InFreshThread([] { EXPECT_EQ(zyn_vex_kernel_GetTTableIndex(), 2); });
  unsetenv(kModeVariable);
}

TEST(Services, TwoNamesOneAddress) {
#define ZYN_SAME_ADDRESS(ret, name, params) \
  EXPECT_EQ(reinterpret_cast<void *>(&_vex##name), reinterpret_cast<void *>(&zyn_vex_kernel_##name)) << #name;
  ZYN_VEX_SERVICES(ZYN_SAME_ADDRESS)
#undef ZYN_SAME_ADDRESS
  EXPECT_EQ(dll_cpu_version(), 4);
}

TEST(ThreadState, RecordsGoAtThreadExit) {
  _vexGetMode();
  int before = zyn::frame::LiveRecordsForTesting();
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

// The record handed to callbacks is part of the interface: its layout is fixed.
TEST(ErrorContextLayout, FieldsInOrder) {
  EXPECT_EQ(offsetof(ErrorContext, index), 4u);
  EXPECT_EQ(offsetof(ErrorContext, arg1), 8u);
  EXPECT_EQ(offsetof(ErrorContext, res2), 32u);
  EXPECT_EQ(offsetof(ErrorContext, funcName), 40u);
  EXPECT_EQ(offsetof(ErrorContext, funcNameLen), 104u);
  EXPECT_EQ(offsetof(ErrorContext, arg1Im), 112u);
  EXPECT_EQ(offsetof(ErrorContext, res2Im), 136u);
  EXPECT_EQ(sizeof(ErrorContext), 144u);
  EXPECT_EQ(offsetof(zyn::frame::ThreadState, callback), 8u);
  EXPECT_EQ(offsetof(zyn::frame::ThreadState, inputVector), 24u);
}
