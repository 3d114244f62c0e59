// A GL context that covers a display.
#pragma once
#include <ApplicationServices/ApplicationServices.h>
#include <OpenGL/OpenGL.h>

// Null, and a log line, when there can be none. The caller destroys it.
[[nodiscard]] CGLContextObj CreateContext(CGDirectDisplayID display);
