// Rectangles, also the hostile ones.
#include <ApplicationServices/ApplicationServices.h>
#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(GeometryTest, ANegativeSizeMeasuresFromTheOtherSide) {
  const CGRect rect = CGRectMake(10, 20, -4, -6);
  EXPECT_EQ(CGRectGetMinX(rect), 6);
  EXPECT_EQ(CGRectGetMaxX(rect), 10);
  EXPECT_EQ(CGRectGetMinY(rect), 14);
  EXPECT_EQ(CGRectGetMaxY(rect), 20);
  EXPECT_EQ(CGRectGetWidth(rect), 4);
  EXPECT_EQ(CGRectGetHeight(rect), 6);
  EXPECT_TRUE(CGRectEqualToRect(rect, CGRectMake(6, 14, 4, 6)));
}

TEST(GeometryTest, Intersections) {
  struct {
    CGRect a, b, expected;
  } const rows[] = {
      {CGRectMake(0, 0, 10, 10), CGRectMake(5, 6, 10, 10), CGRectMake(5, 6, 5, 4)},
      {CGRectMake(0, 0, 10, 10), CGRectMake(8, 8, -4, -4), CGRectMake(4, 4, 4, 4)},
      {CGRectMake(0, 0, 10, 10), CGRectMake(10, 0, 5, 5), CGRectNull},
      {CGRectMake(0, 0, 10, 10), CGRectMake(0, 20, 5, 5), CGRectNull},
      {CGRectMake(0, 0, 10, 10), CGRectNull, CGRectNull},
      {CGRectMake(0, 0, 10, 10), CGRectMake(std::nan(""), 0, 5, 5), CGRectNull},
      {CGRectMake(0, 0, 10, 10), CGRectMake(3, 3, 0, 2), CGRectMake(3, 3, 0, 2)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const CGRect result = CGRectIntersection(row.a, row.b);
    EXPECT_TRUE(CGRectEqualToRect(result, row.expected)) << result.origin.x << " " << result.size.width;
    EXPECT_EQ(CGRectIntersectsRect(row.a, row.b), !CGRectIsNull(row.expected));
  }
}

TEST(GeometryTest, EmptyAndNullAreNotTheSame) {
  EXPECT_TRUE(CGRectIsEmpty(CGRectZero));
  EXPECT_FALSE(CGRectIsNull(CGRectZero));
  EXPECT_TRUE(CGRectIsEmpty(CGRectNull));
  EXPECT_FALSE(CGRectIsEmpty(CGRectMake(0, 0, -1, 1)));
  EXPECT_FALSE(CGRectEqualToRect(CGRectZero, CGRectNull));
  EXPECT_TRUE(CGRectEqualToRect(CGRectNull, CGRectNull));
}

}  // namespace
