// The observer that shares its screen, started as the agent starts it.
#pragma once
#include <string>

#include "broker/RCOculonClient.h"
#include "service/remote/ObserverLink.h"

namespace remote {

class SharedScreenLink : public ObserverLink {
 public:
  // `executable`: an observer that is no part of this installation; empty: the installation's own.
  explicit SharedScreenLink(const std::string& executable) {
    if (!executable.empty()) client_.UseObserver(executable);
  }

  [[nodiscard]] bool Start() override { return client_.start_observer(); }
  [[nodiscard]] bool Restart() override;
  void StartView(const CommandRecord& settings) override { Send(settings); }
  void Send(const CommandRecord& record) override;
  void End() override { Send(MakeEndRecord()); }
  void Interrupt() override { client_.stop(); }

 private:
  RCOculonClient client_;
};

}  // namespace remote
