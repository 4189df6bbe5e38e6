# The project's own framework for neural networks: a shared object that the kit's library opens when it is there, and
# the models beside it. Nothing links it.

file(GLOB ZEL_NEURAL_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/neural/*.cpp)
list(REMOVE_ITEM ZEL_NEURAL_SOURCES ${PROJECT_SOURCE_DIR}/neural/Entry.cpp)
file(GLOB ZEL_NEURAL_MODELS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/neural/models/*.zelluma)

add_library(zel_neural_objects OBJECT ${ZEL_NEURAL_SOURCES})
target_include_directories(zel_neural_objects PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})

add_library(ZELNeural MODULE ${PROJECT_SOURCE_DIR}/neural/Entry.cpp)
target_link_libraries(ZELNeural PRIVATE zel_neural_objects ZELPlatform)
set_target_properties(ZELNeural PROPERTIES
  PREFIX ""
  LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/zelkit
  INSTALL_RPATH "$ORIGIN/..")

# Beside the shared object, as in an installation, and where the programs of the build tree look.
set(copies)
foreach(model ${ZEL_NEURAL_MODELS})
  get_filename_component(name ${model} NAME)
  foreach(folder zelkit share/zelkit)
    add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/${folder}/${name}
      COMMAND ${CMAKE_COMMAND} -E copy ${model} ${PROJECT_BINARY_DIR}/${folder}/${name}
      DEPENDS ${model} VERBATIM)
    list(APPEND copies ${PROJECT_BINARY_DIR}/${folder}/${name})
  endforeach()
endforeach()
add_custom_target(zel_neural_models ALL DEPENDS ${copies})
add_dependencies(ZELNeural zel_neural_models)
