// Contexts for drawing and reading through GL. Any thread; a context is current on one thread at a time.
#pragma once
#include <cstdint>

enum CGLError : int {
  kCGLNoError = 0,
  kCGLBadAttribute = 10000,
  kCGLBadPixelFormat = 10002,
  kCGLBadContext = 10004,
  kCGLBadFullScreen = 10012,
  kCGLBadAddress = 10014,
  kCGLBadAlloc = 10016
};

enum CGLPixelFormatAttribute : int {
  kCGLPFAFullScreen = 54,
  kCGLPFADisplayMask = 84  // the mask follows
};

using GLint = int32_t;
using CGOpenGLDisplayMask = uint32_t;
using CGLPixelFormatObj = struct _CGLPixelFormatObject*;
using CGLContextObj = struct _CGLContextObject*;

extern "C" {

// One bit for each display; 0 for an unknown one.
CGOpenGLDisplayMask CGDisplayIDToOpenGLDisplayMask(uint32_t display);

// `attributes` ends with 0. A null format, and no error, when no active display is in the mask or none is
// named.
CGLError CGLChoosePixelFormat(const CGLPixelFormatAttribute* attributes, CGLPixelFormatObj* format,
                              GLint* count);
CGLError CGLDestroyPixelFormat(CGLPixelFormatObj format);

CGLError CGLCreateContext(CGLPixelFormatObj format, CGLContextObj share, CGLContextObj* context);
CGLError CGLDestroyContext(CGLContextObj context);
// Null: no context is current on this thread any more. kCGLBadAlloc where the machine cannot draw through GL.
CGLError CGLSetCurrentContext(CGLContextObj context);
// kCGLBadFullScreen where a display cannot be taken away from its window server.
CGLError CGLSetFullScreen(CGLContextObj context);

}  // extern "C"
