# SPDX-License-Identifier: BSD-2-Clause-Patent
# UEFI images: position-independent ELF objects, linked by gnu-efi's start code
# and converted to PE32+.
# Symbols stay in the ELF object beside the image.
set(IMAGE_COMPILE_OPTIONS
  -Os -g -ffreestanding -fpic -fno-stack-protector -fno-stack-check -mno-red-zone
  -maccumulate-outgoing-args -fno-asynchronous-unwind-tables
  -ffunction-sections -fdata-sections -fvisibility=hidden)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  list(REMOVE_ITEM IMAGE_COMPILE_OPTIONS -maccumulate-outgoing-args)
else()
  # A unique symbol is looked up by name at start, for which nothing is there.
  list(APPEND IMAGE_COMPILE_OPTIONS -fno-gnu-unique)
endif()

add_library(image_flags INTERFACE)
target_link_libraries(image_flags INTERFACE product_flags)
target_compile_options(image_flags INTERFACE ${IMAGE_COMPILE_OPTIONS})

add_library(image_platform OBJECT ${PLATFORM_SOURCES} ${PORT_IO_SOURCES} ${RELOCATE_SOURCES}
  ${FREESTANDING_SOURCES})
target_link_libraries(image_platform PRIVATE image_flags)
target_precompile_headers(image_platform PRIVATE ${PRODUCT_HEADERS})
set_source_files_properties(${FREESTANDING_SOURCES} PROPERTIES COMPILE_OPTIONS -fno-builtin SKIP_PRECOMPILE_HEADERS ON)

# gnu-efi's library comes in whole objects: one routine that is called brings its
# neighbours, and those bring what they call. The chain ends here, at names that
# nothing calls (the image check looks for callers of ours) or that have a stand-in.
set(LIBEFI_CUTS
  --defsym=DevicePathFromHandle=0
  --defsym=DevicePathToStr=0
  --defsym=CompareGuid=0
  --defsym=UnicodeSPrint=FormatUnnamedStatus)

# What a loader under Secure Boot asks an image: which component and generation it
# is. Whoever signs the images may add a line of his own.
set(SBAT ${CMAKE_CURRENT_BINARY_DIR}/sbat.o)
set(SBAT_TEXT ${CMAKE_BINARY_DIR}/made/sbat.csv)
configure_file(${CMAKE_SOURCE_DIR}/cmake/sbat.csv.in ${SBAT_TEXT} @ONLY)
add_custom_command(OUTPUT ${SBAT}
  COMMAND objcopy -I binary -O elf64-x86-64 --rename-section .data=.sbat,alloc,load,readonly,data,contents
          ${SBAT_TEXT} ${SBAT}
  DEPENDS ${SBAT_TEXT}
  VERBATIM)
add_custom_target(sbat DEPENDS ${SBAT})

set(MARK_NX ${CMAKE_SOURCE_DIR}/cmake/mark_nx.py)
set(IMAGE_LINKER_SCRIPT ${CMAKE_SOURCE_DIR}/cmake/image.lds)
set(IMAGE_OUTPUT ${CMAKE_SOURCE_DIR}/build/efi)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  set(IMAGE_OUTPUT ${CMAKE_SOURCE_DIR}/build/efi-clang)
endif()
file(MAKE_DIRECTORY ${IMAGE_OUTPUT})

# What one image reads through and another has: compiled once.
function(add_image_objects name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE image_flags)
  target_precompile_headers(${name} REUSE_FROM image_platform)
endfunction()

# add_efi_image(name target sources... [OBJECTS libraries...]): target is objcopy's
# efi-app-x86_64 (application) or efi-bsdrv-x86_64 (boot-services driver).
function(add_efi_image name target)
  cmake_parse_arguments(PARSE_ARGV 2 image "" "" OBJECTS)
  add_image_objects(${name} ${image_UNPARSED_ARGUMENTS})
  set(objects)
  foreach(library ${name} ${image_OBJECTS} image_platform)
    # The precompiled header counts as an object of the library that has it.
    list(APPEND objects "$<FILTER:$<TARGET_OBJECTS:${library}>,EXCLUDE,[.][gp]ch$>")
  endforeach()
  set(elf ${CMAKE_CURRENT_BINARY_DIR}/${name}.so)
  set(efi ${IMAGE_OUTPUT}/${name}.efi)
  add_custom_command(OUTPUT ${efi}
    COMMAND ld -shared -nostdlib -Bsymbolic -zpack-relative-relocs -znoexecstack --gc-sections --no-undefined
            ${LIBEFI_CUTS} -T ${IMAGE_LINKER_SCRIPT} -o ${elf}
            ${GNU_EFI_CRT0} ${objects} ${SBAT}
            ${GNU_EFI_LIBEFI} ${GNU_EFI_LIBGNUEFI}
    COMMAND objcopy --strip-all --target ${target}
            -j .text -j .reloc -j .rodata -j .data -j .relr -j .sbat
            ${elf} ${efi}
    COMMAND python3 -B ${MARK_NX} ${efi}
    DEPENDS ${objects} ${SBAT} ${IMAGE_LINKER_SCRIPT} ${MARK_NX}
    COMMAND_EXPAND_LISTS VERBATIM
    COMMENT "Linking ${name}.efi")
  add_custom_target(${name}_efi ALL DEPENDS ${efi})
  add_dependencies(${name}_efi sbat)
endfunction()

add_image_objects(image_access ${ACCESS_SOURCES})
add_image_objects(image_parameters ${PARAMETER_SOURCES})
add_efi_image(mfgtest efi-app-x86_64 ${MODULE_SOURCES} OBJECTS image_access)
add_efi_image(testlib efi-bsdrv-x86_64 ${TESTLIB_SOURCES} OBJECTS image_parameters)
add_efi_image(ipmi_kcs efi-bsdrv-x86_64 ${IPMI_KCS_SOURCES})
add_efi_image(smbios_entry efi-bsdrv-x86_64 ${SMBIOS_ENTRY_SOURCES})
add_efi_image(start efi-app-x86_64 ${START_SOURCES})
add_efi_image(dump efi-app-x86_64 ${DUMP_SOURCES} OBJECTS image_access image_parameters)

# Firmware that a board has and OVMF has not; no product.
string(REGEX REPLACE "/efi([^/]*)$" "/qemu\\1" IMAGE_OUTPUT ${IMAGE_OUTPUT})
file(MAKE_DIRECTORY ${IMAGE_OUTPUT})
add_efi_image(manufacturing_interface efi-bsdrv-x86_64
  ${CMAKE_SOURCE_DIR}/qemu/demonstration/manufacturing_interface.cc)
add_efi_image(newer_firmware efi-bsdrv-x86_64 ${CMAKE_SOURCE_DIR}/qemu/demonstration/newer_firmware.cc)
add_efi_image(firmware_ipmi efi-bsdrv-x86_64 ${CMAKE_SOURCE_DIR}/qemu/demonstration/firmware_ipmi.cc
  ${CMAKE_SOURCE_DIR}/drivers/ipmi_kcs/kcs.cc ${CMAKE_SOURCE_DIR}/drivers/ipmi_kcs/registers.cc)
add_efi_image(run_clock efi-bsdrv-x86_64 ${CMAKE_SOURCE_DIR}/qemu/demonstration/run_clock.cc)
