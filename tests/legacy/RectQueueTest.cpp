// What is pending on displays, and the rectangles that wait in a queue.
#include "legacy/RCRectQueue.h"

#include <gtest/gtest.h>

#include <future>
#include <random>

#include "legacy/RCDisplayManager.h"

bool operator==(const CGRect& a, const CGRect& b) { return CGRectEqualToRect(a, b); }
void PrintTo(const CGRect& rect, std::ostream* out) {
  *out << rect.size.width << "x" << rect.size.height << "+" << rect.origin.x << "+" << rect.origin.y;
}

namespace {

using Rects = std::vector<CGRect>;

Rects Taken(RCRectQueue& queue) {
  uint32_t count = 0;
  CGRect* rects = nullptr;
  queue.Dequeue(&count, &rects);
  const Rects taken(rects, rects + count);
  RCRectQueue::DeallocateRectArray(rects);
  return taken;
}

TEST(RectQueueTest, RectanglesAreMergedWhereThatCostsNoArea) {
  const struct {
    CGRect waiting, added;
    Rects taken;
  } cases[] = {{CGRectMake(0, 0, 100, 100), CGRectMake(50, 0, 100, 100), {CGRectMake(0, 0, 150, 100)}},
               {CGRectMake(0, 0, 9, 9), CGRectMake(0, 0, 9, 9), {CGRectMake(0, 0, 9, 9)}},
               {CGRectMake(0, 0, 10, 10), CGRectMake(2, 2, 3, 3), {CGRectMake(0, 0, 10, 10)}},
               {CGRectMake(0, 0, 100, 10),
                CGRectMake(50, 5, 10, 100),
                {CGRectMake(0, 0, 100, 10), CGRectMake(50, 5, 10, 100)}},
               {CGRectMake(0, 0, 10, 10),
                CGRectMake(10, 0, 10, 10),
                {CGRectMake(0, 0, 10, 10), CGRectMake(10, 0, 10, 10)}},
               // Parts of 32768 and 16777216 pixels add up to a union that has one more, which single
               // precision cannot tell.
               {CGRectMake(0, 0, 4096, 4096),
                CGRectMake(4095, 0, 1.000244140625, 4096),
                {CGRectMake(0, 0, 4096.000244140625, 4096)}}};
  for (const auto& test : cases) {
    RCRectQueue queue;
    queue.Enqueue(test.waiting);
    queue.Enqueue(test.added);
    EXPECT_EQ(Taken(queue), test.taken);
    const CGRect batch[] = {test.waiting, test.added};
    queue.Enqueue(0, nullptr);
    queue.Enqueue(2, batch);
    EXPECT_EQ(Taken(queue), Rects(batch, batch + 2)) << "what comes to an empty queue stays as it is";
  }
}

// The rule again: passes over all pairs, until one finds nothing.
Rects Merged(Rects rects) {
  const auto area = [](CGRect r) { return static_cast<float>(r.size.width * r.size.height); };
  for (bool again = true; again;) {
    again = false;
    for (size_t i = 0; i < rects.size(); ++i) {
      if (CGRectIsEmpty(rects[i])) continue;
      for (size_t j = 0; j < rects.size(); ++j) {
        const CGRect both = CGRectUnion(rects[i], rects[j]);
        if (i == j || CGRectIsEmpty(rects[j]) || CGRectIsEmpty(CGRectIntersection(rects[i], rects[j])))
          continue;
        if (!(area(rects[i]) + area(rects[j]) >= area(both))) continue;
        rects[i] = both;
        rects[j] = CGRectZero;
        again = true;
      }
    }
  }
  std::erase_if(rects, [](CGRect r) { return CGRectIsEmpty(r); });
  return rects;
}

TEST(RectQueueTest, AnySetIsMergedByTheRule) {
  std::minstd_rand random(4);
  const auto next = [&](int limit) { return static_cast<double>(random() % static_cast<unsigned>(limit)); };
  for (int round = 0; round < 500; ++round) {
    RCRectQueue queue;
    Rects expected;
    for (int i = 0; i < 12; ++i) {
      const CGRect rect = CGRectMake(next(60) - 30, next(60) - 30, 1 + next(50), 1 + next(50));
      expected.push_back(rect);
      if (i > 0) expected = Merged(expected);
      queue.Enqueue(rect);
    }
    ASSERT_EQ(Taken(queue), expected) << round;
  }
}

TEST(RectQueueTest, AConsumerWaitsForARectangleAndNotForAFlush) {
  RCRectQueue queue;
  queue.Enqueue(CGRectMake(1, 1, 1, 1));
  queue.FlushQueue();
  auto taken = std::async(std::launch::async, [&] { return Taken(queue); });
  queue.FlushQueue();
  queue.Enqueue(0, nullptr);
  queue.Enqueue(CGRectMake(5, 6, 7, 8));
  EXPECT_EQ(taken.get(), Rects{CGRectMake(5, 6, 7, 8)});
}

TEST(DisplayManagerTest, WhatIsPendingGrowsAndTellsWhetherItDidNot) {
  RCDisplayManager& displays = RCDisplayManager::instance();
  displays.addDisplay(0, 7, CGRectMake(0, 0, 1440, 900));
  displays.addDisplay(1, 9, CGRectMake(1440, 0, 1920, 1080));
  EXPECT_EQ(displays.desktopBounds(), CGRectMake(0, 0, 3360, 1080));
  const struct {
    CGRect added;
    bool covered;
    CGRect pending;
  } steps[] = {{CGRectMake(0, 0, 1440, 900), false, CGRectZero},  // on the other display
               {CGRectMake(1430, 10, 20, 20), false, CGRectMake(1440, 10, 10, 20)},
               {CGRectMake(1430, 10, 20, 20), true, CGRectMake(1440, 10, 10, 20)},
               {CGRectMake(3350, 1070, 99, 99), false, CGRectMake(1440, 10, 1920, 1070)},
               {CGRectMake(2000, 500, 5, 5), true, CGRectMake(1440, 10, 1920, 1070)}};
  for (const auto& step : steps) {
    EXPECT_EQ(displays.addRectToChangeRect(1, step.added), step.covered);
    EXPECT_EQ(displays.changeRect(1), step.pending);
  }
  displays.changeAllDisplays();
  EXPECT_TRUE(displays.addRectToChangeRect(0, CGRectMake(3, 3, 1, 1)));
  displays.clearAllChangeRects();
  EXPECT_EQ(displays.changeRect(0), CGRectZero);

  RCRectQueue queue;
  queue.EnqueueAllDisplays();
  EXPECT_EQ(Taken(queue), (Rects{CGRectMake(0, 0, 1440, 900), CGRectMake(1440, 0, 1920, 1080)}));
  EXPECT_FALSE(displays.addRectToChangeRect(5, CGRectMake(0, 0, 9, 9))) << "an unknown display has no area";
  displays.clearDisplayBounds();
  displays.addDisplay(0, 7, CGRectMake(-50, 0, 10, 10));
  EXPECT_EQ(displays.desktopBounds(), CGRectMake(-50, 0, 3410, 1080)) << "the desktop only grows";
}

}  // namespace
