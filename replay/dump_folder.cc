// SPDX-License-Identifier: BSD-2-Clause-Patent
// The folder that dump.efi writes; docs/dumps.md has its files.
#include <charconv>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <span>

#include "platform/crc32.h"
#include "replay/machine_data.h"
#include "replay/text.h"

namespace replay {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kIndex = "machine.json";
constexpr const char* kFormat = "mfgtest dump";
constexpr unsigned kVersion = 1;

// A value of a JSON file, and the way to it for messages.
struct Value {
  const json* value;
  std::string place;

  [[noreturn]] void Refuse(const std::string& expected) const {
    throw BadInput(place + (place.ends_with(": ") ? "" : ": ") + "expected " + expected);
  }

  bool Has(const char* key) const { return value->is_object() && value->contains(key) && !(*value)[key].is_null(); }

  Value operator[](const char* key) const {
    if (!Has(key)) Refuse(std::string("an object with \"") + key + "\"");
    return {&(*value)[key], place + (place.ends_with(": ") ? "" : ".") + key};
  }

  std::vector<Value> List() const {
    if (!value->is_array()) Refuse("a list");
    std::vector<Value> items;
    for (std::size_t i = 0; i < value->size(); ++i) {
      items.push_back({&(*value)[i], place + "[" + std::to_string(i) + "]"});
    }
    return items;
  }

  std::string Text() const {
    if (!value->is_string()) Refuse("a text");
    return value->get<std::string>();
  }

  // A number, or a text with a hexadecimal one after 0x.
  std::uint64_t Number(std::uint64_t most) const {
    std::uint64_t number = 0;
    bool is_good = value->is_number_unsigned();
    if (is_good) number = value->get<std::uint64_t>();
    if (value->is_string()) {
      const std::string text = value->get<std::string>();
      const auto [end, fault] =
          std::from_chars(text.data() + 2, text.data() + std::max<std::size_t>(text.size(), 2), number, 16);
      is_good = text.starts_with("0x") && fault == std::errc() && end == text.data() + text.size();
    }
    if (!is_good || number > most) Refuse("a number up to " + Hexadecimal(most));
    return number;
  }
  std::uint8_t Byte() const { return static_cast<std::uint8_t>(Number(0xFF)); }

  // Pairs of hexadecimal digits.
  Bytes Hex() const {
    const std::string text = Text();
    Bytes bytes(text.size() / 2);
    bool is_good = text.size() % 2 == 0;
    for (std::size_t i = 0; is_good && i < bytes.size(); ++i) {
      const char* const pair = text.data() + 2 * i;
      is_good = std::from_chars(pair, pair + 2, bytes[i], 16).ptr == pair + 2;
    }
    if (!is_good) Refuse("pairs of hexadecimal digits");
    return bytes;
  }

  template <std::size_t kSize>
  std::array<std::uint8_t, kSize> Exactly() const {
    const Bytes bytes = Hex();
    std::array<std::uint8_t, kSize> exact{};
    if (bytes.size() != kSize) Refuse(std::to_string(2 * kSize) + " hexadecimal digits");
    std::ranges::copy(bytes, exact.begin());
    return exact;
  }
};

// What the file that is written last says by not being whole.
constexpr const char* kNotFinished =
    ". It is written last, so the dump is not finished: the drive was full or pulled, or the power went. Start dump.efi"
    " on that machine once more, and wait for its last line.";

json Parse(const fs::path& file, const Bytes& bytes, const char* hint = "") {
  try {
    return json::parse(bytes);
  } catch (const json::parse_error& fault) {
    throw BadInput(file.string() + ": no JSON from offset " +
                   Hexadecimal(fault.byte - std::min<std::size_t>(fault.byte, 1)) + " on" + hint);
  }
}

// The files that the index names, each looked at before it is used.
struct Folder {
  fs::path path;
  Value index;
  std::map<std::string, PlacedBytes> files{};

