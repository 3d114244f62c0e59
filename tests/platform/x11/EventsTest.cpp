// Posted events at a program of the session.
#include <ApplicationServices/ApplicationServices.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/platform/x11/InputWitness.h"
#include "tests/support/XServer.h"

namespace {

using Kind = test::SeenInput::Kind;
using testing::ElementsAre;

void Type(CGKeyCode key) {
  EXPECT_EQ(CGPostKeyboardEvent(0, key, true), kCGErrorSuccess) << key;
  EXPECT_EQ(CGPostKeyboardEvent(0, key, false), kCGErrorSuccess) << key;
}

constexpr CGKeyCode kEscape = 53;

// As "kind detail state x,y".
std::vector<std::string> Lines(const test::SeenInputs& inputs) {
  std::vector<std::string> lines;
  for (const auto& input : inputs) {
    constexpr const char* kKinds[] = {"motion", "down", "up", "key down", "key up"};
    lines.push_back(kKinds[static_cast<int>(input.kind)] + (" " + std::to_string(input.detail)) + " " +
                    std::to_string(input.state) + " " + std::to_string(input.x) + "," +
                    std::to_string(input.y));
  }
  return lines;
}

TEST(EventsTest, ADragArrivesWithItsButtonsAndPlaces) {
  test::XServer server;
  test::InputWitness witness;
  EXPECT_EQ(CGPostMouseEvent({200, 100}, true, 2, false, false), kCGErrorSuccess);
  EXPECT_EQ(CGPostMouseEvent({900, 900}, false, 2, true, false), kCGErrorSuccess);  // does not move
  EXPECT_EQ(CGPostMouseEvent({300.9, 150}, true, 2, true, false), kCGErrorSuccess);
  EXPECT_EQ(CGPostMouseEvent({300, 150}, true, 2, true, false), kCGErrorSuccess);  // no second press
  EXPECT_EQ(CGPostMouseEvent({1e9, -50}, true, 2, false, true), kCGErrorSuccess);
  EXPECT_EQ(CGPostMouseEvent({0, 0}, false, 4, false, false, true, true), kCGErrorSuccess);
  EXPECT_EQ(CGPostMouseEvent({0, 0}, false, 4, false, false, false, false), kCGErrorSuccess);
  EXPECT_EQ(CGPostMouseEvent({0, 0}, false, 33, false), kCGErrorIllegalArgument);
  EXPECT_THAT(
      Lines(witness.Await([](const auto& seen) { return seen.size() >= 12; })),
      ElementsAre("motion 0 0 200,100", "down 1 0 200,100", "motion 0 256 300,150", "motion 0 256 300,150",
                  "motion 0 256 1279,0", "up 1 256 1279,0", "down 3 0 1279,0", "up 3 1024 1279,0",
                  "down 2 0 1279,0", "down 8 512 1279,0", "up 2 512 1279,0", "up 8 0 1279,0"));
}

TEST(EventsTest, ASecondPressRepeatsAKeyButNoModifier) {
  test::XServer server;
  test::InputWitness witness;
  for (const CGKeyCode key : {56, 0}) {
    EXPECT_EQ(CGPostKeyboardEvent(0, key, true), kCGErrorSuccess);
    EXPECT_EQ(CGPostKeyboardEvent(0, key, true), kCGErrorSuccess);
    EXPECT_EQ(CGPostKeyboardEvent(0, key, false), kCGErrorSuccess);
  }
  std::string keys;
  for (const auto& input : witness.Await([](const auto& seen) { return seen.size() >= 6; }))
    keys += (input.kind == Kind::kKeyDown ? "+" : "-") + input.symbol + " ";
  EXPECT_EQ(keys, "+Shift_L -Shift_L +a -a +a -a ");
}

TEST(EventsTest, EveryKeyOfAKeyboardArrives) {
  test::XServer server;
  test::InputWitness witness;
  std::vector<int> missing;
  for (CGKeyCode key = 0; key < 130; ++key) {
    if (key == kEscape || CGPostKeyboardEvent(0, key, true) == kCGErrorNoneAvailable) {
      missing.push_back(key);
      continue;
    }
    EXPECT_EQ(CGPostKeyboardEvent(0, key, false), kCGErrorSuccess) << key;
  }
  Type(kEscape);
  std::string symbols;
  for (const auto& input : witness.Await([](const auto& seen) {
         return !seen.empty() && seen.back().symbol == "Escape" && seen.back().kind == Kind::kKeyUp;
       })) {
    if (input.kind == Kind::kKeyDown) symbols += input.symbol + " ";
  }
  // In the order of the virtual keys; the keypad has digits whether Num Lock is on or not.
  EXPECT_EQ(
      symbols,
      "a s d f h g z x c v less b q w e r y t 1 2 3 4 6 5 equal 9 7 minus 8 0 bracketright o u "
      "bracketleft i p Return l j apostrophe k semicolon backslash comma slash n m period Tab space grave "
      "BackSpace Super_R Super_L Shift_L Alt_L Control_L Shift_R Alt_R Control_R XF86Launch8 KP_Decimal "
      "KP_Multiply KP_Add Num_Lock XF86AudioRaiseVolume XF86AudioLowerVolume XF86AudioMute KP_Divide "
      "KP_Enter KP_Subtract XF86Launch9  KP_Equal KP_0 KP_1 KP_2 KP_3 KP_4 KP_5 KP_6 KP_7 "
      "XF86AudioMicMute KP_8 KP_9    F5 F6 F7 F3 F8 F9 Muhenkan F11 Hiragana_Katakana Print "
      "XF86Launch7 Scroll_Lock F10 Menu F12 Pause Insert Home Prior Delete F4 End F2 Next F1 Left "
      "Right Down Up Escape ");
  EXPECT_THAT(missing, ElementsAre(52, 53, 63, 66, 68, 70, 77, 108, 112, 127, 128, 129));
}

}  // namespace
