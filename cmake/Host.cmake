# SPDX-License-Identifier: BSD-2-Clause-Patent
# Host programs: the products' own sources over the simulated machine.
set(MFGTEST_FLAVOUR sanitizers CACHE STRING "sanitizers, coverage, fuzz, campaign, bench, tools or plain")

# All host programs; beyond that, the machine around the products; and, beyond
# that, the products. `make test` spends most of its time compiling, and twice as
# long on what the sanitizers watch.
add_library(host_flags INTERFACE)
add_library(machine_flags INTERFACE)
add_library(watched_flags INTERFACE)
option(HOST_UNITY "Host programs and their machine compile as a few large sources; off for tools that read single ones" ON)
target_include_directories(host_flags INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/made)
target_compile_options(host_flags INTERFACE -g)
# Linking some twenty programs with symbols is a minute of the usual linker.
find_program(MOLD mold)
if(MOLD)
  target_link_options(host_flags INTERFACE -fuse-ld=mold)
endif()
if(MFGTEST_FLAVOUR STREQUAL "sanitizers")
  target_compile_options(machine_flags INTERFACE -fno-omit-frame-pointer -fsanitize=address)
  target_compile_options(watched_flags INTERFACE
    -fno-omit-frame-pointer -fsanitize=address,undefined -fno-sanitize-recover=all)
  target_link_options(host_flags INTERFACE -fsanitize=address,undefined)
elseif(MFGTEST_FLAVOUR STREQUAL "coverage")
  target_compile_options(host_flags INTERFACE -O0 --coverage)
  target_link_options(host_flags INTERFACE --coverage)
elseif(MFGTEST_FLAVOUR STREQUAL "plain")
  target_compile_options(host_flags INTERFACE -O0 -g0)
elseif(MFGTEST_FLAVOUR STREQUAL "fuzz")
  target_compile_options(host_flags INTERFACE -O1 -fno-omit-frame-pointer -fsanitize=address,undefined
    -fno-sanitize-recover=all)
  target_link_options(host_flags INTERFACE -fsanitize=address,undefined)
else()
  target_compile_options(host_flags INTERFACE -O2)
  # g++ 12 takes its own strings for overrun when it optimises what comes from a
  # precompiled header.
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()
# A million runs: the machine around the products is only to be quick.
if(MFGTEST_FLAVOUR STREQUAL "campaign")
  target_link_options(host_flags INTERFACE -fsanitize=address,undefined)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # A table of the simulated machine holds one kind of refusal in every slot
  # that is not provided, whatever the slot's type.
  target_compile_options(host_flags INTERFACE -fno-sanitize=function)
endif()

# gnu-efi's library without the few names that a host program takes from its C
# library.
set(HOST_LIBEFI ${CMAKE_CURRENT_BINARY_DIR}/libefi.a)
add_custom_command(OUTPUT ${HOST_LIBEFI}
  COMMAND objcopy --localize-symbol=memcpy --localize-symbol=memset
          --localize-symbol=setjmp --localize-symbol=longjmp ${GNU_EFI_LIBEFI} ${HOST_LIBEFI}
  DEPENDS ${GNU_EFI_LIBEFI} VERBATIM)
add_custom_target(host_libefi DEPENDS ${HOST_LIBEFI})

function(add_product name)
  add_library(${name} STATIC ${ARGN})
  target_link_libraries(${name} PRIVATE product_flags host_flags watched_flags)
  if(MFGTEST_FLAVOUR STREQUAL "sanitizers")
    target_compile_options(${name} PRIVATE -O1)
  endif()
  if(MFGTEST_FLAVOUR STREQUAL "campaign")
    target_compile_options(${name} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=all)
  endif()
  if(name STREQUAL "host_platform")
    target_precompile_headers(${name} PRIVATE ${PRODUCT_HEADERS})
  else()
    target_precompile_headers(${name} REUSE_FROM host_platform)
  endif()
  # What drives the fuzzer is what the products do, not the machine around them.
  if(MFGTEST_FLAVOUR STREQUAL "fuzz")
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

