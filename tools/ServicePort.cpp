#include "tools/ServicePort.h"

#include <future>
#include <utility>

#include "broker/RCRemoteBroker.h"

namespace tools {

ServicePort::ServicePort(Receiver receiver)
    : KCBrokerServer(CFSTR("kvremote"), false), receiver_(std::move(receiver)) {}

ServicePort::~ServicePort() {
  // Without its port the thread's loop has nothing to wait for.
  StopBroker();
  if (thread_.joinable()) thread_.join();
}

bool ServicePort::Start() {
  std::promise<bool> serving;
  std::future<bool> served = serving.get_future();
  thread_ = std::thread([this, serving = std::move(serving)]() mutable {
    const bool started = StartBroker(CFRunLoopGetCurrent());
    serving.set_value(started);
    if (started) CFRunLoopRun();
  });
  return served.get();
}

CFDataRef ServicePort::ProcessData(int msgid, CFDataRef data) {
  if (msgid == kRemoteTransferData && data != nullptr)
    receiver_({CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data))});
  return nullptr;
}

}  // namespace tools
