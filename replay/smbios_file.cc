// SPDX-License-Identifier: BSD-2-Clause-Patent
// SMBIOS tables in the files of other tools (DSP0134, entry points and
// structures).
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <span>

#include "replay/machine_data.h"
#include "replay/text.h"

namespace replay {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestFile = 16 * 1024 * 1024;

// An entry point as this program reads it.
struct EntryPoint {
  const char* anchor;
  std::size_t bytes;
  std::size_t table_address;
  std::size_t address_bytes;
  std::size_t checksum;  // the one that covers the address
};
constexpr EntryPoint k32Bit = {"_SM_", 0x1F, 0x18, 4, 0x15};
constexpr EntryPoint k64Bit = {"_SM3_", 0x18, 0x10, 8, 0x05};
constexpr std::size_t kTableLength = 0x16;
constexpr std::size_t kStructureCount = 0x1C;
constexpr std::size_t kMaximumLength = 0x0C;
constexpr std::size_t kHeaderBytes = 4;

std::uint64_t Number(std::span<const std::uint8_t> bytes, std::size_t offset, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size; ++i) number |= std::uint64_t{bytes[offset + i]} << (8 * i);
  return number;
}

bool HasAnchor(const Bytes& file, const EntryPoint& kind) {
  const std::size_t length = std::strlen(kind.anchor);
  return file.size() >= length && std::memcmp(file.data(), kind.anchor, length) == 0;
}

const EntryPoint& KindOf(const fs::path& path, const Bytes& file) {
  for (const EntryPoint* const kind : {&k32Bit, &k64Bit}) {
    if (!HasAnchor(file, *kind)) continue;
    if (file.size() >= kind->bytes) return *kind;
    throw BadInput(path.string() + ": the entry point at offset 0 has " + std::to_string(kind->bytes) +
                   " bytes, and the file ends at offset " + Hexadecimal(file.size()));
  }
  throw BadInput(path.string() + ": expected an SMBIOS entry point, _SM_ or _SM3_, at offset 0: a file of dmidecode " +
                 "--dump-bin, or a folder with the kernel's DMI and smbios_entry_point");
}

// The structures that lie in the table as a whole, up to the end-of-table one.
std::size_t CountStructures(std::span<const std::uint8_t> table) {
  std::size_t count = 0;
  for (std::size_t at = 0; at + kHeaderBytes <= table.size(); ++count) {
    const std::uint8_t type = table[at];
    std::size_t end = at + table[at + 1];
    while (end + 2 <= table.size() && (table[end] != 0 || table[end + 1] != 0)) ++end;
    if (end + 2 > table.size()) break;
    at = end + 2;
    if (type == 127) return count + 1;
  }
  return count;
}

void CheckCount(const fs::path& path, const SmbiosData& smbios, std::vector<std::string>& remarks) {
  const std::uint64_t declared = Number(smbios.entry.bytes, kStructureCount, 2);
  const std::size_t found = CountStructures(smbios.table.bytes);
  if (found >= declared) return;
  remarks.push_back(path.string() + ": the entry point states " + std::to_string(declared) +
                    " structures, the table holds " + std::to_string(found) +
                    " whole ones; behind it are end-of-table structures");
}

// `table_at` is where the table begins in `file`, which is `path`.
SmbiosData Take(const fs::path& path, const EntryPoint& kind, Bytes entry, const Bytes& file, std::size_t table_at,
                std::vector<std::string>& remarks) {
  SmbiosData smbios{{std::move(entry)}, {}};
  const bool is_64_bit = &kind == &k64Bit;
  std::size_t length =
      is_64_bit ? Number(smbios.entry.bytes, kMaximumLength, 4) : Number(smbios.entry.bytes, kTableLength, 2);
  const std::size_t present = file.size() - std::min(table_at, file.size());
  // A 64-bit entry point states how long the table is at most.
  if (is_64_bit && present > 0) length = std::min(length, present);
  if (length > present) {
    throw BadInput(path.string() + ": the entry point states a table of " + std::to_string(length) +
                   " bytes at offset " + Hexadecimal(table_at) + ", and the file ends at offset " +
                   Hexadecimal(file.size()));
  }
  smbios.table.bytes.assign(file.begin() + static_cast<std::ptrdiff_t>(table_at),
                            file.begin() + static_cast<std::ptrdiff_t>(table_at + length));
  if (!is_64_bit) CheckCount(path, smbios, remarks);
  return smbios;
}

}  // namespace

Bytes ReadBytes(const fs::path& file) {
  std::error_code error;
  if (fs::is_directory(file, error)) throw BadInput(file.string() + ": this is a folder, expected a file");
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw BadInput(file.string() + ": cannot be read: " + std::strerror(errno));
  // The kernel's files do not say how long they are.
  Bytes bytes;
  std::array<char, 64 * 1024> part;
  do {
    stream.read(part.data(), part.size());
    bytes.insert(bytes.end(), part.begin(), part.begin() + stream.gcount());
  } while (stream && bytes.size() <= kLargestFile);
  if (bytes.size() <= kLargestFile) return bytes;
  throw BadInput(file.string() + ": more than " + std::to_string(kLargestFile) + " bytes, which no table has");
}

SmbiosData ReadSmbios(const fs::path& path, std::vector<std::string>& remarks) {
  if (fs::is_directory(path)) {
    const Bytes file = ReadBytes(path / "smbios_entry_point");
    const EntryPoint& kind = KindOf(path / "smbios_entry_point", file);
    return Take(path / "DMI", kind, {file.begin(), file.begin() + static_cast<std::ptrdiff_t>(kind.bytes)},
                ReadBytes(path / "DMI"), 0, remarks);
  }
  const Bytes file = ReadBytes(path);
  const EntryPoint& kind = KindOf(path, file);
  const std::size_t table_at = Number(file, kind.table_address, kind.address_bytes);
  return Take(path, kind, {file.begin(), file.begin() + static_cast<std::ptrdiff_t>(kind.bytes)}, file, table_at,
              remarks);
}

void PutTableAddress(Bytes& entry, std::uint64_t address) {
  const EntryPoint& kind = entry[3] == '3' ? k64Bit : k32Bit;
  unsigned sum = entry[kind.checksum];
  for (std::size_t i = 0; i < kind.address_bytes; ++i) {
    std::uint8_t& byte = entry[kind.table_address + i];
    sum += byte;
    byte = static_cast<std::uint8_t>(address >> (8 * i));
    sum -= byte;
  }
  entry[kind.checksum] = static_cast<std::uint8_t>(sum);
}

}  // namespace replay
