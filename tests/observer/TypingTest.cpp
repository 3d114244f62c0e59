// What a program of the session gets from a viewer that types through the protocol.
#include "tests/observer/ObserverTest.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/WaitFor.h"

namespace {

class TypingTest : public test::ObserverTest {
 protected:
  void Type(char character, bool shift) {
    for (const char flags : {'\0', '\x80'}) Command({21, 0, 0, 0, flags, shift, 0, 0, 0, character, 0});
  }
  void TypeEscape() {
    for (const char flags : {'\0', '\x80'}) Command({5, 0, 0, 0x1B, flags, 0, 0, 0, 0});
  }

  test::InputWitness witness_;
};

TEST_F(TypingTest, EveryCharacterArrivesInTheLayoutThatTheViewStartsWith) {
  StartObserver();
  for (const auto& [layout, missing] :
       {std::pair<const char*, std::string>{"us", ""}, {"de", "@[\\]^`{|}~"}, {"fr", "#@[\\]^`{|}~"}}) {
    ASSERT_EQ(server_.Run({"setxkbmap", layout}), 0);
    StartView();
    std::string text;
    for (char character = ' '; character <= '~'; ++character)
      if (missing.find(character) == std::string::npos) text += character;
    for (const bool shift : {false, true}) {
      for (const char character : text) Type(character, shift);
      TypeEscape();
      EXPECT_EQ(witness_.TextUpTo("Escape"), text) << layout << (shift ? ", with Shift" : "");
    }
  }
}

TEST_F(TypingTest, WhatTheViewerHoldsIsReleasedWhenItsViewEnds) {
  StartObserver();
  StartView();
  Command({4, 0, 0, 1 | 8, 10, 0, 10, 0});
  Command({5, 0, 0, 0x11, 0, 0, 0, 0, 0});
  EXPECT_TRUE(test::WaitFor([&] { return witness_.Mask() == 0x404; })) << "right button and Control";
  EndView();
  EXPECT_TRUE(test::WaitFor([&] { return witness_.Mask() == 0; }));
}

}  // namespace
