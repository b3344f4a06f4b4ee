#include "frame/core_link.hpp"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zyn/version.h"

namespace zyn::core {

namespace slot {
#define ZYN_CORE_NAME(name, ret, params) std::atomic<name##_t> name{nullptr};
#include "frame/core_names.def"
#undef ZYN_CORE_NAME
}  // namespace slot

namespace {
std::atomic<void *> g_handle{nullptr};

void *open_core() {
  if (void *h = g_handle.load(std::memory_order_acquire)) return h;
  void *h = nullptr;
  if (const char *named = getenv("ZYN_CORE_LIBRARY"); named != nullptr && named[0] != '\0') {
    h = dlopen(named, RTLD_NOW | RTLD_LOCAL);
  } else {
    Dl_info info;
    if (dladdr(reinterpret_cast<void *>(&open_core), &info) != 0 && info.dli_fname != nullptr) {
      std::string path = info.dli_fname;
      auto slash = path.rfind('/');
      path = (slash == std::string::npos ? std::string() : path.substr(0, slash + 1)) + ZYN_CORE_SONAME;
      h = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    if (h == nullptr) h = dlopen(ZYN_CORE_SONAME, RTLD_NOW | RTLD_LOCAL);
  }
  if (h == nullptr) {
    fprintf(stderr, "zyn: cannot load the core library: %s\n", dlerror());
    abort();
  }
  void *expected = nullptr;
  if (!g_handle.compare_exchange_strong(expected, h)) {
    dlclose(h);  // another thread won; both handles name the same library
    return expected;
  }
  return h;
}
}  // namespace

void *bind(const char *name) {
  void *f = dlsym(open_core(), name);
  if (f == nullptr) {
    fprintf(stderr, "zyn: the core library has no %s\n", name);
    abort();
  }
  return f;
}

void reset_bindings_for_testing() {
#define ZYN_CORE_NAME(name, ret, params) slot::name.store(nullptr);
#include "frame/core_names.def"
#undef ZYN_CORE_NAME
  g_handle.store(nullptr);
}

}  // namespace zyn::core
