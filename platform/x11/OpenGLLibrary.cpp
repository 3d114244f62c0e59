#include "platform/x11/OpenGLLibrary.h"

#include <EGL/eglext.h>
#include <dlfcn.h>

#include <memory>

#include "platform/System.h"

namespace platform::x11 {
namespace {

template <class Function>
bool Find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

}  // namespace

const OpenGLLibrary* OpenGLLibrary::Instance() {
  static const OpenGLLibrary* const instance = []() -> const OpenGLLibrary* {
    auto library = std::unique_ptr<OpenGLLibrary>(new OpenGLLibrary);
    if (library->Load()) return library.release();
    ConsoleLog("no GL on this machine: libEGL.so.1 is missing, or knows no drawing without a screen");
    return nullptr;
  }();
  return instance;
}

bool OpenGLLibrary::Load() {
  void* const library = dlopen("libEGL.so.1", RTLD_NOW | RTLD_LOCAL);  // stays until the process ends
  decltype(&eglGetProcAddress) getProcAddress = nullptr;
  decltype(&eglGetPlatformDisplay) getPlatformDisplay = nullptr;
  decltype(&eglInitialize) initialize = nullptr;
  if (library == nullptr || !Find(library, "eglGetProcAddress", getProcAddress) ||
      !Find(library, "eglGetPlatformDisplay", getPlatformDisplay) ||
      !Find(library, "eglInitialize", initialize) || !Find(library, "eglBindAPI", bindApi_) ||
      !Find(library, "eglCreateContext", createContext_) ||
      !Find(library, "eglDestroyContext", destroyContext_) ||
      !Find(library, "eglMakeCurrent", makeCurrent_)) {
    return false;
  }
  getError_ = reinterpret_cast<unsigned (*)()>(getProcAddress("glGetError"));
  display_ = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
  return getError_ != nullptr && display_ != EGL_NO_DISPLAY &&
         initialize(display_, nullptr, nullptr) == EGL_TRUE;
}

EGLContext OpenGLLibrary::CreateContext() const {
  if (bindApi_(EGL_OPENGL_API) != EGL_TRUE) return EGL_NO_CONTEXT;
  return createContext_(display_, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, nullptr);
}

void OpenGLLibrary::DestroyContext(EGLContext context) const {
  if (context != EGL_NO_CONTEXT) destroyContext_(display_, context);
}

bool OpenGLLibrary::MakeCurrent(EGLContext context) const {
  return bindApi_(EGL_OPENGL_API) == EGL_TRUE &&
         makeCurrent_(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context) == EGL_TRUE;
}

}  // namespace platform::x11
