// What the broker's tests share: an endpoint and a log of their own, a server that records, bare ZeroMQ ends.
#pragma once
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker/RCZmqBroker.h"
#include "common/ZmqHandles.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

using Frames = std::vector<std::string>;

inline StCFTypeRef<CFDataRef> MakeData(const std::string& bytes) {
  return StCFTypeRef<CFDataRef>(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

// Nothing for null data.
inline std::optional<std::string> Bytes(CFDataRef data) {
  if (data == nullptr) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                     static_cast<size_t>(CFDataGetLength(data)));
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
  [[nodiscard]] std::string Log() const { return FileText(folder_ / "log"); }

 private:
  TemporaryFolder folder_;
};

// Remembers what reached ProcessData() and answers with `reply`.
class RecordingServer : public RCZmqBrokerServerBase {
 public:
  using Call = std::pair<int, std::optional<std::string>>;  // message id and payload

  ~RecordingServer() override { stop(); }

  CFDataRef ProcessData(int id, CFDataRef payload) override {
    const std::lock_guard locked(mutex_);
    calls_.emplace_back(id, Bytes(payload));
    duringRequest();
    return MakeData(reply).Release();
  }

  std::vector<Call> TakeCalls() {
    const std::lock_guard locked(mutex_);
    return std::exchange(calls_, {});
  }

  // Set before start().
  std::function<void()> duringRequest = [] {};
  std::string reply = "answer";

 private:
  std::mutex mutex_;
  std::vector<Call> calls_;
};

// The other end, without the code that is tested: a reply socket is bound to the endpoint, others connect.
class BareSocket {
 public:
  BareSocket(int type, const std::string& endpoint) : socket_(context_.get(), type) {
    socket_.SetOption(ZMQ_LINGER, 0);
    socket_.SetOption(ZMQ_RCVHWM, 1);  // what is not received stays with its sender
    socket_.SetOption(ZMQ_RCVTIMEO, 20000);
    EXPECT_EQ((type == ZMQ_REP ? zmq_bind : zmq_connect)(socket_.Get(), endpoint.c_str()), 0);
  }

  void Send(const Frames& frames) {
    for (size_t i = 0; i < frames.size(); ++i) {
      const int flags = i + 1 < frames.size() ? ZMQ_SNDMORE : 0;
      EXPECT_GE(zmq_send(socket_.Get(), frames[i].data(), frames[i].size(), flags), 0);
    }
  }

  // The frames of one message; none when nothing comes.
  [[nodiscard]] Frames Receive() {
    Frames frames;
    ZmqMessage frame;
    do {
      if (!frame.Receive(socket_.Get())) break;
      frames.emplace_back(static_cast<const char*>(frame.Data()), frame.Size());
    } while (frame.More());
    return frames;
  }

 private:
  std::unique_ptr<void, int (*)(void*)> context_{zmq_ctx_new(), zmq_ctx_destroy};
  ZmqSocket socket_;
};

}  // namespace test
