#include "rcserv/RefCounted.h"

#include <gtest/gtest.h>

namespace rcserv {
namespace {

// What is freed too early, or never, is found by the address sanitizer.
TEST(RefCountedTest, AWeakReferenceKeepsOnlyTheBlock) {
  auto first = RefCountedPtrT<int>::MakeRefCountable(new int(7));
  RefCountable* const block = first.control();
  block->AddRefWeak();
  RefCountedPtrT<const int> second = first;
  first.reset();
  EXPECT_EQ(*second, 7);
  ASSERT_TRUE(block->AddRefIfAlive());
  EXPECT_FALSE(block->Release());
  second = {};
  EXPECT_FALSE(block->AddRefIfAlive());
  block->ReleaseWeak();
}

}  // namespace
}  // namespace rcserv
