#include "simulation/machine.h"

#include <stdexcept>

#include "simulation/firmware_services.h"

namespace simulation {
namespace {

Machine* current = nullptr;

constexpr EFI_GUID kLoadedImageGuid = LOADED_IMAGE_PROTOCOL;

}  // namespace

Machine::Machine() {
  if (current != nullptr) throw std::logic_error("one machine at a time");
  current = this;
  FillBootServices(boot_services_);
  FillRuntimeServices(runtime_services_);
  system_table.BootServices = &boot_services_;
  system_table.RuntimeServices = &runtime_services_;
  system_table.ConOut = &console.output;
  system_table.StdErr = &console.output;
  system_table.ConIn = &console.input;
}

Machine::~Machine() { current = nullptr; }

Machine& Machine::Current() { return *current; }

void Machine::AddConfigurationTable(const EFI_GUID& guid, void* table) {
  configuration_tables_.push_back({guid, table});
  system_table.ConfigurationTable = configuration_tables_.data();
  system_table.NumberOfTableEntries = configuration_tables_.size();
}

void Machine::NoteWrite(const char* what) {
  writes.push_back(what);
  if (has_failed_check) Fault(std::string(what) + " after a failed check");
}

EFI_HANDLE Machine::LoadImage() {
  EFI_LOADED_IMAGE& loaded = loaded_images_.emplace_back();
  loaded.Revision = EFI_LOADED_IMAGE_PROTOCOL_REVISION;
  loaded.SystemTable = &system_table;
  loaded.ImageDataType = EfiLoaderData;
  return handles.Install(kLoadedImageGuid, &loaded);
}

EFI_HANDLE Machine::LoadImage(EFI_HANDLE volume, const std::u16string& path) {
  const EFI_HANDLE image = LoadImage();
  loaded_images_.back().DeviceHandle = volume;
  std::vector<std::uint8_t>& node = file_images_[image].path;
  const std::size_t size = 4 + 2 * (path.size() + 1);
  node = {MEDIA_DEVICE_PATH, MEDIA_FILEPATH_DP, static_cast<std::uint8_t>(size), static_cast<std::uint8_t>(size >> 8)};
  const auto* const text = reinterpret_cast<const std::uint8_t*>(path.c_str());
  node.insert(node.end(), text, text + size - 4);
  node.insert(node.end(), {0xFF, 0xFF, 4, 0});
  loaded_images_.back().FilePath = reinterpret_cast<EFI_DEVICE_PATH*>(node.data());
  return image;
}

EFI_STATUS Machine::LoadProgram(EFI_HANDLE parent, const std::u16string& path, EFI_HANDLE* image) {
  void* loaded = nullptr;
  void* volume = nullptr;
  constexpr EFI_GUID kVolumeGuid = EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID;
  if (EFI_ERROR(handles.Interface(parent, kLoadedImageGuid, &loaded))) return EFI_INVALID_PARAMETER;
  const EFI_HANDLE device = static_cast<EFI_LOADED_IMAGE*>(loaded)->DeviceHandle;
  const auto found = programs.find(path);
  if (found == programs.end() || EFI_ERROR(handles.Interface(device, kVolumeGuid, &volume))) return EFI_NOT_FOUND;
  // What may not be started is loaded all the same.
  const EFI_STATUS status = found->second.load_status;
  if (EFI_ERROR(status) && status != EFI_SECURITY_VIOLATION) return status;
  *image = LoadImage(device, path);
  file_images_[*image].program = &found->second;
  return status;
}

EFI_STATUS Machine::StartProgram(EFI_HANDLE image) {
  const auto found = file_images_.find(image);
  if (found == file_images_.end()) return EFI_INVALID_PARAMETER;
  const Program& program = *found->second.program;
  const EFI_STATUS status = StartImage(image, program.entry).status;
  if (!program.is_driver || EFI_ERROR(status)) UnloadImage(image);
  return status;
}

ImageEnd Machine::StartImage(EFI_HANDLE image, ImageEntry entry) {
  steps = 0;
  has_failed_check = false;
  try {
    return {entry(image, &system_table), false};
  } catch (const ImageExit& exit) {
    if (exit.image != image) Fault("Exit of an image that is not running");
    return {exit.status, true};
  }
}

void Machine::UnloadImage(EFI_HANDLE image) {
  void* loaded = nullptr;
  if (EFI_ERROR(handles.Interface(image, kLoadedImageGuid, &loaded))) return Fault("unloading what is not an image");
  handles.Uninstall(image, kLoadedImageGuid, loaded);
  file_images_.erase(image);
  loaded_images_.remove_if([&](const EFI_LOADED_IMAGE& one) { return &one == loaded; });
}

}  // namespace simulation
