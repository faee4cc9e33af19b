// A volume with files on it, as the driver of a file system offers it.
#pragma once

#include <array>
#include <cstring>
#include <map>
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
    std::string* content = nullptr;
    std::size_t position = 0;
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
  std::vector<std::u16string> opened;
  struct Behaviour {
    EFI_STATUS open_status = EFI_SUCCESS;
    EFI_STATUS info_status = EFI_SUCCESS;
    std::size_t portion = SIZE_MAX;       // that a read gives at most
    std::size_t damaged_from = SIZE_MAX;  // where a read fails
    EFI_STATUS write_status = EFI_SUCCESS;
    bool is_folder = false;
  } behaviour;

 private:
  static EFI_FILE Calls() {
    EFI_FILE calls{};
    calls.Open = Open;
    calls.Close = Close;
    calls.Read = Read;
    calls.Write = Write;
    calls.Flush = Flush;
    calls.Delete = Delete;
    calls.GetInfo = GetInfo;
    return calls;
  }
  static EFI_STATUS EFIAPI OpenVolume(EFI_FILE_IO_INTERFACE* protocol, EFI_FILE** root) {
    auto* const volume = reinterpret_cast<Volume*>(protocol);
    if (EFI_ERROR(volume->behaviour.open_status)) return volume->behaviour.open_status;
    ++volume->open_files;
    *root = &volume->root.protocol;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Open(EFI_FILE* folder, EFI_FILE** file, CHAR16* name, UINT64 mode, UINT64) {
    Volume& volume = *reinterpret_cast<File*>(folder)->volume;
    volume.opened.emplace_back(AsText(name));
    if (Fails("Open", volume.opened.back())) return EFI_DEVICE_ERROR;
    if (mode != EFI_FILE_MODE_READ && EFI_ERROR(volume.behaviour.write_status)) return volume.behaviour.write_status;
    if ((mode & EFI_FILE_MODE_CREATE) != 0) volume.files.try_emplace(volume.opened.back());
    const auto found = volume.files.find(volume.opened.back());
    if (found == volume.files.end()) return EFI_NOT_FOUND;
    volume.file = {.protocol = Calls(), .volume = &volume, .content = &found->second};
    ++volume.open_files;
    *file = &volume.file.protocol;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Close(EFI_FILE* file) {
    --reinterpret_cast<File*>(file)->volume->open_files;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Read(EFI_FILE* protocol, UINTN* size, void* to) {
    File& file = *reinterpret_cast<File*>(protocol);
    if (file.position >= file.volume->behaviour.damaged_from) return EFI_DEVICE_ERROR;
    *size = std::min({*size, file.volume->behaviour.portion, file.content->size() - file.position});
    std::memcpy(to, file.content->data() + file.position, *size);
    file.position += *size;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Write(EFI_FILE* protocol, UINTN* size, void* from) {
    File& file = *reinterpret_cast<File*>(protocol);
    if (Fails("Write")) return EFI_DEVICE_ERROR;
    file.content->resize(std::max(file.content->size(), file.position + *size));
    std::memcpy(file.content->data() + file.position, from, *size);
    file.position += *size;
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI Flush(EFI_FILE*) { return Fails("Flush") ? EFI_DEVICE_ERROR : EFI_SUCCESS; }
  static EFI_STATUS EFIAPI Delete(EFI_FILE* protocol) {
    File& file = *reinterpret_cast<File*>(protocol);
    Close(protocol);
    if (Fails("Delete")) return EFI_WARN_DELETE_FAILURE;
    std::erase_if(file.volume->files, [&](const auto& one) { return &one.second == file.content; });
    return EFI_SUCCESS;
  }
  static EFI_STATUS EFIAPI GetInfo(EFI_FILE* protocol, EFI_GUID* kind, UINTN* size, void* to) {
    static constexpr EFI_GUID kFileInfo = EFI_FILE_INFO_ID;
    const Volume& volume = *reinterpret_cast<File*>(protocol)->volume;
    if (EFI_ERROR(volume.behaviour.info_status)) return volume.behaviour.info_status;
    if (!SameGuid(*kind, kFileInfo) || *size < sizeof(EFI_FILE_INFO)) return EFI_BUFFER_TOO_SMALL;
    EFI_FILE_INFO info{};
    info.Size = *size = sizeof info;
    info.Attribute = volume.behaviour.is_folder ? EFI_FILE_DIRECTORY : EFI_FILE_ARCHIVE;
    std::memcpy(to, &info, sizeof info);
    return EFI_SUCCESS;
  }
};

}  // namespace simulation
