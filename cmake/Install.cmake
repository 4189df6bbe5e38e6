# What an installation holds: both libraries, the public headers, the descriptions for CMake and pkg-config, and zelview.
# Nothing in it names the prefix, so that an installed tree can be moved.

include(CMakePackageConfigHelpers)

set(ZEL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZELKit)
set(ZEL_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Each library finds the other beside it, and a program finds both from where it stands.
set_target_properties(ZELPlatform ZELKit PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS ZELPlatform ZELKit EXPORT ZELKitTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# A component that was left out has no headers either.
if(NOT ZEL_WITH_PLAYER)
  set(ZEL_ABSENT_HEADERS PATTERN "*AVPlayer*" EXCLUDE PATTERN "AVFoundation.h" EXCLUDE)
endif()

# Beside the library that looks for it.
if(TARGET zel_default_metallib)
  install(FILES ${PROJECT_BINARY_DIR}/zelkit/default.metallib DESTINATION ${CMAKE_INSTALL_LIBDIR}/zelkit)
endif()

if(TARGET ZELNeural)
  install(TARGETS ZELNeural LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/zelkit)
  install(FILES ${ZEL_NEURAL_MODELS} DESTINATION ${CMAKE_INSTALL_LIBDIR}/zelkit)
endif()

install(DIRECTORY include/ZELKit include/ZELPlatform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "internal" EXCLUDE ${ZEL_ABSENT_HEADERS})

install(EXPORT ZELKitTargets NAMESPACE ZELKit:: DESTINATION ${ZEL_PACKAGE_DIR})
configure_package_config_file(cmake/ZELKitConfig.cmake.in ZELKitConfig.cmake
  INSTALL_DESTINATION ${ZEL_PACKAGE_DIR}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(ZELKitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZELKitConfig.cmake ${PROJECT_BINARY_DIR}/ZELKitConfigVersion.cmake
  DESTINATION ${ZEL_PACKAGE_DIR})

# The way from one folder of the installation to another; both relative to the prefix.
function(zel_relative_way result from to)
  file(RELATIVE_PATH way /prefix/${from} /prefix/${to})
  string(REGEX REPLACE "/$" "" way "${way}")
  set(${result} "${way}" PARENT_SCOPE)
endfunction()

zel_relative_way(ZEL_PREFIX_FROM_PKGCONFIG ${ZEL_PKGCONFIG_DIR} "")
foreach(library ZELPlatform ZELKit)
  configure_file(cmake/${library}.pc.in ${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc DESTINATION ${ZEL_PKGCONFIG_DIR})
endforeach()

if(TARGET zelview)
  zel_relative_way(ZEL_LIBRARIES_FROM_BIN ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_LIBDIR})
  set_target_properties(zelview PROPERTIES INSTALL_RPATH "$ORIGIN/${ZEL_LIBRARIES_FROM_BIN}")
  install(TARGETS zelview RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
