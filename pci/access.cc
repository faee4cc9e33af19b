#include "pci/access.h"

#include <array>

#include "module/report.h"
#include "platform/status_text.h"

namespace mfgtest {

constinit PciSession pci_session;

namespace {

// Bus 255 and device 31 are never visited.
constexpr std::uint32_t kBuses = 255;
constexpr std::uint32_t kDevices = 31;

constexpr std::size_t kHeaderWords = 16;
constexpr std::size_t kFirstBarWord = 4;

constexpr std::uint32_t kDebugPciSearch = 7;

void EnsureInitialised() {
  if (pci_session.initialised == 0) initEfiProtocols(nullptr);
}

// The wanted device among those with its IDs.
struct DeviceSearch {
  std::uint16_t vendor_id;
  std::uint16_t device_id;
  std::uint16_t index;
  std::uint16_t matches = 0;

  // Whether the device at the address is the wanted one.
  bool Visit(std::uint32_t address) {
    std::array<std::uint32_t, 4> words{};
    if (EFI_ERROR(platform::ReadPciConfiguration(pci_session.bridge, address, words))) return false;
    if (words[0] != (std::uint32_t{device_id} << 16 | vendor_id)) return false;
    report::DebugPrint(
        kDebugPciSearch,
        "In FindPciDevice: Index = %d DeviceIndex= %d. DeviceAddress to be returned 0x%x\n()()Matching DevID()() = 0x%x & VendorID()() = 0x%x\n",
        index, matches, address, device_id, vendor_id);
    if (matches++ != index) return false;
    report::DebugPrint(kDebugPciSearch,
                       "In FindPciDevice: Matching VendorID & DevID in FindPciDevice -- and Index matches.\n");
    return true;
  }
};

}  // namespace

void initEfiProtocols(const void*) {
  PciSession& session = pci_session;
  session.last_status = platform::LocatePciRootBridges(&session.handles);
  if (EFI_ERROR(session.last_status)) report::LogMessage("Error doing Handle search\n");
  for (const EFI_HANDLE handle : session.handles) {
    session.last_status = platform::OpenPciRootBridge(handle, &session.bridge);
  }
  if (EFI_ERROR(session.last_status)) return report::LogMessage("\ninitEfiProtocols() failed\n");
  session.initialised = 1;
}

bool FindPciDevice(std::uint16_t vendor_id, std::uint16_t device_id, std::uint16_t index, std::uint32_t* address) {
  EnsureInitialised();
  *address = 0;
  DeviceSearch search{vendor_id, device_id, index};
  for (std::uint32_t bus = 0; bus < kBuses; ++bus) {
    for (std::uint32_t device = 0; device < kDevices; ++device) {
      const std::uint32_t candidate = (bus << 24) + (device << 16);
      if (!search.Visit(candidate)) continue;
      *address = candidate;
      return true;
    }
  }
  return false;
}

bool ReadPciBar(std::uint32_t address, std::uint8_t index, std::uint32_t* bar) {
  EnsureInitialised();
  *bar = 0;
  std::array<std::uint32_t, kHeaderWords> header{};
  const bool in_header = kFirstBarWord + index < kHeaderWords;
  if (!in_header || EFI_ERROR(platform::ReadPciConfiguration(pci_session.bridge, address, header))) {
    report::ReportError(ErrorCode::kDeviceOrValue, "\r\nFailed PCI read at address: 0x%x\n", address);
    return false;
  }
  *bar = header[kFirstBarWord + index];
  report::DebugPrint(kDebugTrace, "BARindex: 0x%x, BARAddress: 0x%x \n", index, *bar);
  return true;
}

bool MemReadByte(std::uint64_t base, std::uint32_t offset, std::uint8_t* byte) {
  EnsureInitialised();
  const auto address = static_cast<std::uint32_t>(base + offset);
  const EFI_STATUS status = platform::ReadPciMemory8(pci_session.bridge, address, byte);
  if (!EFI_ERROR(status)) return true;
  report::DebugPrint(kDebugProgress, "status: %x\n", static_cast<std::uint32_t>(status));
  report::LogMessage("Error reading MEMORY MAPPED BYTE at address:%Xh offset:%X\n", static_cast<std::uint32_t>(base),
                     offset);
  return false;
}

bool MemReadDword(std::uint64_t base, std::uint32_t offset, std::uint32_t* value) {
  EnsureInitialised();
  std::uint32_t word = 0;
  const auto address = static_cast<std::uint32_t>(base + offset);
  const EFI_STATUS status = platform::ReadPciMemory32(pci_session.bridge, address, &word);
  *value = word;
  if (!EFI_ERROR(status)) return true;
  report::LogMessage("Error reading M.MAPPED DWORD at address:%Xh offset:%X\n", static_cast<std::uint32_t>(base),
                     offset);
  report::LogMessage(" - %s\n", platform::StatusText(status).Text());
  return false;
}

}  // namespace mfgtest
