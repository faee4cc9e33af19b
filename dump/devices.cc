// SPDX-License-Identifier: BSD-2-Clause-Patent
// Network controllers, PCI, variables, flash, and the GUID behind an interface.
#include <algorithm>
#include <cstring>

#include "dump/dump.h"
#include "guid/flash.h"
#include "pci/access.h"
#include "platform/console.h"
#include "platform/handles.h"
#include "platform/manufacturing_interface.h"
#include "platform/memory.h"
#include "platform/pci_root_bridge.h"
#include "platform/simple_network.h"
#include "platform/status_text.h"
#include "platform/variables.h"

namespace dump {
namespace {

constexpr std::uint32_t kBuses = 256;
constexpr std::uint32_t kDevices = 32;
constexpr std::uint32_t kFunctions = 8;
constexpr std::uint32_t kAbsent = 0xFFFFFFFF;
constexpr std::uint32_t kManyFunctions = 0x00800000;  // in the fourth word
constexpr std::uint32_t kIeee1394Class = 0x0C0010;
constexpr std::uint32_t kBarFlags = 0x0F;
constexpr std::uint32_t kEui64Registers[] = {0x24, 0x28};

constexpr unsigned kMostVariables = 65536;
constexpr std::size_t kMostData = 4096;
constexpr EFI_GUID kGlobalGuid = EFI_GLOBAL_VARIABLE;
// Modern shell, EFI 1.x shell, and the factory's own.
constexpr EFI_GUID kOpenVendors[] = {
    {0x158DEF5A, 0xF656, 0x419C, {0xB0, 0x27, 0x7A, 0x31, 0x92, 0xC0, 0x79, 0xD2}},
    {0x47C7B224, 0xC42A, 0x11D2, {0x8E, 0x57, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B}},
    {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}},
};
constexpr std::u16string_view kOpenGlobals[] = {u"Nic1MacAddress", u"Nic2MacAddress", u"Nic3MacAddress",
                                                u"Nic4MacAddress"};

// Where a machine of this kind maps the firmware's flash, up to 4 GiB.
constexpr std::uint32_t kFlashWindow = 0xFF000000;
constexpr std::uint32_t kLastBlock = 0xFFFF0000;

using Header = std::array<std::uint32_t, 16>;

// The root bridge that serves the tests: of several, the last one.
EFI_STATUS FindRootBridge(platform::PciRootBridge** bridge) {
  platform::HandleList bridges;
  EFI_STATUS status = platform::LocatePciRootBridges(&bridges.handles);
  for (const EFI_HANDLE handle : bridges.handles) status = platform::OpenPciRootBridge(handle, bridge);
  return *bridge == nullptr && !EFI_ERROR(status) ? EFI_NOT_FOUND : status;
}

bool ReadHeader(platform::PciRootBridge* bridge, std::uint32_t address, Header& header) {
  header[0] = kAbsent;
  return !EFI_ERROR(platform::ReadPciConfiguration(bridge, address, header)) && header[0] != kAbsent;
}

// As `lspci -x` shows a function, which reads it with -F.
void PutHeader(Json& text, std::uint32_t address, const Header& header) {
  PutHexadecimal(text, address >> 24, 2);
  PutAscii(text, ":");
  PutHexadecimal(text, address >> 16 & 0xFF, 2);
  PutAscii(text, ".");
  PutHexadecimal(text, address >> 8 & 0xFF, 1);
  PutAscii(text, " ");
  PutHexadecimal(text, header[2] >> 16, 4);
  PutAscii(text, ": ");
  PutHexadecimal(text, header[0] & 0xFFFF, 4);
  PutAscii(text, ":");
  PutHexadecimal(text, header[0] >> 16, 4);
  for (std::size_t i = 0; i < sizeof header; ++i) {
    if (i % 16 == 0) PutAscii(text, "\n");
    if (i % 16 == 0) PutHexadecimal(text, i, 2);
    PutAscii(text, i % 16 == 0 ? ": " : " ");
    PutHexadecimal(text, header[i / 4] >> (8 * (i % 4)) & 0xFF, 2);
  }
  PutAscii(text, "\n\n");
}

bool IsWanted1394(const Header& header) {
  std::uint32_t vendor = 0;
  std::uint32_t device = 0;
  const bool has_ids = GetNumber(u"1394_VENDOR_ID", &vendor) && GetNumber(u"1394_DEVICE_ID", &device);
  return header[2] >> 8 == kIeee1394Class || (has_ids && header[0] == (device << 16 | (vendor & 0xFFFF)));
}

void AddRegisters(const Header& header) {
  Json& index = the_dump->index;
  for (const std::uint32_t offset : kEui64Registers) {
    std::uint32_t value = 0;
    const std::uint32_t base = header[4] & ~kBarFlags;
    if (!mfgtest::MemReadDword(base, offset, &value)) {
      Miss(u"register of an IEEE 1394 controller", "0x%x cannot be read", base + offset);
      continue;
    }
    OpenObject(index, nullptr);
    AddAddress(index, "address", base + offset);
    AddAddress(index, "value", value);
    CloseObject(index);
  }
}

void TakeFunction(Json& text, std::uint32_t address, const Header& header) {
  PutHeader(text, address, header);
  if (IsWanted1394(header)) AddRegisters(header);
}

void TakeBus(platform::PciRootBridge* bridge, Json& text, std::uint32_t bus) {
  Header header{};
  for (std::uint32_t device = 0; device < kDevices; ++device) {
    const std::uint32_t address = bus << 24 | device << 16;
    if (!ReadHeader(bridge, address, header)) continue;
    const bool has_more = (header[3] & kManyFunctions) != 0;
    TakeFunction(text, address, header);
    for (std::uint32_t function = 1; has_more && function < kFunctions; ++function) {
      if (ReadHeader(bridge, address | function << 8, header)) TakeFunction(text, address | function << 8, header);
    }
  }
}

bool IsOpen(const platform::VariableCursor& variable) {
  const std::u16string_view name = variable.name.data();
  if (SameGuid(variable.vendor, kGlobalGuid)) return std::ranges::find(kOpenGlobals, name) != std::end(kOpenGlobals);
  return std::ranges::any_of(kOpenVendors, [&](const EFI_GUID& vendor) { return SameGuid(vendor, variable.vendor); });
}

// Every variable by its name, as a search of the tests meets them; the content
// of those that tests and shell use.
void AddVariable(Json& json, const platform::VariableCursor& variable) {
  OpenObject(json, nullptr);
  AddText(json, "name", variable.name.data());
  std::array<char16_t, 40> vendor;
  FormatText(vendor, "%g", &variable.vendor);
  AddText(json, "vendor", vendor.data());
  std::array<std::uint8_t, kMostData> data;
  std::size_t size = 0;
  if (IsOpen(variable)) {
    const EFI_STATUS status = platform::ReadVariableInto(variable.name.data(), variable.vendor, data, &size);
    if (!EFI_ERROR(status)) AddBytes(json, "data", std::span<const std::uint8_t>(data).first(size));
    if (EFI_ERROR(status)) Miss(variable.name.data(), platform::StatusText(status).Text());
  }
  CloseObject(json);
}

}  // namespace

