#include "net/mac_access.h"

#include <algorithm>

#include "module/last_error.h"
#include "module/report.h"
#include "platform/handles.h"
#include "platform/numbers.h"
#include "platform/variables.h"

namespace mfgtest {
namespace {

using SimpleNetwork = EFI_SIMPLE_NETWORK;

constexpr EFI_GUID kSimpleNetworkProtocolGuid = {
    0xA19832B9, 0xAC25, 0x11D3, {0x9A, 0x2D, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
constexpr EFI_GUID kGlobalVariableGuid = {0x8BE4DF61, 0x93CA, 0x11D2, {0xAA, 0x0D, 0x00, 0xE0, 0x98, 0x03, 0x2B, 0x8C}};

constexpr const char16_t* kMacVariables[] = {u"Nic1MacAddress", u"Nic2MacAddress", u"Nic3MacAddress",
                                             u"Nic4MacAddress"};
constexpr std::size_t kMacVariableBytes = 40;
constexpr std::size_t kMacDigits = 12;

// A status as the 32-bit number that the messages show.
std::uint32_t Shown(EFI_STATUS status) { return static_cast<std::uint32_t>(status); }

// The controller on a handle. Without a mode table it would have no address.
EFI_STATUS Open(EFI_HANDLE handle, SimpleNetwork** network) {
  const EFI_STATUS status = platform::HandleInterface(handle, kSimpleNetworkProtocolGuid, network);
  if (EFI_ERROR(status)) return status;
  return (*network)->Mode == nullptr ? EFI_UNSUPPORTED : EFI_SUCCESS;
}

// A controller that was started before is used as it is.
EFI_STATUS Start(SimpleNetwork* network) {
  const EFI_STATUS status = network->Start(network);
  return status == EFI_ALREADY_STARTED ? EFI_SUCCESS : status;
}

MacAddress StationAddress(const SimpleNetwork& network) {
  MacAddress mac;
  std::copy_n(network.Mode->CurrentAddress.Addr, mac.size(), mac.data());
  return mac;
}

// The value with its lowest two bytes exchanged.
std::uint64_t ExchangeLowBytes(std::uint64_t value) {
  return (value & ~std::uint64_t{0xFFFF}) | (value & 0xFF) << 8 | (value >> 8 & 0xFF);
}

// Folds an address into a number by which a controller without one is told.
std::uint64_t CheckValue(const MacAddress& mac) {
  std::uint64_t bytes = 0;
  for (std::size_t i = mac.size(); i > 0; --i) bytes = bytes << 8 | mac[i - 1];
  return (ExchangeLowBytes(bytes) << 32) + (ExchangeLowBytes(bytes >> 16) << 16) + ExchangeLowBytes(bytes >> 32);
}

bool ReadController(std::uint32_t position, EFI_HANDLE handle, MacAddress* mac) {
  report::DebugPrint(kDebugProgress, "Trying SNP Protocol %d....\n", position);
  SimpleNetwork* network = nullptr;
  EFI_STATUS status = Open(handle, &network);
  if (EFI_ERROR(status)) {
    SetLastError("\nFailed to get SNP Interface. Status=0x%x", Shown(status));
    return false;
  }
  report::DebugPrint(kDebugProgress, "Found\n");
  status = Start(network);
  if (EFI_ERROR(status)) {
    SetLastError("\nFailed to start SNP driver. Status=0x%x", Shown(status));
    return false;
  }
  *mac = StationAddress(*network);
  report::DebugPrint(kDebugProgress, "MAC Address: ");
  for (const std::uint8_t byte : *mac) report::DebugPrint(kDebugProgress, "0x%02x ", byte);
  report::DebugPrint(kDebugProgress, "\n");
  return true;
}

bool DisplayController(std::uint32_t position, EFI_HANDLE handle) {
  report::DebugPrint(kDebugProgress, "\nTrying SNP Protocol %d...", position);
  SimpleNetwork* network = nullptr;
  EFI_STATUS status = Open(handle, &network);
  if (EFI_ERROR(status)) {
    report::ReportError(ErrorCode::kNetworkControllers, "\nNo SNP Interface. Status=0x%x\n", Shown(status));
    return false;
  }
  report::DebugPrint(kDebugProgress, "\nFound");
  status = Start(network);
  if (EFI_ERROR(status)) {
    SetLastError("\nFailed to start SNP driver. Status=0x%x", Shown(status));
    report::ReportError(ErrorCode::kNetworkControllers, "%s\n", LastError());
    return false;
  }
  report::DisplayPrint("\nMAC Address %d: 0x", position);
  for (const std::uint8_t byte : StationAddress(*network)) report::DisplayPrint("%02x", byte);
  return true;
}

std::uint32_t SelectedController() {
  std::uint32_t index = 0;
  if (TestLib->GetParamNumber(u"NIC_Index", &index) != kTestLibrarySuccess) return 0;
  report::DebugPrint(kDebugProgress, "NIC_Index: %d\n", index);
  return index;
}

}  // namespace

bool GetMacAddr(MacAddress* mac) {
  platform::HandleList controllers;
  const EFI_STATUS status = platform::LocateAllHandles(kSimpleNetworkProtocolGuid, &controllers);
  if (EFI_ERROR(status)) {
    SetLastError("\nFailed to locate SNP protocol.  Status=0x%x", Shown(status));
    return false;
  }
  const auto count = static_cast<std::uint32_t>(controllers.handles.size());
  report::DebugPrint(kDebugProgress, "\nFound %d SNP Protocol(s)\n", count);
  if (count == 0) {
    SetLastError("No NIC/SNP Protocol found.");
    return false;
  }
  const std::uint32_t index = SelectedController();
  // Kept: an index equal to the count passes here and finds no controller.
  if (index > count) {
    SetLastError("\nNIC_Index cannot be greater than total numbers of handles found, %d.", count);
    return false;
  }
  std::uint64_t check = 0;
  if (index < count) {
    if (!ReadController(index, controllers.handles[index], mac)) return false;
    check = CheckValue(*mac);
  }
  if (check != 0 && check != 0xFF) return true;
  SetLastError("\nInvalid MAC address! Please make sure SNP.efi & Tcpipv4.efi drivers are loaded successfully.");
  return false;
}

bool ReadNicMacVariable(MacAddress* mac) {
  std::uint32_t parameter = 0;
  TestLib->GetParamNumber(u"NicMacAddress", &parameter);
  const auto index = static_cast<std::uint8_t>(parameter);
  if (index >= std::size(kMacVariables)) return false;

  std::array<char16_t, kMacVariableBytes / sizeof(char16_t) + 1> text{};
  const std::span<std::uint8_t> bytes(reinterpret_cast<std::uint8_t*>(text.data()), kMacVariableBytes);
  std::size_t size = 0;
  if (EFI_ERROR(platform::ReadVariableInto(kMacVariables[index], kGlobalVariableGuid, bytes, &size))) return false;
  for (std::size_t i = 0; i < kMacDigits; ++i) {
    report::DebugPrint(kDebugProgress, "MAC address %02x\n", static_cast<std::uint16_t>(text[i]));
  }
  const std::uint64_t number = platform::HexadecimalNumber(text.data());
  report::DebugPrint(kDebugProgress, "MAC Address read %lx\n", number);
  if (number == 0) return false;
  for (std::size_t i = 0; i < mac->size(); ++i) {
    (*mac)[i] = static_cast<std::uint8_t>(number >> (8 * (mac->size() - 1 - i)));
    report::DebugPrint(kDebugProgress, "%02x", (*mac)[i]);
  }
  return true;
}

bool DisplayAllMac() {
  report::DebugPrint(kDebugProgress, "\nDisplay All MAC ...\n");
  platform::HandleList controllers;
  const EFI_STATUS status = platform::LocateAllHandles(kSimpleNetworkProtocolGuid, &controllers);
  if (EFI_ERROR(status)) {
    SetLastError("\nFailed to locate SNP protocol. Status=0x%x", Shown(status));
    report::ReportError(ErrorCode::kNetworkControllers, "%s\n", LastError());
    return false;
  }
  const auto count = static_cast<std::uint32_t>(controllers.handles.size());
  report::DebugPrint(kDebugProgress, "Found %d SNP Protocol(s)", count);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (!DisplayController(i, controllers.handles[i])) return false;
  }
  report::DisplayPrint("\n");
  return true;
}

}  // namespace mfgtest
