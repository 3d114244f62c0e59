#include "broker/Commands.h"

#include <asl.h>

#include <cstring>

#include "common/KCasl.h"

std::optional<uint8_t> ReadCommandCode(CFDataRef data) {
  uint8_t code = 0;
  if (!CopyRecord(data, &code, sizeof code)) return std::nullopt;
  return code;
}

bool CopyRecord(CFDataRef data, void* record, size_t size) {
  const CFIndex length = data == nullptr ? 0 : CFDataGetLength(data);
  if (static_cast<size_t>(length) >= size) {
    std::memcpy(record, CFDataGetBytePtr(data), size);
    return true;
  }
  if (length == 0)
    ASLLogger(ASL_LEVEL_INFO, 1, true, "Commands: empty record ignored\n");
  else
    ASLLogger(ASL_LEVEL_INFO, 1, true, "Commands: record %d ignored: %ld bytes, needs %ld\n",
              static_cast<int>(CFDataGetBytePtr(data)[0]), static_cast<long>(length),
              static_cast<long>(size));
  return false;
}
