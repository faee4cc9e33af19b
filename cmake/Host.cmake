# SPDX-License-Identifier: BSD-2-Clause-Patent
# Host programs: the products' own sources over the simulated machine.
set(MFGTEST_FLAVOUR sanitizers CACHE STRING "sanitizers, coverage, fuzz, bench, tools or plain")

# All host programs; and, beyond that, the products and the machine around them.
# What only drives them has to compile quickly: `make test` spends most of its
# time on it.
add_library(host_flags INTERFACE)
add_library(watched_flags INTERFACE)
target_include_directories(host_flags INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(host_flags INTERFACE -g)
if(MFGTEST_FLAVOUR STREQUAL "sanitizers")
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
  # What drives the fuzzer is what the products do, not the machine around them.
  if(MFGTEST_FLAVOUR STREQUAL "fuzz")
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

add_product(host_platform ${PLATFORM_SOURCES})
add_dependencies(host_platform host_libefi)
target_link_libraries(host_platform INTERFACE ${HOST_LIBEFI})
add_product(host_module ${MODULE_SOURCES})
target_link_libraries(host_module PUBLIC host_platform)
if(TESTLIB_SOURCES)
  add_product(host_testlib ${TESTLIB_SOURCES})
  target_link_libraries(host_testlib PUBLIC host_platform)
  # Both products start at efi_main; one host program can hold both.
  set_source_files_properties(${CMAKE_SOURCE_DIR}/testlib/entry.cc PROPERTIES
    COMPILE_DEFINITIONS efi_main=testlib_efi_main)
endif()

add_product(host_start ${START_SOURCES})
target_link_libraries(host_start PUBLIC host_platform)
set_source_files_properties(${CMAKE_SOURCE_DIR}/start/entry.cc PROPERTIES
  COMPILE_DEFINITIONS efi_main=start_efi_main)

add_product(host_dump ${DUMP_SOURCES})
target_link_libraries(host_dump PUBLIC host_module host_testlib)
set_source_files_properties(${CMAKE_SOURCE_DIR}/dump/entry.cc PROPERTIES
  COMPILE_DEFINITIONS efi_main=dump_efi_main)

# What runs on the host only may use all of C++.
add_library(host_test_flags INTERFACE)
target_link_libraries(host_test_flags INTERFACE gnu_efi host_flags)
target_compile_options(host_test_flags INTERFACE -fno-strict-aliasing -Wall -Wextra -Wshadow -Werror)

# The management controller knows no firmware types: it serves simulated machines
# here, and machines in QEMU from a program beside them.
set(CONTROLLER_SOURCES ${CMAKE_SOURCE_DIR}/simulation/controller_file.cc
  ${CMAKE_SOURCE_DIR}/simulation/fru_image.cc ${CMAKE_SOURCE_DIR}/simulation/management_controller.cc)
add_library(controller OBJECT ${CONTROLLER_SOURCES})
target_link_libraries(controller PRIVATE host_test_flags watched_flags)
add_executable(bmc qemu/bmc/main.cc qemu/bmc/line_protocol.cc $<TARGET_OBJECTS:controller>)
target_link_libraries(bmc PRIVATE host_test_flags watched_flags)

file(GLOB SIMULATION_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/simulation/*.cc)
list(REMOVE_ITEM SIMULATION_SOURCES ${CONTROLLER_SOURCES})
add_library(simulation STATIC ${SIMULATION_SOURCES} $<TARGET_OBJECTS:controller>)
target_link_libraries(simulation PUBLIC host_module host_test_flags PRIVATE watched_flags)
set_source_files_properties(${CMAKE_SOURCE_DIR}/simulation/reference_server.cc PROPERTIES
  COMPILE_DEFINITIONS SOURCE_FOLDER="${CMAKE_SOURCE_DIR}")
if(TESTLIB_SOURCES)
  target_link_libraries(simulation PUBLIC host_testlib)
endif()

# Here the drivers' ports are those of the simulated machine.
add_product(host_drivers ${IPMI_KCS_SOURCES} ${SMBIOS_ENTRY_SOURCES})
target_link_libraries(host_drivers INTERFACE simulation)
foreach(driver ipmi_kcs smbios_entry)
  set_source_files_properties(${CMAKE_SOURCE_DIR}/drivers/${driver}/entry.cc PROPERTIES
    COMPILE_DEFINITIONS efi_main=${driver}_efi_main)
endforeach()

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
      target_precompile_headers(${name} PRIVATE <gtest/gtest.h>)
    endif()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60)
  endif()
endfunction()

add_host_tests(module_tests simulation platform report module smbios scenarios)
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
  list(REMOVE_ITEM FUZZ_SOURCES ${CMAKE_SOURCE_DIR}/fuzz/replay.cc)
  add_executable(fuzz_targets ${FUZZ_SOURCES})
  target_link_options(fuzz_targets PRIVATE -fsanitize=fuzzer)
  target_link_libraries(fuzz_targets PRIVATE simulation host_drivers host_start replay_machine mfgline_records)
elseif(MFGTEST_FLAVOUR STREQUAL "sanitizers")
  list(REMOVE_ITEM FUZZ_SOURCES ${CMAKE_SOURCE_DIR}/fuzz/libfuzzer.cc)
  add_executable(fuzz_targets ${FUZZ_SOURCES})
  set_target_properties(fuzz_targets PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  target_link_libraries(fuzz_targets PRIVATE simulation host_drivers host_start replay_machine mfgline_records)
  file(GLOB corpora CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/fuzz/corpus/*)
  foreach(corpus ${corpora})
    get_filename_component(target ${corpus} NAME)
    add_test(NAME Fuzz.${target} COMMAND fuzz_targets ${target} ${corpus} 1)
  endforeach()
endif()
