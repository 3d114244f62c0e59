#include "tests/support/ServicePort.h"

#include <gtest/gtest.h>

#include <future>

#include "tests/support/WaitFor.h"

namespace test {

ServicePort::ServicePort() : KCBrokerServer(CFSTR("kvremote"), false) {
  std::promise<void> serving;
  thread_ = std::thread([&] {
    EXPECT_TRUE(StartBroker(CFRunLoopGetCurrent()));
    serving.set_value();
    CFRunLoopRun();  // ends with its only source
  });
  serving.get_future().wait();
}

ServicePort::~ServicePort() {
  StopBroker();
  thread_.join();
}

CFDataRef ServicePort::ProcessData(int, CFDataRef data) {
  const Locked held(lock_);
  received_.emplace_back(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                         static_cast<size_t>(CFDataGetLength(data)));
  return nullptr;
}

std::vector<std::string> ServicePort::Received() {
  const Locked held(lock_);
  return received_;
}

bool ServicePort::HasNext() {
  const Locked held(lock_);
  return taken_ < received_.size();
}

std::vector<uint8_t> ServicePort::Next() {
  const std::string header("RCH1\0\0\0\0\0\0\0\0", 12);
  std::string record;
  if (WaitFor([this] { return HasNext(); })) {
    const Locked held(lock_);
    record = received_[taken_++];
  }
  EXPECT_TRUE(record.starts_with(header));
  if (!record.starts_with(header)) return {};
  return {record.begin() + static_cast<ptrdiff_t>(header.size()), record.end()};
}

}  // namespace test