  const PlacedBytes* Find(const std::string& name) const {
    const auto found = files.find(name);
    return found == files.end() ? nullptr : &found->second;
  }
};

constexpr std::uint64_t kAnyAddress = ~std::uint64_t{0};

void TakeFile(Folder& folder, const Value& entry) {
  const std::string name = entry["name"].Text();
  if (name.empty() || name.starts_with('.') || name.find_first_of("/\\:") != name.npos) {
    entry["name"].Refuse("the name of a file in the dump's own folder");
  }
  PlacedBytes file{ReadBytes(folder.path / name)};
  const std::uint64_t size = entry["size"].Number(kAnyAddress);
  const std::string place = (folder.path / name).string();
  if (file.bytes.size() != size) {
    throw BadInput(place + ": ends at offset " + Hexadecimal(file.bytes.size()) + ", " + kIndex + " says " +
                   Hexadecimal(size));
  }
  const std::uint64_t stated = entry["crc32"].Number(0xFFFFFFFF);
  if (const std::uint32_t found = platform::Crc32(file.bytes); found != stated) {
    throw BadInput(place + ": damaged, its CRC-32 from offset 0 on is " + Hexadecimal(found) + ", " + kIndex +
                   " says " + Hexadecimal(stated));
  }
  if (entry.Has("address")) file.address = entry["address"].Number(kAnyAddress);
  folder.files[name] = std::move(file);
}

std::optional<SmbiosData> TakeSmbios(const Folder& folder, std::vector<std::string>& remarks) {
  const PlacedBytes* const file = folder.Find("smbios.bin");
  if (file == nullptr) return std::nullopt;
  SmbiosData smbios = ReadSmbios(folder.path / "smbios.bin", remarks);
  smbios.table.address = file->address;
  if (folder.index.Has("smbiosEntry")) smbios.entry.address = folder.index["smbiosEntry"].Number(kAnyAddress);
  return smbios;
}

std::optional<AcpiData> TakeAcpi(const Folder& folder) {
  const PlacedBytes* const rsdp = folder.Find("rsdp.bin");
  if (rsdp == nullptr) return std::nullopt;
  // As much of it is read before anything in it is believed.
  constexpr std::size_t kRsdpBytes = 20;
  if (rsdp->bytes.size() < kRsdpBytes) {
    throw BadInput((folder.path / "rsdp.bin").string() + ": ends at offset " + Hexadecimal(rsdp->bytes.size()) +
                   ", an RSDP has 20 bytes or more");
  }
  AcpiData acpi{.rsdp = *rsdp};
  if (folder.index.Has("acpi")) acpi.is_listed_as_20 = folder.index["acpi"].Text() != "1.0";
  if (const PlacedBytes* const rsdt = folder.Find("rsdt.bin")) acpi.rsdt = *rsdt;
  if (const PlacedBytes* const xsdt = folder.Find("xsdt.bin")) acpi.xsdt = *xsdt;
  return acpi;
}

// fru-ID.bin of the controller, fru-ID-at-ADDRESS.bin behind it, in decimal and
// hexadecimal digits.
bool ParseFruName(const std::string& name, unsigned* id, unsigned* address) {
  int end = 0;
  *address = 0x20;
  if (std::sscanf(name.c_str(), "fru-%3u.bin%n", id, &end) == 1 && end == static_cast<int>(name.size())) {
    return *id <= 0xFF;
  }
  return std::sscanf(name.c_str(), "fru-%3u-at-%2x.bin%n", id, address, &end) == 2 &&
         end == static_cast<int>(name.size()) && *id <= 0xFF;
}

void TakeFrus(const Folder& folder, ControllerData& controller) {
  for (const auto& [name, file] : folder.files) {
    unsigned id = 0;
    unsigned address = 0;
    if (!ParseFruName(name, &id, &address)) continue;
    if (file.bytes.size() > 0xFFFF) {
      throw BadInput((folder.path / name).string() + ": goes on behind offset 0xffff, where no FRU can");
    }
    controller.frus[static_cast<std::uint8_t>(address)][static_cast<std::uint8_t>(id)] = file.bytes;
  }
}

std::optional<ControllerData> TakeController(const Folder& folder) {
  if (!folder.index.Has("controller")) return std::nullopt;
  const Value value = folder.index["controller"];
  ControllerData controller;
  TakeFrus(folder, controller);
  if (value.Has("deviceId")) controller.device_id = value["deviceId"].Hex();
  if (value.Has("oemQuery")) controller.oem_answer = value["oemQuery"].Hex();
  if (!value.Has("refusals")) return controller;
  for (const Value& one : value["refusals"].List()) {
    FruRefusal refusal{one["address"].Byte(), one["fru"].Byte()};
    if (one.Has("completionCode")) refusal.completion_code = one["completionCode"].Byte();
    controller.refusals.push_back(refusal);
  }
  return controller;
}

// As `lspci -x` writes: a line with the function's place, then lines of 16
// bytes, each after its offset.
void TakeHeaders(const fs::path& file, const Bytes& bytes, PciData& pci) {
  std::array<std::uint32_t, 16>* header = nullptr;
  std::size_t number = 0;
  for (std::size_t at = 0; at < bytes.size();) {
    ++number;
    const auto end = std::find(bytes.begin() + static_cast<std::ptrdiff_t>(at), bytes.end(), '\n');
    const std::string line(bytes.begin() + static_cast<std::ptrdiff_t>(at), end);
    const std::size_t line_at = std::exchange(at, at + line.size() + 1);
    unsigned bus = 0, device = 0, function = 0, offset = 0;
    int used = 0;
    if (std::sscanf(line.c_str(), "%2x:%2x.%1x", &bus, &device, &function) == 3) {
      header = &pci.headers[bus << 24 | device << 16 | function << 8];
    } else if (header != nullptr && std::sscanf(line.c_str(), "%2x:%n", &offset, &used) == 1 && used > 0) {
      const char* text = line.c_str() + used;
      unsigned byte = 0;
      for (; offset < 64 && std::sscanf(text, "%2x%n", &byte, &used) == 1; text += used, ++offset) {
        (*header)[offset / 4] |= byte << (8 * (offset % 4));
      }
    } else if (line.find_first_not_of(" \t\r") != line.npos) {
      throw BadInput(file.string() + ": line " + std::to_string(number) + " at offset " + Hexadecimal(line_at) +
                     ": expected lines of lspci -x");
    }
  }
}

std::optional<PciData> TakePci(const Folder& folder) {
  const PlacedBytes* const file = folder.Find("pci.txt");
  if (file == nullptr) return std::nullopt;
  PciData pci;
  TakeHeaders(folder.path / "pci.txt", file->bytes, pci);
  if (!folder.index.Has("registers")) return pci;
  for (const Value& one : folder.index["registers"].List()) {
    const auto address = static_cast<std::uint32_t>(one["address"].Number(0xFFFFFFFF));
    pci.registers[address] = static_cast<std::uint32_t>(one["value"].Number(0xFFFFFFFF));
  }
  return pci;
}

std::vector<NetworkData> TakeNetworks(const Value& index) {
  std::vector<NetworkData> networks;
  if (!index.Has("network")) return networks;
  for (const Value& one : index["network"].List()) {
    NetworkData network;
    if (one.Has("mac")) network.mac = one["mac"].Exactly<6>();
    if (one.Has("start")) network.start_status = one["start"].Number(kAnyAddress);
    networks.push_back(network);
  }
  return networks;
}

EFI_GUID TakeGuid(const Value& value) {
  EFI_GUID guid{};
  unsigned rest[8] = {};
  int end = 0;
  const std::string text = value.Text();
  const int count =
      std::sscanf(text.c_str(), "%8x-%4hx-%4hx-%2x%2x-%2x%2x%2x%2x%2x%2x%n", &guid.Data1, &guid.Data2, &guid.Data3,
                  &rest[0], &rest[1], &rest[2], &rest[3], &rest[4], &rest[5], &rest[6], &rest[7], &end);
  if (count != 11 || end != static_cast<int>(text.size())) value.Refuse("a GUID");
  std::ranges::copy(rest, guid.Data4);
  return guid;
}

std::vector<simulation::Variable> TakeVariables(const Folder& folder) {
  std::vector<simulation::Variable> variables;
  const PlacedBytes* const file = folder.Find("variables.json");
  if (file == nullptr) return variables;
  const fs::path path = folder.path / "variables.json";
  const json document = Parse(path, file->bytes);
  for (const Value& one : Value{&document, path.string() + ": "}.List()) {
    simulation::Variable variable{FromUtf8(one["name"].Text()),
                                  TakeGuid(one["vendor"]),
                                  EFI_VARIABLE_NON_VOLATILE | EFI_VARIABLE_BOOTSERVICE_ACCESS,
                                  {}};
    // The dump names every variable, in their order, and holds few.
    if (one.Has("data")) {
      variable.data = one["data"].Hex();
    } else {
      variable.read_status = EFI_SECURITY_VIOLATION;
    }
    variables.push_back(std::move(variable));
  }
  return variables;
}

std::optional<PlacedBytes> TakeFlash(const Folder& folder) {
  constexpr std::size_t kBlockBytes = 0x10000;
  const PlacedBytes* const file = folder.Find("flash.bin");
  if (file == nullptr) return std::nullopt;
  if (file->bytes.size() == kBlockBytes && file->address && *file->address <= 0xFFFFFFFF) return *file;
  throw BadInput((folder.path / "flash.bin").string() + ": ends at offset " + Hexadecimal(file->bytes.size()) +
                 ", expected a block of 0x10000 bytes with an address below 4 GiB");
}

EFI_TIME TakeTime(const Value& value) {
  unsigned part[6] = {};
  const std::string text = value.Text();
  int end = 0;
  const int count = std::sscanf(text.c_str(), "%4u-%2u-%2uT%2u:%2u:%2u%n", &part[0], &part[1], &part[2], &part[3],
                                &part[4], &part[5], &end);
  if (count != 6 || end != static_cast<int>(text.size())) value.Refuse("a time such as 2026-11-21T21:43:10");
  EFI_TIME time{};
  time.Year = static_cast<UINT16>(part[0]);
  time.Month = static_cast<UINT8>(part[1]);
  time.Day = static_cast<UINT8>(part[2]);
  time.Hour = static_cast<UINT8>(part[3]);
  time.Minute = static_cast<UINT8>(part[4]);
  time.Second = static_cast<UINT8>(part[5]);
  return time;
}

}  // namespace

