// What a hostile client of the screen socket can do: connect, send anything in any pieces, not read, go away.
// Afterwards an honest client must still get its answer.
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include "common/KCFolderManager.h"
#include "platform/Handles.h"
#include "rcserv/SharedScreenWorkerApple.h"

namespace {

class OneMonitor : public rcserv::MonitorConfig {
 protected:
  bool EnumerateOsMonitors(rcserv::OsMonitors& monitors) override {
    monitors = {{"A", {rcserv::MakeLTRB(-4, 0, 12, 8), true}}};
    return true;
  }
};

class Worker : public rcserv::SharedScreenWorker {
 public:
  Worker() : SharedScreenWorker(std::make_unique<OneMonitor>()) {}

 protected:
  bool CaptureScreen(int32_t, int32_t, const rcserv::Rect&, rcserv::BitmapT<rcserv::kScreenFormat>&,
                     std::deque<rcserv::Rect>& changed, bool full) override {
    if (!full) changed.push_back(rcserv::MakeXYWH(0, 0, 1, 1));
    return true;
  }
};

class Client {
 public:
  void Connect() {
    socket_.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string(FetchFolder(kFolderScreenIPCSocket)).copy(address.sun_path, sizeof address.sun_path - 1);
    if (connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      socket_.Reset();
  }
  void Send(std::span<const uint8_t> bytes) { send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); }
  // The bytes that were there, at most one response.
  size_t Receive() {
    char bytes[808];
    const ssize_t received = recv(socket_.Get(), bytes, sizeof bytes, 0);
    return received > 0 ? static_cast<size_t>(received) : 0;
  }
  void Close() { socket_.Reset(); }

 private:
  platform::UniqueFd socket_;
};

// Owns the folder of socket and screen files, and the worker that lives in it.
class World {
 public:
  World() {
    setenv("TMPDIR", folder_.c_str(), 1);
    SetRootFolder(folder_.c_str());
  }
  ~World() {
    worker_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Worker& TheWorker() {
    if (!worker_) worker_ = std::make_unique<Worker>();
    return *worker_;
  }

 private:
  static std::string MakeFolder() {
    std::string pattern = "/tmp/fuzz-screen-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
  }

  const std::string folder_ = MakeFolder();
  std::unique_ptr<Worker> worker_;
};

void ServeAnHonestClient(Worker& worker) {
  // Whoever was there before is found out first: what it sent, then its end.
  for (int i = 0; i < 4096 && worker.GrabScreen(0); ++i) {
  }
  worker.GrabScreen(0);
  Client client;
  client.Connect();
  const uint8_t request[] = {1, 0};
  client.Send(request);
  if (!worker.GrabScreen(0) || client.Receive() != 808) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static World world;
  Worker& worker = world.TheWorker();
  Client client;
  const std::span<const uint8_t> input(data, size);
  for (size_t i = 0; i < size; ++i) {
    switch (input[i] % 8) {
      case 0:
        client.Connect();
        break;
      case 1:
        client.Close();
        break;
      case 2:
        client.Receive();
        break;
      case 3:
        rcserv::SharedScreenWorker::SetDisplayChange();
        break;
      case 4: {
        // As many of the following bytes as the upper bits say.
        const size_t length = std::min<size_t>(input[i] / 8, size - i - 1);
        client.Send(input.subspan(i + 1, length));
        i += length;
        break;
      }
      default:
        worker.GrabScreen(0);
    }
  }
  client.Close();
  ServeAnHonestClient(worker);
  return 0;
}
