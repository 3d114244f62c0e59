#include "observer/RCOculon.h"

#include <cstring>
#include <iterator>
#include <vector>

#include "common/StCFTypeRef.h"

RCOculon* RCOculon::GetOculon() {
  // Never deleted: threads that end after the static objects may still have something to report.
  static auto* const oculon = new RCOculon;
  return oculon;
}

void RCOculon::SendISSData(CFDataRef data, CONTROL_TYPES type) {
  if (!sendEnabled_) return;
  const StatusHeader header = {
      .magic = {'R', 'C', 'H', '1'}, .reserved = {}, .controlType = type, .reserved2 = {}};
  const auto length = static_cast<size_t>(CFDataGetLength(data));
  std::vector<unsigned char> record(sizeof header + length);
  std::memcpy(record.data(), &header, sizeof header);
  if (length != 0) std::memcpy(record.data() + sizeof header, CFDataGetBytePtr(data), length);
  remoteClient_.TransferData(record.data(), static_cast<long>(record.size()));
}

void RCOculon::SendData(CFDataRef data) {
  if (sendEnabled_) remoteClient_.TransferData(data);
}

void RCOculon::SetColorReduction(unsigned char viewType) {
  constexpr uint8_t kReductions[] = {255, 255, 5, 4, 3, 2, 6};  // by view type
  colorReduction_ = viewType < std::size(kReductions) ? kReductions[viewType] : uint8_t{255};
}

void RCOculon::SendRCEnd() {
  const SessionEndRecord record = {.code = 2, .length = sizeof record, .unused = {}};
  SendBytes(reinterpret_cast<const unsigned char*>(&record), sizeof record);
}

void RCOculon::SendBytes(const unsigned char* bytes, long length) {
  const StCFTypeRef<CFDataRef> data(CFDataCreate(kCFAllocatorDefault, bytes, length));
  SendISSData(data, kControlStatus);
}
