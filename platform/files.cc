// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/files.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/shell.h"

namespace platform {
namespace {

constexpr EFI_GUID kSimpleFileSystemProtocolGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
constexpr EFI_GUID kFileInfoGuid = EFI_FILE_INFO_ID;

constexpr std::uint64_t kWrite = EFI_FILE_MODE_READ | EFI_FILE_MODE_WRITE | EFI_FILE_MODE_CREATE;
constexpr std::size_t kPathCharacters = 512;
using Path = std::array<char16_t, kPathCharacters>;

// A file that fills the buffer is followed by a read that must give nothing.
template <class ReadPart>
EFI_STATUS ReadWhole(ReadPart read_part, std::span<std::uint8_t> buffer, std::size_t* size) {
  *size = 0;
  while (true) {
    std::uint8_t beyond = 0;
    const bool full = *size == buffer.size();
    const UINTN room = full ? 1 : buffer.size() - *size;
    UINTN part = room;
    const EFI_STATUS status = read_part(&part, full ? &beyond : &buffer[*size]);
    if (EFI_ERROR(status)) return status;
    if (part > room) return EFI_COMPROMISED_DATA;
    if (part == 0) return EFI_SUCCESS;
    if (full) return EFI_BUFFER_TOO_SMALL;
    *size += part;
  }
}

EFI_STATUS ReadThroughShell(Shell* shell, const char16_t* path, std::span<std::uint8_t> buffer, std::size_t* size) {
  SHELL_FILE_HANDLE file = nullptr;
  EFI_STATUS status = Given(shell->OpenFileByName(AsFirmwareText(path), &file, EFI_FILE_MODE_READ), &file);
  if (EFI_ERROR(status)) return status;
  EFI_FILE_INFO* const info = shell->GetFileInfo(file);
  const bool is_folder = info != nullptr && (info->Attribute & EFI_FILE_DIRECTORY) != 0;
  if (info != nullptr) ::FreePool(info);
  status = is_folder ? EFI_UNSUPPORTED
                     : ReadWhole([&](UINTN* part, void* to) { return shell->ReadFile(file, part, to); }, buffer, size);
  shell->CloseFile(file);
  return status;
}

bool IsFolder(EFI_FILE* file) {
  alignas(EFI_FILE_INFO)
      std::array<std::uint8_t, offsetof(EFI_FILE_INFO, FileName) + kPathCharacters * sizeof(char16_t)>
          block{};
  UINTN size = block.size();
  if (EFI_ERROR(file->GetInfo(file, AsFirmwareGuid(kFileInfoGuid), &size, block.data()))) return false;
  return (reinterpret_cast<EFI_FILE_INFO*>(block.data())->Attribute & EFI_FILE_DIRECTORY) != 0;
}

EFI_STATUS OpenOnVolume(EFI_HANDLE device, const char16_t* path, std::uint64_t mode, EFI_FILE** file,
                        std::uint64_t attributes = 0) {
  EFI_FILE_IO_INTERFACE* volume = nullptr;
  // A drive that was pulled takes its file system off the handle.
  if (EFI_ERROR(HandleInterface(device, kSimpleFileSystemProtocolGuid, &volume))) return EFI_NO_MEDIA;
  EFI_FILE* root = nullptr;
  EFI_STATUS status = Given(volume->OpenVolume(volume, &root), &root);
  if (EFI_ERROR(status)) return status;
  status = root->Open(root, file, AsFirmwareText(path), mode, attributes);
  status = Given(status, file);
  root->Close(root);
  return status;
}

EFI_STATUS ReadOnVolume(EFI_HANDLE device, const char16_t* path, std::span<std::uint8_t> buffer, std::size_t* size) {
  EFI_FILE* file = nullptr;
  EFI_STATUS status = OpenOnVolume(device, path, EFI_FILE_MODE_READ, &file);
  if (EFI_ERROR(status)) return status;
  status = IsFolder(file) ? EFI_UNSUPPORTED
                          : ReadWhole([&](UINTN* part, void* to) { return file->Read(file, part, to); }, buffer, size);
  file->Close(file);
  return status;
}

bool Append(Path& path, std::size_t& length, const CHAR16* text, std::size_t count) {
  for (; count > 0 && *text != 0; --count, ++text) {
    if (length + 1 == path.size()) return false;
    path[length++] = *text;
  }
  return true;
}

// The path of the image's file on its volume: the file path nodes of its
// device path, one after the other.
bool ImagePath(EFI_DEVICE_PATH* node, Path& path, std::size_t& length) {
  for (length = 0; node != nullptr && !IsDevicePathEnd(node); node = NextDevicePathNode(node)) {
    const auto node_length = static_cast<std::size_t>(DevicePathNodeLength(node));
    if (node_length < sizeof *node) return false;
    if (DevicePathType(node) != MEDIA_DEVICE_PATH || DevicePathSubType(node) != MEDIA_FILEPATH_DP) continue;
    const auto* const text = reinterpret_cast<FILEPATH_DEVICE_PATH*>(node)->PathName;
    if (length > 0 && path[length - 1] != u'\\' && !Append(path, length, reinterpret_cast<const CHAR16*>(u"\\"), 1)) {
      return false;
    }
    if (!Append(path, length, text, (node_length - sizeof *node) / sizeof *text)) return false;
  }
  return true;
}

bool HasVolume(EFI_HANDLE device) {
  EFI_FILE_IO_INTERFACE* volume = nullptr;
  return !EFI_ERROR(HandleInterface(device, kSimpleFileSystemProtocolGuid, &volume));
}

}  // namespace

EFI_STATUS ReadFile(EFI_HANDLE image, const char16_t* path, std::span<std::uint8_t> buffer, std::size_t* size) {
  auto* const shell = FirstInterface<Shell>(kShellProtocolGuid);
  if (shell != nullptr) return ReadThroughShell(shell, path, buffer, size);
  return ReadFileOnVolume(image, path, buffer, size);
}

EFI_STATUS FolderOf(EFI_HANDLE image, std::span<char16_t> folder) {
  const EFI_LOADED_IMAGE* const loaded = LoadedImage(image);
  // An image that was loaded from memory has no folder.
  if (loaded == nullptr || loaded->DeviceHandle == nullptr) return EFI_NOT_FOUND;
  Path path;
  std::size_t length = 0;
  if (!ImagePath(loaded->FilePath, path, length)) return EFI_INVALID_PARAMETER;
  // Nor has one that came over the network.
  if (length == 0 && !HasVolume(loaded->DeviceHandle)) return EFI_NOT_FOUND;
  while (length > 0 && path[length - 1] != u'\\') --length;
  if (length >= folder.size()) return EFI_INVALID_PARAMETER;
  *std::copy_n(path.begin(), length, folder.begin()) = 0;
  return EFI_SUCCESS;
}

EFI_STATUS ReadFileBeside(EFI_HANDLE image, const char16_t* name, std::span<std::uint8_t> buffer, std::size_t* size) {
  Path path;
  if (const EFI_STATUS status = FolderOf(image, path); EFI_ERROR(status)) return status;
  std::size_t length = std::u16string_view(path.data()).size();
  if (!Append(path, length, AsFirmwareText(name), kPathCharacters)) return EFI_INVALID_PARAMETER;
  path[length] = 0;
  return ReadFileOnVolume(image, path.data(), buffer, size);
}

EFI_STATUS ReadFileOnVolume(EFI_HANDLE image, const char16_t* path, std::span<std::uint8_t> buffer, std::size_t* size) {
  const EFI_LOADED_IMAGE* const loaded = LoadedImage(image);
  return loaded == nullptr ? EFI_NOT_FOUND : ReadOnVolume(loaded->DeviceHandle, path, buffer, size);
}

EFI_STATUS WriteFileOnVolume(EFI_HANDLE image, const char16_t* path, std::span<const std::uint8_t> content) {
  const EFI_LOADED_IMAGE* const loaded = LoadedImage(image);
  if (loaded == nullptr) return EFI_NOT_FOUND;
  EFI_FILE* file = nullptr;
  EFI_STATUS status = OpenOnVolume(loaded->DeviceHandle, path, kWrite, &file);
  if (EFI_ERROR(status)) return status;
  UINTN written = content.size();
  status = file->Write(file, &written, const_cast<std::uint8_t*>(content.data()));
  if (!EFI_ERROR(status) && written != content.size()) status = EFI_VOLUME_FULL;
  if (!EFI_ERROR(status)) status = file->Flush(file);
  file->Close(file);
  return status;
}

EFI_STATUS MakeFolderOnVolume(EFI_HANDLE image, const char16_t* path) {
  const EFI_LOADED_IMAGE* const loaded = LoadedImage(image);
  if (loaded == nullptr) return EFI_NOT_FOUND;
  EFI_FILE* folder = nullptr;
  const EFI_STATUS status = OpenOnVolume(loaded->DeviceHandle, path, kWrite, &folder, EFI_FILE_DIRECTORY);
  if (!EFI_ERROR(status)) folder->Close(folder);
  return status;
}

EFI_STATUS DeleteFileOnVolume(EFI_HANDLE image, const char16_t* path) {
  const EFI_LOADED_IMAGE* const loaded = LoadedImage(image);
  if (loaded == nullptr) return EFI_NOT_FOUND;
  EFI_FILE* file = nullptr;
  const EFI_STATUS status = OpenOnVolume(loaded->DeviceHandle, path, EFI_FILE_MODE_READ | EFI_FILE_MODE_WRITE, &file);
  // Firmware warns of a file that it could not delete.
  return EFI_ERROR(status) ? status : file->Delete(file) == EFI_SUCCESS ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

EFI_STATUS WriteFile(EFI_HANDLE image, const char16_t* path, std::span<const std::uint8_t> content) {
  auto* const shell = FirstInterface<Shell>(kShellProtocolGuid);
  if (shell == nullptr) return WriteFileOnVolume(image, path, content);
  SHELL_FILE_HANDLE file = nullptr;
  EFI_STATUS status = Given(shell->OpenFileByName(AsFirmwareText(path), &file, kWrite), &file);
  if (EFI_ERROR(status)) return status;
  UINTN written = content.size();
  status = shell->WriteFile(file, &written, const_cast<std::uint8_t*>(content.data()));
  if (!EFI_ERROR(status) && written != content.size()) status = EFI_VOLUME_FULL;
  const EFI_STATUS closed = shell->CloseFile(file);
  return EFI_ERROR(status) ? status : closed;
}

EFI_STATUS MakeFolder(EFI_HANDLE image, const char16_t* path) {
  auto* const shell = FirstInterface<Shell>(kShellProtocolGuid);
  if (shell == nullptr) return MakeFolderOnVolume(image, path);
  SHELL_FILE_HANDLE folder = nullptr;
  const EFI_STATUS status = Given(shell->CreateFile(AsFirmwareText(path), EFI_FILE_DIRECTORY, &folder), &folder);
  return EFI_ERROR(status) ? status : shell->CloseFile(folder);
}

}  // namespace platform
