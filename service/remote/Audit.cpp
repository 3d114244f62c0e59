#include "service/remote/Audit.h"

#include <asl.h>

#include <cstdarg>
#include <cstdio>

#include "common/KCasl.h"

namespace remote {

void Audit(const char* format, ...) {
  char line[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  ASLLogger(ASL_LEVEL_INFO, 0, true, "kvremote: %s", line);
}

}  // namespace remote
