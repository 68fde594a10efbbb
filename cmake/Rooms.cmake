# A room is a folder that is a library of its own. Its door is a folder of the build tree in which
# the room's path from the root leads to its sources:
#
#   doors/isam/runtime/isam -> <source>/runtime/isam
#   doors/isam/marigold/isam.h -> <source>/include/marigold/isam.h
#
# The second link is a header of the public face, if the room has such headers: the functions that
# programs may call.
#
# Includes name headers from the root, and a target's include path has only the doors of the rooms
# that it links, directly or through others. So an include of a room that is not linked does not
# compile, and one place for each room determines its permitted links.

# marigold_room(NAME FOLDER SEES LIBRARY... [USES LIBRARY...] [FACE HEADER...] SOURCES FILE...)
#
# Makes the static library marigold_NAME. SEES: rooms that its headers need, which all its users see
# as well. USES: rooms that only its sources need.
function(marigold_room name folder)
  cmake_parse_arguments(PARSE_ARGV 2 ROOM "" "" "SEES;USES;FACE;SOURCES")
  list(TRANSFORM ROOM_SOURCES PREPEND ${PROJECT_SOURCE_DIR}/${folder}/)
  add_library(marigold_${name} STATIC ${ROOM_SOURCES})
  set(door ${PROJECT_BINARY_DIR}/doors/${name})
  cmake_path(GET folder PARENT_PATH parent)
  file(MAKE_DIRECTORY ${door}/${parent})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${door}/${folder} SYMBOLIC)
  foreach(header IN LISTS ROOM_FACE)
    file(MAKE_DIRECTORY ${door}/marigold)
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/include/marigold/${header} ${door}/marigold/${header} SYMBOLIC)
  endforeach()
  target_include_directories(marigold_${name} PUBLIC ${door})
  # The public headers export the functions that they declare.
  set_target_properties(marigold_${name} PROPERTIES
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_features(marigold_${name} PUBLIC cxx_std_20)
  target_link_libraries(marigold_${name} PUBLIC ${ROOM_SEES} PRIVATE ${ROOM_USES})
endfunction()

# marigold_precompile(NAME [PROGRAMS] TARGETS TARGET... HEADERS HEADER... [OPTIONS OPTION...] [LIBRARIES LIBRARY...])
#
# Reads the headers once for targets that are compiled with the same options: rooms, or programs. Most of the time of a short source goes into the
# headers of the standard library. Sources include what they need all the same; builds without this notice if one does not.
function(marigold_precompile name)
  if(NOT MARIGOLD_PRECOMPILE)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 ALIKE "PROGRAMS" "" "TARGETS;HEADERS;OPTIONS;LIBRARIES")
  set(source ${CMAKE_CURRENT_BINARY_DIR}/headers_${name}.cc)
  file(CONFIGURE OUTPUT ${source} CONTENT "")
  add_library(marigold_headers_${name} OBJECT ${source})
  if(ALIKE_PROGRAMS)
    set_target_properties(marigold_headers_${name} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
    list(PREPEND ALIKE_OPTIONS -fPIE)
  else()
    set_target_properties(marigold_headers_${name} PROPERTIES
      CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  endif()
  target_compile_options(marigold_headers_${name} PRIVATE ${ALIKE_OPTIONS})
  target_link_libraries(marigold_headers_${name} PRIVATE ${ALIKE_LIBRARIES})
  target_precompile_headers(marigold_headers_${name} PRIVATE ${ALIKE_HEADERS})
  foreach(target IN LISTS ALIKE_TARGETS)
    target_precompile_headers(${target} REUSE_FROM marigold_headers_${name})
  endforeach()
endfunction()

# Rooms that are linked together under one name.
function(marigold_house name)
  add_library(marigold_${name} INTERFACE)
  target_link_libraries(marigold_${name} INTERFACE ${ARGN})
endfunction()
