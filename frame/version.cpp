#include "zyn/core.h"

// The processor level this member of the family is built for: SSE4.1.
ZYN_API int dll_cpu_version(void) { return 4; }
