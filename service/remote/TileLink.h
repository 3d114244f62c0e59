// The observer that sends tiles: a child of this process, commanded directly.
#pragma once
#include <string>

#include "broker/RCZmqBroker.h"
#include "platform/Handles.h"
#include "service/remote/ObserverLink.h"
#include "service/remote/TileScreen.h"

namespace remote {

class TileLink : public ObserverLink {
 public:
  // `executable`: the observer's. `screen` is told of every new process.
  TileLink(std::string executable, TileScreen& screen);
  ~TileLink() override { EndProcess(); }

  [[nodiscard]] bool Start() override;
  [[nodiscard]] bool Restart() override;
  void StartView(const CommandRecord& settings) override;
  void Send(const CommandRecord& record) override;
  void End() override;
  void Interrupt() override { client_.stop(); }

 private:
  // Asks it to end, and after some seconds does not ask.
  void EndProcess();

  const std::string executable_;
  TileScreen& screen_;
  RCZmqBrokerClientBase client_;
  pid_t pid_ = -1;
  platform::UniqueFd process_;
};

}  // namespace remote
