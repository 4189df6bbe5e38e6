# The two libraries. Each is compiled once, as objects: the shared library and the tests of its inner rooms use the same
# objects, so that tests reach what the library does not export.

file(GLOB_RECURSE ZEL_PLATFORM_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/platform/*.cpp
  ${PROJECT_SOURCE_DIR}/drivers/*.cpp)
if(NOT ZEL_WITH_WINDOWS)
  list(FILTER ZEL_PLATFORM_SOURCES EXCLUDE REGEX "/drivers/sdl/")
endif()
if(NOT ZEL_WITH_PLAYER)
  list(FILTER ZEL_PLATFORM_SOURCES EXCLUDE REGEX "/avfoundation/|/drivers/(gstreamer/|MediaDrivers)")
endif()
if(NOT ZEL_WITH_VULKAN)
  list(FILTER ZEL_PLATFORM_SOURCES EXCLUDE REGEX "/drivers/vulkan/")
endif()

add_library(zel_platform_objects OBJECT ${ZEL_PLATFORM_SOURCES})
target_include_directories(zel_platform_objects
  PUBLIC ${PROJECT_SOURCE_DIR}/include
  PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(zel_platform_objects
  PUBLIC Threads::Threads PkgConfig::EGL PkgConfig::GLES2 PkgConfig::GDK_PIXBUF ${CMAKE_DL_LIBS})
if(ZEL_WITH_WINDOWS)
  target_compile_definitions(zel_platform_objects PRIVATE ZEL_WITH_WINDOWS=1)
  target_link_libraries(zel_platform_objects PUBLIC PkgConfig::SDL2)
  if(TARGET PkgConfig::WAYLAND_EGL)
    target_compile_definitions(zel_platform_objects PRIVATE ZEL_WITH_WAYLAND=1)
    target_link_libraries(zel_platform_objects PUBLIC PkgConfig::WAYLAND_EGL)
  endif()
  if(TARGET PkgConfig::XCB)
    target_compile_definitions(zel_platform_objects PRIVATE ZEL_WITH_X11=1)
    target_link_libraries(zel_platform_objects PUBLIC PkgConfig::XCB)
  endif()
endif()
if(ZEL_WITH_PLAYER)
  target_link_libraries(zel_platform_objects PUBLIC PkgConfig::GSTREAMER)
endif()
if(ZEL_WITH_VULKAN)
  # Only the headers: the loader is opened at run time, so that a machine without one still draws with OpenGL ES.
  target_compile_definitions(zel_platform_objects PRIVATE ZEL_WITH_VULKAN=1)
  target_include_directories(zel_platform_objects PRIVATE ${VULKAN_INCLUDE_DIRS})
endif()

file(GLOB_RECURSE ZEL_KIT_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/frontend/*.cpp
  ${PROJECT_SOURCE_DIR}/projection/*.cpp
  ${PROJECT_SOURCE_DIR}/sources/*.cpp
  ${PROJECT_SOURCE_DIR}/motion/*.cpp
  ${PROJECT_SOURCE_DIR}/superres/*.cpp
  ${PROJECT_SOURCE_DIR}/gl/*.cpp
  ${PROJECT_SOURCE_DIR}/metal/*.cpp)
if(NOT ZEL_WITH_PLAYER)
  list(FILTER ZEL_KIT_SOURCES EXCLUDE REGEX "/ZELAVPlayer")
endif()

add_library(zel_kit_objects OBJECT ${ZEL_KIT_SOURCES})
target_include_directories(zel_kit_objects
  PUBLIC ${PROJECT_SOURCE_DIR}/include
  PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(zel_kit_objects PUBLIC PkgConfig::GLES2)

add_library(ZELPlatform SHARED $<TARGET_OBJECTS:zel_platform_objects>)
target_link_libraries(ZELPlatform PRIVATE zel_platform_objects)

add_library(ZELKit SHARED $<TARGET_OBJECTS:zel_kit_objects>)
target_link_libraries(ZELKit PUBLIC ZELPlatform PRIVATE PkgConfig::GLES2)

foreach(library ZELPlatform ZELKit)
  add_library(ZELKit::${library} ALIAS ${library})
  set_target_properties(${library} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(${library} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${library} PUBLIC cxx_std_20)
endforeach()
