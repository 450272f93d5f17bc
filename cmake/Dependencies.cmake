# Targets of everything that is not our own. Their headers are system headers, so that our warnings stay ours.
#
#   openvino_c                             inference runtime, C interface
#   hwy                                    SIMD with dispatch at run time
#   GTest::gtest GTest::gmock GTest::gtest_main
#   CLI11::CLI11, stb                      headers only
#   ffmpeg                                 Linux only

set(ZELHOST_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "sources of GoogleTest and GoogleMock")

function(zel_need_dependency path)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "${path} is missing; run ./zel build (or ./zel windows), which fetches it")
  endif()
endfunction()

# Third-party sources are built with the sanitizers of our code but without our warnings.
function(zel_third_party)
  foreach(target ${ARGN})
    target_compile_options(${target} PRIVATE -w)
    if(ZELHOST_SANITIZE)
      target_compile_options(${target} PRIVATE -fsanitize=${ZELHOST_SANITIZE} -fno-omit-frame-pointer)
    endif()
  endforeach()
endfunction()

function(zel_add_openvino)
  if(WIN32)
    set(root ${ZELHOST_DEPS_DIR}/openvino-windows/openvino)
    set(files IMPORTED_LOCATION ${root}/libs/openvino_c.dll IMPORTED_IMPLIB ${root}/libs/openvino_c.lib)
  else()
    set(root ${ZELHOST_DEPS_DIR}/openvino-linux/openvino)
    set(files IMPORTED_LOCATION ${root}/libs/libopenvino_c.so.2641 IMPORTED_SONAME libopenvino_c.so.2641)
  endif()
  zel_need_dependency(${root}/include/openvino/c/openvino.h)
  add_library(openvino_c SHARED IMPORTED GLOBAL)
  set_target_properties(openvino_c PROPERTIES ${files} INTERFACE_INCLUDE_DIRECTORIES ${root}/include)
  set(ZELHOST_OPENVINO_LIBS ${root}/libs PARENT_SCOPE)
endfunction()

function(zel_add_highway)
  set(root ${ZELHOST_DEPS_DIR}/highway)
  zel_need_dependency(${root}/hwy/highway.h)
  add_library(hwy STATIC ${root}/hwy/aligned_allocator.cc ${root}/hwy/per_target.cc ${root}/hwy/print.cc
                         ${root}/hwy/targets.cc)
  # Installed for the linker alone, as none of our public headers is about it.
  target_include_directories(hwy SYSTEM PUBLIC $<BUILD_INTERFACE:${root}>)
  target_compile_definitions(hwy PUBLIC $<BUILD_INTERFACE:HWY_STATIC_DEFINE>)
  zel_third_party(hwy)
endfunction()

function(zel_add_googletest)
  zel_need_dependency(${ZELHOST_GOOGLETEST_DIR}/CMakeLists.txt)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(CMAKE_WARN_DEPRECATED OFF CACHE BOOL "" FORCE)
  add_subdirectory(${ZELHOST_GOOGLETEST_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  zel_third_party(gtest gtest_main gmock gmock_main)
endfunction()

# The cross compiler must never see /usr/include, so headers lie alone in a folder of their own.
function(zel_add_headers target folder)
  zel_need_dependency(${ZELHOST_DEPS_DIR}/include/${folder})
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} INTERFACE ${ZELHOST_DEPS_DIR}/include)
endfunction()

function(zel_add_ffmpeg)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(zel_ffmpeg REQUIRED IMPORTED_TARGET GLOBAL libavformat libavcodec libswscale libavdevice libavutil)
  add_library(ffmpeg ALIAS PkgConfig::zel_ffmpeg)
endfunction()

zel_add_openvino()
zel_add_highway()
zel_add_googletest()
zel_add_headers(CLI11::CLI11 CLI)
zel_add_headers(stb stb)
if(NOT WIN32)
  zel_add_ffmpeg()
endif()
