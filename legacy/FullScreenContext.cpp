#include "legacy/FullScreenContext.h"

#include <OpenGL/gl.h>
#include <asl.h>

#include "common/KCasl.h"

CGLContextObj CreateContext(CGDirectDisplayID display) {
  const CGLPixelFormatAttribute attributes[] = {
      kCGLPFAFullScreen, kCGLPFADisplayMask,
      static_cast<CGLPixelFormatAttribute>(CGDisplayIDToOpenGLDisplayMask(display)),
      static_cast<CGLPixelFormatAttribute>(0)};
  CGLPixelFormatObj format = nullptr;
  GLint count = 0;
  if (const CGLError err = CGLChoosePixelFormat(attributes, &format, &count); err != kCGLNoError) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "CGLChoosePixelFormat failed with error %d", static_cast<int>(err));
    return nullptr;
  }
  CGLContextObj context = nullptr;
  if (CGLCreateContext(format, nullptr, &context) != kCGLNoError) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "CGLCreateContext failed with error %d",
              static_cast<int>(glGetError()));
    return nullptr;
  }
  CGLSetFullScreen(context);
  CGLDestroyPixelFormat(format);
  return context;
}
