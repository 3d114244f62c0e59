// A reply of the dispatcher with any bytes for its property list: it is read or refused, and what it says
// stays in its bounds.
#include <zmq.h>

#include <cstdint>
#include <cstdlib>

#include "common/LaunchReplies.h"
#include "common/ZmqHandles.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

struct Pair {
  Pair() {
    Check(zmq_bind(client.Get(), "inproc://replies") == 0);
    Check(zmq_connect(dispatcher.Get(), "inproc://replies") == 0);
  }

  void Reply(std::string_view bytes) {
    Check(ZmqSend(dispatcher.Get(), "", ZMQ_SNDMORE) && ZmqSend(dispatcher.Get(), bytes, 0));
  }

  ZmqContext context;
  ZmqSocket client{context.Get(), ZMQ_PAIR};
  ZmqSocket dispatcher{context.Get(), ZMQ_PAIR};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Pair pair;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  pair.Reply(bytes);
  const StCFTypeRef<CFDictionaryRef> reply = getResultDictionary(pair.client.Get(), -1);
  pair.Reply(bytes);
  Check(unpackResult(pair.client.Get()) == getResultCode(reply));
  if (reply.get() == nullptr) return 0;

  const CFStringRef output = getDataBlock(reply);
  Check(output == nullptr || isDataBlock(reply));
  Check(output == nullptr || CFStringGetLength(output) <= static_cast<CFIndex>(size));
  Check(isResult(reply) || getResultCode(reply) == -1);
  Check(isStarted(reply) || CFDictionaryGetValue(reply, CFSTR("started")) == nullptr);
  (void)getResultPID(reply);
  return 0;
}
