# SPDX-License-Identifier: BSD-2-Clause-Patent
# gnu-efi from the Debian package of that name.
find_path(GNU_EFI_INCLUDE efi.h PATHS /usr/include/efi NO_DEFAULT_PATH)
find_file(GNU_EFI_CRT0 crt0-efi-x86_64.o PATHS /usr/lib /usr/lib/gnuefi NO_DEFAULT_PATH)
find_file(GNU_EFI_LIBEFI libefi.a PATHS /usr/lib NO_DEFAULT_PATH)
find_file(GNU_EFI_LIBGNUEFI libgnuefi.a PATHS /usr/lib NO_DEFAULT_PATH)
foreach(part INCLUDE CRT0 LIBEFI LIBGNUEFI)
  if(NOT GNU_EFI_${part})
    message(FATAL_ERROR "gnu-efi is missing: run `make setup` (Debian package gnu-efi)")
  endif()
endforeach()

# Headers and calling convention, the same for images and host programs.
add_library(gnu_efi INTERFACE)
target_include_directories(gnu_efi SYSTEM INTERFACE ${GNU_EFI_INCLUDE} ${GNU_EFI_INCLUDE}/x86_64)
target_compile_definitions(gnu_efi INTERFACE GNU_EFI_USE_MS_ABI)

# What every product source is compiled with, wherever it runs.
add_library(product_flags INTERFACE)
target_link_libraries(product_flags INTERFACE gnu_efi)
target_include_directories(product_flags INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/made)
target_compile_options(product_flags INTERFACE
  -fno-exceptions -fno-rtti -fno-strict-aliasing -fno-threadsafe-statics
  -Wall -Wextra -Wconversion -Wshadow -Werror)
