// A store of a test's own.
#pragma once
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "common/KCPrefsManager.h"
#include "common/KCStringUtils.h"
#include "common/StCFTypeRef.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

inline std::string TextOf(CFStringRef text) {
  const KCStringHelper helper(text, kCFStringEncodingUTF8);
  return helper.GetCStringPtr() != nullptr ? helper.GetCStringPtr() : "";
}

class PrefsTest : public testing::Test {
 protected:
  PrefsTest() {
    setenv("KORVANE_PREFERENCES_DIR", folder_.Path().c_str(), 1);
    setenv("TMPDIR", folder_.Path().c_str(), 1);
  }

  // What another program would have written: the entries of the domain's dictionary.
  void Write(const std::string& domain, const std::string& entries) const {
    std::ofstream(folder_ / (domain + ".plist"))
        << "<plist version=\"1.0\"><dict>" << entries << "</dict></plist>";
  }
  void WriteComponent(const std::string& component, const std::string& entries) const {
    Write("com.korvane.kvms", "<key>" + component + "</key><dict>" + entries + "</dict>");
    KCPrefsManager::SynchronizePreferences();
  }
  [[nodiscard]] std::string StoredText() const { return FileText(folder_ / "com.korvane.kvms.plist"); }

  const TemporaryFolder folder_;
};

}  // namespace test
