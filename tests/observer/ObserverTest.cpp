#include "tests/observer/ObserverTest.h"

#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"

namespace fs = std::filesystem;

namespace test {

ObserverTest::ObserverTest() : observer_(OBSERVER_BUNDLE) {
  ASLSetLogFile((clientFolder_ / "client.log").c_str());
}

void ObserverTest::StartObserver() {
  observer_.Start();
  ASSERT_TRUE(observer_.WaitUntilListening()) << observer_.Log();
  ASSERT_TRUE(client_.start("ipc://" + observer_.EndpointPath()));
}

void ObserverTest::Command(const std::string& record, int id) {
  long length = static_cast<long>(record.size());
  const auto* const bytes = reinterpret_cast<const unsigned char*>(record.data());
  const StCFTypeRef<CFDataRef> reply(client_.transfer_request(id, bytes, length));
  EXPECT_EQ(reply.get(), nullptr);
  EXPECT_EQ(length, static_cast<long>(record.size())) << "not sent";
}

std::vector<std::string> ObserverTest::PidFiles() const {
  std::vector<std::string> files;
  const fs::path folder = fs::path(observer_.Root()) / "data/pids";
  if (!fs::exists(folder)) return files;
  for (const auto& entry : fs::recursive_directory_iterator(folder))
    if (!entry.is_directory()) files.push_back(entry.path());
  return files;
}

std::string ObserverTest::RecordedPid() const {
  const std::vector<std::string> files = PidFiles();
  if (files.size() != 1) return {};
  EXPECT_EQ(fs::path(files[0]).filename(), "kvobserve.pid");
  std::ifstream file(files[0]);
  return {std::istreambuf_iterator<char>(file), {}};
}

int ObserverTest::Logged(const std::string& text) const {
  std::istringstream log(observer_.Log());
  int count = 0;
  for (std::string line; std::getline(log, line);)
    if (line.find(text) != std::string::npos) ++count;
  return count;
}

std::vector<std::string> ObserverTest::FilesLeft() const {
  std::vector<std::string> files = PidFiles();
  for (const auto& entry : fs::recursive_directory_iterator(observer_.Temporary()))
    if (!entry.is_directory()) files.push_back(entry.path());
  return files;
}

bool ObserverTest::Exists(const std::string& path) const { return access(path.c_str(), F_OK) == 0; }

platform::UniqueFd ObserverTest::ConnectTo(const std::string& path) const {
  platform::UniqueFd client(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_storage address{};
  const socklen_t length = platform::MakeLocalAddress(path, address);
  if (connect(client.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) client.Reset();
  return client;
}

}  // namespace test
