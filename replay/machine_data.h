// SPDX-License-Identifier: BSD-2-Clause-Patent
// What is known of a real machine: the bytes of a dump, or of files that other
// tools made of it. What is not known is not there.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/efi.h"
#include "simulation/variables.h"

namespace replay {

using Bytes = std::vector<std::uint8_t>;

// Input that cannot be taken: the file, the place in it and what was expected
// there.
struct BadInput : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Bytes of the firmware and, where it is known, their address.
struct PlacedBytes {
  Bytes bytes;
  std::optional<std::uint64_t> address{};
};

struct SmbiosData {
  PlacedBytes entry;  // _SM_ or _SM3_, as the firmware had it
  PlacedBytes table;

  bool Is64Bit() const { return entry.bytes[3] == '3'; }
};

struct AcpiData {
  bool is_listed_as_20 = true;
  PlacedBytes rsdp;
  std::optional<PlacedBytes> rsdt{};
  std::optional<PlacedBytes> xsdt{};
};

// A FRU device that did not answer, or with an error.
struct FruRefusal {
  std::uint8_t address;
  std::uint8_t id;
  std::optional<std::uint8_t> completion_code{};
};

struct ControllerData {
  // By slave address and ID.
  std::map<std::uint8_t, std::map<std::uint8_t, Bytes>> frus{{0x20, {}}};
  std::vector<FruRefusal> refusals{};
  // Completion code and data.
  std::optional<Bytes> device_id{};
  std::optional<Bytes> oem_answer{};
};

struct NetworkData {
  std::array<std::uint8_t, 6> mac{};
  EFI_STATUS start_status = EFI_SUCCESS;
};

struct PciData {
  // By bus in bits 31..24, device in bits 23..16 and function in bits 15..8.
  std::map<std::uint32_t, std::array<std::uint32_t, 16>> headers{};
  std::map<std::uint32_t, std::uint32_t> registers{};
};

struct MachineData {
  std::optional<SmbiosData> smbios{};
  std::optional<AcpiData> acpi{};
  std::optional<ControllerData> controller{};
  std::vector<NetworkData> networks{};
  std::optional<PciData> pci{};
  std::optional<PlacedBytes> event_log{};
  std::optional<PlacedBytes> flash{};
  std::optional<std::array<std::uint8_t, 16>> stored_guid{};
  std::vector<simulation::Variable> variables{};
  std::optional<EFI_TIME> time{};
  // What somebody who reads the run has to know.
  std::vector<std::string> remarks{};
};

// The file's bytes.
Bytes ReadBytes(const std::filesystem::path& file);

// A file of dmidecode --dump-bin, or a folder with the kernel's DMI and
// smbios_entry_point. Says in `remarks` where the table is not what its entry
// point states.
SmbiosData ReadSmbios(const std::filesystem::path& path, std::vector<std::string>& remarks);

// Makes the entry point lead to a table at that address; its checksum stays as
// right or wrong as it was.
void PutTableAddress(Bytes& entry, std::uint64_t address);

// A folder that dump.efi wrote.
MachineData ReadDump(const std::filesystem::path& folder);

}  // namespace replay
