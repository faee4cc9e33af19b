// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/flash.h"

#include <algorithm>
#include <cstring>

#include "pci/access.h"
#include "platform/handles.h"
#include "platform/memory.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr std::uint64_t kRequestPageLimit = 0xFFFF;

// Where the fields of a request lie in its page.
constexpr std::size_t kBlockAddress = 0;
constexpr std::size_t kWriteLength = 4;
constexpr std::size_t kWriteSource = 8;
constexpr std::size_t kEraseStatus = 8;
constexpr std::size_t kWriteStatus = 16;

// A request in its page below 64 KiB. The page is not cleared: what is not a
// field of the request belongs to the flash service, the status above all.
struct FlashRequest {
  std::uint8_t* Bytes() const { return platform::WritablePhysicalMemory(page.address); }
  void Put(std::size_t offset, std::uint32_t value) { std::memcpy(Bytes() + offset, &value, sizeof value); }

  // Hands the request over and gives the status as it then reads.
  std::uint64_t Submit(std::size_t status_offset) const {
    // Kept: the request is handed over by looking the root bridges up: the flash
    // service works while firmware searches for them.
    initEfiProtocols(nullptr);
    std::uint64_t status;
    std::memcpy(&status, Bytes() + status_offset, sizeof status);
    return status;
  }

  platform::LowPage page{kRequestPageLimit};
};

// Through the first handle of those that carry the protocol.
bool ReadThroughInterface(EFI_HANDLE handle, RawGuid* guid) {
  report::DebugPrint(kDebugProgress, "MfgMode Protocol detected\r\n");
  ManufacturingInterface* interface = nullptr;
  EFI_STATUS status = platform::HandleInterface(handle, kManufacturingInterfaceProtocolGuid, &interface);
  if (EFI_ERROR(status)) {
    SetLastError("Error locating Mfg Interface. Code: 0x%X", static_cast<std::uint32_t>(status));
    return false;
  }
  report::DebugPrint(kDebugProgress, "Mfg Interface retrieved successfully.\r\n");
  status = platform::ReadStoredGuid(interface, *guid);
  if (EFI_ERROR(status)) {
    SetLastError("Error in Reading Sysid. Code: 0x%X", static_cast<std::uint32_t>(status));
    return false;
  }
  report::DebugPrint(kDebugProgress, "Raw GUID:\r\n");
  for (const std::uint8_t byte : *guid) report::DebugPrint(kDebugProgress, "%x ", byte);
  report::DebugPrint(kDebugProgress, "\r\n");
  return true;
}

bool ReadFromMemory(RawGuid* guid, Mode mode) {
  report::DebugPrint(kDebugProgress, "MfgMode not installed - reading FLASH directly\r\n");
  std::uint32_t address = 0;
  std::uint32_t offset = 0;
  if (!RequireNumber(u"FlashAddress", &address, mode)) return false;
  // Kept: the offset that is read here has another name than the one reported.
  if (!ReadNumber(u"GuidOffsetFlash", &offset)) return FailOnParameter(u"GuidOffsetInFlash", mode);
  const std::uint32_t place = address + offset;
  report::DebugPrint(kDebugProgress, "Reading GUID from flash at %08.8x\r\n", place);
  std::copy_n(platform::PhysicalMemory(place), guid->size(), guid->data());
  return true;
}

}  // namespace

ManufacturingInterface* FindManufacturingInterface() {
  platform::HandleList providers;
  const EFI_STATUS status = platform::LocateAllHandles(kManufacturingInterfaceProtocolGuid, &providers);
  if (EFI_ERROR(status) || providers.handles.empty()) return nullptr;
  ManufacturingInterface* interface = nullptr;
  const EFI_STATUS opened =
      platform::HandleInterface(providers.handles[0], kManufacturingInterfaceProtocolGuid, &interface);
  return EFI_ERROR(opened) ? nullptr : interface;
}

bool ReadGuidFromFlash(RawGuid* guid, Mode mode) {
  platform::HandleList providers;
  const EFI_STATUS status = platform::LocateAllHandles(kManufacturingInterfaceProtocolGuid, &providers);
  if (EFI_ERROR(status)) return ReadFromMemory(guid, mode);
  if (providers.handles.empty()) {
    SetLastError("Error in getting manufacturing mode handles....\n");
    return false;
  }
  return ReadThroughInterface(providers.handles[0], guid);
}

std::uint64_t SmiEraseBlock(std::uint32_t address) {
  FlashRequest request;
  if (!request.page.is_allocated) return EFI_OUT_OF_RESOURCES;
  request.Put(kBlockAddress, address);
  return request.Submit(kEraseStatus);
}

std::uint64_t SmiWriteBlock(std::uint32_t address, const void* source, std::uint64_t length) {
  FlashRequest request;
  if (!request.page.is_allocated) return EFI_OUT_OF_RESOURCES;
  request.Put(kBlockAddress, address);
  request.Put(kWriteLength, static_cast<std::uint32_t>(length));
  request.Put(kWriteSource, static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(source)));
  return request.Submit(kWriteStatus);
}

}  // namespace mfgtest
