// Parts of the session that need no observer.
#include <gtest/gtest.h>

#include <algorithm>

#include "service/remote/AskPace.h"
#include "service/remote/CommandQueue.h"
#include "service/remote/DrawingNews.h"
#include "service/remote/RestartPolicy.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using namespace std::chrono_literals;
using remote::CommandQueue;
using remote::CommandRecord;

TEST(RestartPolicyTest, TheDelayGrowsUntilTheObserverCountsAsHopeless) {
  remote::RestartPolicy policy;
  const auto begin = remote::RestartPolicy::Clock::now();
  for (const auto delay : {250ms, 500ms, 1000ms, 2000ms, 4000ms, 8000ms, 8000ms})
    EXPECT_EQ(policy.Lost(begin), delay);
  EXPECT_EQ(policy.Lost(begin + 59s), std::nullopt);
  EXPECT_EQ(policy.Lost(begin + 130s), 250ms) << "what is long ago does not count";
}

// How often it asks from `begin` on, within `span`, when there is nothing new.
int AsksWithin(remote::AskPace& pace, remote::AskPace::Clock::time_point begin,
               std::chrono::milliseconds span) {
  int asks = 0;
  while (pace.Next() < begin + span) {
    const auto now = std::max(begin, pace.Next());
    pace.Nothing(now);
    EXPECT_LE(pace.Next() - now, 34ms) << "at least 30 times a second";
    ++asks;
  }
  return asks;
}

TEST(AskPaceTest, WhatIsHeardOfIsAskedForAtOnceAndNotLookedForAllTheTime) {
  const auto begin = remote::AskPace::Clock::now();
  const auto later = begin + 10ms;
  remote::AskPace deaf;
  deaf.Changes(begin);
  EXPECT_EQ(deaf.Next(), begin);
  EXPECT_GE(AsksWithin(deaf, begin, 200ms), 100);

  remote::AskPace hears;
  hears.Nothing(begin);
  EXPECT_GT(hears.Next(), begin);
  hears.Drawn(later);
  EXPECT_EQ(hears.Next(), later);
  hears.Nothing(later);
  EXPECT_LE(hears.Next(), later + 2ms) << "the observer had not heard yet";
  hears.Drawn(later + 1ms);
  EXPECT_EQ(hears.Next(), later + 2ms) << "drawn again, perhaps with the same pixels";
  hears.Changes(later + 2ms);
  EXPECT_LE(AsksWithin(hears, later + 2ms, 200ms), 10);

  hears.Activity(later + 300ms);
  EXPECT_GE(AsksWithin(hears, later + 300ms, 200ms), 100) << "a viewer acts";
  hears.Changes(later + 600ms);
  EXPECT_GE(AsksWithin(hears, later + 600ms, 200ms), 100) << "nobody has heard of these changes";
}

TEST(DrawingNewsTest, SaysOnceThatTheDisplayWasDrawnOnUntilTheDisplayIsGone) {
  test::XServer server;
  test::XClient client;
  remote::DrawingNews news;
  const auto hears = [&news] { return news.Take(); };
  news.Start();
  ASSERT_TRUE(test::WaitFor(hears)) << "what was drawn before";
  for (int i = 0; i < 20; ++i) {
    client.Fill(10, 10, 50, 50, 0xff0000 + i);
    client.Fill(70, 10, 50, 50, 0xff0000 + i);
    client.Sync();
    EXPECT_TRUE(test::WaitFor(hears)) << i;
  }
  server.Kill();
  EXPECT_TRUE(test::WaitFor([&] { return !news.Take() && news.Descriptor() < 0; }));
}

TEST(CommandQueueTest, OfMovesThatWaitOnlyTheNewestIsCarriedOutAndNothingElseIsLost) {
  CommandQueue queue;
  const auto pointer = [](uint8_t flags, uint16_t x) { return remote::MakePointerRecord({flags, x, 0}); };
  const std::vector<CommandRecord> posted = {
      pointer(1, 1), pointer(1, 2), pointer(3, 3), pointer(1, 4), remote::MakeKeyRecord({65, true}),
      pointer(1, 5), pointer(1, 6)};
  for (const CommandRecord& record : posted) queue.Post(record);
  for (const size_t kept : {1, 2, 3, 4, 6}) {
    const auto entry = queue.Take({});
    ASSERT_TRUE(entry && std::holds_alternative<CommandRecord>(*entry));
    EXPECT_EQ(std::get<CommandRecord>(*entry).bytes, posted[kept].bytes) << kept;
  }
  EXPECT_FALSE(queue.Take(CommandQueue::Clock::now()));
}

}  // namespace
