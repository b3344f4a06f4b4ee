// The numbered message catalogue. Each message is one line on standard error; its printf
// format fixes the types of the arguments that callers pass.
#include "zyn/core.h"

#include <cstdarg>
#include <cstdio>

namespace {
struct Message {
  int number;
  int args;
  const char *format;
};

constexpr Message kCatalogue[] = {
    {ZYN_MSG_BAD_ARGUMENT, 2, "zyn: %s: bad argument at element %d\n"},
    {ZYN_MSG_BAD_CALL, 1, "zyn: %s: bad call\n"},
    {ZYN_MSG_DOMAIN, 1, "zyn: %s: argument outside the domain\n"},
    {ZYN_MSG_SINGULARITY, 1, "zyn: %s: singularity (result infinite)\n"},
    {ZYN_MSG_OVERFLOW, 1, "zyn: %s: overflow\n"},
    {ZYN_MSG_UNDERFLOW, 1, "zyn: %s: underflow\n"},
    {ZYN_MSG_UNKNOWN, 1, "zyn: %s: unknown error status\n"},
    {ZYN_MSG_1IN1OUT_ARG, 2, "  element %d: argument %.17g\n"},
    {ZYN_MSG_1IN1OUT_RES, 2, "  element %d: result %.17g\n"},
    {ZYN_MSG_1IN2OUT_ARG, 2, "  element %d: argument %.17g\n"},
    {ZYN_MSG_1IN2OUT_RES1, 2, "  element %d: first result %.17g\n"},
    {ZYN_MSG_1IN2OUT_RES2, 2, "  element %d: second result %.17g\n"},
    {ZYN_MSG_2IN1OUT_ARG1, 2, "  element %d: first argument %.17g\n"},
    {ZYN_MSG_2IN1OUT_ARG2, 2, "  element %d: second argument %.17g\n"},
    {ZYN_MSG_2IN1OUT_RES, 2, "  element %d: result %.17g\n"},
    {ZYN_MSG_2IN2OUT_ARG1, 2, "  element %d: first argument %.17g\n"},
    {ZYN_MSG_2IN2OUT_ARG2, 2, "  element %d: second argument %.17g\n"},
    {ZYN_MSG_2IN2OUT_RES1, 2, "  element %d: first result %.17g\n"},
    {ZYN_MSG_2IN2OUT_RES2, 2, "  element %d: second result %.17g\n"},
    {ZYN_MSG_THREAD_STATE, 0, "zyn: cannot create the per-thread state of the vector functions\n"},
};
}  // namespace

void zyn_serv_print(int destination, int number, int count, ...) {
  if (destination != 1) return;
  for (const Message &m : kCatalogue) {
    if (m.number != number) continue;
    if (count != m.args) {
      fprintf(stderr, "zyn: message %d given %d arguments, expects %d\n", number, count, m.args);
      return;
    }
    va_list ap;
    va_start(ap, count);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    vfprintf(stderr, m.format, ap);
#pragma GCC diagnostic pop
    va_end(ap);
    return;
  }
  fprintf(stderr, "zyn: message %d\n", number);
}
