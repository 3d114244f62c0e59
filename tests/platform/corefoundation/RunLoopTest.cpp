// Run loops: what wakes them, what they serve in which order, and how a run ends.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "tests/platform/corefoundation/Support.h"
#include "tests/support/WaitFor.h"

namespace {

using test::Owned;
constexpr CFTimeInterval kLong = 100;

// A function as the info of a source or a timer, which is the test's own.
struct Call {
  std::function<void()> work;

  Owned<CFRunLoopSourceRef> Source(CFIndex order = 0) {
    CFRunLoopSourceContext context{};
    context.info = this;
    context.perform = [](void* info) { static_cast<Call*>(info)->work(); };
    return Owned<CFRunLoopSourceRef>(CFRunLoopSourceCreate(nullptr, order, &context));
  }
  Owned<CFRunLoopTimerRef> Timer(CFTimeInterval delay, CFTimeInterval interval = 0) {
    CFRunLoopTimerContext context{};
    context.info = this;
    return Owned<CFRunLoopTimerRef>(CFRunLoopTimerCreate(
        nullptr, CFAbsoluteTimeGetCurrent() + delay, interval, 0, 0,
        [](CFRunLoopTimerRef, void* info) { static_cast<Call*>(info)->work(); }, &context));
  }
};

CFRunLoopRef Mine() { return CFRunLoopGetCurrent(); }
CFRunLoopRunResult RunFor(CFTimeInterval seconds, bool returnAfterSource = false) {
  return CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, returnAfterSource);
}
void Add(const Owned<CFRunLoopSourceRef>& source) {
  CFRunLoopAddSource(Mine(), source.get(), kCFRunLoopCommonModes);
}
void Add(const Owned<CFRunLoopTimerRef>& timer) {
  CFRunLoopAddTimer(Mine(), timer.get(), kCFRunLoopDefaultMode);
}

// Runs `body` on a thread, whose loop is its own.
void OnAThread(const std::function<void()>& body) { std::thread(body).join(); }

TEST(RunLoopTest, AnotherThreadStopsTheMainLoop) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> running = false;
    CFRunLoopStop(CFRunLoopGetMain());  // of a loop that does not run: ends nothing
    Call note{[&] { running = true; }};
    const auto source = note.Source();
    Add(source);
    CFRunLoopSourceSignal(source.get());
    std::thread stopper([&] {
      EXPECT_TRUE(test::WaitFor([&] { return running.load(); }));
      CFRunLoopStop(CFRunLoopGetMain());  // once: it is not lost, wherever the loop just is
    });
    CFRunLoopRun();
    EXPECT_TRUE(running);
    stopper.join();
    CFRunLoopSourceInvalidate(source.get());
  }
}

TEST(RunLoopTest, ALoopThatNothingCanWakeEndsAtOnceUnlessItIsTheMainOne) {
  EXPECT_EQ(RunFor(0.01), kCFRunLoopRunTimedOut);
  OnAThread([] {
    EXPECT_EQ(RunFor(kLong), kCFRunLoopRunFinished);
    CFRunLoopRun();

    Call nothing{[] {}};
    const auto source = nothing.Source();
    Add(source);
    EXPECT_EQ(RunFor(0.01), kCFRunLoopRunTimedOut) << "a source that is not signalled may still be";
    EXPECT_EQ(CFRunLoopRunInMode(CFSTR("another"), kLong, false), kCFRunLoopRunFinished);
    CFRunLoopRemoveSource(Mine(), source.get(), kCFRunLoopDefaultMode);  // which the common modes are
    EXPECT_EQ(RunFor(kLong), kCFRunLoopRunFinished);

    int fired = 0;
    Call count{[&] { ++fired; }};
    const auto timer = count.Timer(0.01);
    Add(timer);
    EXPECT_EQ(RunFor(kLong, true), kCFRunLoopRunFinished) << "a timer is no source";
    EXPECT_EQ(fired, 1);
  });
}

