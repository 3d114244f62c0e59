// The calls of GL.
#pragma once
#include <cstdint>

using GLenum = uint32_t;
inline constexpr GLenum GL_NO_ERROR = 0;

// What went wrong since the last call on this thread's current context; nothing without one.
extern "C" GLenum glGetError();
