// SPDX-License-Identifier: BSD-2-Clause-Patent
// A volume with files on it, as the driver of a file system offers it.
#pragma once

#include <array>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "simulation/fault.h"
#include "simulation/injection.h"
#include "simulation/machine.h"
#include "simulation/text.h"

namespace simulation {

struct Volume {
  struct File {
    EFI_FILE protocol{};  // first: a call tells its file by this address
    Volume* volume;
    std::string* content = nullptr;  // null for a folder
    std::size_t position = 0;

    // How much of it the volume has room for.
    std::size_t Put(std::string_view bytes) {
      std::size_t& room = volume->behaviour.room;
      const std::size_t size_before = content->size();
      bytes = bytes.substr(0, size_before - position + std::min(room, bytes.size()));
      content->resize(std::max(size_before, position + bytes.size()));
      room -= content->size() - size_before;
      content->replace(position, bytes.size(), bytes);
      position += bytes.size();
      return bytes.size();
    }
  };

  explicit Volume(Machine& on) : machine(on), handle(machine.handles.Install(kGuid, &protocol)) {
    machine.handles.Install(&handle, kDevicePathGuid, device_path.data());
    protocol.OpenVolume = OpenVolume;
    root = {.protocol = Calls(), .volume = this};
  }
  Volume(const Volume&) = delete;
  ~Volume() {
    if (open_files != 0) Fault("files were left open");
  }

  // The drive is pulled.
  void Vanish() {
    machine.handles.Uninstall(handle, kGuid, &protocol);
    behaviour.open_status = EFI_NO_MEDIA;
  }

  static constexpr EFI_GUID kGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
  static constexpr EFI_GUID kDevicePathGuid = DEVICE_PATH_PROTOCOL;
  EFI_FILE_IO_INTERFACE protocol{};  // first, likewise
  Machine& machine;
  // A vendor's node, and the end.
  std::array<std::uint8_t, 24> device_path{1, 4, 20, 0, 0x4D, 0x46, 0x47, 0, 0,    0,    0, 0,
                                           0, 0, 0,  0, 0,    0,    0,    0, 0x7F, 0xFF, 4, 0};
  EFI_HANDLE handle;
  File root;
  File file;  // one at a time
  int open_files = 0;
  // By the path from the root.
  std::map<std::u16string, std::string> files;
  std::set<std::u16string> folders{u""};
  std::vector<std::u16string> opened;
  struct Behaviour {
    EFI_STATUS open_status = EFI_SUCCESS;
    EFI_STATUS info_status = EFI_SUCCESS;
    std::size_t portion = SIZE_MAX;       // that a read gives at most
    std::size_t damaged_from = SIZE_MAX;  // where a read fails
    EFI_STATUS write_status = EFI_SUCCESS;
    std::size_t room = SIZE_MAX;  // bytes by which files may still grow
    bool is_folder = false;
  } behaviour;

