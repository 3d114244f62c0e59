#include "tests/input/InputTest.h"

#include <cstdlib>

#include "common/KCasl.h"

namespace test {

InputTest::InputTest() {
  setenv("KORVANE_PORTS_DIR", (folder_ / "ports").c_str(), 1);
  setenv("KORVANE_PREFERENCES_DIR", (folder_ / "preferences").c_str(), 1);
  ASLSetLogFile((folder_ / "log").c_str());
  ASLWriteToStdErr(0);
}

StCFTypeRef<CFDataRef> InputTest::Data(const std::string& bytes) {
  return StCFTypeRef<CFDataRef>(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

void InputTest::Start(RCKeyAndMouse& input, bool lock, bool blank) {
  const ViewStartRecord record = {CMD_VIEW_SETTINGS, {}, 0, lock, blank};
  input.Handle_CMD_VIEW_START(&record);
  input.StartHID();
}

void InputTest::Mouse(RCKeyAndMouse& input, int flags, int x, int y, bool absolute) {
  const auto byte = [](int value) { return static_cast<char>(value); };
  input.ReplyTo_CMD_VIEW_MOUSEEVENT(
      Data({4, 0, 0, byte(flags), byte(x & 255), byte(x >> 8), byte(y & 255), byte(y >> 8)}), absolute);
}

void InputTest::Key(RCKeyAndMouse& input, int viewerKey, bool pressed) {
  input.ReplyTo_CMD_VIEW_KBDEVENT(
      Data({5, 0, 0, static_cast<char>(viewerKey), static_cast<char>(pressed ? 0 : 0x80), 0, 0, 0, 0}));
}

void InputTest::Character(RCKeyAndMouse& input, char character, bool shift, bool pressed, int fallback) {
  input.ReplyTo_CMD_VIEW_ASCII_KBDEVENT(
      Data({21, 0, 0, static_cast<char>(fallback), static_cast<char>(pressed ? 0 : 0x80), shift, 0, 0, 0,
            character, 0}));
}

std::string InputTest::KeysSeen() {
  constexpr CGKeyCode kEscape = 53;
  for (const bool down : {true, false}) EXPECT_EQ(CGPostKeyboardEvent(0, kEscape, down), kCGErrorSuccess);
  std::string keys;
  for (const SeenInput& seen : witness_.Await([](const SeenInputs& all) {
         return !all.empty() && all.back().symbol == "Escape" && all.back().kind == SeenInput::Kind::kKeyUp;
       })) {
    if (seen.symbol.empty() || seen.symbol == "Escape") continue;
    keys += (keys.empty() ? "" : " ") + std::string(seen.kind == SeenInput::Kind::kKeyDown ? "+" : "-") +
            seen.symbol;
  }
  return keys;
}

bool InputTest::Locked() const {
  return server_.Run({"sh", "-c", "xinput list --short | grep -q floating"}) == 0;
}

}  // namespace test
