// Contexts in memory. The library behind them is loaded by the first that becomes current, or by a call of
// GL.
#include <CoreGraphics/CGDirectDisplay.h>
#include <OpenGL/OpenGL.h>
#include <OpenGL/gl.h>

#include "platform/x11/CallScope.h"
#include "platform/x11/Displays.h"
#include "platform/x11/OpenGLLibrary.h"

using platform::x11::OpenGLLibrary;

struct _CGLPixelFormatObject {};

struct _CGLContextObject {
  EGLContext context = EGL_NO_CONTEXT;  // made when it first becomes current
};

namespace {

constexpr uint32_t kMaskBits = 32;

CGOpenGLDisplayMask ActiveDisplays() {
  const platform::x11::CallScope scope;
  const auto displays = platform::x11::Displays::Instance().Now();
  CGOpenGLDisplayMask mask = 0;
  if (!displays) return mask;
  for (const platform::x11::DisplayInfo& display : *displays) {
    const uint32_t unit = CGDisplayUnitNumber(display.id);
    if (unit < kMaskBits) mask |= 1U << unit;
  }
  return mask;
}

}  // namespace

CGOpenGLDisplayMask CGDisplayIDToOpenGLDisplayMask(uint32_t display) {
  const uint32_t unit = CGDisplayUnitNumber(display);
  if (display == kCGNullDirectDisplay || unit >= kMaskBits) return 0;
  return ActiveDisplays() & 1U << unit;
}

CGLError CGLChoosePixelFormat(const CGLPixelFormatAttribute* attributes, CGLPixelFormatObj* format,
                              GLint* count) {
  if (attributes == nullptr || format == nullptr || count == nullptr) return kCGLBadAddress;
  *format = nullptr;
  *count = 0;
  CGOpenGLDisplayMask mask = 0;
  for (; *attributes != 0; ++attributes) {
    if (*attributes == kCGLPFADisplayMask) {
      mask = static_cast<CGOpenGLDisplayMask>(*++attributes);
    } else if (*attributes != kCGLPFAFullScreen) {
      return kCGLBadAttribute;
    }
  }
  if ((mask & ActiveDisplays()) == 0) return kCGLNoError;
  *format = new _CGLPixelFormatObject;
  *count = 1;
  return kCGLNoError;
}

CGLError CGLDestroyPixelFormat(CGLPixelFormatObj format) {
  if (format == nullptr) return kCGLBadPixelFormat;
  delete format;
  return kCGLNoError;
}

CGLError CGLCreateContext(CGLPixelFormatObj format, CGLContextObj, CGLContextObj* context) {
  if (context == nullptr) return kCGLBadAddress;
  *context = format == nullptr ? nullptr : new _CGLContextObject;
  return format == nullptr ? kCGLBadPixelFormat : kCGLNoError;
}

CGLError CGLDestroyContext(CGLContextObj context) {
  if (context == nullptr) return kCGLBadContext;
  if (context->context != EGL_NO_CONTEXT) OpenGLLibrary::Instance()->DestroyContext(context->context);
  delete context;
  return kCGLNoError;
}

CGLError CGLSetCurrentContext(CGLContextObj context) {
  const OpenGLLibrary* const library = OpenGLLibrary::Instance();
  if (library == nullptr) return context == nullptr ? kCGLNoError : kCGLBadAlloc;
  if (context != nullptr && context->context == EGL_NO_CONTEXT) context->context = library->CreateContext();
  if (context != nullptr && context->context == EGL_NO_CONTEXT) return kCGLBadAlloc;
  return library->MakeCurrent(context == nullptr ? EGL_NO_CONTEXT : context->context) ? kCGLNoError
                                                                                      : kCGLBadContext;
}

// The X server keeps its displays.
CGLError CGLSetFullScreen(CGLContextObj context) {
  return context == nullptr ? kCGLBadContext : kCGLBadFullScreen;
}

GLenum glGetError() {
  const OpenGLLibrary* const library = OpenGLLibrary::Instance();
  return library == nullptr ? GL_NO_ERROR : library->GetError();
}
