// The exported services of the mode word, status and callback, and the level index route.
// Each service is exported as _vex<Name> and, at the same address, zyn_vex_kernel_<Name>.
#include "frame/thread_state.hpp"

namespace {
using zyn::frame::GetThreadState;
using zyn::frame::ThreadState;

// SetMode merges field by field: a nonzero field of the new word replaces the old one.
constexpr uint32_t kSettableFields[] = {ModeAccuracy, ModeErrorHandling, ModeDenormals, ModeTraps};
}  // namespace

ZYN_API unsigned int _vexGetMode(void) { return zyn::frame::GetMode(); }

ZYN_API unsigned int _vexSetMode(unsigned int mode) {
  uint32_t old = zyn::frame::GetMode();
  uint32_t word = old;
  for (uint32_t field : kSettableFields)
    if ((mode & field) != 0) word = (word & ~field) | (mode & field);
  GetThreadState()->mode = word;
  return old;
}

ZYN_API int _vexGetErrStatus(void) { return GetThreadState()->status; }

ZYN_API int _vexSetErrStatus(int status) {
  ThreadState *ts = GetThreadState();
  int old = ts->status;
  ts->status = status;
  return old;
}

ZYN_API int _vexClearErrStatus(void) { return _vexSetErrStatus(STATUS_OK); }

ZYN_API VexErrorCallBack _vexGetErrorCallBack(void) { return GetThreadState()->callback; }

// Clearing the callback clears VEX_ERRMODE_CALLBACK through SetMode, which never empties a
// field: a handling field of exactly VEX_ERRMODE_CALLBACK stays set (the reporter also checks
// the pointer).
ZYN_API VexErrorCallBack _vexSetErrorCallBack(VexErrorCallBack callback) {
  ThreadState *ts = GetThreadState();
  VexErrorCallBack old = ts->callback;
  uint32_t word = zyn::frame::GetMode();
  ts->callback = callback;
  _vexSetMode(callback != nullptr ? word | VEX_ERRMODE_CALLBACK : word & ~VEX_ERRMODE_CALLBACK);
  return old;
}

ZYN_API VexErrorCallBack _vexClearErrorCallBack(void) { return _vexSetErrorCallBack(nullptr); }

ZYN_API const void *_vexSetInterfInputVectorPointer(const void *input) {
  GetThreadState()->inputVector = input;
  return input;
}

#define ZYN_VEX_ALIAS_SERVICE(ret, name, params) \
  ZYN_API ret zyn_vex_kernel_##name params __attribute__((alias("_vex" #name)));
ZYN_VEX_SERVICES(ZYN_VEX_ALIAS_SERVICE)
#undef ZYN_VEX_ALIAS_SERVICE

ZYN_API int zyn_vex_kernel_GetTTableIndex(void) {
  return static_cast<int>(zyn::frame::GetMode() & ModeAccuracy) - 1;
}

ZYN_API int zyn_vex_kernel_GetTTableIndexM(int, unsigned int mode) {
  return static_cast<int>(mode & ModeAccuracy) - 1;
}