add_product(host_platform ${PLATFORM_SOURCES})
add_dependencies(host_platform host_libefi)
target_link_libraries(host_platform INTERFACE ${HOST_LIBEFI})
add_product(host_module ${MODULE_SOURCES} ${ACCESS_SOURCES})
target_link_libraries(host_module PUBLIC host_platform)
add_product(host_testlib ${TESTLIB_SOURCES} ${PARAMETER_SOURCES})
target_link_libraries(host_testlib PUBLIC host_platform)
add_product(host_start ${START_SOURCES})
target_link_libraries(host_start PUBLIC host_platform)
add_product(host_dump ${DUMP_SOURCES})
target_link_libraries(host_dump PUBLIC host_module host_testlib)

# Every product starts at efi_main; one host program can hold them all.
function(rename_entry product file)
  set_source_files_properties(${CMAKE_SOURCE_DIR}/${file} PROPERTIES
    COMPILE_DEFINITIONS efi_main=${product}_efi_main SKIP_PRECOMPILE_HEADERS ON)
endfunction()
rename_entry(testlib testlib/entry.cc)
rename_entry(start start/entry.cc)
rename_entry(dump dump/entry.cc)
rename_entry(ipmi_kcs drivers/ipmi_kcs/entry.cc)
rename_entry(smbios_entry drivers/smbios_entry/entry.cc)

# What runs on the host only may use all of C++.
set(HOST_HEADERS <algorithm> <array> <functional> <map> <optional> <span> <string> <string_view> <vector>)
add_library(host_test_flags INTERFACE)
target_link_libraries(host_test_flags INTERFACE gnu_efi host_flags)
target_compile_options(host_test_flags INTERFACE -fno-strict-aliasing -Wall -Wextra -Wshadow -Werror)

# The management controller knows no firmware types: it serves simulated machines
# here, and machines in QEMU from a program beside them.
set(CONTROLLER_SOURCES ${CMAKE_SOURCE_DIR}/simulation/controller_file.cc
  ${CMAKE_SOURCE_DIR}/simulation/fru_image.cc ${CMAKE_SOURCE_DIR}/simulation/management_controller.cc)
add_library(controller OBJECT ${CONTROLLER_SOURCES})
target_link_libraries(controller PRIVATE host_test_flags machine_flags)
add_executable(bmc qemu/bmc/main.cc qemu/bmc/line_protocol.cc $<TARGET_OBJECTS:controller>)
target_link_libraries(bmc PRIVATE host_test_flags machine_flags)

function(compile_together)
  set_target_properties(${ARGN} PROPERTIES UNITY_BUILD ${HOST_UNITY} UNITY_BUILD_BATCH_SIZE 0)
endfunction()

