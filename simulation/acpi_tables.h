// The machine's ACPI root: the RSDP that firmware lists and the RSDT behind it
// (ACPI, "Root System Description Pointer" and "System Description Table
// Header").
#pragma once

#include <optional>
#include <string>

#include "simulation/machine.h"

namespace simulation {

// What the tables hold, and what they say of themselves where that is not the
// truth.
struct AcpiTables {
  enum class Listing { kAcpi10, kAcpi20, kNull };
  Listing listing = Listing::kAcpi20;
  std::string oem_table_id = "SERVER  ";  // 8 bytes
  std::string signature = "RSDT";
  std::optional<std::uint32_t> declared_length{};
  std::optional<std::uint32_t> declared_address{};
  bool sound_rsdp = true;
  bool sound_rsdt = true;
  bool is_xsdt = false;  // the one table is an XSDT, and there is no RSDT
};

// The tables in the machine's memory, the RSDT's end against an unmapped page.
// Writing to them ends the program.
class AcpiDevice {
 public:
  explicit AcpiDevice(Machine& machine, const AcpiTables& tables = {});

 private:
  Mapping rsdp_memory_ = Mapping::Low(EFI_PAGE_SIZE);
  Mapping rsdt_memory_ = Mapping::Low(EFI_PAGE_SIZE);
};

}  // namespace simulation
