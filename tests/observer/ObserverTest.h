// The fixture: an X server, an observer that is not yet started, and a client.
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "broker/RCZmqBroker.h"
#include "platform/Handles.h"
#include "tests/support/ObserverProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"

namespace test {

class ObserverTest : public testing::Test {
 protected:
  explicit ObserverTest(const XServerOptions& server = {});

  // Starts the observer and connects the client.
  void StartObserver(const std::vector<std::string>& arguments = {});

  // Sends a record with that message id and waits for the reply, which has to be empty.
  void Command(const std::string& record, int id = 1);
  void StartView() { Command(std::string("1\0\0\0\0\0", 6)); }
  void EndView() { Command(std::string("\2\0\0\0", 4)); }
  // A client of the screen socket of a view that has just been started.
  [[nodiscard]] platform::UniqueFd ConnectToScreen() const { return ConnectTo(observer_.ScreenSocketPath()); }

  // It ends with this status and removes all its files; the log and the bundle are meant to stay.
  void ExpectEnd(int status);

  // What the one process-ID file says; empty when there is none.
  [[nodiscard]] std::string RecordedPid() const;
  // Lines of the observer's log that contain `text`.
  [[nodiscard]] int Logged(const std::string& text) const;

  XServer server_;
  ObserverProcess observer_;
  RCZmqBrokerClientBase client_;

 private:
  TemporaryFolder clientFolder_;
};

}  // namespace test
