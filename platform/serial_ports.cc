// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "platform/serial_ports.h"

#include <algorithm>
#include <array>

#include "platform/handles.h"

namespace platform {
namespace {

constexpr EFI_GUID kSerialIoProtocolGuid = EFI_SERIAL_IO_PROTOCOL_GUID;

// Ports that did not take what was written; each attempt costs a time-out.
constinit std::array<EFI_HANDLE, 16> silent_ports{};
constinit std::size_t silent_count = 0;

bool IsSilent(EFI_HANDLE port) { return std::ranges::find(silent_ports, port) != silent_ports.end(); }

bool WriteTo(EFI_HANDLE port, std::string_view text) {
  SERIAL_IO_INTERFACE* serial = nullptr;
  if (IsSilent(port) || EFI_ERROR(HandleInterface(port, kSerialIoProtocolGuid, &serial))) return false;
  while (!text.empty()) {
    UINTN size = text.size();
    const EFI_STATUS status = serial->Write(serial, &size, const_cast<char*>(text.data()));
    if (EFI_ERROR(status) || size == 0 || size > text.size()) {
      if (silent_count < silent_ports.size()) silent_ports[silent_count++] = port;
      return false;
    }
    text.remove_prefix(size);
  }
  return true;
}

}  // namespace

bool WriteSerial(std::string_view text) {
  HandleList ports;
  if (EFI_ERROR(LocateAllHandles(kSerialIoProtocolGuid, &ports))) return false;
  bool was_written = false;
  for (const EFI_HANDLE port : ports.handles) was_written = WriteTo(port, text) || was_written;
  return was_written;
}

void ForgetSerialPorts() {
  silent_ports = {};
  silent_count = 0;
}

}  // namespace platform
