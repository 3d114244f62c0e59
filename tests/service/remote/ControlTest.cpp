// Who controls the desktop, what that viewer may do, and what remains of it afterwards.
#include "tests/platform/x11/InputWitness.h"
#include "tests/service/remote/SessionTest.h"

namespace {

using test::FakeViewer;
using test::SeenInput;
using test::SeenInputs;

constexpr int kMove = 1, kLeftDown = 2, kRightDown = 8, kRightUp = 16;
constexpr int kControlKey = 0x11;
constexpr unsigned kControlMask = 4, kRightButtonMask = 0x400;

class ControlTest : public test::SessionTest {
 protected:
  [[nodiscard]] bool Controls(const FakeViewer& viewer) {
    return Await(
        [&] { return viewer.Said("control", "\"controller\":" + std::to_string(viewer.Id()) + ","); });
  }
  [[nodiscard]] bool AwaitMask(unsigned mask) {
    return Await([&] { return witness_.Mask() == mask; });
  }

  test::InputWitness witness_;
};

TEST_F(ControlTest, TheFirstViewersInputArrivesAndTheSecondsDoesNot) {
  StartSession();
  FakeViewer& first = NewRunningViewer();
  FakeViewer& second = NewRunningViewer();
  EXPECT_TRUE(Controls(first));
  EXPECT_TRUE(second.Said("control", "\"viewers\":2"));
  second.Character('x', true);
  second.Pointer(kMove | kLeftDown, 5, 5);
  for (int x = 0; x < 300; ++x) first.Pointer(kMove, x, 44);
  first.Pointer(kMove | kRightDown, 300, 45);
  first.Pointer(kRightUp, 300, 45);
  for (const char character : std::string("Hi!")) {
    first.Character(character, true);
    first.Character(character, false);
  }
  first.Key(0x70, true);
  first.Key(0x70, false);
  const SeenInputs seen = witness_.Await([](const SeenInputs& all) {
    return !all.empty() && all.back().symbol == "F1" && all.back().kind == SeenInput::Kind::kKeyUp;
  });
  std::string text, buttons;
  for (const SeenInput& input : seen) {
    if (input.kind == SeenInput::Kind::kKeyDown && input.symbol != "F1") text += input.text;
    if (input.kind != SeenInput::Kind::kButtonDown) continue;
    buttons += std::to_string(input.detail) + " " + std::to_string(input.x) + " " + std::to_string(input.y);
  }
  EXPECT_EQ(text, "Hi!");
  EXPECT_EQ(buttons, "3 300 45");
}

TEST_F(ControlTest, ControlIsAskedForGrantedRefusedLeftUnansweredAndInherited) {
  StartSession({.answerLimit = std::chrono::milliseconds(300)});
  FakeViewer& first = NewRunningViewer();
  FakeViewer& second = NewViewer();
  FakeViewer& third = NewViewer();
  const std::string want = R"({"type":"control","want":true})";
  const auto answer = [](const FakeViewer& viewer, bool grant) {
    return R"({"type":"answer","viewer":)" + std::to_string(viewer.Id()) + R"(,"grant":)" +
           (grant ? "true}" : "false}");
  };
  const auto told = [&](FakeViewer& viewer, const std::string& what) {
    const bool result = Await([&] { return viewer.Said("answer", what); });
    viewer.Forget("answer");
    return result;
  };
  EXPECT_TRUE(second.Say(want));
  EXPECT_TRUE(first.Said("ask", "\"viewer\":" + std::to_string(second.Id()))) << first.Last("ask");
  EXPECT_TRUE(told(second, "not answered"));
  const std::string secondsAsk = "\"viewer\":" + std::to_string(second.Id()) + "}";
  EXPECT_TRUE(first.Said("withdraw", secondsAsk));
  EXPECT_TRUE(Controls(first));

  first.Forget("withdraw");
  EXPECT_TRUE(second.Say(want));
  EXPECT_TRUE(second.Say(R"({"type":"control","want":false})"));
  EXPECT_TRUE(first.Said("withdraw", secondsAsk)) << "nobody wants control any more";

  EXPECT_TRUE(second.Say(want));
  EXPECT_TRUE(third.Say(answer(second, true))) << "whoever does not control has nothing to grant";
  EXPECT_TRUE(first.Say(answer(second, false)));
  EXPECT_TRUE(told(second, "refused"));

  EXPECT_TRUE(second.Say(want));
  EXPECT_TRUE(first.Say(answer(second, true)));
  EXPECT_TRUE(told(second, "\"granted\":true"));
  EXPECT_TRUE(Controls(second));

  EXPECT_TRUE(second.Say(R"({"type":"control","want":false})"));
  EXPECT_TRUE(Await([&] { return third.Said("control", "\"controller\":0"); })) << third.Last("control");
  EXPECT_TRUE(third.Say(want));
  EXPECT_TRUE(Controls(third));
  EXPECT_TRUE(first.Say(want));
  third.Leave();
  EXPECT_TRUE(Controls(first)) << "who has asked is the next";
  first.Leave();
  EXPECT_TRUE(Controls(second)) << "who is left";
}

TEST_F(ControlTest, WhatAViewerHoldsIsLetGoWhenControlPassesAndWhenItLeaves) {
  StartSession();
  FakeViewer& first = NewRunningViewer();
  FakeViewer& second = NewRunningViewer();
  const auto hold = [&](FakeViewer& viewer) {
    viewer.Pointer(kMove | kRightDown, 50, 60);
    viewer.Key(kControlKey, true);
    viewer.Character('a', true);
    return AwaitMask(kControlMask | kRightButtonMask);
  };
  EXPECT_TRUE(hold(first));
  EXPECT_TRUE(first.Send({5})) << "the page has lost the focus";
  EXPECT_TRUE(AwaitMask(0));
  EXPECT_TRUE(hold(first));
  EXPECT_TRUE(first.Say(R"({"type":"control","want":false})"));
  EXPECT_TRUE(AwaitMask(0));
  EXPECT_TRUE(second.Say(R"({"type":"control","want":true})"));
  EXPECT_TRUE(hold(second));
  second.Leave();
  EXPECT_TRUE(AwaitMask(0));
}

TEST_F(ControlTest, LockAndBlankAreTheControllersAndOnlyWhatTheSettingsAllow) {
  WritePreferences("<key>AllowHIDLock</key><true/><key>AllowBlankScreen</key><false/>");
  StartSession({.preferencesEvery = std::chrono::milliseconds(50)});
  FakeViewer& first = NewRunningViewer();
  FakeViewer& second = NewRunningViewer();
  EXPECT_TRUE(first.Said("permissions", R"("control":true,"lock":true,"blank":false)"))
      << first.Last("permissions");
  const std::string both = R"({"type":"settings","lock":true,"blank":true})";
  EXPECT_TRUE(second.Say(both));
  EXPECT_TRUE(second.Said("control", R"("lock":false,"blank":false)"));
  EXPECT_TRUE(first.Say(both));
  EXPECT_TRUE(second.Said("control", R"("lock":true,"blank":false)")) << second.Last("control");

  WritePreferences("<key>AllowHIDLock</key><false/>");
  EXPECT_TRUE(Await([&] { return second.Said("control", R"("lock":false)"); }));
  EXPECT_TRUE(first.Said("permissions", R"("lock":false,"blank":true)"));
  EXPECT_TRUE(first.Say(both));
  EXPECT_TRUE(first.Said("control", R"("lock":false,"blank":true)"));
  first.Leave();
  EXPECT_TRUE(Controls(second));
  EXPECT_TRUE(second.Said("control", R"("blank":false)")) << "the next has not asked for it";
  EXPECT_TRUE(second.Say(both));
  EXPECT_TRUE(second.Said("control", R"("blank":true)"));
  EXPECT_TRUE(second.Say(R"({"type":"control","want":false})"));
  EXPECT_TRUE(second.Said("control", R"("blank":false)")) << "nobody is left to end it";
}

TEST_F(ControlTest, AViewOnlySessionIsWatched) {
  StartSession({.viewOnly = true, .maxViewers = 1});
  FakeViewer& viewer = NewRunningViewer();
  EXPECT_TRUE(viewer.Said("welcome", "\"viewOnly\":true"));
  EXPECT_TRUE(viewer.Said("permissions", R"("control":false,"lock":false,"blank":false)"));
  EXPECT_TRUE(viewer.Say(R"({"type":"control","want":true})"));
  EXPECT_TRUE(viewer.Said("answer", "\"granted\":false"));
  viewer.Key(kControlKey, true);
  EXPECT_TRUE(AwaitPicture(viewer));
  EXPECT_EQ(witness_.Mask(), 0U);
  FakeViewer& oneTooMany = NewViewer();
  EXPECT_EQ(oneTooMany.Id(), 0U);
  EXPECT_NE(oneTooMany.CloseCode(), 0);
}

TEST_F(ControlTest, WhatMakesNoSenseEndsTheConnection) {
  StartSession();
  FakeViewer& viewer = NewViewer();
  for (const char* text :
       {"", "{", "[]", "1", "{}", R"({"type":1})", R"({"type":"quit"})", R"({"type":"control"})",
        R"({"type":"control","want":1})", R"({"type":"answer","viewer":-1,"grant":true})",
        R"({"type":"answer","viewer":1})", R"({"type":"settings","lock":true})", R"({"type":"monitor"})",
        R"({"type":"monitor","id":4294967296})", R"({"type":"monitor","id":1.5})", R"({"type":"ping"})",
        R"({"type":"ping","time":"x"})", "\xFF", "[[[[[[[[1]]]]]]]]"})
    EXPECT_FALSE(viewer.Say(text)) << text;
  for (const auto& bytes : std::vector<std::vector<uint8_t>>{{},
                                                             {0},
                                                             {6},
                                                             {1},
                                                             {1, 1, 0, 0, 0},
                                                             {1, 32, 0, 0, 0, 0},
                                                             {1, 1, 0, 0, 0, 0, 0},
                                                             {2, 1},
                                                             {2, 1, 1, 1},
                                                             {3, 'a', 0, 1},
                                                             {3, 128, 0, 1, 0},
                                                             {4, 0, 0, 0},
                                                             {5, 0}})
    EXPECT_FALSE(viewer.Send(bytes)) << testing::PrintToString(bytes);
  EXPECT_TRUE(viewer.Say(R"({"type":"ping","time":12.5,"more":[]})"));
  EXPECT_TRUE(viewer.Said("pong", "1.25E1") || viewer.Said("pong", "12.5")) << viewer.Last("pong");
}

}  // namespace
