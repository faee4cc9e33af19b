// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/firmware_services.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <thread>

#include "simulation/injection.h"
#include "simulation/machine.h"
#include "simulation/text.h"

namespace simulation {
namespace {

constexpr std::array kBootServiceNames = {"RaiseTPL",
                                          "RestoreTPL",
                                          "AllocatePages",
                                          "FreePages",
                                          "GetMemoryMap",
                                          "AllocatePool",
                                          "FreePool",
                                          "CreateEvent",
                                          "SetTimer",
                                          "WaitForEvent",
                                          "SignalEvent",
                                          "CloseEvent",
                                          "CheckEvent",
                                          "InstallProtocolInterface",
                                          "ReinstallProtocolInterface",
                                          "UninstallProtocolInterface",
                                          "HandleProtocol",
                                          "PCHandleProtocol",
                                          "RegisterProtocolNotify",
                                          "LocateHandle",
                                          "LocateDevicePath",
                                          "InstallConfigurationTable",
                                          "LoadImage",
                                          "StartImage",
                                          "Exit",
                                          "UnloadImage",
                                          "ExitBootServices",
                                          "GetNextMonotonicCount",
                                          "Stall",
                                          "SetWatchdogTimer",
                                          "ConnectController",
                                          "DisconnectController",
                                          "OpenProtocol",
                                          "CloseProtocol",
                                          "OpenProtocolInformation",
                                          "ProtocolsPerHandle",
                                          "LocateHandleBuffer",
                                          "LocateProtocol",
                                          "InstallMultipleProtocolInterfaces",
                                          "UninstallMultipleProtocolInterfaces",
                                          "CalculateCrc32",
                                          "CopyMem",
                                          "SetMem",
                                          "CreateEventEx"};
constexpr std::array kRuntimeServiceNames = {"GetTime",
                                             "SetTime",
                                             "GetWakeupTime",
                                             "SetWakeupTime",
                                             "SetVirtualAddressMap",
                                             "ConvertPointer",
                                             "GetVariable",
                                             "GetNextVariableName",
                                             "SetVariable",
                                             "GetNextHighMonotonicCount",
                                             "ResetSystem",
                                             "UpdateCapsule",
                                             "QueryCapsuleCapabilities",
                                             "QueryVariableInfo"};
static_assert(kNamesEverySlot<kBootServiceNames, sizeof(EFI_BOOT_SERVICES) - sizeof(EFI_TABLE_HEADER)>);
static_assert(kNamesEverySlot<kRuntimeServiceNames, sizeof(EFI_RUNTIME_SERVICES) - sizeof(EFI_TABLE_HEADER)>);

using Service = ProtocolCall::Service;

constexpr Ways kOfInterfaces = {EFI_UNSUPPORTED, EFI_ACCESS_DENIED, kNothing};

HandleDatabase& Handles() { return Machine::Current().handles; }
Memory& Pool() { return Machine::Current().memory; }
VariableStore& Variables() { return Machine::Current().variables; }

void Note(Service service, const EFI_GUID* protocol) {
  if (protocol != nullptr) Machine::Current().protocol_calls.push_back({service, *protocol});
}

EFI_STATUS EFIAPI AllocatePages(EFI_ALLOCATE_TYPE type, EFI_MEMORY_TYPE, UINTN count, EFI_PHYSICAL_ADDRESS* address) {
  const Failure failure = Fails("AllocatePages", {EFI_OUT_OF_RESOURCES});
  return failure ? failure : Pool().AllocatePages(type, count, address);
}

EFI_STATUS EFIAPI FreePages(EFI_PHYSICAL_ADDRESS address, UINTN count) { return Pool().FreePages(address, count); }

// Entries are longer than their fields, as on real firmware.
EFI_STATUS EFIAPI GetMemoryMap(UINTN* size, EFI_MEMORY_DESCRIPTOR* map, UINTN*, UINTN* entry_size, UINT32*) {
  if (const Failure failure = Fails("GetMemoryMap", {EFI_DEVICE_ERROR, EFI_BUFFER_TOO_SMALL, kTooMuch})) {
    return failure.GiveSize(size);
  }
  Machine& machine = Machine::Current();
  if (map != nullptr && machine.memory_map_growths-- > 0) machine.memory_map.insert(machine.memory_map.begin(), 20, {});
  *entry_size = sizeof(EFI_MEMORY_DESCRIPTOR) + 8;
  const UINTN capacity = *size;
  *size = machine.memory_map.size() * *entry_size;
  if (capacity < *size) return EFI_BUFFER_TOO_SMALL;
  if (map == nullptr) return EFI_INVALID_PARAMETER;
  auto* entry = reinterpret_cast<std::uint8_t*>(map);
  for (const EFI_MEMORY_DESCRIPTOR& one : machine.memory_map) {
    std::memcpy(entry, &one, sizeof one);
    entry += *entry_size;
  }
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI AllocatePool(EFI_MEMORY_TYPE, UINTN size, void** block) {
  const Failure failure = Fails("AllocatePool", Widen(std::to_string(size)), {EFI_OUT_OF_RESOURCES, kNothing});
  return failure ? failure.Give(block) : Pool().AllocatePool(size, block);
}

EFI_STATUS EFIAPI FreePool(void* block) { return Pool().FreePool(block); }

EFI_STATUS EFIAPI CreateEvent(UINT32 type, EFI_TPL, EFI_EVENT_NOTIFY notify, void* context, EFI_EVENT* event) {
  const Failure failure = Fails("CreateEvent", {EFI_OUT_OF_RESOURCES, kNothing});
  return failure ? failure.Give(event) : Handles().CreateEvent(type, notify, context, event);
}

EFI_STATUS EFIAPI CloseEvent(EFI_EVENT event) { return Handles().CloseEvent(event); }

// The only event to wait for is a key.
EFI_STATUS EFIAPI WaitForEvent(UINTN count, EFI_EVENT* events, UINTN* index) {
  if (const Failure failure = Fails("WaitForEvent", {EFI_UNSUPPORTED, EFI_INVALID_PARAMETER})) return failure;
  const Console& console = Machine::Current().console;
  if (console.keys.empty() && console.on_wait) console.on_wait();
  if (count != 1 || *events != console.input.WaitForKey || console.keys.empty()) {
    throw WaitsForEver();
  }
  *index = 0;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI InstallProtocolInterface(EFI_HANDLE* handle, EFI_GUID* protocol, EFI_INTERFACE_TYPE,
                                           void* interface) {
  if (const Failure failure = Fails("InstallProtocolInterface", *protocol, {EFI_OUT_OF_RESOURCES})) return failure;
  return Handles().Install(handle, *protocol, interface);
}

EFI_STATUS EFIAPI UninstallProtocolInterface(EFI_HANDLE handle, EFI_GUID* protocol, void* interface) {
  if (const Failure failure = Fails("UninstallProtocolInterface", *protocol, {EFI_ACCESS_DENIED})) return failure;
  return Handles().Uninstall(handle, *protocol, interface);
}

EFI_STATUS EFIAPI InstallMultipleProtocolInterfaces(EFI_HANDLE* handle, ...) {
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, handle);
  EFI_STATUS status = Fails("InstallMultipleProtocolInterfaces", {EFI_OUT_OF_RESOURCES});
  while (!EFI_ERROR(status)) {
    const auto* const protocol = __builtin_va_arg(arguments, const EFI_GUID*);
    if (protocol == nullptr) break;
    status = Handles().Install(handle, *protocol, __builtin_va_arg(arguments, void*));
  }
  __builtin_ms_va_end(arguments);
  return status;
}

EFI_STATUS EFIAPI UninstallMultipleProtocolInterfaces(EFI_HANDLE handle, ...) {
  __builtin_ms_va_list arguments;
  __builtin_ms_va_start(arguments, handle);
  EFI_STATUS status = Fails("UninstallMultipleProtocolInterfaces", {EFI_ACCESS_DENIED});
  while (!EFI_ERROR(status)) {
    const auto* const protocol = __builtin_va_arg(arguments, const EFI_GUID*);
    if (protocol == nullptr) break;
    status = Handles().Uninstall(handle, *protocol, __builtin_va_arg(arguments, void*));
  }
  __builtin_ms_va_end(arguments);
  return status;
}

EFI_STATUS EFIAPI HandleProtocol(EFI_HANDLE handle, EFI_GUID* protocol, void** interface) {
  Note(Service::kHandleProtocol, protocol);
  if (const Failure failure = Fails("HandleProtocol", *protocol, kOfInterfaces)) return failure.Give(interface);
  return Handles().Interface(handle, *protocol, interface);
}

EFI_STATUS EFIAPI OpenProtocol(EFI_HANDLE handle, EFI_GUID* protocol, void** interface, EFI_HANDLE, EFI_HANDLE,
                               UINT32 attributes) {
  if (attributes != EFI_OPEN_PROTOCOL_GET_PROTOCOL) Fault("OpenProtocol for more than getting the interface");
  if (const Failure failure = Fails("OpenProtocol", *protocol, kOfInterfaces)) return failure.Give(interface);
  return Handles().Interface(handle, *protocol, interface);
}

EFI_STATUS EFIAPI RegisterProtocolNotify(EFI_GUID* protocol, EFI_EVENT event, void** registration) {
  const Failure failure = Fails("RegisterProtocolNotify", *protocol, {EFI_OUT_OF_RESOURCES, kNothing});
  return failure ? failure.Give(registration) : Handles().Register(*protocol, event, registration);
}

std::vector<EFI_HANDLE> Search(EFI_LOCATE_SEARCH_TYPE type, const EFI_GUID* protocol) {
  return Handles().Handles(type == AllHandles ? nullptr : protocol);
}

EFI_STATUS LocateNotified(void* registration, UINTN* size, EFI_HANDLE* buffer) {
  if (*size < sizeof(EFI_HANDLE)) {
    *size = sizeof(EFI_HANDLE);
    return EFI_BUFFER_TOO_SMALL;
  }
  *size = sizeof(EFI_HANDLE);
  *buffer = Handles().NextNotified(registration);
  return *buffer == nullptr ? EFI_NOT_FOUND : EFI_SUCCESS;
}

EFI_STATUS EFIAPI LocateHandle(EFI_LOCATE_SEARCH_TYPE type, EFI_GUID* protocol, void* key, UINTN* size,
                               EFI_HANDLE* buffer) {
  Note(Service::kLocateHandle, protocol);
  const EFI_GUID wanted = protocol == nullptr ? EFI_GUID{} : *protocol;
  if (const Failure failure = Fails("LocateHandle", wanted, {EFI_NOT_FOUND, EFI_NOT_READY, kTooMuch})) {
    return failure.GiveSize(size);
  }
  if (type == ByRegisterNotify) return LocateNotified(key, size, buffer);
  const std::vector<EFI_HANDLE> found = Search(type, protocol);
  if (found.empty()) return EFI_NOT_FOUND;
  const UINTN needed = found.size() * sizeof(EFI_HANDLE);
  const bool fits = *size >= needed;
  *size = needed;
  if (!fits) return EFI_BUFFER_TOO_SMALL;
  std::ranges::copy(found, buffer);
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI LocateHandleBuffer(EFI_LOCATE_SEARCH_TYPE type, EFI_GUID* protocol, void*, UINTN* count,
                                     EFI_HANDLE** buffer) {
  const EFI_GUID wanted = protocol == nullptr ? EFI_GUID{} : *protocol;
  if (const Failure failure = Fails("LocateHandleBuffer", wanted, {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND, kNothing})) {
    *count = 1;
    return failure.Give(buffer);
  }
  const Machine& machine = Machine::Current();
  if (protocol != nullptr && machine.before_search) machine.before_search(*protocol);
  if (protocol != nullptr && SameGuid(*protocol, machine.found_nowhere)) {
    *count = 0;
    *buffer = nullptr;
    return EFI_SUCCESS;
  }
  const std::vector<EFI_HANDLE> found = Search(type, protocol);
  if (found.empty()) return EFI_NOT_FOUND;
  void* block = nullptr;
  Pool().AllocatePool(found.size() * sizeof(EFI_HANDLE), &block);
  *buffer = static_cast<EFI_HANDLE*>(block);
  *count = found.size();
  std::ranges::copy(found, *buffer);
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI LocateProtocol(EFI_GUID* protocol, void*, void** interface) {
  if (const Failure failure = Fails("LocateProtocol", *protocol, {EFI_NOT_FOUND, kNothing})) {
    return failure.Give(interface);
  }
  const std::vector<EFI_HANDLE> found = Handles().Handles(protocol);
  return found.empty() ? EFI_NOT_FOUND : Handles().Interface(found.front(), *protocol, interface);
}

EFI_STATUS EFIAPI ConnectController(EFI_HANDLE handle, EFI_HANDLE* drivers, EFI_DEVICE_PATH* rest, BOOLEAN recursive) {
  if (drivers != nullptr || rest != nullptr || !recursive) Fault("ConnectController for less than everything");
  if (const Failure failure = Fails("ConnectController", {EFI_NOT_FOUND})) return failure;
  Machine::Current().is_connected = true;
  if (Machine::Current().on_connect) Machine::Current().on_connect(handle);
  return EFI_NOT_FOUND;
}

EFI_STATUS EFIAPI InstallConfigurationTable(EFI_GUID* guid, void* table) {
  Machine::Current().NoteWrite("InstallConfigurationTable");
  if (const Failure failure = Fails("InstallConfigurationTable", *guid, {EFI_OUT_OF_RESOURCES})) return failure;
  return Machine::Current().InstallConfigurationTable(*guid, table);
}

EFI_STATUS EFIAPI Exit(EFI_HANDLE image, EFI_STATUS status, UINTN data_size, CHAR16* data) {
  if (data_size != 0 || data != nullptr) Fault("Exit with exit data");
  if (const Failure failure = Fails("Exit", {EFI_INVALID_PARAMETER})) return failure;
  throw ImageExit{image, status};
}

// The file path at the end of a device path.
std::u16string FileIn(EFI_DEVICE_PATH* path) {
  std::u16string file;
  // As firmware tells the end: by the whole type, which gnu-efi masks.
  for (; path->Type != END_DEVICE_PATH_TYPE; path = NextDevicePathNode(path)) {
    const auto length = static_cast<std::size_t>(DevicePathNodeLength(path));
    if (DevicePathType(path) != MEDIA_DEVICE_PATH || DevicePathSubType(path) != MEDIA_FILEPATH_DP) continue;
    file.assign(reinterpret_cast<const char16_t*>(path + 1), (length - sizeof *path) / sizeof(char16_t) - 1);
  }
  return file;
}

EFI_STATUS EFIAPI LoadImage(BOOLEAN, EFI_HANDLE parent, EFI_DEVICE_PATH* path, void* source, UINTN, EFI_HANDLE* image) {
  if (source != nullptr) Fault("LoadImage from memory");
  const std::u16string file = FileIn(path);
  const Failure failure = Fails("LoadImage", file, {EFI_DEVICE_ERROR, EFI_LOAD_ERROR, EFI_MEDIA_CHANGED, kNothing});
  return failure ? failure.Give(image) : Machine::Current().LoadProgram(parent, file, image);
}

EFI_STATUS EFIAPI StartImage(EFI_HANDLE image, UINTN*, CHAR16**) {
  const Failure failure = Fails("StartImage", {EFI_SECURITY_VIOLATION, EFI_INVALID_PARAMETER});
  return failure ? failure : Machine::Current().StartProgram(image);
}

EFI_STATUS EFIAPI UnloadImage(EFI_HANDLE image) {
  if (const Failure failure = Fails("UnloadImage", {EFI_UNSUPPORTED})) return failure;
  constexpr EFI_GUID kLoadedImageGuid = LOADED_IMAGE_PROTOCOL;
  void* loaded = nullptr;
  if (EFI_ERROR(Handles().Interface(image, kLoadedImageGuid, &loaded))) return EFI_INVALID_PARAMETER;
  const auto unload = static_cast<EFI_LOADED_IMAGE*>(loaded)->Unload;
  const EFI_STATUS status = unload == nullptr ? EFI_SUCCESS : unload(image);
  if (!EFI_ERROR(status)) Machine::Current().UnloadImage(image);
  return status;
}

EFI_STATUS EFIAPI SetWatchdogTimer(UINTN seconds, UINT64, UINTN, CHAR16*) {
  if (const Failure failure = Fails("SetWatchdogTimer", {EFI_UNSUPPORTED, EFI_DEVICE_ERROR})) return failure;
  Machine::Current().watchdog_seconds = seconds;
  return EFI_SUCCESS;
}

// Some firmware comes back from it.
EFI_STATUS EFIAPI ResetSystem(EFI_RESET_TYPE type, EFI_STATUS, UINTN, CHAR16*) {
  if (const Failure failure = Fails("ResetSystem", {EFI_UNSUPPORTED})) return failure;
  throw MachineReset{type};
}

EFI_STATUS EFIAPI Stall(UINTN microseconds) {
  Machine& machine = Machine::Current();
  --machine.steps;  // how long a run waits is judged by the time
  if (const Failure failure = Fails("Stall", {EFI_UNSUPPORTED})) return failure;
  machine.stalled_microseconds += microseconds;
  if (microseconds <= machine.longest_real_stall) std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI GetTime(EFI_TIME* time, EFI_TIME_CAPABILITIES*) {
  if (const Failure failure = Fails("GetTime", {EFI_DEVICE_ERROR, EFI_UNSUPPORTED})) return failure;
  *time = Machine::Current().time;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI GetVariable(CHAR16* name, EFI_GUID* vendor, UINT32* attributes, UINTN* size, void* data) {
  const Failure failure = Fails("GetVariable", AsText(name), {EFI_DEVICE_ERROR, EFI_SECURITY_VIOLATION, kTooMuch});
  if (failure) return failure.GiveSize(size);
  return Variables().Get(name, *vendor, attributes, size, data);
}

EFI_STATUS EFIAPI GetNextVariableName(UINTN* size, CHAR16* name, EFI_GUID* vendor) {
  if (const Failure failure = Fails("GetNextVariableName", {EFI_DEVICE_ERROR, kTooMuch})) return failure.GiveSize(size);
  return Variables().Next(size, name, vendor);
}

EFI_STATUS EFIAPI SetVariable(CHAR16* name, EFI_GUID* vendor, UINT32 attributes, UINTN size, void* data) {
  Machine::Current().NoteWrite("SetVariable");
  if (const Failure failure = Fails("SetVariable", AsText(name), kOfSettings)) return failure;
  return Variables().Set(name, *vendor, attributes, size, data);
}

}  // namespace

void FillBootServices(EFI_BOOT_SERVICES& table) {
  FillWithRefusals<kBootServiceNames>(&table.RaiseTPL);
  table.AllocatePages = AllocatePages;
  table.FreePages = FreePages;
  table.GetMemoryMap = GetMemoryMap;
  table.AllocatePool = AllocatePool;
  table.FreePool = FreePool;
  table.CreateEvent = CreateEvent;
  table.CloseEvent = CloseEvent;
  table.WaitForEvent = WaitForEvent;
  table.InstallProtocolInterface = InstallProtocolInterface;
  table.UninstallProtocolInterface = UninstallProtocolInterface;
  table.InstallMultipleProtocolInterfaces = InstallMultipleProtocolInterfaces;
  table.UninstallMultipleProtocolInterfaces = UninstallMultipleProtocolInterfaces;
  table.HandleProtocol = HandleProtocol;
  table.OpenProtocol = OpenProtocol;
  table.RegisterProtocolNotify = RegisterProtocolNotify;
  table.LocateHandle = LocateHandle;
  table.LocateHandleBuffer = LocateHandleBuffer;
  table.LocateProtocol = LocateProtocol;
  table.LoadImage = LoadImage;
  table.StartImage = StartImage;
  table.UnloadImage = UnloadImage;
  table.SetWatchdogTimer = SetWatchdogTimer;
  table.ConnectController = ConnectController;
  table.InstallConfigurationTable = InstallConfigurationTable;
  table.Exit = Exit;
  table.Stall = Stall;
}

void FillRuntimeServices(EFI_RUNTIME_SERVICES& table) {
  FillWithRefusals<kRuntimeServiceNames>(&table.GetTime);
  table.GetTime = GetTime;
  table.GetVariable = GetVariable;
  table.GetNextVariableName = GetNextVariableName;
  table.SetVariable = SetVariable;
  table.ResetSystem = reinterpret_cast<EFI_RESET_SYSTEM>(&ResetSystem);
}

}  // namespace simulation
