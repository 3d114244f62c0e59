// The fixture: an X server, an agent's folder of the test's own, and a session in it with viewers.
#pragma once
#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>

#include "service/remote/DesktopSession.h"
#include "tests/service/remote/FakeViewer.h"
#include "tests/support/ObserverProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace test {

class SessionTest : public testing::Test {
 protected:
  SessionTest();

  void StartSession(remote::SessionOptions options = {});
  FakeViewer& NewViewer(bool local = true) { return viewers_.emplace_back(*session_, local); }
  // A viewer of a session that runs, with its first picture.
  FakeViewer& NewRunningViewer(bool local = true);

  // Waits while viewers draw and the main run loop serves the message port.
  template <class Condition>
  [[nodiscard]] bool Await(Condition condition) {
    return WaitFor([&] {
      Work();
      return condition();
    });
  }
  // What the viewer shows becomes what the X server shows.
  [[nodiscard]] bool AwaitPicture(const FakeViewer& viewer);

  // The preferences' dictionary of the remote control, as another program would have written it.
  void WritePreferences(const std::string& entries);

  // What the program that stands for kvnotify answers; -1: nothing until then.
  void AnswerNotice(int status);
  // The arguments of its runs, a line each.
  [[nodiscard]] std::string NoticeRuns() const { return FileText(folder_ / "notices"); }

  // The observer's process, by its process-ID file; 0 when there is none.
  [[nodiscard]] pid_t ObserverPid() const;
  [[nodiscard]] int Logged(const std::string& text) const;

  TemporaryFolder folder_;
  XServer server_;
  ObserverProcess observer_;  // its installation; the session starts it
  std::unique_ptr<XClient> client_;
  std::unique_ptr<remote::DesktopSession> session_;
  std::list<FakeViewer> viewers_;

 private:
  void Work();
};

}  // namespace test
