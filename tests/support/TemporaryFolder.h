// A folder of a test's own, removed with everything in it.
#pragma once
#include <filesystem>
#include <string>

namespace test {

class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ / name; }

  // Names this folder in TMPDIR, so that this process and its children keep their sockets and shared files
  // here.
  void BecomeTmpdir() const;

 private:
  std::filesystem::path path_;
};

}  // namespace test
