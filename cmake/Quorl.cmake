# SPDX-License-Identifier: GPL-3.0-or-later
# Functions for every folder: warnings, sanitizers, precompiled headers, tests.

add_library(quorl_options INTERFACE)
target_compile_options(quorl_options INTERFACE
  -Wall -Wextra -Wshadow -Wnon-virtual-dtor -Werror
  # No function of ours is replaced at load time. Without this flag, GCC does not inline functions with external linkage
  # that are not declared inline, because of -fPIC.
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-semantic-interposition>
  # The last four warnings are false positives in inlined library code (GCC 12).
  $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wsuggest-override -Wno-missing-field-initializers -Wno-array-bounds -Wno-stringop-overread -Wno-stringop-overflow -Wno-maybe-uninitialized>
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Winconsistent-missing-override -Wthread-safety -Wno-missing-field-initializers -Wno-missing-designated-field-initializers>)
if(QUORL_SANITIZE)
  target_compile_options(quorl_options INTERFACE -fsanitize=${QUORL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(quorl_options INTERFACE -fsanitize=${QUORL_SANITIZE})
endif()
# Only libraries count coverage for the fuzzers. Tests are never optimised, and no program is under a sanitizer: that
# halves their compilation and makes them little slower.
add_library(quorl_library_options INTERFACE)
target_link_libraries(quorl_library_options INTERFACE quorl_options)
if(QUORL_FUZZ)
  target_compile_options(quorl_library_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
add_library(quorl_program_options INTERFACE)
target_link_libraries(quorl_program_options INTERFACE quorl_options)
if(QUORL_SANITIZE)
  target_compile_options(quorl_program_options INTERFACE -O0)
endif()
add_library(quorl_test_options INTERFACE)
target_link_libraries(quorl_test_options INTERFACE quorl_program_options)
target_compile_options(quorl_test_options INTERFACE -O0)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_link_options(quorl_options INTERFACE -fuse-ld=lld)
else()
  # Seven times as fast as the default linker, for two hundred programs.
  find_program(QUORL_LLD ld.lld PATHS /usr/lib/llvm-19/bin)
  if(QUORL_LLD)
    cmake_path(GET QUORL_LLD PARENT_PATH lld_folder)
    target_link_options(quorl_test_options INTERFACE -B${lld_folder} -fuse-ld=lld)
  endif()
endif()

# One precompiled header for all libraries, one for all programs and one for all tests, because they are compiled as
# different kinds of position-independent code and with different optimisation. A target whose macros change the header's meaning needs its own (OWN_PRELUDE).
file(WRITE ${CMAKE_BINARY_DIR}/prelude/Empty.cpp "")
file(WRITE ${CMAKE_BINARY_DIR}/prelude/Main.cpp "int main() {}\n")
find_package(fmt REQUIRED)
add_library(quorl_prelude STATIC ${CMAKE_BINARY_DIR}/prelude/Empty.cpp)
add_executable(quorl_program_prelude EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/prelude/Main.cpp)
target_link_libraries(quorl_prelude PRIVATE quorl_library_options)
target_link_libraries(quorl_program_prelude PRIVATE quorl_program_options)
foreach(prelude quorl_prelude quorl_program_prelude)
  target_link_libraries(${prelude} PRIVATE fmt::fmt)
  target_precompile_headers(${prelude} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/Prelude.h)
endforeach()
if(QUORL_TESTS)
  add_executable(quorl_test_prelude EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/prelude/Main.cpp)
  target_link_libraries(quorl_test_prelude PRIVATE quorl_test_options fmt::fmt GTest::gmock GTest::gtest)
  target_precompile_headers(quorl_test_prelude PRIVATE ${PROJECT_SOURCE_DIR}/cmake/TestPrelude.h)
endif()

# quorl_library(NAME SOURCES... [PUBLIC libs...] [PRIVATE libs...] [OWN_PRELUDE|NO_PRELUDE])
#   A static library with the project's warnings and the shared precompiled header, its own or none.
function(quorl_library name)
  cmake_parse_arguments(ARG "OWN_PRELUDE;NO_PRELUDE" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE quorl_library_options ${ARG_PRIVATE})
  if(ARG_OWN_PRELUDE)
    target_precompile_headers(${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/Prelude.h)
  elseif(NOT ARG_NO_PRELUDE)
    target_precompile_headers(${name} REUSE_FROM quorl_prelude)
  endif()
endfunction()

# quorl_room(NAME FOLDER [USES rooms...] [LIBRARIES libs...] [OWN_PRELUDE|NO_PRELUDE])
#   A folder as a target: a library, or an interface if it has only headers. USES names every room whose
#   headers it includes; LIBRARIES names what else it links. Includes are relative to the parent of the calling
#   folder: <QuorlHostCore/Session/SendPath.h>.
function(quorl_room name folder)
  cmake_parse_arguments(ARG "OWN_PRELUDE;NO_PRELUDE" "" "USES;LIBRARIES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${folder}/*.cpp)
  cmake_path(GET CMAKE_CURRENT_SOURCE_DIR PARENT_PATH include_root)
  if(sources)
    set(own)
    if(ARG_OWN_PRELUDE)
      set(own OWN_PRELUDE)
    elseif(ARG_NO_PRELUDE)
      set(own NO_PRELUDE)
    endif()
    quorl_library(${name} SOURCES ${sources} PUBLIC ${ARG_USES} PRIVATE ${ARG_LIBRARIES} ${own})
    target_include_directories(${name} PUBLIC ${include_root})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${ARG_USES} ${ARG_LIBRARIES})
    target_include_directories(${name} INTERFACE ${include_root})
  endif()
endfunction()

# quorl_wayland_protocol(TARGET NAME XML): headers NAME-client.h and NAME-code.h of a Wayland protocol for a target. They
# are made while the tree is configured, so that clang-tidy finds them in a tree that is not built.
function(quorl_wayland_protocol target name xml)
  find_program(WAYLAND_SCANNER wayland-scanner REQUIRED)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target}-wayland)
  file(MAKE_DIRECTORY ${folder})
  foreach(kind client code)
    set(mode client-header)
    if(kind STREQUAL code)
      set(mode private-code)
    endif()
    set(header ${folder}/${name}-${kind}.h)
    if(${xml} IS_NEWER_THAN ${header})
      execute_process(COMMAND ${WAYLAND_SCANNER} ${mode} ${xml} ${header} COMMAND_ERROR_IS_FATAL ANY)
    endif()
  endforeach()
  target_include_directories(${target} SYSTEM PRIVATE ${folder})
endfunction()

# quorl_executable(NAME SOURCES... [LIBS...] [TEST])
function(quorl_executable name)
  cmake_parse_arguments(ARG "TEST" "" "SOURCES;LIBS" ${ARGN})
  set(kind program)
  if(ARG_TEST)
    set(kind test)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE quorl_${kind}_options ${ARG_LIBS})
  target_precompile_headers(${name} REUSE_FROM quorl_${kind}_prelude)
endfunction()

# quorl_add_test(NAME COMMAND... [TIMEOUT s])
#   A ctest entry with the options and suppressions of the sanitizers. Under a sanitizer the time limit is five times
#   as long.
function(quorl_add_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "COMMAND" ${ARGN})
  add_test(NAME ${name} COMMAND ${ARG_COMMAND})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  if(QUORL_SANITIZE)
    math(EXPR ARG_TIMEOUT "${ARG_TIMEOUT} * 5")
    set(folder ${PROJECT_SOURCE_DIR}/cmake/sanitizers)
    find_program(QUORL_SYMBOLIZER NAMES llvm-symbolizer-19 llvm-symbolizer PATHS /usr/lib/llvm-19/bin)
    set(symbolizer)
    if(QUORL_SYMBOLIZER)
      set(symbolizer ":external_symbolizer_path=${QUORL_SYMBOLIZER}")
    endif()
    set_tests_properties(${name} PROPERTIES ENVIRONMENT
      "ASAN_OPTIONS=detect_stack_use_after_return=1${symbolizer};LSAN_OPTIONS=suppressions=${folder}/leaks.supp:print_suppressions=0;UBSAN_OPTIONS=print_stacktrace=1${symbolizer};TSAN_OPTIONS=suppressions=${folder}/threads.supp:second_deadlock_stack=1${symbolizer}")
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
endfunction()

# Labels with a target of the same name, for runs under the sanitizers: the tests that need no adapter, and the tests
# that run real threads. (Most of the core's tests run all queues on one thread, in virtual time.)
add_custom_target(core_and_kit_tests)
add_custom_target(thread_tests)

# quorl_test(NAME SOURCES... [LIBS...] [LABELS...] [TIMEOUT s] [SERIAL])
#   A GoogleTest program as one ctest entry. SERIAL: never at the same time as another test (it uses something
#   unique on the machine, such as the mDNS daemon).
function(quorl_test name)
  cmake_parse_arguments(ARG "SERIAL" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  quorl_executable(${name} TEST SOURCES ${ARG_SOURCES} LIBS GTest::gmock GTest::gtest_main ${ARG_LIBS})
  quorl_add_test(${name} COMMAND ${name} TIMEOUT ${ARG_TIMEOUT})
  if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/(QuorlKit/Tests|QuorlUnix/Tests|Host/Tests/(Core|Mac))")
    list(APPEND ARG_LABELS core_and_kit_tests)
    add_dependencies(core_and_kit_tests ${name})
    # They take half of a build, and ./test runs them with the sanitizers only.
    if(NOT QUORL_SANITIZE)
      set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL TRUE)
    endif()
  endif()
  if(thread_tests IN_LIST ARG_LABELS)
    add_dependencies(thread_tests ${name})
  endif()
  set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
  if(ARG_SERIAL)
    set_tests_properties(${name} PROPERTIES RUN_SERIAL TRUE)
  endif()
endfunction()

# quorl_fuzzer(NAME SOURCES... [LIBS...]): a libFuzzer program; its seeds are in Fuzz/seeds/NAME.
function(quorl_fuzzer name)
  if(NOT QUORL_FUZZ)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  quorl_executable(${name} SOURCES ${ARG_SOURCES} LIBS ${ARG_LIBS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endfunction()
