// Parts of the session that need no observer.
#include <gtest/gtest.h>

#include "service/remote/CommandQueue.h"
#include "service/remote/RestartPolicy.h"

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
