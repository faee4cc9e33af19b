// SPDX-License-Identifier: BSD-2-Clause-Patent
// Start and end of the driver: it stays resident once a controller answered.
#include <algorithm>

#include "drivers/ipmi_kcs/discovery.h"
#include "drivers/ipmi_kcs/kcs.h"
#include "drivers/ipmi_kcs/options.h"
#include "drivers/ipmi_kcs/placement.h"
#include "drivers/ipmi_kcs/transport.h"
#include "platform/bridges.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/say.h"
#include "platform/shell.h"
#include "platform/status_text.h"

namespace ipmi_kcs {
namespace {

using platform::Colour;
using platform::Say;

// A shell's load command knows file names only.
constexpr const char16_t* kOptionsVariable = u"IpmiKcsOptions";

constexpr std::uint8_t kApplicationNetworkFunction = 0x06;
constexpr std::uint8_t kGetDeviceId = 0x01;

// Get Device ID data.
constexpr std::size_t kDeviceId = 0;
constexpr std::size_t kFirmwareMajor = 2;  // bit 7: not in service
constexpr std::size_t kFirmwareMinor = 3;  // binary-coded decimal
constexpr std::size_t kIpmiVersion = 4;    // minor and major, a digit each

constinit IpmiTransport* offered = nullptr;
constinit platform::Bridge bridge{};
constinit std::array<char16_t, 96> record{};

// Where the controller is, as the end of a sentence.
using PlaceText = std::array<char16_t, 64>;

// Load options are text up to a terminator or the end. Some shells put the
// driver's file name in front; no option has a dot.
std::u16string_view LoadOptions(const EFI_LOADED_IMAGE* image) {
  if (image == nullptr || image->LoadOptions == nullptr) return {};
  std::u16string_view text(static_cast<const char16_t*>(image->LoadOptions), image->LoadOptionsSize / sizeof(char16_t));
  text = {text.data(), std::min(text.find(u'\0'), text.size())};
  const std::size_t word = std::min(text.find(u' '), text.size());
  if (text.find(u'.') < word) text.remove_prefix(word);
  return text;
}

bool FindOptions(EFI_HANDLE image, Options* options, ErrorText& error) {
  if (const std::u16string_view given = LoadOptions(platform::LoadedImage(image)); !given.empty()) {
    return ReadOptions(given, options, error);
  }
  const char16_t* const variable = platform::ShellVariable(kOptionsVariable);
  return ReadOptions(variable == nullptr ? u"" : variable, options, error);
}

struct DeviceId {
  std::uint8_t completion_code;
  std::uint32_t length;
  std::array<std::uint8_t, 16> data;
};

EFI_STATUS AskController(IpmiTransport* transport, DeviceId* id) {
  const EFI_STATUS status =
      transport->SendIpmiRequest(transport, kApplicationNetworkFunction, 0, kGetDeviceId, nullptr, 0);
  if (EFI_ERROR(status)) return status;
  *id = {};
  id->length = static_cast<std::uint32_t>(id->data.size());
  return transport->ReceiveIpmiResponse(transport, nullptr, nullptr, nullptr, &id->completion_code, id->data.data(),
                                        &id->length);
}

// A controller that starts up, or takes new firmware, answers with a completion
// code.
void SayController(const char16_t* place, const DeviceId& id) {
  if (id.completion_code != 0 || id.length <= kIpmiVersion) {
    Say(Colour::kNotice,
        "ipmi_kcs is loaded. The management controller %s is not ready yet (completion code 0x%02x).\n", place,
        id.completion_code);
    return;
  }
  const auto& data = id.data;
  Say(Colour::kNormal, "ipmi_kcs is loaded. Management controller %s: IPMI %u.%u, device 0x%02x, firmware %u.%02x\n",
      place, data[kIpmiVersion] & 0xFu, data[kIpmiVersion] >> 4, data[kDeviceId], data[kFirmwareMajor] & 0x7Fu,
      data[kFirmwareMinor]);
}

EFI_STATUS Refuse(EFI_STATUS status, const ErrorText& reason) {
  Say(Colour::kBad, "ERROR: ipmi_kcs is not loaded: %s\n", reason.data());
  return status;
}

// An error leaves the driver where it is, and this may be tried again.
EFI_STATUS EFIAPI Unload(EFI_HANDLE image) {
  if (offered != nullptr) {
    const EFI_STATUS status = platform::UninstallInterface(image, kIpmiTransportProtocolGuid, offered);
    if (EFI_ERROR(status)) return status;
  }
  offered = nullptr;
  return platform::TakeOffRecord(bridge);
}

EFI_STATUS Offer(EFI_HANDLE image, IpmiTransport* transport) {
  bridge = {};
  EFI_STATUS status = platform::PutOnRecord(bridge, record.data());
  if (EFI_ERROR(status)) return status;
  status = platform::InstallInterface(&image, kIpmiTransportProtocolGuid, transport);
  if (EFI_ERROR(status)) {
    platform::TakeOffRecord(bridge);
    return status;
  }
  offered = transport;
  if (EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(image); loaded != nullptr) loaded->Unload = Unload;
  return status;
}

EFI_STATUS RefuseSilence(EFI_STATUS status, const PlaceText& place) {
  ErrorText reason;
  FormatText(reason, "no management controller answers %s (%s).", place.data(), platform::StatusText(status).Text());
  return Refuse(status, reason);
}

// Nobody else asks a controller that has not said who it is.
EFI_STATUS AskAndOffer(EFI_HANDLE image, IpmiTransport* transport, const PlaceText& place) {
  DeviceId id;
  EFI_STATUS status = AskController(transport, &id);
  if (EFI_ERROR(status)) return RefuseSilence(status, place);
  status = Offer(image, transport);
  if (!EFI_ERROR(status)) SayController(place.data(), id);
  return status;
}

EFI_STATUS StartOnPort(EFI_HANDLE image, const Options& options) {
  ErrorText reason;
  Registers registers = options.registers;
  if (!options.has_address) {
    const EFI_STATUS status = FindRegisters(SmbiosTable(), &registers, reason);
    if (EFI_ERROR(status)) Refuse(status, reason);
    if (status == EFI_NOT_FOUND) {
      Say(Colour::kNormal, "Where you know the address: set -v %s \"io=0xca2\", then load it again.\n",
          kOptionsVariable);
    }
    if (EFI_ERROR(status)) return status;
  }
  if (!MayBeRegisters(registers, reason)) return Refuse(EFI_ACCESS_DENIED, reason);
  const char16_t* const space = SpaceName(registers.space);
  PlaceText place;
  FormatText(place, "at %s 0x%lx, spacing %u", space, registers.address, registers.spacing);
  if (!IsAnswering(registers)) return RefuseSilence(EFI_NO_RESPONSE, place);
  FormatText(record, "IPMI transport over the KCS interface at %s 0x%lx", space, registers.address);
  return AskAndOffer(image, OpenTransport(registers), place);
}

EFI_STATUS StartOnFirmware(EFI_HANDLE image, const Options& options, FirmwareIpmi* firmware) {
  if (options.has_address) {
    Say(Colour::kNotice, "The address is not used: the firmware has an IPMI protocol. The word port forces it.\n");
  }
  PlaceText place;
  FormatText(place, "through the firmware's IPMI protocol");
  FormatText(record, "IPMI transport over the firmware's IPMI protocol");
  return AskAndOffer(image, OpenTransport(firmware), place);
}

EFI_STATUS Start(EFI_HANDLE image) {
  ErrorText reason;
  Options options;
  if (!FindOptions(image, &options, reason)) return Refuse(EFI_INVALID_PARAMETER, reason);
  if (options.help) {
    platform::Write(kHelpText);
    return EFI_ABORTED;
  }
  // Two ways to one controller would only get into each other's way.
  if (platform::FirstInterface(kIpmiTransportProtocolGuid) != nullptr) {
    FormatText(reason, "the IPMI transport is offered already; tests use that one.");
    return Refuse(EFI_ALREADY_STARTED, reason);
  }
  auto* const firmware = platform::FirstInterface<FirmwareIpmi>(kFirmwareIpmiProtocolGuid);
  return firmware == nullptr || options.port ? StartOnPort(image, options) : StartOnFirmware(image, options, firmware);
}

}  // namespace
}  // namespace ipmi_kcs

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  return ipmi_kcs::Start(image);
}
