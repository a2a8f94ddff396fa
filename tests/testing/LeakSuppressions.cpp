// Read by LeakSanitizer at start-up in sanitizer builds; an ordinary unused function otherwise.
//
// glibc's newlocale never frees the search path it builds from LOCPATH, which the locale tests
// set when they have to generate their locale themselves.
extern "C" const char* __lsan_default_suppressions() { return "leak:argz_add_sep\n"; }
