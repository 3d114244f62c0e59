#include "observer/BuildDate.h"

// Alone in its file: the compiler's stamps keep a file out of the compiler cache.
const char kBuildDate[] = __DATE__ " " __TIME__;
