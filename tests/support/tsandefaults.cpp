// Qt is not built with the thread sanitizer: its mutexes and wait conditions synchronise in ways
// the sanitizer cannot see, so the sanitizer takes QtTest's own watchdog thread for a data
// race. Ignoring what the uninstrumented libraries do keeps every report about our own code.
// Compiled into each test that links glyphd_testsupport, and only in TSan builds.
extern "C" const char *__tsan_default_options()
{
    return "ignore_noninstrumented_modules=1";
}
