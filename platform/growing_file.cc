// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/growing_file.h"

#include "platform/handles.h"
#include "platform/protocols/shell.h"

namespace platform {
namespace {

constexpr EFI_GUID kSimpleFileSystemProtocolGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
constexpr EFI_GUID kFileInfoGuid = EFI_FILE_INFO_ID;
constexpr std::uint64_t kReadAndWrite = EFI_FILE_MODE_READ | EFI_FILE_MODE_WRITE;
constexpr std::uint64_t kCreate = kReadAndWrite | EFI_FILE_MODE_CREATE;

// An open file, of a volume or of the shell.
struct OpenFile {
  EFI_FILE* file = nullptr;
  Shell* shell = nullptr;
  SHELL_FILE_HANDLE shell_file = nullptr;
};

EFI_STATUS OpenThroughShell(const FilePlace& place, std::uint64_t mode, std::uint64_t attributes, OpenFile& open) {
  open.shell = FirstInterface<Shell>(kShellProtocolGuid);
  CHAR16* const path = AsFirmwareText(place.path.data());
  if (open.shell == nullptr) return EFI_UNSUPPORTED;
  const EFI_STATUS status = mode == kCreate ? open.shell->CreateFile(path, attributes, &open.shell_file)
                                            : open.shell->OpenFileByName(path, &open.shell_file, mode);
  return Given(status, &open.shell_file);
}

EFI_STATUS Open(const FilePlace& place, std::uint64_t mode, std::uint64_t attributes, OpenFile& open) {
  if (place.volume == nullptr) return OpenThroughShell(place, mode, attributes, open);
  EFI_FILE_IO_INTERFACE* volume = nullptr;
  // Also a volume that was pulled: its driver has left the handle.
  if (EFI_ERROR(HandleInterface(place.volume, kSimpleFileSystemProtocolGuid, &volume))) return EFI_NO_MEDIA;
  EFI_FILE* root = nullptr;
  EFI_STATUS status = Given(volume->OpenVolume(volume, &root), &root);
  if (EFI_ERROR(status)) return status;
  status = root->Open(root, &open.file, AsFirmwareText(place.path.data()), mode, attributes);
  status = Given(status, &open.file);
  if (EFI_ERROR(status)) open.file = nullptr;
  root->Close(root);
  return status;
}

void Close(OpenFile& open) {
  if (open.file != nullptr) open.file->Close(open.file);
  if (open.shell_file != nullptr) open.shell->CloseFile(open.shell_file);
}

// The part of a file's description that is asked for, and its name.
struct FileInfo {
  alignas(EFI_FILE_INFO) std::array<std::uint8_t, sizeof(EFI_FILE_INFO) + sizeof FilePlace::path> block{};

  EFI_FILE_INFO& Fields() { return *reinterpret_cast<EFI_FILE_INFO*>(block.data()); }
};

EFI_STATUS ReadInfo(OpenFile& open, FileInfo& info) {
  UINTN size = info.block.size();
  if (open.file != nullptr) return open.file->GetInfo(open.file, AsFirmwareGuid(kFileInfoGuid), &size, &info.block);
  EFI_FILE_INFO* const given = open.shell->GetFileInfo(open.shell_file);
  if (given == nullptr) return EFI_DEVICE_ERROR;
  info.Fields() = *given;
  ::FreePool(given);
  return EFI_SUCCESS;
}

EFI_STATUS MoveTo(OpenFile& open, std::uint64_t position) {
  return open.file != nullptr ? open.file->SetPosition(open.file, position)
                              : open.shell->SetFilePosition(open.shell_file, position);
}

EFI_STATUS Write(OpenFile& open, std::span<const char> content) {
  UINTN size = content.size();
  char* const from = const_cast<char*>(content.data());
  const EFI_STATUS status = open.file != nullptr ? open.file->Write(open.file, &size, from)
                                                 : open.shell->WriteFile(open.shell_file, &size, from);
  return !EFI_ERROR(status) && size != content.size() ? EFI_VOLUME_FULL : status;
}

EFI_STATUS Flush(OpenFile& open) {
  return open.file != nullptr ? open.file->Flush(open.file) : open.shell->FlushFile(open.shell_file);
}

// Only a volume's own driver cuts: the shell's description lacks the name.
void Cut(OpenFile& open, FileInfo& info) {
  if (open.file == nullptr) return;
  open.file->SetInfo(open.file, AsFirmwareGuid(kFileInfoGuid), info.Fields().Size, &info.block);
}

EFI_STATUS Extend(OpenFile& open, std::uint64_t size, std::span<const char> content) {
  FileInfo info;
  EFI_STATUS status = ReadInfo(open, info);
  // More than was written is what a failed write left behind.
  if (!EFI_ERROR(status) && info.Fields().FileSize < size) status = EFI_MEDIA_CHANGED;
  if (!EFI_ERROR(status)) status = MoveTo(open, size);
  if (EFI_ERROR(status)) return status;
  status = Write(open, content);
  if (!EFI_ERROR(status)) status = Flush(open);
  info.Fields().FileSize = size;
  if (EFI_ERROR(status)) Cut(open, info);
  return status;
}

}  // namespace

EFI_STATUS LookAt(const FilePlace& place, bool* is_folder) {
  OpenFile open;
  if (const EFI_STATUS status = Open(place, EFI_FILE_MODE_READ, 0, open); EFI_ERROR(status)) return status;
  FileInfo info;
  const EFI_STATUS status = ReadInfo(open, info);
  *is_folder = (info.Fields().Attribute & EFI_FILE_DIRECTORY) != 0;
  Close(open);
  return status;
}

EFI_STATUS MakeFolder(const FilePlace& place) {
  bool is_folder = false;
  EFI_STATUS status = LookAt(place, &is_folder);
  if (status != EFI_NOT_FOUND) return EFI_ERROR(status) || is_folder ? status : EFI_ACCESS_DENIED;
  OpenFile open;
  status = Open(place, kCreate, EFI_FILE_DIRECTORY, open);
  Close(open);
  return status;
}

EFI_STATUS CreateFile(const FilePlace& place) {
  OpenFile open;
  const EFI_STATUS status = Open(place, kCreate, 0, open);
  Close(open);
  return status;
}

EFI_STATUS Append(GrowingFile& file, std::span<const char> content) {
  OpenFile open;
  EFI_STATUS status = Open(file.place, kReadAndWrite, 0, open);
  if (EFI_ERROR(status)) return status;
  status = Extend(open, file.size, content);
  Close(open);
  if (!EFI_ERROR(status)) file.size += content.size();
  return status;
}

}  // namespace platform