file(GLOB SIMULATION_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/simulation/*.cc)
list(REMOVE_ITEM SIMULATION_SOURCES ${CONTROLLER_SOURCES})
add_library(simulation STATIC ${SIMULATION_SOURCES} $<TARGET_OBJECTS:controller>)
target_link_libraries(simulation PUBLIC host_module host_testlib host_test_flags PRIVATE machine_flags)
target_precompile_headers(simulation PRIVATE ${HOST_HEADERS} ${CMAKE_SOURCE_DIR}/platform/efi.h)
set_source_files_properties(${CMAKE_SOURCE_DIR}/simulation/reference_server.cc PROPERTIES
  COMPILE_DEFINITIONS SOURCE_FOLDER="${CMAKE_SOURCE_DIR}")

# Here the drivers' ports are those of the simulated machine.
add_product(host_drivers ${IPMI_KCS_SOURCES} ${SMBIOS_ENTRY_SOURCES})
target_link_libraries(host_drivers INTERFACE simulation)

# The products under an instruction counter, which tells them from the machine
# by the symbols of the libraries.
add_executable(bench EXCLUDE_FROM_ALL bench/main.cc)
target_link_libraries(bench PRIVATE simulation)

include(Tools)
if(MFGTEST_FLAVOUR STREQUAL "tools")
  return()
endif()

find_package(GTest REQUIRED)
include(GoogleTest)

# add_host_tests(name folders...): one test program of the *_test.cc files.
function(add_host_tests name)
  set(sources)
  foreach(folder ${ARGN})
    file(GLOB found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${folder}/*_test.cc)
    list(APPEND sources ${found})
  endforeach()
  if(sources)
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE simulation GTest::gtest_main)
    target_compile_definitions(${name} PRIVATE TESTS_FOLDER="${CMAKE_SOURCE_DIR}/tests")
    if(TARGET module_tests AND NOT name STREQUAL module_tests)
      target_precompile_headers(${name} REUSE_FROM module_tests)
    else()
      target_precompile_headers(${name} PRIVATE <gtest/gtest.h> ${HOST_HEADERS}
        ${CMAKE_SOURCE_DIR}/simulation/reference_server.h)
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60)
  endif()
endfunction()

add_host_tests(module_tests platform report module smbios scenarios)
add_host_tests(guid_tests guid net pci)
add_host_tests(testlib_tests testlib)
add_host_tests(ipmi_tests ipmi)
add_host_tests(driver_tests drivers)
add_host_tests(fault_tests faults)
add_host_tests(start_tests start)
add_host_tests(replay_tests replay)
foreach(tests driver_tests fault_tests start_tests)
  target_link_libraries(${tests} PRIVATE host_drivers)
endforeach()
target_link_libraries(replay_tests PRIVATE replay_machine host_dump)
foreach(tests fault_tests start_tests)
  target_link_libraries(${tests} PRIVATE host_start)
endforeach()
target_link_libraries(fault_tests PRIVATE mfgline_records)

add_test(NAME Layers.IncludeDownwardAndOnlyPlatformCallsFirmware
  COMMAND python3 -B ${CMAKE_SOURCE_DIR}/tests/check_layers.py)

find_program(IPMITOOL ipmitool PATHS /usr/sbin REQUIRED)
add_test(NAME FruImages.AreReadByIpmitool
  COMMAND python3 -B ${CMAKE_SOURCE_DIR}/tests/ipmi/check_fru_images.py $<TARGET_FILE:bmc>
          ${CMAKE_SOURCE_DIR}/simulation/server.machine)

add_test(NAME Records.AreValidated COMMAND python3 -B ${CMAKE_SOURCE_DIR}/tests/records/validator_test.py)
add_test(NAME Mfgline COMMAND python3 -B ${CMAKE_SOURCE_DIR}/tests/mfgline/check_mfgline.py $<TARGET_FILE:mfgline>)

# The fuzz targets, with libFuzzer, or with a main of their own that replays
# their corpus among the host tests.
file(GLOB FUZZ_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/fuzz/*.cc)
if(MFGTEST_FLAVOUR STREQUAL "fuzz")
  list(REMOVE_ITEM FUZZ_SOURCES ${CMAKE_SOURCE_DIR}/fuzz/corpus_runner.cc)
  add_executable(fuzz_targets ${FUZZ_SOURCES})
  target_link_options(fuzz_targets PRIVATE -fsanitize=fuzzer)
  target_link_libraries(fuzz_targets PRIVATE simulation host_drivers host_start replay_machine mfgline_answers)
elseif(MFGTEST_FLAVOUR MATCHES "sanitizers|campaign")
  list(REMOVE_ITEM FUZZ_SOURCES ${CMAKE_SOURCE_DIR}/fuzz/libfuzzer.cc)
  add_executable(fuzz_targets ${FUZZ_SOURCES})
  compile_together(fuzz_targets)
  target_link_libraries(fuzz_targets PRIVATE simulation host_drivers host_start replay_machine mfgline_answers)
  file(GLOB corpora CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/fuzz/corpus/*)
  foreach(corpus ${corpora})
    get_filename_component(target ${corpus} NAME)
    add_test(NAME Fuzz.${target} COMMAND fuzz_targets ${target} ${corpus} 1)
  endforeach()
endif()
