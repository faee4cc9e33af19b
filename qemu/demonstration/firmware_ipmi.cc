// Newer firmware's own IPMI protocol, over the KCS interface of QEMU's
// management controller.
#include <algorithm>

#include "drivers/ipmi_kcs/kcs.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/firmware_ipmi.h"

namespace {

using ipmi_kcs::Message;

constexpr std::uint64_t kMicroseconds = 5'000'000;
constinit const ipmi_kcs::Registers kRegisters{.address = 0xCA2};
constinit Message message{};

EFI_STATUS EFIAPI SubmitCommand(FirmwareIpmi*, std::uint8_t net_function, std::uint8_t command, std::uint8_t* request,
                                std::uint32_t request_size, std::uint8_t* response, std::uint32_t* response_size) {
  if (request_size > message.bytes.size() - 2) return EFI_INVALID_PARAMETER;
  message.bytes[0] = static_cast<std::uint8_t>(net_function << 2);
  message.bytes[1] = command;
  std::copy_n(request, request_size, &message.bytes[2]);
  message.length = 2 + request_size;
  ipmi_kcs::Transfer transfer{kRegisters, kMicroseconds};
  EFI_STATUS status = WriteMessage(transfer, message.All());
  if (!EFI_ERROR(status)) status = ReadMessage(transfer, &message);
  if (EFI_ERROR(status)) {
    ipmi_kcs::Recover(kRegisters);
    return status;
  }
  if (message.length < 3) return EFI_DEVICE_ERROR;
  const auto answer = message.All().subspan(2);
  if (answer.size() > *response_size) return EFI_BUFFER_TOO_SMALL;
  std::ranges::copy(answer, response);
  *response_size = static_cast<std::uint32_t>(answer.size());
  return EFI_SUCCESS;
}

constinit FirmwareIpmi firmware_ipmi{SubmitCommand};

}  // namespace

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  platform::InitializeImage(image, system_table);
  EFI_HANDLE handle = nullptr;
  return platform::InstallInterface(&handle, kFirmwareIpmiProtocolGuid, &firmware_ipmi);
}
