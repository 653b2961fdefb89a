# One object library per subsystem folder, and the rule that a layer sees
# only itself and the layers below it.
#
# Sources include each other as "core/rows.h", "color/palette.h". For every
# layer the build tree holds a folder of links to the folders that layer may
# see, and that folder is the layer's only include root: an include of a
# higher layer names a file that is not there, and the build fails.

set(KEST_ALL_LAYERS "")
set(KEST_LAYER_INCLUDES "")

function(kest_link_platform target)
  if(WIN32)
    target_link_libraries(${target} PRIVATE kernel32 user32 gdi32)
  else()
    target_link_libraries(${target} PRIVATE ${CMAKE_DL_LIBS} pthread)
  endif()
endfunction()

# kest_layer(name [lower layers...])
function(kest_layer name)
  set(view ${CMAKE_BINARY_DIR}/layers/${name})
  file(MAKE_DIRECTORY ${view})
  foreach(visible IN ITEMS ${name} ${ARGN})
    if(NOT EXISTS ${view}/${visible})
      file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${visible} ${view}/${visible} SYMBOLIC)
    endif()
  endforeach()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
    ${CMAKE_SOURCE_DIR}/${name}/*.cpp)
  # Each platform compiles only its own side of the boundary.
  if(WIN32)
    list(FILTER sources EXCLUDE REGEX "_posix\\.cpp$")
  else()
    list(FILTER sources EXCLUDE REGEX "_win32\\.cpp$")
  endif()
  if(NOT sources)
    return()  # a layer that has no code yet
  endif()
  add_library(kest_${name} OBJECT ${sources})
  target_include_directories(kest_${name} PRIVATE ${CMAKE_SOURCE_DIR}/include ${view})
  target_compile_definitions(kest_${name} PRIVATE KEST_BUILDING)
  if(WIN32)
    target_compile_definitions(kest_${name} PRIVATE WIN32_LEAN_AND_MEAN NOMINMAX)
  endif()
  target_compile_options(kest_${name} PRIVATE
    -Wall -Wextra -Wno-unused-parameter -fno-exceptions)
  set(KEST_ALL_LAYERS ${KEST_ALL_LAYERS} ${name} PARENT_SCOPE)
  set(KEST_LAYER_INCLUDES ${KEST_LAYER_INCLUDES} ${view} PARENT_SCOPE)
endfunction()
