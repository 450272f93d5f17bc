# The kinds of target that the folders declare: a library of our own, what it exports, the tests beside it, a fuzz target.

# zel_library(NAME SOURCES ... [DEPS ...] [PLATFORM_SOURCES ...])
# PLATFORM_SOURCES are taken from the folder of the system that is built for (posix/ or win32/). Who takes an installed
# library does not get our flags with it.
function(zel_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPS;PLATFORM_SOURCES" ${ARGN})
  list(TRANSFORM arg_PLATFORM_SOURCES PREPEND ${ZELHOST_PLATFORM}/)
  add_library(${name} STATIC ${arg_SOURCES} ${arg_PLATFORM_SOURCES})
  target_link_libraries(${name} PUBLIC $<BUILD_INTERFACE:zel_flags> ${arg_DEPS})
  zel_line_tables(${name})
endfunction()

# zel_line_tables(TARGET): its code tells from which lines it was made, which is all that a crash report asks for.
function(zel_line_tables target)
  if(ZELHOST_SEPARATE_DEBUG)
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:C,CXX>:-g1>)
  endif()
endfunction()

# zel_separate_debug(TARGET): for what users run. The line tables go into TARGET's file with ".debug" behind its name,
# which debuggers find by the link or the build id in the file itself. addr2line is given the ".debug" file. Windows files
# have no link: it is a thing of Linux debuggers, and Wine's dbghelp breaks its heap on it.
function(zel_separate_debug target)
  if(NOT ZELHOST_SEPARATE_DEBUG)
    return()
  endif()
  zel_line_tables(${target})
  target_link_options(${target} PRIVATE -Wl,--build-id)
  set(debug $<TARGET_FILE:${target}>.debug)
  set(link)
  if(NOT WIN32)
    set(link --add-gnu-debuglink=${debug})
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${debug}
    COMMAND ${CMAKE_OBJCOPY} --strip-debug ${link} $<TARGET_FILE:${target}>
    VERBATIM)
  set_property(TARGET ${target} APPEND PROPERTY ADDITIONAL_CLEAN_FILES ${debug})
endfunction()

# zel_export_only(TARGET file): a shared library gives away the names that the file lists, one a line, and nothing else.
function(zel_export_only target file)
  file(STRINGS ${file} symbols)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  set(list ${CMAKE_CURRENT_BINARY_DIR}/${target})
  if(WIN32)
    string(APPEND list .def)
    list(JOIN symbols "\n" names)
    file(CONFIGURE OUTPUT ${list} CONTENT "EXPORTS\n@names@\n" @ONLY)
    target_sources(${target} PRIVATE ${list})
  else()
    string(APPEND list .map)
    list(JOIN symbols ";\n" names)
    file(CONFIGURE OUTPUT ${list} CONTENT "{ global:\n@names@;\nlocal: *; };\n" @ONLY)
    target_link_options(${target} PRIVATE -Wl,--version-script=${list} -Wl,--exclude-libs,ALL)
  endif()
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${list})
endfunction()

