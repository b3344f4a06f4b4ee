// Helpers for the frame tests: running code on a thread whose state is fresh.
#pragma once

#include <thread>

// Runs fn on a new thread: its mode word is read again from the environment.
template <class F>
void InFreshThread(F fn) {
  std::thread t(fn);
  t.join();
}
