// Per-thread mode word, status and callback of the vector functions.
#pragma once

#include <cstdint>

#include "zyn/vex.h"

namespace zyn::frame {

// One per thread, from the module's private allocator. mode, status and callback are cleared
// on creation; reserved and inputVector are left as the allocator gave them.
struct ThreadState {
  uint32_t mode;                // 0 until the thread first needs it
  int32_t status;               // the last report
  VexErrorCallBack callback;
  void *reserved;               // read and written by nothing
  const void *inputVector;      // start of the whole input vector of a chunked call
};

// The calling thread's record, created on first use (never null: failure ends the process).
ThreadState *GetThreadState();

// The thread's mode word, brought into being from the environment if it is still 0.
uint32_t GetMode();

// The name of the mode environment variable.
inline constexpr const char kModeVariable[] = "ZYN_VEX_MODE";

// The OR of the tokens of the mode variable, or -1 when it is unset, empty or malformed.
int64_t ParseModeEnvironment();

// Process and thread attach/detach: reason 1 process attach, 2 thread attach, 3 thread detach,
// 0 process detach (reserved null: the module is unloaded). Returns 1, or 0 on failure.
int InitThreadStateTls(int reason, void *reserved);

// Makes the private allocator fail (tests of the failure path).
void FailAllocationsForTesting(bool fail);
// The number of records the private allocator holds (tests of thread exit).
int LiveRecordsForTesting();

}  // namespace zyn::frame
