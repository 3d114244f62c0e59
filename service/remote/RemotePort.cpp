#include "service/remote/RemotePort.h"

#include <cstring>
#include <string>
#include <utility>

#include "broker/Commands.h"
#include "broker/RCRemoteBroker.h"
#include "service/remote/Machine.h"

namespace remote {
namespace {

constexpr char kStatusMagic[] = {'R', 'C', 'H', '1'};
constexpr uint8_t kSessionStarted = 0, kSessionEnd = 2, kPointerPosition = 4;
constexpr uint8_t kKeyboardLayout = 50;

std::span<const uint8_t> BytesOf(CFDataRef data) {
  if (data == nullptr) return {};
  return {CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data))};
}

CFDataRef MakeData(const std::string& text) {
  return CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                      static_cast<CFIndex>(text.size()));
}

template <class Record>
Record Read(std::span<const uint8_t> bytes) {
  Record record{};
  std::memcpy(&record, bytes.data(), sizeof record);
  return record;
}

}  // namespace

RemotePort::RemotePort(Events events)
    : KCBrokerServer(CFSTR("kvremote"), false), events_(std::move(events)) {}

CFDataRef RemotePort::ProcessData(int msgid, CFDataRef data) {
  switch (msgid) {
    case kRemoteTransferData:
      TakeRecord(data);
      return nullptr;
    case kRemoteGetUserName:
      return MakeData(UserName());
    case kRemoteGetComputerName:
      return MakeData(ComputerName());
    case kRemoteHasRemoteSession:
      return MakeData(std::string(1, events_.hasSession() ? '\1' : '\0'));
    case kRemoteRestartObserver:
      events_.restart();
      return nullptr;
    case kRemoteEndSession:
      events_.end();
      return nullptr;
    case kRemoteQuitChatClients:  // another program's
    default:
      return nullptr;
  }
}

void RemotePort::TakeRecord(CFDataRef data) {
  const std::span<const uint8_t> bytes = BytesOf(data);
  if (bytes.size() >= sizeof(StatusHeader) &&
      std::memcmp(bytes.data(), kStatusMagic, sizeof kStatusMagic) == 0)
    return TakeStatus(bytes.subspan(sizeof(StatusHeader)));
  if (bytes.size() >= sizeof(KeyboardLayoutRecord) && bytes[0] == kKeyboardLayout)
    events_.layout(Read<KeyboardLayoutRecord>(bytes).layout);
}

void RemotePort::TakeStatus(std::span<const uint8_t> record) {
  // Records of the session say how long they are; messages of the tile stream begin with other codes.
  const auto is = [record](uint8_t code, size_t length) {
    return record.size() == length && record[0] == code && record[1] == length;
  };
  if (is(kPointerPosition, sizeof(PointerPositionRecord))) {
    const auto position = Read<PointerPositionRecord>(record);
    events_.pointer(position.x, position.y);
  } else if (!is(kSessionStarted, sizeof(SessionStartedRecord)) &&
             !is(kSessionEnd, sizeof(SessionEndRecord))) {
    events_.tiles(record);
  }
}

}  // namespace remote
