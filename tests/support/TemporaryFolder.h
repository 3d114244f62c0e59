// A folder of a test's own, removed with everything in it; what its files hold and who may use them.
#pragma once
#include <sys/types.h>

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

 private:
  std::filesystem::path path_;
};

// All of a file; empty when there is none.
[[nodiscard]] std::string FileText(const std::string& path);
// The lower twelve bits of its mode; 0 when there is no such file.
[[nodiscard]] mode_t FilePermissions(const std::string& path);

}  // namespace test
