# The sources of each product, named once for images and host programs.
file(GLOB MODULE_SOURCES CONFIGURE_DEPENDS
  ${CMAKE_SOURCE_DIR}/module/*.cc
  ${CMAKE_SOURCE_DIR}/smbios/*.cc)
file(GLOB TESTLIB_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/testlib/*.cc)
# The layer over the firmware, shared by all products; freestanding.cc stands
# in for the C library, which a host program has.
file(GLOB PLATFORM_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/platform/*.cc)
list(REMOVE_ITEM PLATFORM_SOURCES ${CMAKE_SOURCE_DIR}/platform/freestanding.cc)
set(FREESTANDING_SOURCES ${CMAKE_SOURCE_DIR}/platform/freestanding.cc)
