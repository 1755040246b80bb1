// What the sanitizers ask a test program when it starts.

// The OpenMP runtime keeps the records of its threads to the end.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions() {
    return "leak:libomp";
}

// To a forked child the threads that it didn't inherit look lost.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_options() {
    return "report_thread_leaks=0";
}
