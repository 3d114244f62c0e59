// The machine's GL, loaded by whoever needs it first.
#pragma once
#define EGL_NO_X11
#include <EGL/egl.h>

namespace platform::x11 {

// Without a screen: contexts draw into memory. Loaded for the life of the process; any thread.
class OpenGLLibrary {
 public:
  // Null where the machine has no such library; looked for once.
  static const OpenGLLibrary* Instance();

  // Null when there can be none. DestroyContext(null) is allowed.
  [[nodiscard]] EGLContext CreateContext() const;
  void DestroyContext(EGLContext context) const;
  [[nodiscard]] bool MakeCurrent(EGLContext context) const;
  [[nodiscard]] unsigned GetError() const { return getError_(); }

 private:
  OpenGLLibrary() = default;
  [[nodiscard]] bool Load();

  EGLDisplay display_ = EGL_NO_DISPLAY;
  decltype(&eglCreateContext) createContext_ = nullptr;
  decltype(&eglDestroyContext) destroyContext_ = nullptr;
  decltype(&eglMakeCurrent) makeCurrent_ = nullptr;
  decltype(&eglBindAPI) bindApi_ = nullptr;  // a choice of each thread's own
  unsigned (*getError_)() = nullptr;
};

}  // namespace platform::x11