void DumpNetwork() {
  platform::HandleList controllers;
  const EFI_STATUS status = platform::LocateNetworkControllers(&controllers);
  if (EFI_ERROR(status)) return Miss(u"network controllers", platform::StatusText(status).Text());
  Json& index = the_dump->index;
  OpenList(index, "network");
  for (const EFI_HANDLE handle : controllers.handles) {
    platform::NetworkController* network = nullptr;
    const EFI_STATUS opened = platform::OpenNetworkController(handle, &network);
    const EFI_STATUS started = EFI_ERROR(opened) ? opened : platform::StartNetworkController(network);
    OpenObject(index, nullptr);
    AddAddress(index, "handle", reinterpret_cast<std::uintptr_t>(handle));
    AddAddress(index, "start", started);
    if (!EFI_ERROR(opened)) AddBytes(index, "mac", platform::StationAddress(*network));
    CloseObject(index);
  }
  CloseList(index);
}

void DumpPci() {
  platform::PciRootBridge* bridge = nullptr;
  const EFI_STATUS status = FindRootBridge(&bridge);
  if (bridge == nullptr) return Miss(u"pci.txt", platform::StatusText(status).Text());
  auto& room = the_dump->room;
  Json text{.room = {reinterpret_cast<char*>(room.data()), room.size()}};
  OpenList(the_dump->index, "registers");
  for (std::uint32_t bus = 0; bus < kBuses; ++bus) {
    if (bus % 32 == 0) platform::Write(u".");
    TakeBus(bridge, text, bus);
  }
  CloseList(the_dump->index);
  if (text.is_cut) Miss(u"pci.txt", u"there are more functions than there is room for");
  WritePart(u"pci.txt", text.Bytes());
}

void DumpVariables() {
  auto& room = the_dump->room;
  Json json{.room = {reinterpret_cast<char*>(room.data()), room.size()}};
  OpenList(json, nullptr);
  platform::VariableCursor cursor;
  for (unsigned seen = 0; seen < kMostVariables && platform::NextVariable(cursor); ++seen) AddVariable(json, cursor);
  CloseList(json);
  if (json.is_cut) return Miss(u"variables.json", u"there are more variables than there is room for");
  WritePart(u"variables.json", json.Bytes());
}

void DumpFlash() {
  std::uint32_t address = 0;
  if (!GetNumber(u"FlashAddress", &address)) return Miss(u"flash.bin", u"no FlashAddress is given");
  const bool is_flash = address >= kFlashWindow && address <= kLastBlock;
  if (!is_flash)
    return Miss(u"flash.bin", "a block at 0x%x is not in the firmware's flash, 0xff000000 and up", address);
  std::copy_n(platform::PhysicalMemory(address), mfgtest::kFlashBlockBytes, the_dump->room.begin());
  WritePart(u"flash.bin", std::span<const std::uint8_t>(the_dump->room).first(mfgtest::kFlashBlockBytes), address);
}

void DumpStoredGuid() {
  ManufacturingInterface* const interface = mfgtest::FindManufacturingInterface();
  if (interface == nullptr) return;
  std::array<std::uint8_t, 16> guid{};
  const EFI_STATUS status = platform::ReadStoredGuid(interface, guid);
  if (EFI_ERROR(status)) return Miss(u"GUID of the manufacturing interface", platform::StatusText(status).Text());
  AddBytes(the_dump->index, "systemGuid", guid);
}

}  // namespace dump
