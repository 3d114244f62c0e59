// The viewer's events at a program of the session.
#include <functional>

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
