// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/image.h"

#include <algorithm>
#include <string_view>

#include "platform/handles.h"
#include "platform/memory.h"

namespace platform {
namespace {

constexpr EFI_GUID kLoadedImageProtocolGuid = LOADED_IMAGE_PROTOCOL;
constexpr EFI_GUID kDevicePathProtocolGuid = DEVICE_PATH_PROTOCOL;

constinit EFI_HANDLE running_image = nullptr;

// The bytes of a device path in front of its end.
std::size_t PathLength(EFI_DEVICE_PATH* path) {
  std::size_t length = 0;
  for (EFI_DEVICE_PATH* node = path; !IsDevicePathEnd(node); node = NextDevicePathNode(node)) {
    const auto node_length = static_cast<std::size_t>(DevicePathNodeLength(node));
    if (node_length < sizeof *node) break;
    length += node_length;
  }
  return length;
}

EFI_DEVICE_PATH Node(std::uint8_t type, std::uint8_t sub_type, std::size_t length) {
  return {.Type = type,
          .SubType = sub_type,
          .Length = {static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(length >> 8)}};
}

// The device path of a file: that of its device and a node with its path.
PoolBuffer FileDevicePath(EFI_DEVICE_PATH* device, std::u16string_view path) {
  const std::size_t device_length = PathLength(device);
  const std::size_t text_length = (path.size() + 1) * sizeof(char16_t);
  const EFI_DEVICE_PATH file = Node(MEDIA_DEVICE_PATH, MEDIA_FILEPATH_DP, sizeof file + text_length);
  const EFI_DEVICE_PATH end = Node(END_DEVICE_PATH_TYPE, END_ENTIRE_DEVICE_PATH_SUBTYPE, sizeof end);
  void* const block = ::AllocatePool(device_length + sizeof file + text_length + sizeof end);
  if (block == nullptr) return {};
  auto* to = static_cast<std::uint8_t*>(block);
  const auto append = [&to](const void* from, std::size_t size) {
    to = std::copy_n(static_cast<const std::uint8_t*>(from), size, to);
  };
  append(device, device_length);
  append(&file, sizeof file);
  append(path.data(), text_length);
  append(&end, sizeof end);
  return {block, static_cast<std::size_t>(to - static_cast<std::uint8_t*>(block))};
}

}  // namespace

// gnu-efi's own routine also reads variables and looks for a collation, for parts
// of the library that nothing here uses, and in loops that a firmware which never
// finds a buffer large enough keeps going for ever.
void InitializeImage(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  running_image = image;
  ST = system_table;
  BS = system_table->BootServices;
  RT = system_table->RuntimeServices;
}

EFI_HANDLE RunningImage() { return running_image; }

EFI_STATUS ExitImage(EFI_HANDLE image, EFI_STATUS status) {
  BS->Exit(image, status, 0, nullptr);
  return status;
}

EFI_LOADED_IMAGE* LoadedImage(EFI_HANDLE image) {
  EFI_LOADED_IMAGE* loaded = nullptr;
  return EFI_ERROR(HandleInterface(image, kLoadedImageProtocolGuid, &loaded)) ? nullptr : loaded;
}

EFI_STATUS LoadImageFile(EFI_HANDLE parent, const char16_t* path, EFI_HANDLE* image) {
  *image = nullptr;
  const EFI_LOADED_IMAGE* const loaded = LoadedImage(parent);
  EFI_DEVICE_PATH* device = nullptr;
  if (loaded == nullptr || EFI_ERROR(HandleInterface(loaded->DeviceHandle, kDevicePathProtocolGuid, &device))) {
    return EFI_NOT_FOUND;
  }
  const PoolBuffer file = FileDevicePath(device, path);
  if (file.data == nullptr) return EFI_OUT_OF_RESOURCES;
  EFI_STATUS status = BS->LoadImage(FALSE, parent, static_cast<EFI_DEVICE_PATH*>(file.data), nullptr, 0, image);
  status = Given(status, image);
  if (!EFI_ERROR(status)) return status;
  if (*image != nullptr) UnloadImage(*image);
  *image = nullptr;
  return status;
}

EFI_STATUS StartLoadedImage(EFI_HANDLE image) { return BS->StartImage(image, nullptr, nullptr); }

EFI_STATUS UnloadImage(EFI_HANDLE image) {
  return LoadedImage(image) == nullptr ? EFI_SUCCESS : BS->UnloadImage(image);
}

}  // namespace platform
