// Reference counts.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/platform/corefoundation/Support.h"

namespace {

// A lost retain shows as a release too many, a lost release as a leak.
TEST(ObjectTest, ThreadsShareAValueAndTheLastFreesIt) {
  for (int round = 0; round < 100; ++round) {
    test::Owned<CFDataRef> data(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("bytes"), 5));
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
      threads.emplace_back([own = static_cast<CFDataRef>(CFRetain(data.get()))] {
        for (int use = 0; use < 500; ++use) CFRelease(CFRetain(own));
        CFRelease(own);
      });
    data.reset();
    for (auto& thread : threads) thread.join();
  }
}

}  // namespace
