// A tour of zyn: what the library is built for, and each subsystem at work on embedded data.
#include <cstdio>

#include "tour.hpp"
#include "zyn/core.h"

extern "C" int dll_cpu_version(void);

int main() {
  printf("zyn tour\n");
  printf("  processor level of this build: %d (SSE4.1)\n", dll_cpu_version());
  printf("  threads available to the core layer: %d\n", zyn_rnx_serv_threader_get_num_threads_limit());
  tour_vector();
  tour_complex();
  tour_random();
  tour_twister();
  tour_quasi();
  tour_counter();
  tour_image();
  tour_discrete();
  tour_stats();
  tour_robust();
  tour_fitting();
  return 0;
}
