# Build options and the language level that all of our code shares.

set(ZELHOST_DEPS_DIR "${CMAKE_SOURCE_DIR}/build/deps" CACHE PATH "what ./zel fetched: OpenVINO, Highway, headers")
set(ZELHOST_MINIDUMP_DIR "${CMAKE_SOURCE_DIR}/build/deps/minidump-reader" CACHE PATH
    "the Python package that reads minidumps in the tests")
set(ZELHOST_MODELS_DIR "${CMAKE_SOURCE_DIR}/build/models" CACHE PATH "the IR pairs to embed, named by net name")
set(ZELHOST_SANITIZE "" CACHE STRING "value of -fsanitize=, e.g. address,undefined or thread")
set(ZELHOST_TEST_PREFIX "" CACHE STRING "put before the name of every test, so that several builds run in one ctest")
option(ZELHOST_FUZZ "build the fuzz targets (clang)" OFF)
set(ZELHOST_FUZZ_SECONDS 5 CACHE STRING "how long each fuzz target runs as a test")
option(ZELHOST_BENCH "build the benchmarks" OFF)
# What users run is the Release build; the others have their debug information inside.
set(ZELHOST_SEPARATE_DEBUG OFF)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT ZELHOST_SANITIZE)
  set(ZELHOST_SEPARATE_DEBUG ON)
endif()

if(WIN32)
  set(ZELHOST_PLATFORM win32)
elseif(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(ZELHOST_PLATFORM posix)
else()
  message(FATAL_ERROR "zelhost runs on Windows x64 and Linux x64; this is ${CMAKE_SYSTEM_NAME}")
endif()

# The compiler keeps values in registers that its own version of an inline function leaves alone, though on Windows the
# linker may take the version of another file. All code, dependencies too, must do without.
if(WIN32)
  add_compile_options(-fno-ipa-ra)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

find_package(Threads REQUIRED)

# Flags of our own code only; dependencies do not link this target.
add_library(zel_flags INTERFACE)
target_include_directories(zel_flags INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(zel_flags INTERFACE -Wall -Wextra -Werror -ffp-contract=off)
# GCC 12 warns of overlapping copies inside its own std::string when it optimises.
target_compile_options(zel_flags INTERFACE $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-restrict>)
target_link_libraries(zel_flags INTERFACE Threads::Threads)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  # The last three cost nothing here, and the linter a fifth of its time.
  target_compile_options(zel_flags INTERFACE -Wthread-safety -Wreserved-identifier -Wredundant-decls
                                             $<$<COMPILE_LANGUAGE:CXX>:-Wzero-as-null-pointer-constant>)
endif()
if(ZELHOST_PLATFORM STREQUAL win32)
  target_compile_definitions(zel_flags INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
  # Whole archives would bring the thread library's version resource in place of ours.
  target_link_options(zel_flags INTERFACE -static)
endif()
if(ZELHOST_FUZZ)
  target_compile_options(zel_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(ZELHOST_SANITIZE)
  target_compile_options(zel_flags INTERFACE -fsanitize=${ZELHOST_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zel_flags INTERFACE -fsanitize=${ZELHOST_SANITIZE})
endif()
