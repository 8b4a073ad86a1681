# Rules that every target of the toolkit shares.
#
#   qv_subsystem(NAME SOURCES ... [DEPENDS ...] [LIBRARIES ...])
#     One folder's sources as an object library qv_NAME. DEPENDS names the subsystems below it; an include
#     of any other subsystem is an error (tools/check_includes.py reads these very calls).
#     A source that ends in _avx2.cpp is compiled for AVX2 and FMA-free, one in _avx.cpp for AVX.
#   qv_test(NAME SOURCES ... [LIBRARIES ...] [LABELS ...] [TIMEOUT seconds])
#     A GoogleTest program, one CTest entry. Label "threads" puts it into the ThreadSanitizer run.

include("${CMAKE_CURRENT_LIST_DIR}/QvResources.cmake")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

find_program(QV_CCACHE ccache)
if(QV_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER ${QV_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QV_CCACHE})
endif()

set(QV_SANITIZE "" CACHE STRING "Sanitizers for the whole build, as -fsanitize= takes them")
if(QV_SANITIZE)
  add_compile_options(-fsanitize=${QV_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QV_SANITIZE})
  if(QV_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

set(QV_WARNINGS -Wall -Wextra -Wshadow -Wundef -Wnon-virtual-dtor -Werror
    # GetProcAddress gives every function under one type: casting it is the only way to call it.
    -Wno-cast-function-type)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # gcc 12 sees overlaps inside std::string that aren't there (its bug 105651).
  list(APPEND QV_WARNINGS -Wno-restrict)
endif()
# Results must not depend on the compiler's taste: no contraction into fused operations.
set(QV_CODE_OPTIONS -ffp-contract=off)

set_property(GLOBAL PROPERTY QV_SUBSYSTEMS "")

function(qv_common target)
  target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
  target_compile_options(${target} PRIVATE ${QV_WARNINGS} ${QV_CODE_OPTIONS})
  target_compile_definitions(${target} PRIVATE $<$<CONFIG:Debug>:QV_DEBUG_CHECKS=1>)
  if(WIN32)
    target_compile_definitions(${target} PUBLIC UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
                                                WINVER=0x0A00 _WIN32_WINNT=0x0A00)
  endif()
endfunction()

function(qv_subsystem name)
  cmake_parse_arguments(S "" "" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  set(target qv_${name})
  add_library(${target} OBJECT ${S_SOURCES})
  qv_common(${target})
  foreach(source IN LISTS S_SOURCES)
    if(source MATCHES "_avx2\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-mavx2")
    elseif(source MATCHES "_avx\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-mavx")
    endif()
  endforeach()
  foreach(below IN LISTS S_DEPENDS)
    target_link_libraries(${target} PUBLIC qv_${below})
  endforeach()
  target_link_libraries(${target} PUBLIC ${S_LIBRARIES})
  set_property(GLOBAL APPEND PROPERTY QV_SUBSYSTEMS ${target})
endfunction()

# What every test has: its limit, its labels and, on the Windows build, the prefix it runs in. There the
# program's own summary decides: an exit code may come from the emulator.
function(qv_test_properties name summary timeout labels)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout} LABELS "${labels}")
  if(WIN32)
    set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED wine ENVIRONMENT "${QV_WINE_ENVIRONMENT}"
                         FAIL_REGULAR_EXPRESSION "\\[  FAILED  \\]" PASS_REGULAR_EXPRESSION "${summary}")
  endif()
endfunction()

# What the ThreadSanitizer run builds.
add_custom_target(threads_tests)

function(qv_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  add_executable(${name}_test ${T_SOURCES})
  qv_common(${name}_test)
  target_include_directories(${name}_test PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_link_libraries(${name}_test PRIVATE qv_toolkit GTest::gmock_main ${T_LIBRARIES})
  add_test(NAME ${name} COMMAND ${name}_test)
  if("threads" IN_LIST T_LABELS)
    add_dependencies(threads_tests ${name}_test)
  endif()
  qv_test_properties(${name} "\\[  PASSED  \\]" ${T_TIMEOUT} "${T_LABELS}")
endfunction()

# A test that drives a built program from Python: SCRIPT gets the program, a folder to work in and, on the
# Windows build, the emulator in front of it.
function(qv_script_test name)
  cmake_parse_arguments(T "" "SCRIPT;PROGRAM;TIMEOUT" "LABELS" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  add_test(NAME ${name} COMMAND /usr/bin/python3 "${CMAKE_CURRENT_SOURCE_DIR}/${T_SCRIPT}" $<TARGET_FILE:${T_PROGRAM}>
           "${PROJECT_BINARY_DIR}/script_tests/${name}" ${CMAKE_CROSSCOMPILING_EMULATOR})
  qv_test_properties(${name} "[0-9]+ passed, 0 failed" ${T_TIMEOUT} "${T_LABELS}")
endfunction()

# Puts the objects of these subsystems into a library or program whole: an executable has to carry every
# export, whether or not it calls it itself.
function(qv_take_subsystems target)
  foreach(subsystem IN LISTS ARGN)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${subsystem}>)
    get_target_property(below ${subsystem} LINK_LIBRARIES)
    foreach(library IN LISTS below)
      if(NOT library MATCHES "^qv_")
        target_link_libraries(${target} PUBLIC ${library})
      endif()
    endforeach()
  endforeach()
endfunction()

# A program that exports the toolkit to its modules. Modules find it by file name, so every such program is
# called "workbench" and has a folder of its own.
function(qv_host_executable target)
  cmake_parse_arguments(H "" "FOLDER" "" ${ARGN})
  if(NOT H_FOLDER)
    set(H_FOLDER "${PROJECT_BINARY_DIR}/bin")
  endif()
  set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON OUTPUT_NAME workbench
                        RUNTIME_OUTPUT_DIRECTORY "${H_FOLDER}" ARCHIVE_OUTPUT_DIRECTORY "${H_FOLDER}/lib")
endfunction()

# A module of the workbench: stands beside it, is linked against its exports only.
add_custom_target(modules)
function(qv_module target)
  qv_common(${target})
  target_compile_definitions(${target} PRIVATE QV_MODULE=1)
  target_link_libraries(${target} PRIVATE workbench)
  set_target_properties(${target} PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
  add_dependencies(modules ${target})
endfunction()
