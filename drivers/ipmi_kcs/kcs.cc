// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "drivers/ipmi_kcs/kcs.h"

#include <algorithm>

#include "platform/clock.h"

namespace ipmi_kcs {
namespace {

// Status.
constexpr std::uint8_t kOutputFull = 0x01;
constexpr std::uint8_t kInputFull = 0x02;
constexpr std::uint8_t kStateMask = 0xC0;
constexpr std::uint8_t kIdle = 0x00;
constexpr std::uint8_t kRead = 0x40;
constexpr std::uint8_t kWrite = 0x80;
constexpr std::uint8_t kNothingThere = 0xFF;

// Control codes.
constexpr std::uint8_t kGetStatusOrAbort = 0x60;
constexpr std::uint8_t kWriteStart = 0x61;
constexpr std::uint8_t kWriteEnd = 0x62;
constexpr std::uint8_t kReadNext = 0x68;

constexpr std::uint64_t kPollMicroseconds = 10;
constexpr std::uint64_t kRecoveryMicroseconds = 1'000'000;
constexpr int kRecoveryAttempts = 3;

bool WaitForBit(Transfer& transfer, std::uint8_t bit, bool set) {
  while (((ReadStatus(transfer.registers) & bit) != 0) != set) {
    if (transfer.microseconds_left == 0) return false;
    const std::uint64_t wait = std::min(kPollMicroseconds, transfer.microseconds_left);
    platform::Wait(wait);
    transfer.microseconds_left -= wait;
  }
  return true;
}

bool WaitUntilTaken(Transfer& transfer) { return WaitForBit(transfer, kInputFull, false); }

// The state means something only once the controller took the last byte.
std::uint8_t State(const Transfer& transfer) { return ReadStatus(transfer.registers) & kStateMask; }

EFI_STATUS WaitForState(Transfer& transfer, std::uint8_t state) {
  if (!WaitUntilTaken(transfer)) return EFI_TIMEOUT;
  return State(transfer) == state ? EFI_SUCCESS : EFI_DEVICE_ERROR;
}

// Reading takes a byte that nobody asked for out of the controller's way.
void ClearOutput(const Transfer& transfer) { ReadData(transfer.registers); }

EFI_STATUS WaitForWriteState(Transfer& transfer) {
  const EFI_STATUS status = WaitForState(transfer, kWrite);
  if (!EFI_ERROR(status)) ClearOutput(transfer);
  return status;
}

EFI_STATUS Abort(Transfer& transfer) {
  if (!WaitUntilTaken(transfer)) return EFI_TIMEOUT;
  WriteCommand(transfer.registers, kGetStatusOrAbort);
  if (!WaitUntilTaken(transfer)) return EFI_TIMEOUT;
  ClearOutput(transfer);
  WriteData(transfer.registers, 0);
  if (const EFI_STATUS status = WaitForState(transfer, kRead); EFI_ERROR(status)) return status;
  if (!WaitForBit(transfer, kOutputFull, true)) return EFI_TIMEOUT;
  ReadData(transfer.registers);  // the reason of the error, which changes nothing
  WriteData(transfer.registers, kReadNext);
  if (const EFI_STATUS status = WaitForState(transfer, kIdle); EFI_ERROR(status)) return status;
  ClearOutput(transfer);
  return EFI_SUCCESS;
}

}  // namespace

bool IsAnswering(const Registers& registers) { return ReadStatus(registers) != kNothingThere; }

EFI_STATUS WriteMessage(Transfer& transfer, std::span<const std::uint8_t> message) {
  if (!WaitUntilTaken(transfer)) return EFI_TIMEOUT;
  ClearOutput(transfer);
  WriteCommand(transfer.registers, kWriteStart);
  for (std::size_t i = 0; i < message.size(); ++i) {
    if (const EFI_STATUS status = WaitForWriteState(transfer); EFI_ERROR(status)) return status;
    if (i + 1 == message.size()) {
      WriteCommand(transfer.registers, kWriteEnd);
      if (const EFI_STATUS status = WaitForWriteState(transfer); EFI_ERROR(status)) return status;
    }
    WriteData(transfer.registers, message[i]);
  }
  return EFI_SUCCESS;
}

// A controller ends its message with a byte of no meaning, in idle state. Some
// leave it out, so it is not waited for; one that comes late is cleared by the
// next write.
EFI_STATUS ReadMessage(Transfer& transfer, Message* message) {
  message->length = 0;
  for (;;) {
    if (!WaitUntilTaken(transfer)) return EFI_TIMEOUT;
    const std::uint8_t state = State(transfer);
    if (state == kIdle) {
      ClearOutput(transfer);
      return EFI_SUCCESS;
    }
    if (state != kRead || message->length == kMessageBytes) return EFI_DEVICE_ERROR;
    if (!WaitForBit(transfer, kOutputFull, true)) return EFI_TIMEOUT;
    message->bytes[message->length++] = ReadData(transfer.registers);
    WriteData(transfer.registers, kReadNext);
  }
}

EFI_STATUS Recover(const Registers& registers) {
  Transfer transfer{registers, kRecoveryMicroseconds};
  EFI_STATUS status = EFI_DEVICE_ERROR;
  for (int attempt = 0; attempt < kRecoveryAttempts && status == EFI_DEVICE_ERROR; ++attempt) status = Abort(transfer);
  return status;
}

}  // namespace ipmi_kcs
