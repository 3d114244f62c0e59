// The alert that a program without a window shows.
#pragma once
#include <CoreFoundation/CFBase.h>

extern "C" {

enum : CFOptionFlags {
  kCFUserNotificationStopAlertLevel = 0,
  kCFUserNotificationNoteAlertLevel = 1,
  kCFUserNotificationCautionAlertLevel = 2,
  kCFUserNotificationPlainAlertLevel = 3
};
enum : CFOptionFlags {
  kCFUserNotificationDefaultResponse = 0,
  kCFUserNotificationAlternateResponse = 1,
  kCFUserNotificationOtherResponse = 2,
  kCFUserNotificationCancelResponse = 3
};

// Where there is nobody to ask, the alert is one line on standard error and the answer the default response.
// Returns 0, or a non-zero error when the alert could not be shown. The URLs and the button titles may be
// null.
SInt32 CFUserNotificationDisplayAlert(CFTimeInterval timeout, CFOptionFlags flags, CFURLRef iconUrl,
                                      CFURLRef soundUrl, CFURLRef localizationUrl, CFStringRef header,
                                      CFStringRef message, CFStringRef defaultButtonTitle,
                                      CFStringRef alternateButtonTitle, CFStringRef otherButtonTitle,
                                      CFOptionFlags* responseFlags);

}  // extern "C"
