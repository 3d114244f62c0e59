// The fixture: an X server, a program with the focus, the service's message port, and records for an
// injector.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "input/RCKeyAndMouse.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/ServicePort.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"

namespace test {

class InputTest : public testing::Test {
 protected:
  InputTest();

  static StCFTypeRef<CFDataRef> Data(const std::string& bytes);
  // Settings, then the hooks.
  static void Start(RCKeyAndMouse& input, bool lock = false, bool blank = false);
  static void Mouse(RCKeyAndMouse& input, int flags, int x, int y, bool absolute = true);
  static void Key(RCKeyAndMouse& input, int viewerKey, bool pressed);
  static void Character(RCKeyAndMouse& input, char character, bool shift, bool pressed, int fallback = 0);
  // What the keys have done up to Escape, which this types: "+Shift_L +A -A -Shift_L".
  std::string KeysSeen();
  // Local devices are held.
  [[nodiscard]] bool Locked() const;

  TemporaryFolder folder_;
  XServer server_;
  InputWitness witness_;
};

}  // namespace test
