// Thread-sanitizer suppressions, built into every test binary of the TSan pass. OpenBLAS is not
// instrumented and runs some routines (the symmetric multiply at every size) on its own workers,
// which hand their results back through spin-waits on plain flags that the sanitizer cannot see:
// each later read of such a result looks like a race. Only reports with an OpenBLAS frame are
// dropped; races in our own code are still reported.
extern "C" __attribute__((visibility("default"))) const char *__tsan_default_suppressions() {
  return "race:libopenblas\n";
}