# zel_test(NAME SOURCES ... [DEPS ...]): one GoogleTest program and one ctest entry, the same on both systems.
function(zel_test name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zel_flags ${arg_DEPS} GTest::gmock GTest::gtest GTest::gtest_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  if(ZELHOST_SEPARATE_DEBUG)
    # Line tables of the libraries are for the programs that users run.
    target_link_options(${name} PRIVATE -Wl,--strip-debug)
  endif()
  if(ZELHOST_SANITIZE)
    # Sanitizers make the optimiser work on the matchers' templates for longer than most of these tests run.
    target_compile_options(${name} PRIVATE -O0)
  endif()
  set(report ${CMAKE_BINARY_DIR}/reports/${name}.xml)
  if(WIN32)
    string(PREPEND report Z:)
  endif()
  zel_add_test(${name} COMMAND ${name} --gtest_output=xml:${report})
endfunction()

# add_test for any other program. The fuzz build has no tests but its fuzz targets.
function(zel_add_test name)
  if(NOT ZELHOST_FUZZ)
    zel_register_test(${name} ${ARGN})
  endif()
endfunction()

# zel_fuzz(NAME SOURCES ... [DEPS ...] [SEEDS folder])
# One libFuzzer program, run as a test for ZELHOST_FUZZ_SECONDS; what it finds is kept in the build folder.
if(ZELHOST_FUZZ)
  add_custom_target(zel_fuzz_targets)
endif()

function(zel_fuzz name)
  cmake_parse_arguments(arg "" "SEEDS" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE zel_flags ${arg_DEPS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
  add_dependencies(zel_fuzz_targets ${name})
  set(corpus ${CMAKE_BINARY_DIR}/corpus/${name})
  file(MAKE_DIRECTORY ${corpus})
  zel_register_test(${name} COMMAND ${name} -max_total_time=${ZELHOST_FUZZ_SECONDS} -print_final_stats=1
                    -artifact_prefix=${CMAKE_BINARY_DIR}/fuzz/${name}- ${corpus} ${arg_SEEDS})
endfunction()

# add_test with the build's name in front and the sanitizers' settings around it.
function(zel_register_test name)
  add_test(NAME ${ZELHOST_TEST_PREFIX}${name} ${ARGN})
  if(WIN32)
    # Wine fails or hangs now and then when two test programs start processes at the same moment.
    set_tests_properties(${ZELHOST_TEST_PREFIX}${name} PROPERTIES RESOURCE_LOCK wine)
  endif()
  if(ZELHOST_SANITIZE)
    set_property(GLOBAL APPEND PROPERTY ZELHOST_TESTS ${ZELHOST_TEST_PREFIX}${name})
    zel_set_sanitizer_environment(${ZELHOST_TEST_PREFIX}${name})
  endif()
endfunction()

# Where sanitizers find what they need and leave what they find. The counts are those of tests/support/Repetitions.h,
# for programs that run several times slower.
function(zel_set_sanitizer_environment test)
  set(supp ${CMAKE_SOURCE_DIR}/cmake)
  # OpenVINO gives the thread that loads it a stack for signals, and frees it later. A sanitizer that has given the
  # thread one of its own frees OpenVINO's at the thread's end: the second time, that is somebody else's memory.
  set(common external_symbolizer_path=/usr/bin/llvm-symbolizer-14:print_suppressions=0:use_sigaltstack=0)
  if(NOT ZELHOST_FUZZ)
    string(APPEND common :log_path='${CMAKE_BINARY_DIR}/reports/sanitizer')
  endif()
  set(tsan suppressions='${supp}/tsan.supp':second_deadlock_stack=1:ignore_noninstrumented_modules=1:atexit_sleep_ms=100)
  # TBB loads a library with RTLD_DEEPBIND, which ends a program under a sanitizer, unless it is told of it.
  set_tests_properties(${test} PROPERTIES ENVIRONMENT_MODIFICATION
    "ASAN_OPTIONS=set:${common}:detect_stack_use_after_return=1;\
UBSAN_OPTIONS=set:${common}:print_stacktrace=1;\
LSAN_OPTIONS=set:suppressions='${supp}/lsan.supp':print_suppressions=0;\
TSAN_OPTIONS=set:${common}:${tsan};\
TBB_ENABLE_SANITIZERS=set:1;\
ZELHOST_CREATION_MS=set:500;ZELHOST_STRESS_RECORDS=set:20000;ZELHOST_STRESS_LINES=set:200;ZELHOST_KILL_ROUNDS=set:5")
endfunction()

# The last test: fails on what a sanitizer has reported in any of the others. Many programs that a test starts write
# where nobody reads, and are killed before their exit code could tell.
function(zel_add_report_test)
  get_property(tests GLOBAL PROPERTY ZELHOST_TESTS)
  add_test(NAME ${ZELHOST_TEST_PREFIX}sanitizer_reports
           COMMAND ${CMAKE_SOURCE_DIR}/cmake/sanitizer-reports ${CMAKE_BINARY_DIR}/reports)
  set_tests_properties(${ZELHOST_TEST_PREFIX}sanitizer_reports PROPERTIES DEPENDS "${tests}")
endfunction()
