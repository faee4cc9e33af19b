// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/modern_shell.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <list>

#include "platform/protocols/shell.h"
#include "simulation/fault.h"
#include "simulation/injection.h"

namespace simulation {
namespace {

constexpr std::array kNames = {"Shell Execute",
                               "Shell GetEnv",
                               "Shell SetEnv",
                               "Shell GetAlias",
                               "Shell SetAlias",
                               "Shell GetHelpText",
                               "Shell GetDevicePathFromMap",
                               "Shell GetMapFromDevicePath",
                               "Shell GetDevicePathFromFilePath",
                               "Shell GetFilePathFromDevicePath",
                               "Shell SetMap",
                               "Shell GetCurDir",
                               "Shell SetCurDir",
                               "Shell OpenFileList",
                               "Shell FreeFileList",
                               "Shell RemoveDupInFileList",
                               "Shell BatchIsActive",
                               "Shell IsRootShell",
                               "Shell EnablePageBreak",
                               "Shell DisablePageBreak",
                               "Shell GetPageBreak",
                               "Shell GetDeviceName",
                               "Shell GetFileInfo",
                               "Shell SetFileInfo",
                               "Shell OpenFileByName",
                               "Shell CloseFile",
                               "Shell CreateFile",
                               "Shell ReadFile",
                               "Shell WriteFile",
                               "Shell DeleteFile",
                               "Shell DeleteFileByName",
                               "Shell GetFilePosition",
                               "Shell SetFilePosition",
                               "Shell FlushFile",
                               "Shell FindFiles",
                               "Shell FindFilesInDir",
                               "Shell GetFileSize",
                               "Shell OpenRoot",
                               "Shell OpenRootByHandle"};
static_assert(kNamesEverySlot<kNames, offsetof(EFI_SHELL_PROTOCOL, ExecutionBreak)>);
constexpr std::array kLaterNames = {"Shell RegisterGuidName", "Shell GetGuidName", "Shell GetGuidFromName",
                                    "Shell GetEnvEx"};

struct OpenFile {
  std::vector<std::uint8_t>* content;
  std::size_t position = 0;
};

ModernShell* current = nullptr;
std::list<OpenFile> open_files;
// Values that GetEnv gave out; the shell owns them.
std::map<std::u16string, std::u16string> given_values;

EFI_STATUS EFIAPI Execute(EFI_HANDLE*, CHAR16* line, CHAR16**, EFI_STATUS* status) {
  if (const Failure failure = Fails("Shell Execute", kOfDevices)) return failure;
  current->commands.push_back(AsText(line));
  if (status != nullptr) *status = EFI_SUCCESS;
  return EFI_SUCCESS;
}

const CHAR16* EFIAPI GetEnv(const CHAR16* name) {
  if (Fails("Shell GetEnv", AsText(name), {kNothing})) return nullptr;
  const Variable* const variable = Machine::Current().variables.Find(AsText(name), kShellVariableGuid);
  if (variable == nullptr) return nullptr;
  std::u16string& value = given_values[AsText(name)];
  value.resize(variable->data.size() / sizeof(char16_t));
  std::memcpy(value.data(), variable->data.data(), value.size() * sizeof(char16_t));
  return AsFirmwareText(value.c_str());
}

EFI_STATUS EFIAPI SetEnv(const CHAR16* name, const CHAR16* value, BOOLEAN is_volatile) {
  if (const Failure failure = Fails("Shell SetEnv", AsText(name), kOfSettings)) return failure;
  const std::vector<std::uint8_t> data = TextData(AsText(value));
  const UINT32 attributes = EFI_VARIABLE_BOOTSERVICE_ACCESS | (is_volatile ? 0 : EFI_VARIABLE_NON_VOLATILE);
  return Machine::Current().variables.Set(name, kShellVariableGuid, attributes, data.size(), data.data());
}

OpenFile* Opened(SHELL_FILE_HANDLE handle) {
  const auto found = std::ranges::find(open_files, handle, [](OpenFile& file) { return static_cast<void*>(&file); });
  if (found != open_files.end()) return &*found;
  Fault("a file handle that is not open");
  return nullptr;
}

EFI_STATUS EFIAPI OpenFileByName(const CHAR16* name, SHELL_FILE_HANDLE* handle, UINT64 mode) {
  if ((mode & EFI_FILE_MODE_CREATE) != 0) Fault("a file was made where one is opened");
  if (const Failure failure = Fails("Shell OpenFileByName", AsText(name), kOfFiles)) return failure.Give(handle);
  const auto found = current->files.find(AsText(name));
  if (found == current->files.end()) return EFI_NOT_FOUND;
  *handle = &open_files.emplace_back(OpenFile{&found->second});
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI CreateFile(const CHAR16* name, UINT64 attributes, SHELL_FILE_HANDLE* handle) {
  if (const Failure failure = Fails("Shell CreateFile", AsText(name), kOfFiles)) return failure.Give(handle);
  if (attributes != 0) return EFI_UNSUPPORTED;
  *handle = &open_files.emplace_back(OpenFile{&current->files[AsText(name)]});
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI CloseFile(SHELL_FILE_HANDLE handle) {
  if (Opened(handle) == nullptr) return EFI_INVALID_PARAMETER;
  open_files.remove_if([&](const OpenFile& file) { return &file == handle; });
  return Fails("Shell CloseFile", kOfDrives);
}

EFI_STATUS EFIAPI ReadFile(SHELL_FILE_HANDLE handle, UINTN* size, void* buffer) {
  OpenFile* const file = Opened(handle);
  if (file == nullptr) return EFI_INVALID_PARAMETER;
  if (const Failure failure = Fails("Shell ReadFile", kOfReads)) return failure.GiveSize(size);
  *size = std::min(*size, file->content->size() - file->position);
  std::copy_n(file->content->data() + file->position, *size, static_cast<std::uint8_t*>(buffer));
  file->position += *size;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI WriteFile(SHELL_FILE_HANDLE handle, UINTN* size, void* buffer) {
  OpenFile* const file = Opened(handle);
  if (file == nullptr) return EFI_INVALID_PARAMETER;
  if (const Failure failure = Fails("Shell WriteFile", kOfDriveWrites)) return failure;
  file->content->resize(std::max(file->content->size(), file->position + *size));
  std::copy_n(static_cast<const std::uint8_t*>(buffer), *size, file->content->data() + file->position);
  file->position += *size;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SetFilePosition(SHELL_FILE_HANDLE handle, UINT64 position) {
  OpenFile* const file = Opened(handle);
  if (file == nullptr) return EFI_INVALID_PARAMETER;
  if (const Failure failure = Fails("Shell SetFilePosition", kOfDrives)) return failure;
  if (position > file->content->size()) Fault("a position behind the end");
  file->position = position;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI FlushFile(SHELL_FILE_HANDLE handle) {
  if (Opened(handle) == nullptr) return EFI_INVALID_PARAMETER;
  return Fails("Shell FlushFile", kOfDriveWrites);
}

EFI_STATUS EFIAPI GetFileSize(SHELL_FILE_HANDLE handle, UINT64* size) {
  const OpenFile* const file = Opened(handle);
  if (file == nullptr) return EFI_INVALID_PARAMETER;
  if (const Failure failure = Fails("Shell GetFileSize", kOfDrives)) return failure;
  *size = file->content->size();
  return EFI_SUCCESS;
}

// The caller gives the block back to the pool.
EFI_FILE_INFO* EFIAPI GetFileInfo(SHELL_FILE_HANDLE handle) {
  const OpenFile* const file = Opened(handle);
  if (file == nullptr || Fails("Shell GetFileInfo", {kNothing})) return nullptr;
  void* block = nullptr;
  Machine::Current().memory.AllocatePool(sizeof(EFI_FILE_INFO), &block);
  auto* const info = new (block) EFI_FILE_INFO{};
  info->Size = sizeof(EFI_FILE_INFO);
  info->FileSize = info->PhysicalSize = file->content->size();
  return info;
}

}  // namespace

ModernShell::ModernShell(Machine& machine) : machine_(machine) {
  current = this;
  FillWithRefusals<kNames>(&protocol_.Execute);
  FillWithRefusals<kLaterNames>(&protocol_.RegisterGuidName);
  protocol_.Execute = Execute;
  protocol_.GetEnv = GetEnv;
  protocol_.SetEnv = SetEnv;
  protocol_.OpenFileByName = OpenFileByName;
  protocol_.CreateFile = CreateFile;
  protocol_.CloseFile = CloseFile;
  protocol_.ReadFile = ReadFile;
  protocol_.WriteFile = WriteFile;
  protocol_.SetFilePosition = SetFilePosition;
  protocol_.FlushFile = FlushFile;
  protocol_.GetFileSize = GetFileSize;
  protocol_.GetFileInfo = GetFileInfo;
  protocol_.MajorVersion = 2;
  protocol_.MinorVersion = 2;
  machine.handles.Install(kShellProtocolGuid, &protocol_);
}

ModernShell::~ModernShell() {
  if (!open_files.empty()) Fault("a file was left open");
  open_files.clear();
  given_values.clear();
  current = nullptr;
}

ImageEnd ModernShell::Run(EFI_HANDLE image, ImageEntry entry, const CommandLine& command_line) {
  std::vector<CHAR16*> argv;
  for (const char16_t* const word : command_line.argv) argv.push_back(AsFirmwareText(word));
  EFI_SHELL_PARAMETERS_PROTOCOL parameters{};
  parameters.Argv = argv.data();
  parameters.Argc = argv.size();
  machine_.handles.Install(&image, kShellParametersProtocolGuid, &parameters);
  const ImageEnd end = machine_.StartImage(image, entry);
  machine_.handles.Uninstall(image, kShellParametersProtocolGuid, &parameters);
  return end;
}

}  // namespace simulation
