// Event-loop timers, application events and the quit Apple event, on the main loop.
#include <Carbon/Carbon.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "platform/System.h"
#include "tests/support/MainLoop.h"

namespace {

using std::chrono::steady_clock;
using test::RunMainLoopUntil;
using testing::ElementsAre;

constexpr EventTimerInterval kNever = 1000;

// A timer of the main loop with a function of the test's.
struct Timer {
  Timer(EventTimerInterval fireDelay, EventTimerInterval interval, std::function<void()> function)
      : work(std::move(function)) {
    const auto fire = [](EventLoopTimerRef fired, void* self) {
      EXPECT_EQ(fired, static_cast<Timer*>(self)->timer);
      static_cast<Timer*>(self)->work();
    };
    EXPECT_EQ(InstallEventLoopTimer(GetMainEventLoop(), fireDelay, interval, NewEventLoopTimerUPP(fire), this,
                                    &timer),
              noErr);
  }
  void Remove() { EXPECT_EQ(RemoveEventLoopTimer(timer), noErr); }

  std::function<void()> work;
  EventLoopTimerRef timer = nullptr;
};

TEST(EventLoopTimerTest, TheFirstDelayAndTheIntervalAreTimesOfTheirOwn) {
  std::vector<steady_clock::time_point> fired;
  const auto begin = steady_clock::now();
  Timer timer(0.2, 0.02, [&] { fired.push_back(steady_clock::now()); });
  Timer rare(0.01, kNever, [&] { fired.push_back(steady_clock::now()); });
  ASSERT_TRUE(RunMainLoopUntil([&] { return fired.size() >= 4; }));
  EXPECT_GE(fired[0] - begin, std::chrono::milliseconds(10)) << "the rare one";
  EXPECT_GE(fired[1] - begin, std::chrono::milliseconds(200));
  timer.Remove();
  rare.Remove();
}

TEST(EventLoopTimerTest, OneThatFiresOnceIsStillThereToBeRemoved) {
  int count = 0;
  Timer once(0, 0, [&] { ++count; });
  int ticks = 0;
  Timer clock(0, 0.001, [&] { ++ticks; });
  ASSERT_TRUE(RunMainLoopUntil([&] { return ticks > 10; }));
  EXPECT_EQ(count, 1);
  once.Remove();
  clock.Remove();
}

TEST(EventLoopTimerTest, OneThatRemovesItselfIsNotCalledAgain) {
  int count = 0;
  Timer* self = nullptr;
  Timer timer(0, 0.001, [&] {
    ++count;
    self->Remove();
  });
  self = &timer;
  int ticks = 0;
  Timer clock(0, 0.001, [&] { ++ticks; });
  ASSERT_TRUE(RunMainLoopUntil([&] { return ticks > 10; }));
  EXPECT_EQ(count, 1);
  clock.Remove();
}

TEST(EventLoopTimerTest, NothingIsCalledOnceAnotherThreadHasRemovedIt) {
  for (int round = 0; round < 300; ++round) {
    std::atomic<bool> removed = false;
    std::atomic<bool> fired = false;
    Timer timer(0, 1e-6, [&] {
      EXPECT_FALSE(removed);
      fired = true;
      std::this_thread::yield();
      EXPECT_FALSE(removed) << "the removal waits for a call that is under way";
    });
    std::thread remover([&] {
      while (!fired) std::this_thread::yield();
      timer.Remove();
      removed = true;
    });
    ASSERT_TRUE(RunMainLoopUntil([&] { return removed.load(); }));
    remover.join();
  }
}

// Handlers write down what they get, and answer what they are told.
struct Seen {
  std::vector<UInt32> kinds;
  OSStatus answer = noErr;
};

OSStatus Note(EventHandlerCallRef, EventRef event, void* seen) {
  EXPECT_EQ(GetEventClass(event), kEventClassSystem);
  static_cast<Seen*>(seen)->kinds.push_back(GetEventKind(event));
  return static_cast<Seen*>(seen)->answer;
}

void Install(Seen& seen, const std::vector<UInt32>& kinds) {
  std::vector<EventTypeSpec> types;
  for (const UInt32 kind : kinds) types.push_back({kEventClassSystem, kind});
  EXPECT_EQ(
      InstallApplicationEventHandler(NewEventHandlerUPP(Note), types.size(), types.data(), &seen, nullptr),
      noErr);
}

void Post(UInt32 kind) {
  EventRef event = nullptr;
  ASSERT_EQ(CreateEvent(nullptr, kEventClassSystem, kind, 0, kEventAttributeNone, &event), noErr);
  EXPECT_EQ(PostEventToQueue(GetMainEventQueue(), event, kEventPriorityStandard), noErr);
  ReleaseEvent(event);
}

TEST(ApplicationEventTest, EventsOfAnyThreadReachTheHandlersOfTheirKindInOrder) {
  constexpr UInt32 kOn = kEventSystemUserSessionActivated;
  constexpr UInt32 kOff = kEventSystemUserSessionDeactivated;
  Seen both;
  Seen later{{}, eventNotHandledErr};
  Install(both, {kOn, kOff});
  Install(later, {kOff});

  std::thread([] {
    Post(kOn);
    Post(kOff);
    Post(12);
  }).join();
  EXPECT_TRUE(both.kinds.empty()) << "only the main loop serves them";
  Post(kOn);
  ASSERT_TRUE(RunMainLoopUntil([&] { return both.kinds.size() >= 3; }));
  EXPECT_THAT(both.kinds, ElementsAre(kOn, kOff, kOn)) << "the later handler passed its event on";
  EXPECT_THAT(later.kinds, ElementsAre(kOff));

  later.answer = noErr;
  Post(kOff);
  ASSERT_TRUE(RunMainLoopUntil([&] { return later.kinds.size() == 2; }));
  EXPECT_EQ(both.kinds.size(), 3U) << "the later handler took it";
}

OSErr Count(const AppleEvent* event, AppleEvent*, SRefCon count) {
  EXPECT_EQ(event->descriptorType, typeAppleEvent);
  ++*static_cast<int*>(count);
  return noErr;
}

TEST(AppleEventTest, TheHandlerInstalledLastIsAskedToQuit) {
  int first = 0;
  int second = 0;
  platform::PostQuitEvent();  // nobody handles it: nothing happens
  EXPECT_EQ(
      AEInstallEventHandler(kCoreEventClass, kAEQuitApplication, NewAEEventHandlerUPP(Count), &first, false),
      noErr);
  platform::PostQuitEvent();
  ASSERT_TRUE(RunMainLoopUntil([&] { return first == 2; }))
      << "a handler is looked for when the event is served";
  EXPECT_EQ(AEInstallEventHandler(kCoreEventClass, kAEQuitApplication, Count, &second, false), noErr);
  platform::PostQuitEvent();
  ASSERT_TRUE(RunMainLoopUntil([&] { return second == 1; }));
  EXPECT_EQ(first, 2);
}

}  // namespace
