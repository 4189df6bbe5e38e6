# What an installation holds.

install(TARGETS ZELPlatform ZELKit EXPORT ZELKitTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
