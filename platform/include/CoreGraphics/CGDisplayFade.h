// Fading the screen, and what colours the displays really show. Captured pixels never change by it.
#pragma once
#include <CoreGraphics/CGDirectDisplay.h>

extern "C" {

using CGDisplayFadeReservationToken = uint32_t;
using CGDisplayBlendFraction = float;  // 0: the picture; 1: the colour alone
using CGGammaValue = float;

inline constexpr CGDisplayFadeReservationToken kCGDisplayFadeReservationInvalidToken = 0;
inline constexpr CGDisplayBlendFraction kCGDisplayBlendNormal = 0;
inline constexpr CGDisplayBlendFraction kCGDisplayBlendSolidColor = 1;

// One reservation at a time, for at most `seconds`. kCGErrorNoneAvailable when no display has a gamma ramp.
CGError CGAcquireDisplayFadeReservation(float seconds, CGDisplayFadeReservationToken* token);
CGError CGDisplayFade(CGDisplayFadeReservationToken token, float seconds, CGDisplayBlendFraction from,
                      CGDisplayBlendFraction to, float red, float green, float blue, int synchronous);
CGError CGReleaseDisplayFadeReservation(CGDisplayFadeReservationToken token);

// The ramp of each colour: min + (max - min) * x ^ gamma.
CGError CGSetDisplayTransferByFormula(CGDirectDisplayID display, CGGammaValue redMin, CGGammaValue redMax,
                                      CGGammaValue redGamma, CGGammaValue greenMin, CGGammaValue greenMax,
                                      CGGammaValue greenGamma, CGGammaValue blueMin, CGGammaValue blueMax,
                                      CGGammaValue blueGamma);
// All displays as they were before this process, or one that did not get to restore them, changed them.
void CGDisplayRestoreColorSyncSettings();

}  // extern "C"
