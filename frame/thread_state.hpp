// Per-thread mode word, status and callback of the vector functions.
#pragma once

#include <cstdint>

namespace zyn::frame {

struct ThreadState;

// The calling thread's record, created on first use (never null: failure ends the process).
ThreadState *GetThreadState();

// The thread's mode word, brought into being from the environment if it is still 0.
uint32_t GetMode();

}  // namespace zyn::frame
