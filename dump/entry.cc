// SPDX-License-Identifier: BSD-2-Clause-Patent
// dump.efi: what the tests can read of a machine, in one folder.
#include <algorithm>

#include "dump/dump.h"
#include "platform/bridges.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/crc32.h"
#include "platform/files.h"
#include "platform/firmware_version.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/memory.h"
#include "platform/protocols/shell.h"
#include "platform/protocols/shell_interface.h"
#include "platform/real_time_clock.h"
#include "platform/say.h"
#include "platform/station_version.h"
#include "platform/status_text.h"
#include "smbios/structures.h"
#include "testlib/parameter_file.h"

namespace dump {

constinit Dump* the_dump = nullptr;

namespace {

using platform::Colour;
using platform::Say;
using Words = std::span<const char16_t* const>;

constexpr const char16_t* kVersion = u"" STATION_VERSION;
constexpr const char16_t* kParameterFile = u"mfgtest.cfg";
constexpr const char16_t* kModule = u"mfgtest.efi";
constexpr std::string_view kVersionMarker = "version_number=";
constexpr std::uint8_t kSystem = 1;
constexpr unsigned kSerialNumber = 0x07;
constexpr std::size_t kUnitCharacters = 40;

constexpr const char16_t* kHelpText =
    u"dump.efi [FOLDER] [-f PATH]... [NAME=VALUE]...\n"
    u"Writes everything that the tests can read of this machine into one folder, for\n"
    u"replay on a desk: FOLDER, or dump\\UNIT-TIME beside dump.efi. It writes nothing\n"
    u"else. mfgtest.cfg beside it is read; FlashAddress, SYS_BD_FRU_ID, HSBP,\n"
    u"1394_VENDOR_ID and 1394_DEVICE_ID say where there is more to read.\n";

struct Step {
  const char16_t* title;
  void (*run)();
};
constexpr Step kSteps[] = {
    {u"SMBIOS table", DumpSmbios},
    {u"ACPI tables", DumpAcpi},
    {u"event log", DumpEventLog},
    {u"management controller", DumpController},
    {u"FRU devices, which take a while", DumpFrus},
    {u"network controllers", DumpNetwork},
    {u"PCI functions", DumpPci},
    {u"variables", DumpVariables},
    {u"flash block", DumpFlash},
    {u"GUID of the manufacturing interface", DumpStoredGuid},
};

Words WordsOf(EFI_HANDLE image) {
  ShellParameters* parameters = nullptr;
  ShellInterface* old_interface = nullptr;
  Words given;
  if (!EFI_ERROR(platform::HandleInterface(image, kShellParametersProtocolGuid, &parameters))) {
    given = {reinterpret_cast<const char16_t* const*>(parameters->Argv), parameters->Argc};
  } else if (!EFI_ERROR(platform::HandleInterface(image, kShellInterfaceProtocolGuid, &old_interface))) {
    given = {old_interface->Argv, static_cast<std::uint32_t>(old_interface->Argc)};
  }
  return given.subspan(given.empty() ? 0 : 1);
}

// A file of parameters that cannot be read costs what they tell of.
void ReadParameters(const char16_t* path, std::uint16_t source) {
  auto& room = the_dump->room;
  std::size_t size = 0;
  const bool is_beside = source == 0;
  const EFI_STATUS status = is_beside ? platform::ReadFileBeside(the_dump->image, path, room, &size)
                                      : platform::ReadFile(the_dump->image, path, room, &size);
  if (is_beside && status == EFI_NOT_FOUND) return;
  if (EFI_ERROR(status)) return Miss(path, platform::StatusText(status).Text());
  std::uint32_t line = 0;
  testlib::ErrorText error;
  const auto content = std::span<const std::uint8_t>(room).first(size);
  if (testlib::ReadParameterFile(content, source, the_dump->parameters, &line, error)) return;
  Miss(path, "line %u: %s", line, error.data());
}

bool TakeWord(Words& words, std::uint16_t& source) {
  const std::u16string_view word = words.front();
  words = words.subspan(1);
  const std::size_t sign = word.find(u'=');
  if (word == u"-f" || word == u"--file") {
    if (words.empty()) return false;
    ReadParameters(words.front(), ++source);
    words = words.subspan(1);
  } else if (word.starts_with(u"--file=") || word.starts_with(u"-f")) {
    ReadParameters(word.data() + (word[1] == u'f' ? 2 : sign + 1), ++source);
  } else if (sign != word.npos) {
    testlib::ErrorText error;
    const std::u16string_view name(word.data(), sign);
    const std::u16string_view value(word.data() + sign + 1, word.size() - sign - 1);
    if (testlib::Define(the_dump->parameters, name, value, {}, error)) return true;
    Say(Colour::kBad, "ERROR: %s: %s\n", word.data(), error.data());
    return false;
  } else if (word.empty() || word[0] == u'-' || the_dump->folder[0] != 0) {
    return word.empty();
  } else {
    FormatText(the_dump->folder, "%s\\", word.data());
    the_dump->is_on_own_volume = false;
  }
  return true;
}

// A serial number as part of a file's name.
void TakeUnit(std::array<char16_t, kUnitCharacters + 1>& unit) {
  mfgtest::SmbiosStructure system;
  std::size_t length = 0;
  if (mfgtest::GetSmbiosStructure(kSystem, 0, &system)) {
    const mfgtest::SmbiosString serial = mfgtest::StructureString(system, system.Byte(kSerialNumber));
    for (const char16_t c : std::u16string_view(serial.data())) {
      const bool is_plain = (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
      if (length < kUnitCharacters) unit[length++] = is_plain || c == u'-' ? c : u'_';
    }
  }
  unit[length] = 0;
  if (length == 0) FormatText(unit, "unit");
}

// Makes the folder that is not given, step by step.
EFI_STATUS MakeOwnFolder(const char16_t* unit, const EFI_TIME& time) {
  Dump& d = *the_dump;
  std::array<char16_t, 400> beside;
  if (const EFI_STATUS status = platform::FolderOf(d.image, beside); EFI_ERROR(status)) return status;
  FormatText(d.folder, "%sdump", beside.data());
  if (const EFI_STATUS status = platform::MakeFolderOnVolume(d.image, d.folder.data()); EFI_ERROR(status)) {
    return status;
  }
  FormatText(d.folder, "%sdump\\%s-%04u%02u%02u-%02u%02u%02u\\", beside.data(), unit, time.Year, time.Month, time.Day,
             time.Hour, time.Minute, time.Second);
  d.is_on_own_volume = true;
  return platform::MakeFolderOnVolume(d.image, d.folder.data());
}

// The module that lies beside this image, by the marker in it.
void AddModule() {
  Dump& d = *the_dump;
  std::size_t size = 0;
  if (EFI_ERROR(platform::ReadFileBeside(d.image, kModule, d.room, &size))) return;
  const std::string_view content(reinterpret_cast<const char*>(d.room.data()), size);
  const auto* const marker = std::search(content.begin(), content.end(), kVersionMarker.begin(), kVersionMarker.end());
  if (marker == content.end()) return;
  const auto* const version = marker + kVersionMarker.size();
  const auto* const end = std::find(version, content.end(), '\0');
  AddAscii(d.index, "module", {version, static_cast<std::size_t>(end - version)});
}

void BeginIndex(const char16_t* unit, const EFI_TIME& time) {
  Json& index = the_dump->index;
  OpenObject(index, nullptr);
  AddAscii(index, "format", "mfgtest dump");
  AddNumber(index, "version", 1);
  AddText(index, "unit", unit);
  std::array<char16_t, 32> text;
  FormatText(text, "%04u-%02u-%02uT%02u:%02u:%02u", time.Year, time.Month, time.Day, time.Hour, time.Minute,
             time.Second);
  AddText(index, "time", text.data());
  const platform::FirmwareVersion firmware = platform::ReadFirmwareVersion();
  AddText(index, "firmware", firmware.vendor);
  AddAddress(index, "firmwareRevision", firmware.revision);
  AddText(index, "dump", kVersion);
  AddModule();
}

// Written last: a dump without it broke off.
void WriteIndex() {
  Dump& d = *the_dump;
  OpenList(d.index, "bridges");
  platform::TellBridges([](const char16_t* text) { AddText(the_dump->index, nullptr, text); });
  CloseList(d.index);
  OpenList(d.index, "missing");
  for (const MissingPart& part : std::span(d.missing).first(d.missing_count)) {
    OpenObject(d.index, nullptr);
    AddText(d.index, "what", part.what.data());
    AddText(d.index, "why", part.why.data());
    CloseObject(d.index);
  }
  CloseList(d.index);
  OpenList(d.index, "files");
  for (const WrittenFile& file : std::span(d.files).first(d.file_count)) {
    OpenObject(d.index, nullptr);
    AddText(d.index, "name", file.name.data());
    AddNumber(d.index, "size", file.size);
    AddAddress(d.index, "crc32", file.crc32);
    if (file.address != 0) AddAddress(d.index, "address", file.address);
    CloseObject(d.index);
  }
  CloseList(d.index);
  CloseObject(d.index);
  WritePart(u"machine.json", d.index.Bytes());
}

EFI_STATUS DumpMachine() {
  Dump& d = *the_dump;
  BindSilentLibrary();
  EFI_TIME time{};
  // A clock that cannot be read gives the folder a name of zeros.
  if (EFI_ERROR(platform::ReadRealTimeClock(&time))) time = {};
  std::array<char16_t, kUnitCharacters + 1> unit{};
  TakeUnit(unit);
  const EFI_STATUS made =
      d.folder[0] == 0 ? MakeOwnFolder(unit.data(), time) : platform::MakeFolder(d.image, d.folder.data());
  if (EFI_ERROR(made)) {
    Say(Colour::kBad, "ERROR: the folder %s cannot be made: %s\n", d.folder.data(), platform::StatusText(made).Text());
    return made;
  }
  Say(Colour::kNormal, "dump %s: writing into %s\n", kVersion, d.folder.data());
  BeginIndex(unit.data(), time);
  unsigned number = 0;
  for (const Step& step : kSteps) {
    platform::StartLine();
    Say(Colour::kNormal, "[%u/%lu] %s ", ++number, std::size(kSteps), step.title);
    step.run();
  }
  platform::StartLine();
  if (d.index.is_cut) d.write_status = EFI_BUFFER_TOO_SMALL;
  if (!EFI_ERROR(d.write_status)) WriteIndex();
  if (EFI_ERROR(d.write_status)) {
    Say(Colour::kBad, "ERROR: the dump is not whole: %s\n", platform::StatusText(d.write_status).Text());
    return d.write_status;
  }
  Say(Colour::kGood, "%lu files are written, %lu parts could not be read: machine.json says why.\n", d.file_count,
      d.missing_count);
  return EFI_SUCCESS;
}

EFI_STATUS Start(Words words) {
  const auto asks_for_help = [](const char16_t* word) {
    return std::u16string_view(word) == u"-h" || std::u16string_view(word) == u"--help";
  };
  if (std::ranges::any_of(words, asks_for_help)) {
    platform::Write(kHelpText);
    return EFI_SUCCESS;
  }
  ReadParameters(kParameterFile, 0);
  for (std::uint16_t source = 0; !words.empty();) {
    const char16_t* const word = words.front();
    if (TakeWord(words, source)) continue;
    Say(Colour::kBad, "ERROR: expected a folder, -f PATH or NAME=VALUE, found \"%s\". --help shows the way.\n", word);
    return EFI_INVALID_PARAMETER;
  }
  return DumpMachine();
}

}  // namespace

void WritePart(const char16_t* name, std::span<const std::uint8_t> content, std::uint64_t address) {
  Dump& d = *the_dump;
  if (d.file_count == Dump::kFiles || EFI_ERROR(d.write_status)) return;
  std::array<char16_t, 560> path;
  FormatText(path, "%s%s", d.folder.data(), name);
  d.write_status = d.is_on_own_volume ? platform::WriteFileOnVolume(d.image, path.data(), content)
                                      : platform::WriteFile(d.image, path.data(), content);
  if (EFI_ERROR(d.write_status)) {
    return Say(Colour::kBad, "\nERROR: %s cannot be written: %s\n", path.data(),
               platform::StatusText(d.write_status).Text());
  }
  WrittenFile& file = d.files[d.file_count++];
  FormatText(file.name, "%s", name);
  file.size = content.size();
  file.crc32 = platform::Crc32(content);
  file.address = address;
}

void Miss(const char16_t* what, const char16_t* why) {
  Dump& d = *the_dump;
  if (d.missing_count == Dump::kMissing) return;
  MissingPart& part = d.missing[d.missing_count++];
  FormatText(part.what, "%s", what);
  FormatText(part.why, "%s", why);
}

}  // namespace dump

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table) {
  using namespace dump;
  platform::InitializeImage(image, system_table);
  the_dump = static_cast<Dump*>(platform::TakeBlock(sizeof(Dump)));
  if (the_dump == nullptr) {
    Say(Colour::kBad, "ERROR: there is no memory for a dump\n");
    return EFI_OUT_OF_RESOURCES;
  }
  the_dump->image = image;
  the_dump->index.room = the_dump->index_room;
  const EFI_STATUS status = Start(WordsOf(image));
  platform::ReleaseBlock(the_dump);
  the_dump = nullptr;
  return status;
}
