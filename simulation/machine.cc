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
  loaded_images_.remove_if([&](const EFI_LOADED_IMAGE& one) { return &one == loaded; });
}

}  // namespace simulation
