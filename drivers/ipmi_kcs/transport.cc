#include "drivers/ipmi_kcs/transport.h"

#include <algorithm>
#include <span>

#include "drivers/ipmi_kcs/kcs.h"

namespace ipmi_kcs {
namespace {

// What the standard gives a controller for an ordinary command.
constexpr std::uint64_t kExchangeMicroseconds = 5'000'000;

constexpr std::size_t kRequestHeader = 2;   // network function and LUN, command
constexpr std::size_t kResponseHeader = 3;  // the same, completion code

constexpr std::uint8_t kLargestNetworkFunction = 0x3F;
constexpr std::uint16_t kLargestLun = 3;

// Some firmware keeps the capacity in 8 bits.
constexpr std::uint32_t kFirmwareCapacity = 0xFF;

struct Connection {
  IpmiTransport transport;
  FirmwareIpmi* firmware;  // or null, with registers
  Registers registers;
  Message request;
  Message response;
  EFI_STATUS response_status;
};
constinit Connection connection{};

EFI_STATUS EFIAPI Unsupported() { return EFI_UNSUPPORTED; }

// A controller that another user left in the middle of a transfer refuses the
// first byte; it has not begun on the request then.
EFI_STATUS Write(Transfer& transfer, std::span<const std::uint8_t> request) {
  const EFI_STATUS status = WriteMessage(transfer, request);
  if (!EFI_ERROR(status)) return status;
  const bool recovered = !EFI_ERROR(Recover(transfer.registers));
  // A time-out leaves no time for another one.
  if (status == EFI_TIMEOUT || !recovered) return status;
  const EFI_STATUS second_status = WriteMessage(transfer, request);
  if (EFI_ERROR(second_status)) Recover(transfer.registers);
  return second_status;
}

bool AnswersRequest(std::span<const std::uint8_t> response, std::span<const std::uint8_t> request) {
  if (response.size() < kResponseHeader) return false;
  return response[0] >> 2 == (request[0] >> 2 | 1) && response[1] == request[1];
}

EFI_STATUS Read(Transfer& transfer) {
  const EFI_STATUS status = ReadMessage(transfer, &connection.response);
  if (EFI_ERROR(status)) {
    Recover(transfer.registers);
    return status;
  }
  return AnswersRequest(connection.response.All(), connection.request.All()) ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

// The request and response as they would stand on the wire.
EFI_STATUS ExchangeOverKcs() {
  Transfer transfer{connection.registers, kExchangeMicroseconds};
  const EFI_STATUS status = Write(transfer, connection.request.All());
  if (!EFI_ERROR(status)) connection.response_status = Read(transfer);
  return status;
}

EFI_STATUS ExchangeOverFirmware(std::uint8_t network_function) {
  Message& request = connection.request;
  Message& response = connection.response;
  const std::uint8_t command = request.bytes[1];
  std::uint32_t length = kFirmwareCapacity;
  const EFI_STATUS status = connection.firmware->SubmitCommand(
      connection.firmware, network_function, command, &request.bytes[kRequestHeader],
      static_cast<std::uint32_t>(request.length - kRequestHeader), &response.bytes[kResponseHeader - 1], &length);
  if (EFI_ERROR(status)) return status;
  response.bytes[0] = static_cast<std::uint8_t>((network_function | 1) << 2);
  response.bytes[1] = command;
  response.length = kResponseHeader - 1 + std::min(length, kFirmwareCapacity);
  connection.response_status = length == 0 ? EFI_DEVICE_ERROR : EFI_SUCCESS;
  return EFI_SUCCESS;
}

EFI_STATUS EFIAPI SendIpmiRequest(IpmiTransport*, std::uint8_t network_function, std::uint16_t lun,
                                  std::uint8_t command, const std::uint8_t* data, std::uint32_t length) {
  connection.response_status = EFI_NOT_READY;
  if (network_function > kLargestNetworkFunction || lun > kLargestLun) return EFI_INVALID_PARAMETER;
  if (length > kMessageBytes - kRequestHeader || (data == nullptr && length > 0)) return EFI_INVALID_PARAMETER;

  if (connection.firmware != nullptr && lun != 0) return EFI_UNSUPPORTED;

  Message& request = connection.request;
  request.bytes[0] = static_cast<std::uint8_t>(network_function << 2 | lun);
  request.bytes[1] = command;
  std::copy_n(data, length, &request.bytes[kRequestHeader]);
  request.length = kRequestHeader + length;
  return connection.firmware == nullptr ? ExchangeOverKcs() : ExchangeOverFirmware(network_function);
}

void Store(void* output, unsigned value) {
  if (output != nullptr) *static_cast<std::uint8_t*>(output) = static_cast<std::uint8_t>(value);
}

EFI_STATUS EFIAPI ReceiveIpmiResponse(IpmiTransport*, void* network_function, void* lun, void* command,
                                      std::uint8_t* completion_code, std::uint8_t* data, std::uint32_t* length) {
  if (completion_code == nullptr || length == nullptr || (data == nullptr && *length > 0)) {
    return EFI_INVALID_PARAMETER;
  }
  const EFI_STATUS status = connection.response_status;
  connection.response_status = EFI_NOT_READY;
  if (EFI_ERROR(status)) return status;

  const std::span<const std::uint8_t> response = connection.response.All();
  Store(network_function, response[0] >> 2);
  Store(lun, response[0] & kLargestLun);
  Store(command, response[1]);
  *completion_code = response[2];
  // A refused command has no data. The length stays: callers that try again
  // take it for the capacity.
  if (*completion_code != 0) return EFI_SUCCESS;
  const std::span<const std::uint8_t> returned = response.subspan(kResponseHeader);
  *length = std::min(*length, static_cast<std::uint32_t>(returned.size()));
  std::copy_n(returned.data(), *length, data);
  return EFI_SUCCESS;
}

IpmiTransport* Open(FirmwareIpmi* firmware, const Registers& registers) {
  connection.transport = {reinterpret_cast<void*>(&Unsupported), SendIpmiRequest, ReceiveIpmiResponse};
  connection.firmware = firmware;
  connection.registers = registers;
  connection.response_status = EFI_NOT_READY;
  return &connection.transport;
}

}  // namespace

IpmiTransport* OpenTransport(const Registers& registers) { return Open(nullptr, registers); }
IpmiTransport* OpenTransport(FirmwareIpmi* firmware) { return Open(firmware, {}); }

}  // namespace ipmi_kcs
