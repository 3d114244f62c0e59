#include "rcserv/RefCounted.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "rcserv/Mutex.h"

namespace rcserv {
namespace {

struct Life {
  int discarded = 0;
  int destroyed = 0;
};

class Counted final : public RefCountedBase {
 public:
  explicit Counted(Life& life) : life_(life) {}

 protected:
  void Discard() override { ++life_.discarded; }
  void Destroy() override {
    ++life_.destroyed;
    RefCountedBase::Destroy();
  }

 private:
  Life& life_;
};

TEST(RefCountedTest, AWeakReferenceKeepsOnlyTheBlock) {
  Life life;
  auto* const block = new Counted(life);
  block->AddRefWeak();
  EXPECT_TRUE(block->AddRefIfAlive());
  EXPECT_FALSE(block->Release());
  EXPECT_EQ(life.discarded, 0);
  EXPECT_TRUE(block->Release());
  EXPECT_EQ(life.discarded, 1);
  EXPECT_EQ(life.destroyed, 0);
  EXPECT_FALSE(block->AddRefIfAlive());
  block->ReleaseWeak();
  EXPECT_EQ(life.destroyed, 1);
  EXPECT_EQ(life.discarded, 1);
}

TEST(RefCountedTest, PointersCountTheirCopies) {
  struct Payload {
    explicit Payload(int& deaths) : deaths_(deaths) {}
    ~Payload() { ++deaths_; }
    int& deaths_;
  };
  int deaths = 0;
  auto first = RefCountedPtrT<Payload>::MakeRefCountable(new Payload(deaths));
  RefCountedPtrT<const Payload> second = first;
  first.reset();
  EXPECT_FALSE(first);
  EXPECT_EQ(deaths, 0);
  RefCountedPtrT<const Payload> third = std::move(second);
  EXPECT_FALSE(second.Valid());
  second = third;
  third = {};
  EXPECT_EQ(deaths, 0);
  second.reset();
  EXPECT_EQ(deaths, 1);
  EXPECT_FALSE(RefCountedPtrT<Payload>::MakeRefCountable(nullptr));
}

TEST(RefCountedTest, CopiesMayGoToOtherThreads) {
  auto pointer = RefCountedPtrT<std::vector<int>>::MakeRefCountable(new std::vector<int>(100, 1));
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([copy = pointer] {
      for (int i = 0; i < 2000; ++i) {
        const RefCountedPtrT<std::vector<int>> another = copy;
        ASSERT_EQ(another->size(), 100U);
      }
    });
  }
  pointer.reset();
  for (std::thread& thread : threads) thread.join();
}

TEST(MutexTest, IsRecursiveAndExcludesOtherThreads) {
  Mutex mutex;
  ASSERT_TRUE(mutex.Valid());
  int guarded = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        const MutexHold outer(mutex);
        [&] {
          const MutexHold inner(mutex);
          ++guarded;
        }();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(guarded, 8000);
}

TEST(MutexDeathTest, LockingAnInvalidOneIsAsserted) {
  struct Invalid : Mutex {
    Invalid() : Mutex(RefCountedPtrT<OsMutex>()) {}
  };
  Invalid mutex;
  EXPECT_FALSE(mutex.Valid());
  // Invoked by pointer, where the compiler does not see that the two do not belong together.
  EXPECT_DEATH(std::invoke(&Mutex::Lock, mutex), "Lock.*impl_.Valid\\(\\)");
  EXPECT_DEATH(std::invoke(&Mutex::Unlock, mutex), "Unlock.*impl_.Valid\\(\\)");
}

}  // namespace
}  // namespace rcserv
