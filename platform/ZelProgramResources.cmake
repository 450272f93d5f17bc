# zel_program_resources(TARGET [DESCRIPTION text])
# Gives a program its string resources (103 its name, 109 its window class) and its version, PROJECT_VERSION as four
# numbers: a STRINGTABLE and a VERSIONINFO on Windows, a table and an ELF note on Linux. platform::loadString and
# platform::productVersion read them.

function(zel_program_resources target)
  cmake_parse_arguments(arg "" "DESCRIPTION" "" ${ARGN})
  set(ZEL_PROGRAM ${target})
  set(ZEL_DESCRIPTION "${arg_DESCRIPTION}")
  if(NOT ZEL_DESCRIPTION)
    set(ZEL_DESCRIPTION ${target})
  endif()
  string(TOUPPER ${target} ZEL_WINDOW_CLASS)
  set(ZEL_VERSION_MAJOR ${PROJECT_VERSION_MAJOR})
  foreach(part MINOR PATCH TWEAK)
    set(ZEL_VERSION_${part} 0)
    if(NOT "${PROJECT_VERSION_${part}}" STREQUAL "")
      set(ZEL_VERSION_${part} ${PROJECT_VERSION_${part}})
    endif()
  endforeach()

  if(WIN32)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_program.rc)
    configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/win32/program.rc.in ${source} @ONLY)
  else()
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_program.cpp)
    configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/posix/program.cpp.in ${source} @ONLY)
  endif()
  zel_resource_object(${target} ${target}_program ${source})
endfunction()

# Adds a source of resources to a target as an object of its own: the resource compiler takes no warning flags, and an
# object, unlike a member of an archive, is linked without being asked for by a symbol.
function(zel_resource_object target name source)
  add_library(${name} OBJECT ${source})
  target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/..)
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${name}>)
endfunction()
