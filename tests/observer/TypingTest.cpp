// What a program of the session gets from a viewer that types through the protocol.
#include "tests/observer/ObserverTest.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/WaitFor.h"

namespace {

constexpr char kNoKey = 0, kCapsLock = 0x14, kSpace = 0x20, kF1 = 0x70, kLeftShift = '\xA0',
               kRightShift = '\xA1', kRightAlt = '\xA5';

class TypingTest : public test::ObserverTest {
 protected:
  // A character without a key in the layout arrives as a space.
  void Type(char character, bool shift) {
    for (const char flags : {'\0', '\x80'}) Command({21, 0, 0, kSpace, flags, shift, 0, 0, 0, character, 0});
  }
  void Key(char code, bool pressed) { Command({5, 0, 0, code, pressed ? '\0' : '\x80', 0, 0, 0, 0}); }
  void Press(char code) { Key(code, true), Key(code, false); }

  test::InputWitness witness_;
};

TEST_F(TypingTest, EveryCharacterArrivesInTheLayoutThatTheViewStartsWith) {
  const struct {
    std::vector<std::string> command;
    std::string withRightAlt, keys;  // printable characters, and the codes of their keys
    std::string dead;                // those that take a second key
  } layouts[] = {{{"setxkbmap", "us"}, "", "", ""},
                 {{"setxkbmap", "fr"}, "#@[\\]^`{|}", "3058\xBD\x39\x37\x34\x36\xBB", ""},
                 {{"setxkbmap", "de"}, "@[\\]{|}~", "Q8\xBD\x39\x37\xE2\x30\xDD", "^`"},
                 {{"setxkbmap", "jp"}, "", "", ""},
                 {{"setxkbmap", "ch"}, "#@[\\]{|}", "32\xDB\xE2\xDD\xDE\x37\xDC", "^`~"},
                 {{"setxkbmap", "us", "dvorak"}, "", "", ""}};
  StartObserver();
  for (const auto& layout : layouts) {
    ASSERT_EQ(server_.Run(layout.command), 0);
    StartView();
    std::string text = "\b\t\r\x1B\x7F";
    for (char character = ' '; character <= '~'; ++character) text += character;
    std::string expected = text;
    for (char& character : expected)
      if ((layout.withRightAlt + layout.dead).find(character) != std::string::npos) character = ' ';
    for (const bool localCapsLock : {false, true}) {
      witness_.LockCaps(localCapsLock);
      for (const char held : {kNoKey, kLeftShift, kRightShift}) {
        for (const bool said : {false, true}) {
          Key(held, true);
          for (const char character : text) Type(character, said);
          Key(held, false);
          Press(kF1);
          EXPECT_EQ(witness_.TextUpTo("F1"), expected)
              << layout.command.back() << ": local Caps Lock " << localCapsLock << ", held " << (held & 0xFF)
              << ", with Shift " << said;
        }
      }
      Key(kRightAlt, true);
      for (const char key : layout.keys) Press(key);
      Key(kRightAlt, false);
      Press(kF1);
      EXPECT_EQ(witness_.TextUpTo("F1"), layout.withRightAlt) << layout.command.back();
      Press(kCapsLock);
      for (const char character : {'x', '5'}) Type(character, false);
      Press(kCapsLock);
      Type('x', false);
      Press(kF1);
      EXPECT_EQ(witness_.TextUpTo("F1"), "X5x") << layout.command.back() << ": the viewer's Caps Lock";
      EXPECT_EQ(witness_.Mask() & 3U, localCapsLock ? 2U : 0U) << "Shift and the lock are as they were";
    }
  }
}

TEST_F(TypingTest, WhatTheViewerHoldsIsReleasedWhenItsViewEnds) {
  StartObserver();
  StartView();
  Command({4, 0, 0, 1 | 8, 10, 0, 10, 0});
  Key(0x11, true);
  EXPECT_TRUE(test::WaitFor([&] { return witness_.Mask() == 0x404; })) << "right button and Control";
  EndView();
  EXPECT_TRUE(test::WaitFor([&] { return witness_.Mask() == 0; }));
}

}  // namespace
