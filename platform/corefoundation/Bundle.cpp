// The bundle that the running program lies in.
#include "platform/corefoundation/Bundle.h"

#include <CoreFoundation/CFBundle.h>
#include <CoreFoundation/CFURL.h>

#include <string_view>

#include "platform/System.h"
#include "platform/corefoundation/Object.h"

struct __CFBundle final : platform::cf::Object {
  explicit __CFBundle(CFURLRef folderUrl) : Object(platform::cf::Type::kBundle), folder(folderUrl) {}
  ~__CFBundle() override { CFRelease(folder); }

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFBundle", this, platform::cf::AsObject(folder)->Text());
  }

  const CFURLRef folder;  // owned
};

namespace platform::cf {

namespace {

// Null when the executable's path cannot be told. The bundle lives as long as the process.
CFBundleRef MakeMainBundle() {
  const std::string executable = ExecutablePath();
  if (executable.empty()) return nullptr;
  const std::string folder = BundleFolder(executable);
  auto* const bundle = new __CFBundle(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(folder.c_str()),
      static_cast<CFIndex>(folder.size()), true));
  bundle->MakeImmortal();
  return bundle;
}

}  // namespace

std::string BundleFolder(const std::string& executable) {
  constexpr std::string_view kProgramFolder = "/Contents/MacOS";
  constexpr std::string_view kExtension = ".app";
  const std::string folder = executable.substr(0, executable.rfind('/'));
  if (folder.ends_with(kProgramFolder)) {
    std::string bundle = folder.substr(0, folder.size() - kProgramFolder.size());
    const std::string name = bundle.substr(bundle.rfind('/') + 1);
    if (name.size() > kExtension.size() && name.ends_with(kExtension)) return bundle;
  }
  return folder.empty() ? "/" : folder;
}

}  // namespace platform::cf

extern "C" {

CFTypeID CFBundleGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kBundle); }

CFBundleRef CFBundleGetMainBundle() {
  static const CFBundleRef mainBundle = platform::cf::MakeMainBundle();
  return mainBundle;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) { return static_cast<CFURLRef>(CFRetain(bundle->folder)); }

}  // extern "C"
