# SPDX-License-Identifier: BSD-2-Clause-Patent
# The sources of each product, named once for images and host programs.
file(GLOB MODULE_SOURCES CONFIGURE_DEPENDS
  ${CMAKE_SOURCE_DIR}/module/*.cc
  ${CMAKE_SOURCE_DIR}/report/*.cc
  ${CMAKE_SOURCE_DIR}/smbios/*.cc
  ${CMAKE_SOURCE_DIR}/ipmi/*.cc
  ${CMAKE_SOURCE_DIR}/pci/*.cc
  ${CMAKE_SOURCE_DIR}/net/*.cc
  ${CMAKE_SOURCE_DIR}/guid/*.cc)
file(GLOB TESTLIB_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/testlib/*.cc ${CMAKE_SOURCE_DIR}/testlib/record/*.cc)
file(GLOB IPMI_KCS_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/drivers/ipmi_kcs/*.cc)
file(GLOB SMBIOS_ENTRY_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/drivers/smbios_entry/*.cc)
file(GLOB START_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/start/*.cc)
file(GLOB DUMP_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/dump/*.cc)
# What dump.efi reads through, beside its own: parts of the module and of the library.
set(ACCESS_SOURCES
  ${CMAKE_SOURCE_DIR}/smbios/structures.cc ${CMAKE_SOURCE_DIR}/smbios/entry_point.cc
  ${CMAKE_SOURCE_DIR}/report/report.cc ${CMAKE_SOURCE_DIR}/report/last_error.cc
  ${CMAKE_SOURCE_DIR}/ipmi/transport.cc ${CMAKE_SOURCE_DIR}/ipmi/bridge.cc
  ${CMAKE_SOURCE_DIR}/ipmi/completion_codes.cc ${CMAKE_SOURCE_DIR}/pci/access.cc ${CMAKE_SOURCE_DIR}/guid/flash.cc)
list(REMOVE_ITEM MODULE_SOURCES ${ACCESS_SOURCES})
set(PARAMETER_SOURCES
  ${CMAKE_SOURCE_DIR}/testlib/parameters.cc ${CMAKE_SOURCE_DIR}/testlib/parameter_file.cc)
list(REMOVE_ITEM TESTLIB_SOURCES ${PARAMETER_SOURCES})
# The layer over the firmware, shared by all products; freestanding.cc stands
# in for the C library, which a host program has, relocate.cc for its loader, and
# port_io.cc reaches for ports, which the simulated machine has.
file(GLOB PLATFORM_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/platform/*.cc)
set(RELOCATE_SOURCES ${CMAKE_SOURCE_DIR}/platform/relocate.cc)
set(PORT_IO_SOURCES ${CMAKE_SOURCE_DIR}/platform/port_io.cc)
list(REMOVE_ITEM PLATFORM_SOURCES ${CMAKE_SOURCE_DIR}/platform/freestanding.cc ${RELOCATE_SOURCES}
  ${PORT_IO_SOURCES})
set(FREESTANDING_SOURCES ${CMAKE_SOURCE_DIR}/platform/freestanding.cc)

# What nearly every product source begins with, compiled once for each set of flags.
set(PRODUCT_HEADERS <algorithm> <array> <cstdint> <span> <string_view> ${CMAKE_SOURCE_DIR}/platform/efi.h)