TEST(RunLoopTest, SourcesAreServedInTheirOrderOnceForEachSignal) {
  OnAThread([] {
    std::string served;
    Call second{[&] { served += "2"; }}, gone{[&] { served += "x"; }};
    Call first{[&] {
      served += "1";
      CFRunLoopStop(Mine());
    }};
    const auto two = second.Source(7), never = gone.Source(1), one = first.Source(-7);
    for (const auto* source : {&two, &never, &one}) {
      Add(*source);
      CFRunLoopSourceSignal(source->get());
    }
    CFRunLoopSourceInvalidate(never.get());
    EXPECT_EQ(RunFor(kLong, true), kCFRunLoopRunHandledSource) << "which wins over the stop";
    EXPECT_EQ(served, "1");
    CFRunLoopSourceSignal(one.get());
    EXPECT_EQ(RunFor(kLong), kCFRunLoopRunStopped);
    EXPECT_EQ(served, "112");
    EXPECT_EQ(RunFor(0, true), kCFRunLoopRunTimedOut);
  });
}

TEST(RunLoopTest, AStopEndsTheInnermostRunAndATimerIsNotCalledInsideItself) {
  OnAThread([] {
    int ticks = 0, depth = 0, deepest = 0;
    Call tick{[&] {
      deepest = std::max(deepest, ++depth);
      if (++ticks == 1) {
        EXPECT_EQ(RunFor(0.02), kCFRunLoopRunTimedOut);
      }
      --depth;
      if (ticks == 3) CFRunLoopStop(Mine());
    }};
    const auto repeating = tick.Timer(0, 0.001);
    Add(repeating);
    Call inner{[] {
      Call stop{[] { CFRunLoopStop(Mine()); }};
      const auto timer = stop.Timer(0);
      Add(timer);
      EXPECT_EQ(RunFor(kLong), kCFRunLoopRunStopped);
    }};
    const auto once = inner.Timer(0.05);
    EXPECT_EQ(RunFor(kLong), kCFRunLoopRunStopped);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(deepest, 1);
    CFRunLoopTimerInvalidate(repeating.get());
    Add(once);
    EXPECT_EQ(RunFor(kLong), kCFRunLoopRunFinished) << "the stop inside was the inner run's";
  });
}

TEST(RunLoopTest, OtherThreadsScheduleSignalAndInvalidate) {
  std::promise<CFRunLoopRef> started;
  Call nothing{[] {}}, last{[] { CFRunLoopStop(Mine()); }};
  const auto keeps = nothing.Source();
  std::atomic<bool> timerRan = false;
  std::thread thread([&] {
    Add(keeps);
    started.set_value(Mine());
    CFRunLoopRun();  // stopped by `last`
    CFRunLoopRun();  // nothing is left
  });
  const CFRunLoopRef loop = started.get_future().get();
  Call fired{[&] { timerRan = true; }};
  const auto timer = fired.Timer(0);
  CFRunLoopAddTimer(loop, timer.get(), kCFRunLoopDefaultMode);
  EXPECT_TRUE(test::WaitFor([&] { return timerRan.load(); })) << "a sleeping loop learns of an earlier timer";
  const auto stop = last.Source();
  CFRunLoopAddSource(loop, stop.get(), kCFRunLoopDefaultMode);
  CFRunLoopSourceSignal(stop.get());
  CFRunLoopWakeUp(loop);
  for (const auto* source : {&stop, &keeps}) CFRunLoopSourceInvalidate(source->get());
  thread.join();
}

TEST(RunLoopTest, ALoopLetsItsSourcesGoWithItsThread) {
  std::string events;
  CFRunLoopSourceContext context{};
  context.info = &events;
  context.schedule = [](void* info, CFRunLoopRef, CFStringRef) { *static_cast<std::string*>(info) += "s"; };
  context.cancel = [](void* info, CFRunLoopRef, CFStringRef) { *static_cast<std::string*>(info) += "c"; };
  context.release = [](const void* info) { *static_cast<std::string*>(const_cast<void*>(info)) += "r"; };
  OnAThread([&] {
    Add(Owned<CFRunLoopSourceRef>(CFRunLoopSourceCreate(nullptr, 0, &context)));
    EXPECT_EQ(events, "s");
  });
  EXPECT_EQ(events, "scr");
}

}  // namespace
