// Start and end of the driver: it stays resident once a controller answered.
#include <algorithm>

#include "drivers/ipmi_kcs/discovery.h"
#include "drivers/ipmi_kcs/kcs.h"
#include "drivers/ipmi_kcs/options.h"
#include "drivers/ipmi_kcs/transport.h"
#include "platform/console.h"
#include "platform/format.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/shell.h"
#include "platform/status_text.h"

namespace ipmi_kcs {
namespace {

using platform::Colour;

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

template <class... Args>
void Say(Colour colour, Format<Args...> format, const Args&... arguments) {
  std::array<char16_t, 512> text;
  FormatText(text, format, arguments...);
  platform::Write(text.data(), colour);
}

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

EFI_STATUS AskController(const Registers& registers, IpmiTransport* transport, DeviceId* id) {
  if (!IsAnswering(registers)) return EFI_NO_RESPONSE;
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
void SayController(const Registers& registers, const DeviceId& id) {
  const char16_t* const space = SpaceName(registers.space);
  if (id.completion_code != 0 || id.length <= kIpmiVersion) {
    Say(Colour::kNotice,
        "ipmi_kcs is loaded. The management controller at %s 0x%lx is not ready yet (completion code 0x%02x).\n", space,
        registers.address, id.completion_code);
    return;
  }
  const auto& data = id.data;
  Say(Colour::kNormal,
      "ipmi_kcs is loaded. Management controller at %s 0x%lx, spacing %u: IPMI %u.%u, device 0x%02x, firmware %u.%02x\n",
      space, registers.address, registers.spacing, data[kIpmiVersion] & 0xFu, data[kIpmiVersion] >> 4, data[kDeviceId],
      data[kFirmwareMajor] & 0x7Fu, data[kFirmwareMinor]);
}

EFI_STATUS Refuse(EFI_STATUS status, const ErrorText& reason) {
  Say(Colour::kBad, "ERROR: ipmi_kcs is not loaded: %s\n", reason.data());
  return status;
}

EFI_STATUS EFIAPI Unload(EFI_HANDLE image) {
  return platform::UninstallInterface(image, kIpmiTransportProtocolGuid, offered);
}

EFI_STATUS Offer(EFI_HANDLE image, IpmiTransport* transport) {
  offered = transport;
  if (EFI_LOADED_IMAGE* const loaded = platform::LoadedImage(image); loaded != nullptr) loaded->Unload = Unload;
  return platform::InstallInterface(&image, kIpmiTransportProtocolGuid, transport);
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
  Registers registers = options.registers;
  if (!options.has_address && !FindRegisters(SmbiosTable(), &registers, reason)) {
    Refuse(EFI_NOT_FOUND, reason);
    Say(Colour::kNormal, "Where you know the address: set -v %s \"io=0xca2\", then load it again.\n", kOptionsVariable);
    return EFI_NOT_FOUND;
  }
  IpmiTransport* const transport = OpenTransport(registers);
  DeviceId id;
  if (const EFI_STATUS status = AskController(registers, transport, &id); EFI_ERROR(status)) {
    FormatText(reason, "no management controller answers at %s 0x%lx (%s).", SpaceName(registers.space),
               registers.address, platform::StatusText(status).Text());
    return Refuse(status, reason);
  }
  const EFI_STATUS status = Offer(image, transport);
  if (!EFI_ERROR(status)) SayController(registers, id);
  return status;
}

}  // namespace
}  // namespace ipmi_kcs

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  return ipmi_kcs::Start(image);
}
