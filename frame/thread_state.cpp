// The per-thread record behind the mode word, the status and the callback: a pthread key whose
// destructor frees the thread's record, records from a private allocator, and the mode word's
// environment setting.
#include "frame/thread_state.hpp"

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <iterator>
#include <string>
#include <cstdlib>
#include <cstring>

#include "frame/core_link.hpp"

namespace zyn::frame {
namespace {

// The module's private allocator. Blocks are zeroed and linked into the heap, so destroying the
// heap also frees the records of threads that are still alive.
struct Block {
  Block *prev, *next;
};
static_assert(sizeof(Block) == 16, "records must stay 16-byte aligned");

struct PrivateHeap {
  pthread_mutex_t lock;
  Block head;
};

std::atomic<bool> g_fail_allocations{false};

PrivateHeap *heap_create() {
  if (g_fail_allocations.load(std::memory_order_relaxed)) return nullptr;
  auto *h = static_cast<PrivateHeap *>(calloc(1, sizeof(PrivateHeap)));
  if (h == nullptr) return nullptr;
  pthread_mutex_init(&h->lock, nullptr);
  h->head.prev = h->head.next = &h->head;
  return h;
}

void *heap_alloc(PrivateHeap *h, size_t size) {
  if (g_fail_allocations.load(std::memory_order_relaxed)) return nullptr;
  auto *b = static_cast<Block *>(calloc(1, sizeof(Block) + size));
  if (b == nullptr) return nullptr;
  pthread_mutex_lock(&h->lock);
  b->prev = &h->head;
  b->next = h->head.next;
  h->head.next->prev = b;
  h->head.next = b;
  pthread_mutex_unlock(&h->lock);
  return b + 1;
}

void heap_free(PrivateHeap *h, void *p) {
  Block *b = static_cast<Block *>(p) - 1;
  pthread_mutex_lock(&h->lock);
  b->prev->next = b->next;
  b->next->prev = b->prev;
  pthread_mutex_unlock(&h->lock);
  free(b);
}

void heap_destroy(PrivateHeap *h) {
  for (Block *b = h->head.next; b != &h->head;) {
    Block *next = b->next;
    free(b);
    b = next;
  }
  pthread_mutex_destroy(&h->lock);
  free(h);
}

// Process-wide: the key (-1 while none) and the heap, each created once under its own lock word
// of the core library; a third word serialises the environment read.
constexpr long kNoSlot = -1;
std::atomic<long> g_slot{kNoSlot};
std::atomic<PrivateHeap *> g_heap{nullptr};
volatile int g_slot_lock = 0;
volatile int g_heap_lock = 0;
volatile int g_env_lock = 0;

void thread_detach(void *record) {
  if (PrivateHeap *h = g_heap.load(std::memory_order_acquire); h != nullptr && record != nullptr)
    heap_free(h, record);
}

// `locked` is false only at process attach, when no other thread can reach the module: taking
// the core library's lock there would load the core library with the module.
PrivateHeap *ensure_heap(bool locked) {
  PrivateHeap *h = g_heap.load(std::memory_order_acquire);
  if (h != nullptr) return h;
  if (locked) zyn::core::zyn_serv_lock(&g_heap_lock);
  h = g_heap.load(std::memory_order_acquire);
  if (h == nullptr) {
    h = heap_create();
    g_heap.store(h, std::memory_order_release);
  }
  if (locked) zyn::core::zyn_serv_unlock(&g_heap_lock);
  return h;
}

ThreadState *make_record(bool locked) {
  PrivateHeap *h = ensure_heap(locked);
  if (h == nullptr) return nullptr;
  auto *ts = static_cast<ThreadState *>(heap_alloc(h, sizeof(ThreadState)));
  if (ts == nullptr) return nullptr;
  long slot = g_slot.load(std::memory_order_acquire);
  if (slot == kNoSlot || pthread_setspecific(static_cast<pthread_key_t>(slot), ts) != 0) {
    heap_free(h, ts);
    return nullptr;
  }
  ts->mode = 0;
  ts->status = 0;
  ts->callback = nullptr;
  return ts;
}

void print_failure() { zyn::core::zyn_serv_print(1, ZYN_MSG_THREAD_STATE, 0); }

bool create_slot() {
  pthread_key_t key;
  if (pthread_key_create(&key, thread_detach) != 0) return false;
  g_slot.store(static_cast<long>(key), std::memory_order_release);
  return true;
}

// Tokens of the mode variable, tried in this order; the first match is final. The text of
// VEX_DOUBLE_CONSISTENT stops before its last letter, so the full spelling fails the parse.
struct Token {
  const char *text;
  size_t length;
  uint32_t value;
};
constexpr Token kTokens[] = {
    {"LA", 2, VEX_LA},
    {"HA", 2, VEX_HA},
    {"EP", 2, VEX_EP},
    {"DEFAULT_PRECISION", 17, VEX_DEFAULT_PRECISION},
    {"FLOAT_CONSISTENT", 16, VEX_FLOAT_CONSISTENT},
    {"DOUBLE_CONSISTEN", 16, VEX_DOUBLE_CONSISTENT},
    {"RESTORE", 7, VEX_RESTORE},
    {"ERRMODE_IGNORE", 14, VEX_ERRMODE_IGNORE},
    {"ERRMODE_ERRNO", 13, VEX_ERRMODE_ERRNO},
    {"ERRMODE_STDERR", 14, VEX_ERRMODE_STDERR},
    {"ERRMODE_EXCEPT", 14, VEX_ERRMODE_EXCEPT},
    {"ERRMODE_CALLBACK", 16, VEX_ERRMODE_CALLBACK},
    {"ERRMODE_NOERR", 13, VEX_ERRMODE_NOERR},
    {"ERRMODE_DEFAULT", 15, VEX_ERRMODE_DEFAULT},
    {"TRAP_INVALID", 12, VEX_TRAP_INVALID},
    {"TRAP_DIVBYZERO", 14, VEX_TRAP_DIVBYZERO},
    {"TRAP_OVERFLOW", 13, VEX_TRAP_OVERFLOW},
    {"TRAP_UNDERFLOW", 14, VEX_TRAP_UNDERFLOW},
};
static_assert(std::size(kTokens) == 18);
constexpr bool lengths_match() {
  for (const Token &t : kTokens)
    if (std::char_traits<char>::length(t.text) != t.length) return false;
  return true;
}
static_assert(lengths_match());

constexpr char kTokenPrefix[] = "VEX_";
constexpr size_t kPrefixLength = 4;
constexpr size_t kModeBuffer = 256;

}  // namespace

void FailAllocationsForTesting(bool fail) { g_fail_allocations.store(fail); }

int LiveRecordsForTesting() {
  PrivateHeap *h = g_heap.load(std::memory_order_acquire);
  if (h == nullptr) return 0;
  int count = 0;
  pthread_mutex_lock(&h->lock);
  for (Block *b = h->head.next; b != &h->head; b = b->next) ++count;
  pthread_mutex_unlock(&h->lock);
  return count;
}

int64_t ParseModeEnvironment() {
  char buf[kModeBuffer] = {};
  zyn::core::zyn_serv_lock(&g_env_lock);
  int length = zyn::core::zyn_serv_getenv(kModeVariable, buf, static_cast<int>(kModeBuffer));
  zyn::core::zyn_serv_unlock(&g_env_lock);
  if (length < 1) return -1;
  buf[kModeBuffer - 1] = '\0';

  uint64_t result = 0;
  size_t pos = 0;
  for (;;) {
    if (strncmp(buf + pos, kTokenPrefix, kPrefixLength) != 0) return -1;
    const Token *hit = nullptr;
    for (const Token &t : kTokens) {
      if (pos + kPrefixLength + t.length >= kModeBuffer) continue;
      if (strncmp(t.text, buf + pos + kPrefixLength, t.length) == 0) {
        hit = &t;
        break;
      }
    }
    if (hit == nullptr) return -1;
    size_t after = pos + kPrefixLength + hit->length;
    if (buf[after] != ',' && buf[after] != '\0') return -1;
    result |= hit->value;
    if (buf[after] == '\0') return static_cast<int64_t>(result);
    pos = after + 1;
    if (buf[pos] != 'V') return -1;
  }
}

ThreadState *GetThreadState() {
  if (g_slot.load(std::memory_order_acquire) == kNoSlot) {
    zyn::core::zyn_serv_lock(&g_slot_lock);
    if (g_slot.load(std::memory_order_acquire) != kNoSlot) {
      zyn::core::zyn_serv_unlock(&g_slot_lock);
    } else if (!create_slot()) {
      zyn::core::zyn_serv_unlock(&g_slot_lock);
      print_failure();
    } else {
      zyn::core::zyn_serv_unlock(&g_slot_lock);
      if (make_record(true) == nullptr) print_failure();
    }
  }
  if (long slot = g_slot.load(std::memory_order_acquire); slot != kNoSlot) {
    if (void *v = pthread_getspecific(static_cast<pthread_key_t>(slot))) return static_cast<ThreadState *>(v);
  }
  if (ThreadState *ts = make_record(true)) return ts;
  print_failure();
  zyn::core::zyn_serv_exit(3);
  return nullptr;
}

uint32_t GetMode() {
  ThreadState *ts = GetThreadState();
  if (ts->mode != 0) return ts->mode;
  int64_t parsed = ParseModeEnvironment();
  uint32_t word = VEX_MODE_DEFAULT;
  if (parsed != -1) {
    word = static_cast<uint32_t>(parsed);
    if ((word & ModeAccuracy) == 0) word |= VEX_HA;
    if ((word & ModeErrorHandling) == 0) word |= VEX_ERRMODE_DEFAULT;
  }
  ts->mode = word;
  return word;
}

int InitThreadStateTls(int reason, void *reserved) {
  constexpr int kProcessDetach = 0, kProcessAttach = 1, kThreadDetach = 3;
  switch (reason) {
    case kProcessAttach:
      if (g_slot.load(std::memory_order_acquire) != kNoSlot) return 1;
      if (!create_slot() || make_record(false) == nullptr) {
        print_failure();
        return 0;
      }
      return 1;
    case kThreadDetach:
      if (long slot = g_slot.load(std::memory_order_acquire); slot != kNoSlot) {
        auto key = static_cast<pthread_key_t>(slot);
        thread_detach(pthread_getspecific(key));
        pthread_setspecific(key, nullptr);
      }
      return 1;
    case kProcessDetach:
      if (reserved != nullptr) return 1;
      if (long slot = g_slot.load(std::memory_order_acquire); slot != kNoSlot) {
        auto key = static_cast<pthread_key_t>(slot);
        thread_detach(pthread_getspecific(key));
        pthread_setspecific(key, nullptr);
        pthread_key_delete(key);
        g_slot.store(kNoSlot, std::memory_order_release);
      }
      if (PrivateHeap *h = g_heap.exchange(nullptr)) heap_destroy(h);
      return 1;
    default:
      return 1;
  }
}

namespace {
// Process attach and detach. At attach only the loading thread can reach the module; failure
// there is printed and retried at the first use, which ends the process if it fails again.
__attribute__((constructor)) void module_attach() { InitThreadStateTls(1, nullptr); }
__attribute__((destructor)) void module_detach() { InitThreadStateTls(0, nullptr); }
}  // namespace

}  // namespace zyn::frame
