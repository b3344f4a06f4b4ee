// A stand-in core library for the tests: its environment always holds the mode "VEX_EP", and its
// numbered messages are printed as "msg <number> <arguments> (<count> to <destination>)".
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "zyn/core.h"

void *zyn_serv_allocate(size_t size, int) { return malloc(size == 0 ? 1 : size); }
void zyn_serv_deallocate(void *block) { free(block); }
static std::atomic<int> &as_atomic(volatile int *word) { return *reinterpret_cast<std::atomic<int> *>(const_cast<int *>(word)); }
void zyn_serv_lock(volatile int *word) { while (as_atomic(word).exchange(1, std::memory_order_acquire)) {} }
void zyn_serv_unlock(volatile int *word) { as_atomic(word).store(0, std::memory_order_release); }
int zyn_serv_getenv(const char *, char *buffer, int size) { return size > 6 ? int(strlen(strcpy(buffer, "VEX_EP"))) : 0; }

void zyn_serv_print(int destination, int number, int count, ...) {
  va_list ap;
  va_start(ap, count);
  fprintf(stderr, "msg %d", number);
  if (number == ZYN_MSG_BAD_ARGUMENT) {
    const char *name = va_arg(ap, const char *);
    fprintf(stderr, " %s %d", name, va_arg(ap, int));
  } else if (number >= ZYN_MSG_BAD_CALL && number <= ZYN_MSG_UNKNOWN) {
    fprintf(stderr, " %s", va_arg(ap, const char *));
  } else if (number >= ZYN_MSG_1IN1OUT_ARG && number <= ZYN_MSG_2IN2OUT_RES2) {
    const int index = va_arg(ap, int);
    fprintf(stderr, " %d %g", index, va_arg(ap, double));
  }
  fprintf(stderr, " (%d to %d)\n", count, destination);
  va_end(ap);
}

void zyn_serv_exit(int code) { fflush(stderr), _exit(code); }