 private:
  // What was opened last, in a folder that is there.
  bool Create(UINT64 attributes) {
    const std::u16string& path = opened.back();
    if (!folders.contains(path.substr(0, path.rfind(u'\\')))) return false;
    if ((attributes & EFI_FILE_DIRECTORY) != 0) folders.insert(path);
    if ((attributes & EFI_FILE_DIRECTORY) == 0) files.try_emplace(path);
    return true;
  }
  static EFI_FILE Calls() {
    EFI_FILE calls{};
    calls.Open = Open;
    calls.Close = Close;
    calls.Read = Read;
    calls.Write = Write;
    calls.Flush = Flush;
    calls.Delete = Delete;
    calls.GetInfo = GetInfo;
    calls.SetInfo = SetInfo;
    calls.SetPosition = SetPosition;
    return calls;
  }
  static EFI_STATUS EFIAPI OpenVolume(EFI_FILE_IO_INTERFACE* protocol, EFI_FILE** root) {
    auto* const volume = reinterpret_cast<Volume*>(protocol);
    if (const Failure failure = Fails("OpenVolume", kOfFiles)) return failure.Give(root);
    if (EFI_ERROR(volume->behaviour.open_status)) return volume->behaviour.open_status;
    ++volume->open_files;
    *root = &volume->root.protocol;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Open(EFI_FILE* folder, EFI_FILE** file, CHAR16* name, UINT64 mode, UINT64 attributes) {
    Volume& volume = *reinterpret_cast<File*>(folder)->volume;
    volume.opened.emplace_back(AsText(name));
    // A folder may be named with a backslash at its end.
    if (std::u16string& path = volume.opened.back(); path.size() > 1 && path.back() == u'\\') path.pop_back();
    if (const Failure failure = Fails("Open", volume.opened.back(), kOfFiles)) return failure.Give(file);
    if (mode != EFI_FILE_MODE_READ && EFI_ERROR(volume.behaviour.write_status)) return volume.behaviour.write_status;
    if ((mode & EFI_FILE_MODE_CREATE) != 0 && !volume.Create(attributes)) return EFI_NOT_FOUND;
    const auto found = volume.files.find(volume.opened.back());
    const bool is_file = found != volume.files.end();
    if (!is_file && !volume.folders.contains(volume.opened.back())) return EFI_NOT_FOUND;
    volume.file = {.protocol = Calls(), .volume = &volume, .content = is_file ? &found->second : nullptr};
    ++volume.open_files;
    *file = &volume.file.protocol;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Close(EFI_FILE* file) {
    --reinterpret_cast<File*>(file)->volume->open_files;
    return Fails("Close", kOfDrives);
  }
  static EFI_STATUS EFIAPI Read(EFI_FILE* protocol, UINTN* size, void* to) {
    File& file = *reinterpret_cast<File*>(protocol);
    if (const Failure failure = Fails("Read", kOfReads)) return failure.GiveSize(size);
    if (file.position >= file.volume->behaviour.damaged_from) return EFI_DEVICE_ERROR;
    *size = std::min({*size, file.volume->behaviour.portion, file.content->size() - file.position});
    std::memcpy(to, file.content->data() + file.position, *size);
    file.position += *size;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Write(EFI_FILE* protocol, UINTN* size, void* from) {
    File& file = *reinterpret_cast<File*>(protocol);
    if (const Failure failure = Fails("Write", kOfDriveWrites)) return failure;
    const std::string_view content(static_cast<const char*>(from), *size);
    const std::size_t half = content.size() / 2;
    *size = file.Put(content.substr(0, half));
    if (const Failure failure = Fails("Write, half done", kOfDriveWrites)) return failure;
    *size += file.Put(content.substr(half));
    return *size < content.size() ? EFI_VOLUME_FULL : EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI SetPosition(EFI_FILE* protocol, UINT64 position) {
    File& file = *reinterpret_cast<File*>(protocol);
    if (const Failure failure = Fails("SetPosition", kOfDrives)) return failure;
    if (position > file.content->size()) Fault("a position behind the end");
    file.position = position;
    return EFI_SUCCESS;
  }
  // Only the size of a file is ever set.
  static EFI_STATUS EFIAPI SetInfo(EFI_FILE* protocol, EFI_GUID*, UINTN size, void* from) {
    const auto& info = *static_cast<EFI_FILE_INFO*>(from);
    File& file = *reinterpret_cast<File*>(protocol);
    if (const Failure failure = Fails("SetInfo", kOfDriveWrites)) return failure;
    if (size != info.Size || info.FileSize > file.content->size()) Fault("a file was not only cut");
    if (file.volume->behaviour.room != SIZE_MAX) file.volume->behaviour.room += file.content->size() - info.FileSize;
    file.content->resize(info.FileSize);
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Flush(EFI_FILE*) { return Fails("Flush", kOfDriveWrites); }
  static EFI_STATUS EFIAPI Delete(EFI_FILE* protocol) {
    File& file = *reinterpret_cast<File*>(protocol);
    --file.volume->open_files;
    if (const Failure failure = Fails("Delete", {EFI_WARN_DELETE_FAILURE})) return failure;
    std::erase_if(file.volume->files, [&](const auto& one) { return &one.second == file.content; });
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI GetInfo(EFI_FILE* protocol, EFI_GUID* kind, UINTN* size, void* to) {
    static constexpr EFI_GUID kFileInfo = EFI_FILE_INFO_ID;
    const File& file = *reinterpret_cast<File*>(protocol);
    const Volume& volume = *file.volume;
    if (const Failure failure = Fails("GetInfo", kOfReads)) return failure.GiveSize(size);
    if (EFI_ERROR(volume.behaviour.info_status)) return volume.behaviour.info_status;
    if (!SameGuid(*kind, kFileInfo) || *size < sizeof(EFI_FILE_INFO)) return EFI_BUFFER_TOO_SMALL;
    EFI_FILE_INFO info{};
    info.Size = *size = sizeof info;
    const bool is_folder = volume.behaviour.is_folder || file.content == nullptr;
    info.Attribute = is_folder ? EFI_FILE_DIRECTORY : EFI_FILE_ARCHIVE;
    if (!is_folder) info.FileSize = file.content->size();
    std::memcpy(to, &info, sizeof info);
    return EFI_SUCCESS;
  }
};

}  // namespace simulation
