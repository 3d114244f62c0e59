// The observer that shares its screen, started as the agent starts it.
#pragma once
#include "broker/RCOculonClient.h"
#include "service/remote/ObserverLink.h"

namespace remote {

class SharedScreenLink : public ObserverLink {
 public:
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
