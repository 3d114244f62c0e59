#include "tests/observer/ObserverTest.h"

#include <filesystem>
#include <sstream>

#include "common/KCasl.h"
#include "common/StCFTypeRef.h"

namespace test {
namespace {

// The files in all folders below `root`.
std::vector<std::string> FilesBelow(const std::string& root) {
  std::vector<std::string> files;
  std::error_code none;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root, none))
    if (!entry.is_directory()) files.push_back(entry.path());
  return files;
}

}  // namespace

ObserverTest::ObserverTest(const XServerOptions& server) : server_(server), observer_(OBSERVER_BUNDLE) {
  ASLSetLogFile((clientFolder_ / "client.log").c_str());
}

void ObserverTest::StartObserver(const std::vector<std::string>& arguments) {
  observer_.Start(arguments);
  ASSERT_TRUE(observer_.WaitUntilListening()) << observer_.Log();
  ASSERT_TRUE(client_.start("ipc://" + observer_.EndpointPath()));
}

void ObserverTest::Command(const std::string& record, int id) {
  const auto* const bytes = reinterpret_cast<const UInt8*>(record.data());
  const StCFTypeRef<CFDataRef> data(CFDataCreate(nullptr, bytes, static_cast<CFIndex>(record.size())));
  EXPECT_EQ(client_.TransferData(id, data), nullptr);
}

void ObserverTest::ExpectEnd(int status) {
  EXPECT_EQ(observer_.WaitForEnd(), status) << observer_.Log();
  EXPECT_EQ(FilesBelow(observer_.Root() + "/data/pids"), std::vector<std::string>{});
  EXPECT_EQ(FilesBelow(observer_.Temporary()), std::vector<std::string>{});
}

std::string ObserverTest::RecordedPid() const {
  const std::vector<std::string> files = FilesBelow(observer_.Root() + "/data/pids");
  return files.size() == 1 && files[0].ends_with("/kvobserve.pid") ? FileText(files[0]) : "";
}

int ObserverTest::Logged(const std::string& text) const {
  std::istringstream log(observer_.Log());
  int count = 0;
  for (std::string line; std::getline(log, line);)
    if (line.find(text) != std::string::npos) ++count;
  return count;
}

}  // namespace test
