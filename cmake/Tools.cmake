# SPDX-License-Identifier: BSD-2-Clause-Patent
# Programs for the desk and the line's server. `make tools` builds them in build/tools.
add_custom_target(tools)

# All but the command line is a library, for the tests and the fuzzer.
file(GLOB REPLAY_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/replay/*.cc)
list(REMOVE_ITEM REPLAY_SOURCES ${CMAKE_SOURCE_DIR}/replay/main.cc)
add_library(replay_machine STATIC EXCLUDE_FROM_ALL ${REPLAY_SOURCES})
target_link_libraries(replay_machine PUBLIC simulation host_start PRIVATE watched_flags)
set_source_files_properties(${CMAKE_SOURCE_DIR}/replay/learn.cc PROPERTIES
  COMPILE_DEFINITIONS SAMPLE_FILE="${CMAKE_SOURCE_DIR}/station/mfgtest.cfg"
  OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/station/mfgtest.cfg)
add_executable(replay EXCLUDE_FROM_ALL replay/main.cc)
target_link_libraries(replay PRIVATE replay_machine)
add_dependencies(tools replay)
