#include "drivers/ipmi_kcs/placement.h"

#include "platform/format.h"
#include "platform/memory.h"
#include "platform/status_text.h"

namespace ipmi_kcs {
namespace {

// Timers, interrupt controllers, DMA.
constexpr std::uint64_t kLastBoardPort = 0xFF;
// PCI configuration access and the reset register between.
constexpr std::uint64_t kFirstPciPort = 0xCF8;
constexpr std::uint64_t kLastPciPort = 0xCFF;

bool IsPciPort(std::uint64_t port) { return port >= kFirstPciPort && port <= kLastPciPort; }

bool MayBePorts(const Registers& registers, ErrorText& error) {
  const std::uint64_t data = registers.address;
  const std::uint64_t status = data + registers.spacing;
  if (data <= kLastBoardPort) {
    FormatText(error, "I/O address 0x%lx is refused: ports below 0x100 belong to the board itself.", data);
    return false;
  }
  if (IsPciPort(data) || IsPciPort(status)) {
    FormatText(error, "I/O address 0x%lx is refused: ports 0xcf8 to 0xcff are those of PCI configuration.", data);
    return false;
  }
  if (status > UINT16_MAX) {
    FormatText(error, "I/O address 0x%lx is refused: the status register would lie at 0x%lx, beyond the last port.",
               data, status);
    return false;
  }
  return true;
}

bool MayBeMemory(const Registers& registers, ErrorText& error) {
  bool is_listed = false;
  std::uint32_t kind = 0;
  const std::uint64_t first = registers.address;
  const EFI_STATUS status = platform::FindMemoryListed(first, first + registers.spacing, &is_listed, &kind);
  if (EFI_ERROR(status)) {
    FormatText(error, "memory address 0x%lx is refused: the firmware's memory map cannot be read (%s).", first,
               platform::StatusText(status).Text());
    return false;
  }
  if (!is_listed) return true;
  FormatText(error, "memory address 0x%lx is refused: by the firmware's memory map it is no device (type %u).", first,
             kind);
  return false;
}

}  // namespace

bool MayBeRegisters(const Registers& registers, ErrorText& error) {
  return registers.space == AddressSpace::kIo ? MayBePorts(registers, error) : MayBeMemory(registers, error);
}

}  // namespace ipmi_kcs
