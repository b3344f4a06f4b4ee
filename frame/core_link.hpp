// The module's access to the core library. Each name is a slot that holds null until the name's
// first call, which loads the core library (dlopen), looks the name up (dlsym) and patches the
// slot; later calls go straight through it. The library is the one named by ZYN_CORE_LIBRARY,
// else the core's run-time name (ZYN_CORE_SONAME, libzyn_core.so.<major>) beside this module,
// else that name on the loader's search path. The run-time name, not the development link
// libzyn_core.so, so that an installation without development files still finds it.
//
// Module code calls zyn::core::zyn_serv_allocate(...) and so on, with the core names.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace zyn::core {

// Resolves `name` in the core library, or ends the process with a message on failure.
void *bind(const char *name);

namespace slot {
#define ZYN_CORE_NAME(name, ret, params) \
  using name##_t = ret(*) params;        \
  extern std::atomic<name##_t> name;
#include "frame/core_names.def"
#undef ZYN_CORE_NAME
}  // namespace slot

#define ZYN_CORE_NAME(name, ret, params)                                            \
  template <class... A>                                                             \
  inline ret name(A &&...args) {                                                    \
    slot::name##_t f = slot::name.load(std::memory_order_acquire);                  \
    if (__builtin_expect(f == nullptr, 0)) {                                        \
      f = reinterpret_cast<slot::name##_t>(bind(#name));                            \
      slot::name.store(f, std::memory_order_release);                               \
    }                                                                               \
    return f(std::forward<A>(args)...);                                             \
  }
#include "frame/core_names.def"
#undef ZYN_CORE_NAME

// Forgets every binding and the library handle (tests only).
void reset_bindings_for_testing();

}  // namespace zyn::core
