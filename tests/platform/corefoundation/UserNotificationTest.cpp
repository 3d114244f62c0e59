// The alert on standard error.
#include <gtest/gtest.h>

#include "tests/platform/corefoundation/Support.h"

namespace {

struct Answer {
  SInt32 error;
  CFOptionFlags response;
  std::string shown;
};

Answer Show(CFStringRef header, CFStringRef message, CFStringRef alternate) {
  Answer answer{-1, 99, {}};
  testing::internal::CaptureStderr();
  answer.error =
      CFUserNotificationDisplayAlert(0, kCFUserNotificationStopAlertLevel, nullptr, nullptr, nullptr, header,
                                     message, CFSTR("Go"), alternate, nullptr, &answer.response);
  answer.shown = testing::internal::GetCapturedStderr();
  return answer;
}

TEST(UserNotificationTest, IsOneLineAndAnsweredByDefault) {
  const Answer answer = Show(CFSTR("THROW: 5"), CFSTR("FILE: \u00FC,\nLINE: 7"), CFSTR("Abort"));
  EXPECT_EQ(answer.error, 0);
  EXPECT_EQ(answer.response, kCFUserNotificationDefaultResponse);
  EXPECT_EQ(answer.shown, "THROW: 5: FILE: \u00FC, LINE: 7 [Go] [Abort]\n");
}

TEST(UserNotificationTest, LeavesOutWhatIsNotGiven) {
  EXPECT_EQ(Show(CFSTR("Only"), nullptr, nullptr).shown, "Only [Go]\n");
}

}  // namespace
