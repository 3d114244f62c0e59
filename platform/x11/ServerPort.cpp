// Whether there is a window server.
#include <CoreGraphics/CGRemoteOperation.h>

#include "platform/corefoundation/Object.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"

struct __CFMachPort final : platform::cf::Object {
  __CFMachPort() : Object(platform::cf::Type::kMachPort) { MakeImmortal(); }

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFMachPort", this, u"");
  }
};

CFMachPortRef CGWindowServerCFMachPort() {
  static auto* const port = new __CFMachPort;
  const platform::x11::CallScope scope;
  platform::x11::Connection* const connection = platform::x11::Connection::Current();
  return connection != nullptr && connection->Finish() ? port : nullptr;
}
