// The remote-control service's message port, as far as the observer sends to it.
#pragma once
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "broker/KCBroker.h"

namespace test {

// Serves "com.korvane.kvremote", in the folder of KORVANE_PORTS_DIR, on a thread of its own and keeps the
// data that it is sent.
class ServicePort : public KCBrokerServer {
 public:
  ServicePort();
  ~ServicePort() override;
  CFDataRef ProcessData(int msgid, CFDataRef data) override;

  // All that has come.
  [[nodiscard]] std::vector<std::string> Received();
  // There is one that was not taken yet.
  [[nodiscard]] bool HasNext();
  // The next one in turn, as soon as it is there, without the status header that it has to have. Empty, and a
  // failure of the test, when none comes.
  [[nodiscard]] std::vector<uint8_t> Next();

 private:
  Lock lock_;
  std::vector<std::string> received_ GUARDED_BY(lock_);
  size_t taken_ = 0;
  std::thread thread_;
};

}  // namespace test
