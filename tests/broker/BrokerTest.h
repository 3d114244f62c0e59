// What the broker's tests share: an endpoint and a log of their own, a server that records, bare ZeroMQ ends.
#pragma once
#include <gtest/gtest.h>
#include <zmq.h>

#include <condition_variable>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "broker/RCZmqBroker.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

using Frames = std::vector<std::string>;

inline StCFTypeRef<CFDataRef> MakeData(const std::string& bytes) {
  return StCFTypeRef<CFDataRef>(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

inline std::string Bytes(CFDataRef data) {
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data))};
}

// The first frame of a request.
inline std::string Id(int32_t id) { return {reinterpret_cast<const char*>(&id), sizeof id}; }

class BrokerTest : public testing::Test {
 protected:
  BrokerTest() {
    ASLSetLogFile((folder_ / "log").c_str());
    ASLWriteToStdErr(0);
  }

  [[nodiscard]] std::string Path() const { return folder_ / "observe"; }
  [[nodiscard]] std::string Endpoint() const { return "ipc://" + Path(); }
  [[nodiscard]] std::string Log() const {
    std::ostringstream text;
    text << std::ifstream(folder_ / "log").rdbuf();
    return text.str();
  }

  TemporaryFolder folder_;
};

// Remembers what reached ProcessData() and answers with `reply`.
class RecordingServer : public RCZmqBrokerServerBase {
 public:
  struct Call {
    int id;
    std::optional<std::string> payload;  // nothing for null data
    bool operator==(const Call&) const = default;
  };

  ~RecordingServer() override { stop(); }

  CFDataRef ProcessData(int id, CFDataRef payload) override {
    {
      const std::lock_guard locked(mutex_);
      calls_.push_back({id, payload == nullptr ? std::nullopt : std::optional(Bytes(payload))});
    }
    if (duringRequest) duringRequest();
    return reply.empty() ? nullptr : MakeData(reply).Release();
  }

  std::vector<Call> TakeCalls() {
    const std::lock_guard locked(mutex_);
    return std::exchange(calls_, {});
  }

  // Set before start().
  std::function<void()> duringRequest;
  std::string reply;

 private:
  std::mutex mutex_;
  std::vector<Call> calls_;
};

// A ZeroMQ socket without any of our code.
class BareSocket {
 public:
  explicit BareSocket(int type) : context_(zmq_ctx_new()), socket_(zmq_socket(context_, type)) {
    const int none = 0;
    zmq_setsockopt(socket_, ZMQ_LINGER, &none, sizeof none);
  }
  ~BareSocket() {
    zmq_close(socket_);
    zmq_ctx_destroy(context_);
  }
  BareSocket(const BareSocket&) = delete;
  BareSocket& operator=(const BareSocket&) = delete;

  [[nodiscard]] void* Get() const { return socket_; }

  void Send(const Frames& frames) {
    for (size_t i = 0; i < frames.size(); ++i)
      ASSERT_EQ(
          zmq_send(socket_, frames[i].data(), frames[i].size(), i + 1 < frames.size() ? ZMQ_SNDMORE : 0),
          static_cast<int>(frames[i].size()));
  }

  // The frames of one message; none when nothing came within the deadline.
  [[nodiscard]] Frames Receive(int timeoutMs = 20000) {
    Frames frames;
    zmq_setsockopt(socket_, ZMQ_RCVTIMEO, &timeoutMs, sizeof timeoutMs);
    int more = 1;
    while (more != 0) {
      char bytes[256];
      const int size = zmq_recv(socket_, bytes, sizeof bytes, 0);
      if (size < 0) break;
      frames.emplace_back(bytes, static_cast<size_t>(size));
      size_t length = sizeof more;
      zmq_getsockopt(socket_, ZMQ_RCVMORE, &more, &length);
    }
    return frames;
  }

 private:
  void* context_;
  void* socket_;
};

}  // namespace test
