#include "tests/service/remote/SessionTest.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/KCFolderManager.h"
#include "common/KCPidUtils.h"
#include "common/KCasl.h"

namespace test {

SessionTest::SessionTest() : observer_(OBSERVER_BUNDLE), client_(std::make_unique<XClient>()) {
  setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1);
  setenv("KORVANE_PREFERENCES_DIR", folder_.Path().c_str(), 1);
  SetRootFolder(observer_.Root().c_str());
  ASLWriteToStdErr(0);
  AnswerNotice(0);
  const std::string notify = observer_.Root() + "/bin/kvnotify";
  std::ofstream(notify) << "#!/bin/sh\n"
                        << "echo \"$@\" >> '" << folder_ / "notices"
                        << "'\n"
                        << "for pipe; do :; done\n"
                        << "while [ ! -f '" << folder_ / "answer"
                        << "' ]; do [ -p \"$pipe\" ] || exit 1; sleep 0.01; done\n"
                        << "exit $(cat '" << folder_ / "answer"
                        << "')\n";
  std::filesystem::permissions(notify, std::filesystem::perms::owner_all);
}

void SessionTest::StartSession(remote::SessionOptions options) {
  session_ = std::make_unique<remote::DesktopSession>(std::move(options));
  ASSERT_EQ(session_->Start(), "");
}

FakeViewer& SessionTest::NewRunningViewer(bool local) {
  FakeViewer& viewer = NewViewer(local);
  EXPECT_TRUE(Await([&] { return viewer.Said("state", "\"running\"") && !viewer.Updates().empty(); }))
      << viewer.Last("state") << observer_.Log();
  return viewer;
}

void SessionTest::Work() {
  for (FakeViewer& viewer : viewers_) viewer.Work();
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
}

bool SessionTest::AwaitPicture(const FakeViewer& viewer) {
  return Await([&] {
    if (viewer.Width() == 0 || viewer.HasUndrawn()) return false;
    std::vector<uint16_t> shown;
    for (const uint32_t pixel : client_->Read(0, 0, viewer.Width(), viewer.Height()))
      shown.push_back(
          static_cast<uint16_t>((pixel >> 9 & 0x7C00) | (pixel >> 6 & 0x03E0) | (pixel >> 3 & 0x1F)));
    return shown == viewer.Pixels();
  });
}

void SessionTest::WritePreferences(const std::string& entries) {
  const std::string file = folder_ / "com.korvane.kvms.plist";
  std::ofstream(file + ".new") << "<plist version=\"1.0\"><dict><key>com.korvane.remote</key><dict>"
                               << entries << "</dict></dict></plist>";
  std::filesystem::rename(file + ".new", file);
}

void SessionTest::AnswerNotice(int status) {
  std::filesystem::remove(folder_ / "answer");
  if (status < 0) return;
  std::ofstream(folder_ / "answer.new") << status;
  std::filesystem::rename(folder_ / "answer.new", folder_ / "answer");
}

pid_t SessionTest::ObserverPid() const { return KCGetPIDForKeyFromFileWithConsoleUser("kvobserve", nullptr); }

int SessionTest::Logged(const std::string& text) const {
  std::istringstream log(observer_.Log());
  int count = 0;
  for (std::string line; std::getline(log, line);)
    if (line.find(text) != std::string::npos) ++count;
  return count;
}

}  // namespace test
