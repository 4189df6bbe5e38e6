# How everything in the project is compiled.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

find_program(ZEL_CCACHE ccache)
if(ZEL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${ZEL_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ZEL_CCACHE})
endif()

# Single-precision arithmetic is meant as it is written, on every processor.
add_compile_options(-Wall -Wextra -Wpedantic -ffp-contract=off)
if(ZEL_WARNINGS_AS_ERRORS)
  add_compile_options(-Werror)
endif()
if(ZEL_SANITIZE)
  add_compile_options(-fsanitize=${ZEL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ZEL_SANITIZE})
endif()
