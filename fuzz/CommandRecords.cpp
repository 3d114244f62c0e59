// Payloads of any length and content, given to the session controller and to the reader of each record. The
// controller's broker does not run, so nothing starts.
//
// Input: the message id's low byte, then the payload.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "broker/Commands.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "observer/RCOculonHtml5.h"

namespace {

template <class Record>
void Read(CFDataRef payload) {
  const auto record = ReadRecord<Record>(payload);
  const bool whole = CFDataGetLength(payload) >= static_cast<CFIndex>(sizeof(Record));
  if (record.has_value() != whole) std::abort();
  if (record && std::memcmp(&*record, CFDataGetBytePtr(payload), sizeof(Record)) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Characters would be typed into the session of whoever runs this.
  unsetenv("DISPLAY");
  static RCOculonHtml5 controller;
  ASLSetFilter(0);
  if (size == 0) return 0;

  const StCFTypeRef<CFDataRef> payload(
      CFDataCreate(kCFAllocatorDefault, data + 1, static_cast<CFIndex>(size - 1)));
  for (const int id : {static_cast<int>(data[0]), kCommandMessageId})
    if (controller.ProcessData(id, payload) != nullptr) std::abort();
  Read<ViewStartRecord>(payload);
  Read<ViewEndRecord>(payload);
  Read<MouseEventRecord>(payload);
  Read<KeyEventRecord>(payload);
  Read<AsciiKeyEventRecord>(payload);
  return 0;
}
