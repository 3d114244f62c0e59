// What hostile clients of a message port can do: connect, send anything in any pieces, not read, go away, all
// of them mixed. No request reaches the port that was not sent whole, and afterwards an honest client must
// still get its answer.
#include <CoreFoundation/CoreFoundation.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>

#include "common/StCFTypeRef.h"
#include "platform/Handles.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

size_t bytesSent = 0;      // by hostile clients, in this run
size_t bytesReceived = 0;  // by the port, headers included

CFDataRef Echo(CFMessagePortRef, SInt32, CFDataRef data, void*) {
  bytesReceived += 16 + (data != nullptr ? static_cast<size_t>(CFDataGetLength(data)) : 0);
  return data != nullptr ? static_cast<CFDataRef>(CFRetain(data)) : nullptr;
}

// True when a request was served.
bool RunTheLoop() { return CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true) == kCFRunLoopRunHandledSource; }

// Nothing of this run is left for the next one: a client is accepted in one turn, read and found gone in
// others.
void ServeWhatIsLeft() {
  for (int idle = 0; idle < 4; ++idle)
    if (RunTheLoop()) idle = 0;
}

class Client {
 public:
  void Connect(const std::string& path) {
    socket_.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      socket_.Reset();
  }
  void Send(const void* bytes, size_t length) {
    const ssize_t sent = send(socket_.Get(), bytes, length, MSG_NOSIGNAL);
    if (sent > 0) bytesSent += static_cast<size_t>(sent);
  }
  void Receive() {
    char bytes[100];
    static_cast<void>(recv(socket_.Get(), bytes, sizeof bytes, 0));
  }
  void Close() { socket_.Reset(); }

 private:
  platform::UniqueFd socket_;
};

// Owns the folder, the port in it and an honest client, who stays for all runs.
class World {
 public:
  World() {
    if (mkdtemp(folder_.data()) == nullptr) std::abort();
    setenv("KORVANE_PORTS_DIR", folder_.c_str(), 1);
    local_ = CFMessagePortCreateLocal(nullptr, CFSTR("fuzzed"), Echo, nullptr, nullptr);
    Check(local_ != nullptr);
    const StCFTypeRef<CFRunLoopSourceRef> source(CFMessagePortCreateRunLoopSource(nullptr, local_, 0));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    honest_ = CFMessagePortCreateRemote(nullptr, CFSTR("fuzzed"));
    Check(honest_ != nullptr);
  }
  ~World() {
    CFMessagePortInvalidate(local_);
    CFRelease(local_);
    CFRelease(honest_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  [[nodiscard]] std::string Path() const { return folder_ + "/fuzzed"; }
  void ServeTheHonestClient() const {
    const StCFTypeRef<CFDataRef> data(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("honest"), 6));
    CFDataRef reply = nullptr;
    Check(CFMessagePortSendRequest(honest_, 7, data, 5, 5, kCFRunLoopDefaultMode, &reply) == 0);
    Check(reply != nullptr && CFEqual(reply, data));
    CFRelease(reply);
    bytesReceived -= 22;
  }

 private:
  std::string folder_ = "/tmp/fuzz-ports-XXXXXX";
  CFMessagePortRef local_ = nullptr, honest_ = nullptr;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static World world;
  std::array<Client, 4> clients;
  Client* client = &clients[0];
  bytesSent = bytesReceived = 0;

  for (size_t i = 0; i < size; ++i) {
    const size_t number = data[i] / 8;
    const size_t length = std::min(number, size - i - 1);
    switch (data[i] % 8) {
      case 0:
        client->Connect(world.Path());
        break;
      case 1:
        client->Close();
        break;
      case 2:
        client->Receive();
        break;
      case 3:
        client = &clients[number % clients.size()];
        break;
      case 4:  // as they are
        client->Send(data + i + 1, length);
        i += length;
        break;
      case 5: {  // as a request
        uint8_t header[16] = {'C',
                              'F',
                              'M',
                              'P',
                              1,
                              0,
                              0,
                              0,
                              static_cast<uint8_t>(number % 2),
                              0,
                              0,
                              0,
                              static_cast<uint8_t>(length)};
        client->Send(header, sizeof header);
        client->Send(data + i + 1, length);
        i += length;
        break;
      }
      default:
        RunTheLoop();
    }
  }
  world.ServeTheHonestClient();
  for (Client& each : clients) each.Close();
  ServeWhatIsLeft();
  Check(bytesReceived <= bytesSent);
  return 0;
}
