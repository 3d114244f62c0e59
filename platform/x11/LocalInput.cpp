// What the local user's keyboard and pointer may do while events are posted.
#include <CoreGraphics/CGRemoteOperation.h>

#include "platform/x11/CallScope.h"
#include "platform/x11/InputWatch.h"

using platform::x11::CallScope;
using platform::x11::InputWatch;

CGError CGInhibitLocalEvents(boolean_t inhibit) {
  const CallScope scope;
  return InputWatch::Instance().SilenceLocalInput(inhibit != 0);
}

// Posted keys are independent of local locks in any case.
CGError CGEnableEventStateCombining(boolean_t) {
  const CallScope scope;
  return InputWatch::Instance().Settle();
}

// Posting never holds local events back for a while, so there is no time for a filter to be used in.
CGError CGSetLocalEventsFilterDuringSuppressionState(CGEventFilterMask, CGEventSuppressionState state) {
  return state <= kCGEventSuppressionStateRemoteMouseDrag ? kCGErrorSuccess : kCGErrorIllegalArgument;
}
