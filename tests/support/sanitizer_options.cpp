// The sanitizers' options for all test programs, independent of the environment.

extern "C" {
const char* __asan_default_options();
const char* __ubsan_default_options();
const char* __tsan_default_options();

const char* __asan_default_options() {
  return "detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1";
}

const char* __ubsan_default_options() {
  return "print_stacktrace=1";
}

// Terminate returns after the terminate time at the latest. On a loaded machine the session thread
// may then still run, with helper threads that have ended and that it has not joined yet. A host
// that exits at that moment leaks them by design.
const char* __tsan_default_options() {
  return "second_deadlock_stack=1:report_thread_leaks=0";
}
}
