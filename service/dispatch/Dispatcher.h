// Serves the four endpoints: takes requests, starts programs, and passes on what becomes of them.
#pragma once
#include <sys/types.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "common/ZmqHandles.h"
#include "platform/Handles.h"
#include "service/dispatch/Console.h"
#include "service/dispatch/Endpoint.h"
#include "service/dispatch/Launch.h"
#include "service/dispatch/Options.h"
#include "service/dispatch/SecretFile.h"

namespace service {

// One thread does everything and waits for nobody in particular. Programs that still run at the end go on.
class Dispatcher {
 public:
  // Borrows both, which outlive this.
  Dispatcher(const Options& options, SecretFile& secret);

  // Binds the endpoints. Why that failed, else empty.
  [[nodiscard]] std::string Open();
  // Until a signal ends it.
  void Run();

 private:
  [[nodiscard]] Endpoint& UserEndpoint() { return *endpoints_.front(); }
  [[nodiscard]] uid_t OwnerOf(const Endpoint& endpoint) const;
  // True when there are requests.
  [[nodiscard]] bool Wait();
  void LookAround();
  void LogConsole() const;
  void TakeRequests(Endpoint& endpoint);
  void Serve(Endpoint& endpoint, const Request& request);
  static void Refuse(Endpoint& endpoint, const Request& request, ResultCode code);
  [[nodiscard]] ResultCode Judge(const Endpoint& endpoint, const Request& request, LaunchOrder& order,
                                 Surroundings& surroundings) const;
  [[nodiscard]] ResultCode Start(Endpoint& endpoint, const std::string& client, LaunchOrder order,
                                 Surroundings surroundings);

  const Options& options_;
  SecretFile& secret_;
  ZmqContext context_;
  Console console_;
  uid_t userOwner_;
  std::chrono::steady_clock::time_point nextLook_{};  // at the console
  platform::UniqueFd null_;
  std::array<std::unique_ptr<Endpoint>, 4> endpoints_;
  std::vector<std::unique_ptr<Launch>> launches_;
};

}  // namespace service
