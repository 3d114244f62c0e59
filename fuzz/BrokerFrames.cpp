// Requests of any number of frames of any size, given to the broker server through an in-process pair: each
// gets one reply, and only one of two frames with an id of 4 bytes reaches the controller.
//
// Input: frames, each a length byte and that many bytes (or what is left).
#include <zmq.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "broker/RCZmqBroker.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

class CountingServer : public RCZmqBrokerServerBase {
 public:
  CFDataRef ProcessData(int, CFDataRef payload) override {
    ++calls;
    payloadLength = payload == nullptr ? 0 : CFDataGetLength(payload);
    return nullptr;
  }
  using RCZmqBrokerServerBase::process_request;

  int calls = 0;
  CFIndex payloadLength = 0;
};

// A reply socket and a client that sends what it likes.
struct Pair {
  Pair() {
    Check(zmq_bind(reply, "inproc://frames") == 0);
    Check(zmq_connect(client, "inproc://frames") == 0);
  }

  void* context = zmq_ctx_new();
  void* reply = zmq_socket(context, ZMQ_REP);
  void* client = zmq_socket(context, ZMQ_DEALER);
};

std::vector<std::string> SplitFrames(std::span<const uint8_t> input) {
  std::vector<std::string> frames;
  while (!input.empty()) {
    const size_t length = std::min<size_t>(input[0], input.size() - 1);
    frames.emplace_back(reinterpret_cast<const char*>(input.data() + 1), length);
    input = input.subspan(1 + length);
  }
  return frames;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Pair pair;
  static CountingServer server;
  ASLSetFilter(0);

  const std::vector<std::string> frames = SplitFrames({data, size});
  if (frames.empty()) return 0;
  zmq_send(pair.client, "", 0, ZMQ_SNDMORE);  // the end of the envelope
  for (size_t i = 0; i < frames.size(); ++i)
    zmq_send(pair.client, frames[i].data(), frames[i].size(), i + 1 < frames.size() ? ZMQ_SNDMORE : 0);

  server.calls = 0;
  const StCFTypeRef<CFDataRef> reply(server.process_request(pair.reply));
  Check(reply.get() == nullptr);
  const bool good = frames.size() == 2 && frames[0].size() == 4;
  Check(server.calls == (good ? 1 : 0));
  if (good) Check(server.payloadLength == static_cast<CFIndex>(frames[1].size()));

  // The socket is ready to reply, and afterwards nothing of the request is left.
  Check(zmq_send(pair.reply, "", 0, 0) == 0);
  char rest[1];
  Check(zmq_recv(pair.client, rest, 1, 0) == 0 && zmq_recv(pair.client, rest, 1, 0) == 0);
  Check(zmq_recv(pair.reply, rest, 1, ZMQ_DONTWAIT) < 0);
  return 0;
}
