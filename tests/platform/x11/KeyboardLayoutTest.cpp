// Layouts: their names, and that every character which a layout promises arrives when its key is posted.
#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Carbon.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/System.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/XServer.h"

namespace {

using testing::HasSubstr;

constexpr CGKeyCode kEscape = 53, kShift = 56;
constexpr UInt32 kShifted = shiftKey >> 8;

std::string TextOf(TISInputSourceRef source, UInt16 key, UInt32 modifiers) {
  const auto data =
      static_cast<CFDataRef>(TISGetInputSourceProperty(source, kTISPropertyUnicodeKeyLayoutData));
  UInt32 deadKeys = 0;
  UniCharCount length = 0;
  UniChar text[4];
  EXPECT_EQ(
      UCKeyTranslate(reinterpret_cast<const UCKeyboardLayout*>(CFDataGetBytePtr(data)), key, kUCKeyActionDown,
                     modifiers, LMGetKbdType(), kUCKeyTranslateNoDeadKeysMask, &deadKeys, 4, &length, text),
      0);
  return length == 1 && text[0] < 0x100 ? std::string(1, static_cast<char>(text[0])) : "";
}

std::string IdentifierOf(TISInputSourceRef source) {
  char text[200] = "";
  EXPECT_TRUE(CFStringGetCString(
      static_cast<CFStringRef>(TISGetInputSourceProperty(source, kTISPropertyInputSourceID)), text,
      sizeof text, kCFStringEncodingUTF8));
  return text;
}

void Post(CGKeyCode key, bool down) { EXPECT_EQ(CGPostKeyboardEvent(0, key, down), kCGErrorSuccess) << key; }

struct Layout {
  std::vector<std::string> arguments;  // of setxkbmap
  std::string name;
  // Of the printable ones of ASCII; the others take a further modifier or a dead key.
  std::string missing;
  test::XServerOptions::Kind server = test::XServerOptions::Kind::kXvfb;
};

void PrintTo(const Layout& layout, std::ostream* out) { *out << layout.name; }

class KeyboardLayoutTest : public testing::TestWithParam<Layout> {};

TEST_P(KeyboardLayoutTest, EveryCharacterThatItPromisesArrives) {
  test::XServer server({.kind = GetParam().server});
  test::InputWitness witness;
  std::vector<std::string> command = {"setxkbmap"};
  command.insert(command.end(), GetParam().arguments.begin(), GetParam().arguments.end());
  Post(kEscape, true);  // the codes are known before the keymap changes
  Post(kEscape, false);
  witness.TextUpTo("Escape");
  ASSERT_EQ(server.Run(command), 0);
  ASSERT_EQ(CGEnableEventStateCombining(false), kCGErrorSuccess);

  const TISInputSourceRef source = TISCopyCurrentKeyboardLayoutInputSource();
  ASSERT_NE(source, nullptr);
  EXPECT_EQ(IdentifierOf(source), "com.korvane.keylayout." + GetParam().name);
  std::string missing;
  for (char c = ' '; c < 0x7F; ++c) missing += c;
  for (const bool capsLock : {false, true}) {
    witness.LockCaps(capsLock);
    std::string promised;
    for (UInt16 key = 0; key < 128; ++key) {
      for (const UInt32 modifiers : {UInt32{0}, kShifted}) {
        const std::string text = TextOf(source, key, modifiers);
        if (text.empty() || key == kEscape) continue;
        promised += text;
        std::erase(missing, text[0]);
        if (modifiers != 0) Post(kShift, true);
        Post(key, true);
        Post(key, false);
        if (modifiers != 0) Post(kShift, false);
      }
    }
    Post(kEscape, true);
    Post(kEscape, false);
    EXPECT_EQ(witness.TextUpTo("Escape"), promised) << "Caps Lock " << capsLock;
    EXPECT_EQ((witness.Mask() & 2) != 0, capsLock);
  }
  EXPECT_EQ(missing, GetParam().missing);
  CFRelease(source);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, KeyboardLayoutTest,
    testing::Values(Layout{{"us"}, "English (US)", ""}, Layout{{"fr"}, "French", "#@[\\]^`{|}"},
                    Layout{{"de"}, "German", "@[\\]^`{|}~", test::XServerOptions::Kind::kXvnc},
                    Layout{{"jp"}, "Japanese", ""}, Layout{{"ch"}, "German (Switzerland)", "#@[\\]^`{|}~"},
                    Layout{{"us", "dvorak"}, "English (Dvorak)", ""}));

TEST(PointerLocationTest, IsCountedFromTheBottomOfTheMainDisplay) {
  test::XServer server;
  server.SetMonitors({{"L", 0, 0, 640, 720}, {"*R", 640, 120, 640, 600}});
  ASSERT_EQ(CGPostMouseEvent({700, 150}, true, 1, false), kCGErrorSuccess);
  // Posting waits for nobody; the main display ends at 600 from its own top.
  const auto place = platform::PointerLocation();
  ASSERT_TRUE(place);
  EXPECT_EQ(place->x, 700);
  EXPECT_EQ(place->y, 450);
}

}  // namespace
