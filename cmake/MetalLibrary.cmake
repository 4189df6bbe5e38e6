# Library files of compiled shader functions for the explicit GPU.

find_program(ZEL_GLSLANG glslangValidator)
if(NOT ZEL_GLSLANG)
  message(FATAL_ERROR "glslangValidator is missing (package glslang-tools); -DZEL_WITH_VULKAN=OFF builds without it")
endif()

add_executable(zel_metallib ${PROJECT_SOURCE_DIR}/tools/metallib/main.cpp
                            ${PROJECT_SOURCE_DIR}/platform/metal/LibraryFile.cpp)
target_include_directories(zel_metallib PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)

# zel_add_metal_library(TARGET OUTPUTS FILE... FUNCTIONS SOURCE...)
#
# Compiles GLSL sources (.vert, .frag, .comp, which may include others from their own folder), each to a function named
# like its file without the extension, and writes one library file to every place in OUTPUTS. An error stops the build.
function(zel_add_metal_library target)
  cmake_parse_arguments(ARG "" "" "OUTPUTS;FUNCTIONS" ${ARGN})
  set(modules)
  foreach(source ${ARG_FUNCTIONS})
    get_filename_component(name ${source} NAME_WE)
    get_filename_component(folder ${source} DIRECTORY)
    set(module ${CMAKE_CURRENT_BINARY_DIR}/${target}.modules/${name}.spv)
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${target}.modules)
    add_custom_command(OUTPUT ${module}
      COMMAND ${ZEL_GLSLANG} --quiet --target-env vulkan1.1 -I${folder} --depfile ${module}.d -o ${module} ${source}
      DEPENDS ${source} DEPFILE ${module}.d
      COMMENT "Compiling function ${name}" VERBATIM)
    list(APPEND modules ${module})
  endforeach()
  list(GET ARG_OUTPUTS 0 first)
  set(copies)
  foreach(output ${ARG_OUTPUTS})
    get_filename_component(folder ${output} DIRECTORY)
    file(MAKE_DIRECTORY ${folder})
    if(NOT output STREQUAL first)
      list(APPEND copies COMMAND ${CMAKE_COMMAND} -E copy ${first} ${output})
    endif()
  endforeach()
  add_custom_command(OUTPUT ${ARG_OUTPUTS}
    COMMAND zel_metallib ${first} ${modules} ${copies}
    DEPENDS ${modules} zel_metallib
    COMMENT "Writing library ${first}" VERBATIM)
  add_custom_target(${target} ALL DEPENDS ${ARG_OUTPUTS})
endfunction()

# The kit's own functions, found beside the libraries and by the programs of the build tree.
file(GLOB ZEL_KIT_FUNCTIONS CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/metal/shaders/*.vert
  ${PROJECT_SOURCE_DIR}/metal/shaders/*.frag
  ${PROJECT_SOURCE_DIR}/metal/shaders/*.comp
  ${PROJECT_SOURCE_DIR}/neural/shaders/*.comp)
if(ZEL_KIT_FUNCTIONS)
  zel_add_metal_library(zel_default_metallib
    OUTPUTS ${PROJECT_BINARY_DIR}/zelkit/default.metallib ${PROJECT_BINARY_DIR}/share/zelkit/default.metallib
    FUNCTIONS ${ZEL_KIT_FUNCTIONS})
endif()
