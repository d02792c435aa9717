# Target clang-front-end: the library's and the tools' sources, and every header alone, through
# clang without generating code. A stamp and a list of what was read per file make the next run as
# short as what has changed.
find_program(CLANG clang++)
if(NOT CLANG)
  return()
endif()

set(flags -std=c++20 -fsyntax-only -I${PROJECT_SOURCE_DIR} ${BRINDLE_WARNINGS})
set(stamps)
function(front_end stamp)
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/clang/${stamp})
  cmake_path(GET stamp PARENT_PATH folder)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(OUTPUT ${stamp}.ok DEPFILE ${stamp}.d VERBATIM
    COMMAND ${CLANG} ${flags} -MD -MF ${stamp}.d -MT ${stamp}.ok ${ARGN}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}.ok)
  set(stamps ${stamps} ${stamp}.ok PARENT_SCOPE)
endfunction()

get_property(tools DIRECTORY sim PROPERTY BUILDSYSTEM_TARGETS)
foreach(target brindle-objects ${tools})
  get_target_property(folder ${target} SOURCE_DIR)
  get_target_property(sources ${target} SOURCES)
  foreach(source ${sources})
    if(source MATCHES "\\.cpp$")
      cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder})
      cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE name)
      front_end(${name} ${source})
    endif()
  endforeach()
endforeach()

foreach(folder ${BRINDLE_FOLDERS} sim tests bench)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${folder}/*.h)
  foreach(header ${headers})
    front_end(${header} -include ${PROJECT_SOURCE_DIR}/${header} -x c++ /dev/null)
  endforeach()
endforeach()

add_custom_target(clang-front-end DEPENDS ${stamps})
