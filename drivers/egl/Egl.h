#pragma once

// EGL and OpenGL ES 2 without the window system's headers, whose macros would break ordinary names.
#define EGL_NO_X11
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>
