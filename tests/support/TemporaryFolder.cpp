#include "tests/support/TemporaryFolder.h"

#include <cstdlib>
#include <stdexcept>

namespace test {

TemporaryFolder::TemporaryFolder() {
  std::string pattern = "/tmp/observer-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a folder under /tmp");
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TemporaryFolder::BecomeTmpdir() const { setenv("TMPDIR", path_.c_str(), 1); }

}  // namespace test
