# The libraries that the project stands on, as imported targets.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(EGL REQUIRED IMPORTED_TARGET egl)
pkg_check_modules(GLES2 REQUIRED IMPORTED_TARGET glesv2)
pkg_check_modules(GDK_PIXBUF REQUIRED IMPORTED_TARGET gdk-pixbuf-2.0)

if(ZEL_WITH_WINDOWS)
  pkg_check_modules(SDL2 REQUIRED IMPORTED_TARGET sdl2)
  pkg_check_modules(WAYLAND_EGL IMPORTED_TARGET wayland-egl)
  pkg_check_modules(XCB IMPORTED_TARGET xcb)
endif()

if(ZEL_WITH_PLAYER)
  pkg_check_modules(GSTREAMER REQUIRED IMPORTED_TARGET gstreamer-1.0 gstreamer-app-1.0 gstreamer-audio-1.0
    gstreamer-video-1.0 gstreamer-pbutils-1.0)
endif()
if(ZEL_WITH_VULKAN)
  pkg_check_modules(VULKAN REQUIRED vulkan)
endif()
