# Target headers-alone: every header alone through the compiler, without generating code. One that
# is the first include of a source is alone there already, in the build without precompiled headers.
# A stamp and a list of what was read per header make the next run as short as what has changed.
set(flags -std=c++20 -fsyntax-only -I${PROJECT_SOURCE_DIR} ${BRINDLE_WARNINGS})

foreach(folder . sim bench)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(directory ${target} SOURCE_DIR)
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    foreach(source ${sources})
      cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${directory})
      file(STRINGS ${source} first REGEX "^#include" LIMIT_COUNT 1)
      string(REGEX REPLACE "^#include \"(.*)\"$" "\\1" first "${first}")
      list(APPEND proven "${first}")
    endforeach()
  endforeach()
endforeach()

foreach(folder ${BRINDLE_FOLDERS} sim tests bench)
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${folder}/*.h)
  list(REMOVE_ITEM headers ${proven})
  foreach(header ${headers})
    set(stamp ${CMAKE_CURRENT_BINARY_DIR}/alone/${header})
    cmake_path(GET stamp PARENT_PATH directory)
    file(MAKE_DIRECTORY ${directory})
    add_custom_command(OUTPUT ${stamp}.ok DEPFILE ${stamp}.d VERBATIM
      COMMAND ${CMAKE_CXX_COMPILER} ${flags} -MD -MF ${stamp}.d -MT ${stamp}.ok
              -include ${PROJECT_SOURCE_DIR}/${header} -x c++ /dev/null
      COMMAND ${CMAKE_COMMAND} -E touch ${stamp}.ok)
    list(APPEND stamps ${stamp}.ok)
  endforeach()
endforeach()

add_custom_target(headers-alone DEPENDS ${stamps})