MachineData ReadDump(const fs::path& folder_path) {
  const fs::path path = folder_path / kIndex;
  std::error_code error;
  if (!fs::is_directory(folder_path, error)) {
    throw BadInput(folder_path.string() + ": expected a folder that dump.efi wrote");
  }
  if (!fs::exists(path, error)) {
    throw BadInput(path.string() + ": there is no such file" + kNotFinished + " Or this is no dump's folder.");
  }
  const json document = Parse(path, ReadBytes(path), kNotFinished);
  Folder folder{folder_path, {&document, path.string() + ": "}};
  if (folder.index["format"].Text() != kFormat) folder.index["format"].Refuse(std::string("\"") + kFormat + "\"");
  if (folder.index["version"].Number(kAnyAddress) != kVersion) {
    folder.index["version"].Refuse("1, the version that this program reads");
  }
  for (const Value& entry : folder.index["files"].List()) TakeFile(folder, entry);

  MachineData data;
  data.smbios = TakeSmbios(folder, data.remarks);
  data.acpi = TakeAcpi(folder);
  data.controller = TakeController(folder);
  data.networks = TakeNetworks(folder.index);
  data.pci = TakePci(folder);
  if (const PlacedBytes* const log = folder.Find("eventlog.bin")) data.event_log = *log;
  data.flash = TakeFlash(folder);
  if (folder.index.Has("systemGuid")) data.stored_guid = folder.index["systemGuid"].Exactly<16>();
  data.variables = TakeVariables(folder);
  if (folder.index.Has("time")) data.time = TakeTime(folder.index["time"]);
  return data;
}

}  // namespace replay
