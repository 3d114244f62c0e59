// The viewer's events at a program of the session.
#include <functional>
#include <sstream>

#include "legacy/RCDisplayManager.h"
#include "tests/input/InputTest.h"

namespace {

class KeyAndMouseTest : public test::InputTest {
 protected:
  static constexpr int kShift = 0x10, kCapsLock = 0x14, kRightShift = 0xA1;

  void Type(int viewerKey) { Key(input_, viewerKey, true), Key(input_, viewerKey, false); }
  // Kind, button, position.
  std::string MouseSeen(size_t count) {
    std::string seen;
    for (const auto& event : witness_.Await([&](const auto& all) { return all.size() >= count; }))
      seen += std::string(1, "m+-"[static_cast<int>(event.kind)]) + std::to_string(event.detail) + "@" +
              std::to_string(event.x) + "," + std::to_string(event.y) + " ";
    return seen;
  }

  RCKeyAndMouse input_;
};

TEST_F(KeyAndMouseTest, KeysDoWhatTheViewerSays) {
  const struct {
    const char* name;
    std::function<void()> viewer;
    const char* expected;
  } rows[] = {
      {"no key", [&] { Type(0); }, ""},
      {"short record", [&] { input_.ReplyTo_CMD_VIEW_KBDEVENT(Data(std::string(8, 5))); }, ""},
      {"letter and digit", [&] { Type('A'), Type('1'); }, "+a -a +1 -1"},
      {"keypad, function, navigation", [&] { Type(0x61), Type(0x6F), Type(0x70), Type(0x25); },
       "+KP_1 -KP_1 +KP_Divide -KP_Divide +F1 -F1 +Left -Left"},
      {"main block first", [&] { Character(input_, '/', false, true), Character(input_, '/', false, false); },
       "+slash -slash"},
      {"Shift added", [&] { Character(input_, '!', false, true), Character(input_, '!', false, false); },
       "+Shift_L +exclam -Shift_L +Shift_L -exclam -Shift_L"},
      {"Shift said, not held", [&] { Character(input_, 'A', true, true), Type('A'); },
       "+Shift_L +A -Shift_L -a +a -a"},
      {"Shift taken away", [&] { Key(input_, kShift, true), Character(input_, '1', true, true), Type('1'); },
       "+Shift_L -Shift_L +1 +Shift_L -exclam +exclam -exclam"},
      {"Shift held", [&] { Character(input_, 'A', true, true), Character(input_, 'A', true, false); },
       "+A -A"},
      {"Shift released", [&] { Key(input_, kShift, false); }, "-Shift_L"},
      {"no such character", [&] { Character(input_, '\xE4', false, true, 'B'), Type('B'); }, "+b -b +b -b"},
      {"Caps Lock", [&] { Type(kCapsLock), Type('A'), Type('1'); },
       "+Shift_L +A -Shift_L +Shift_L -A -Shift_L +1 -1"},
      {"Caps Lock and right Shift",
       [&] { Key(input_, kRightShift, true), Key(input_, 'A', true), Key(input_, kRightShift, false); },
       "+Shift_R -Shift_R +a +Shift_R -Shift_R"},
      {"Caps Lock off", [&] { Type(kCapsLock), Key(input_, 'A', false), Type('A'); }, "-a +a -a"},
  };
  Start(input_);
  for (const auto& row : rows) {
    row.viewer();
    EXPECT_EQ(KeysSeen(), row.expected) << row.name;
  }
}

TEST_F(KeyAndMouseTest, EveryPrintableKeyOfTheViewerHasItsPlace) {
  Start(input_);
  for (int key = '0'; key <= '9'; ++key) Type(key);
  for (int key = 'A'; key <= 'Z'; ++key) Type(key);
  for (const int key : {0xC0, 0xBD, 0xBB, 0xDB, 0xDD, 0xDC, 0xBA, 0xDE, 0xBC, 0xBE, 0xBF, 0xE2, 0x20})
    Type(key);
  Type(0x1B);
  EXPECT_EQ(witness_.TextUpTo("Escape"), "0123456789abcdefghijklmnopqrstuvwxyz`-=[]\\;',./< ");
}

TEST_F(KeyAndMouseTest, EveryOtherKeyOfTheViewerHasItsPlaceOrNone) {
  const struct {
    std::vector<int> keys;
    const char* expected;
  } rows[] = {
      {{0x08, 0x09, 0x0D, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, 0x2D, 0x2E, 0x5D},
       "BackSpace Tab Return Prior Next End Home Left Up Right Down Insert Delete Menu"},
      {{0x10, 0x11, 0x12, 0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0x5B, 0x5C},
       "Shift_L Control_L Alt_L Shift_L Shift_R Control_L Control_R Alt_L Alt_R Super_L Super_R"},
      {{0x70, 0x71, 0x72, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x7B, 0x2C, 0x91, 0x13},
       "F1 F2 F3 F4 F5 F6 F7 F8 F9 F10 F11 F12 Print Scroll_Lock Pause"},
      {{0x7C, 0x7D, 0x7E, 0x7F, 0x80, 0x81, 0x83},
       "Print Scroll_Lock Pause XF86Launch7 XF86Launch8 XF86Launch9 XF86AudioMicMute"},
      {{0x60, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x6B, 0x6D, 0x6E, 0x6F, 0x92},
       "KP_0 KP_1 KP_2 KP_3 KP_4 KP_5 KP_6 KP_7 KP_8 KP_9 KP_Multiply KP_Add KP_Subtract KP_Decimal "
       "KP_Divide KP_Equal"},
      {{0x15, 0x1C, 0x1D, 0xF0, 0xF1, 0xF2, 0xF3, 0x19},
       "Hiragana_Katakana Hiragana_Katakana Muhenkan Muhenkan Hiragana_Katakana Hiragana_Katakana grave "
       "grave"},
      {{0xAD, 0xAE, 0xAF}, "XF86AudioMute XF86AudioLowerVolume XF86AudioRaiseVolume"},
      {{0x17, 0x18, 0x1E, 0x1F, 0x29, 0x2B, 0x5F, 0x87, 0xA6, 0xB0}, ""},
  };
  Start(input_);
  for (const auto& row : rows) {
    for (const int key : row.keys) Type(key);
    std::istringstream expected(row.expected);
    std::string keys;
    for (std::string symbol; expected >> symbol;)
      keys += (keys.empty() ? "+" : " +") + symbol + " -" + symbol;
    EXPECT_EQ(KeysSeen(), keys);
  }
}

TEST_F(KeyAndMouseTest, ButtonsStayAsTheyAreUntilARecordChangesThem) {
  Mouse(input_, 1 | 2, 500, 500);  // not started
  Start(input_);
  Mouse(input_, 1, 200, 100);
  Mouse(input_, 2 | 4, 0, 0);  // a press, and no move
  Mouse(input_, 1, 210, 110);
  Mouse(input_, 8, 0, 0);
  Mouse(input_, 4, 0, 0);
  Mouse(input_, 16, 0, 0);
  EXPECT_EQ(MouseSeen(6), "m0@200,100 +1@200,100 m0@210,110 +3@210,110 -1@210,110 -3@210,110 ");
}

TEST_F(KeyAndMouseTest, RelativePositionsCountFromADesktopsNegativeCorner) {
  RCDisplayManager::instance().addDisplay(0, 7, CGRectMake(-100, -50, 1000, 500));
  Start(input_);
  Mouse(input_, 1, 300, 150, false);
  Mouse(input_, 1, 300, 150, true);
  EXPECT_EQ(MouseSeen(2), "m0@200,100 m0@300,150 ");
}

}  // namespace
