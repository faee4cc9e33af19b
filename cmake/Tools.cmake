# SPDX-License-Identifier: BSD-2-Clause-Patent
# Programs for the desk and the line's server. `make tools` builds them in build/tools.
add_custom_target(tools)

# All but the command line is a library, for the tests and the fuzzer.
file(GLOB REPLAY_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/replay/*.cc)
list(REMOVE_ITEM REPLAY_SOURCES ${CMAKE_SOURCE_DIR}/replay/main.cc)
add_library(replay_machine STATIC EXCLUDE_FROM_ALL ${REPLAY_SOURCES})
target_link_libraries(replay_machine PUBLIC simulation host_drivers host_start PRIVATE machine_flags)
target_precompile_headers(replay_machine REUSE_FROM simulation)
compile_together(replay_machine)
set_source_files_properties(${CMAKE_SOURCE_DIR}/replay/learn.cc PROPERTIES
  COMPILE_DEFINITIONS SAMPLE_FILE="${CMAKE_SOURCE_DIR}/station/mfgtest.cfg"
  OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/station/mfgtest.cfg)
add_executable(replay EXCLUDE_FROM_ALL replay/main.cc)
target_link_libraries(replay PRIVATE replay_machine)
add_dependencies(tools replay)

set(MFGLINE_TEMPLATES ${CMAKE_SOURCE_DIR}/mfgline/templates)
foreach(template index.html unit.html suite.xml style.css page.js)
  file(READ ${MFGLINE_TEMPLATES}/${template} ${template})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${MFGLINE_TEMPLATES}/${template})
endforeach()
configure_file(${CMAKE_SOURCE_DIR}/mfgline/templates.h.in ${CMAKE_BINARY_DIR}/made/mfgline/templates.h @ONLY)

# A designated initializer names what it sets and leaves the rest.
add_library(mfgline_flags INTERFACE)
target_link_libraries(mfgline_flags INTERFACE host_test_flags)
target_compile_options(mfgline_flags INTERFACE -Wno-missing-field-initializers)
if(MFGTEST_FLAVOUR STREQUAL "tools")
  target_compile_definitions(mfgline_flags INTERFACE NDEBUG) # the JSON library asserts at every value
endif()

# What touches bytes from outside is a library of its own, for the fuzzer and
# under the sanitizers.
add_library(mfgline_records STATIC ${CMAKE_SOURCE_DIR}/mfgline/record.cc ${CMAKE_SOURCE_DIR}/mfgline/text.cc)
target_link_libraries(mfgline_records PRIVATE mfgline_flags machine_flags)
if(MFGTEST_FLAVOUR STREQUAL "tools")
  target_compile_options(mfgline_records PRIVATE -O3) # reading JSON is most of adding records
endif()
# What a database makes of it.
add_library(mfgline_answers STATIC EXCLUDE_FROM_ALL)
foreach(source answers database publish show store)
  target_sources(mfgline_answers PRIVATE ${CMAKE_SOURCE_DIR}/mfgline/${source}.cc)
endforeach()
target_include_directories(mfgline_answers SYSTEM PRIVATE /usr/include/postgresql)
target_link_libraries(mfgline_answers PRIVATE mfgline_flags machine_flags PUBLIC mfgline_records sqlite3 pq ctemplate)
if(MFGTEST_FLAVOUR STREQUAL "fuzz")
  target_compile_options(mfgline_records PRIVATE -fsanitize=fuzzer-no-link)
  target_compile_options(mfgline_answers PRIVATE -fsanitize=fuzzer-no-link)
endif()

add_executable(mfgline ${CMAKE_SOURCE_DIR}/mfgline/add.cc ${CMAKE_SOURCE_DIR}/mfgline/main.cc)
compile_together(mfgline mfgline_answers mfgline_records)
target_link_libraries(mfgline PRIVATE mfgline_answers mfgline_flags)
add_dependencies(tools mfgline)
# Its libraries are there where it is built to be used or tested.
if(NOT MFGTEST_FLAVOUR MATCHES "tools|sanitizers")
  set_target_properties(mfgline PROPERTIES EXCLUDE_FROM_ALL ON)
endif()
