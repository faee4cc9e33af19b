// SPDX-License-Identifier: BSD-2-Clause-Patent
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <random>
#include <set>

#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Operation;
using simulation::SmbiosTable;
using simulation::Station;
using Bytes = std::vector<std::uint8_t>;
using Strings = std::vector<std::string>;

TEST(Display, ShowsEveryFieldOfTheEntryPoint) {
  constexpr std::uint8_t kEntry[0x1F] = {'_',  'S',  'M',  '_',  0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA,
                                         1,    2,    3,    4,    5,    '_',  'D',  'M',  'I',  '?',  0xB5,
                                         0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xBB, 0xBC, 0xBD, 0x28};
  Station station;
  station.smbios_placement.entry = simulation::SmbiosPlacement::Entry::kNowhere;
  std::memcpy(station.machine.bios_segment.Data() + 0x123, kEntry, sizeof kEntry);
  EXPECT_EQ(
      Merged(station.Run(20)),
      (Lines{
          "Initialize -> 0 test 20",
          R"(DisplayPrint "\nAnchor String: _SM_\nEPSChecksum: 0xa4\nEPLength: 0xa5\nMajorVersion: 0xa6\nMinorVersion: 0xa7\nMaxStructSize: 0xa9a8\nEPRevision: 0xaa\nInterAnchorString: _DMI?\nInterChecksum:0xb5\nStructTableLen:0xb7b6\nStructTableAddr:0xbbbab9b8\nNumStruct:0xbdbc\nBCDRevision:0x28\n")",
          "EndTest"}));
}

struct Display {
  const char* name;
  std::uint32_t test;
  Bytes fields;
  Strings strings;
  Lines lines;
};

// Structures of the handle 0x1234.
const Display kDisplays[] = {
    {"system of a header only: its strings are no fields",
     21,
     {},
     {"\x01\x01\x01\x01 hostile string that a field must not reach"},
     {R"(DisplayPrint "\nStructure Header:\nType: 0x1   Len: 0x4   Handle: 0x1234")",
      R"(DebugPrint 1 "\nNumber of strings found:1")",
      R"(DisplayPrint "\nManufacturer:\nProduct Name:\nSerial Number:\nVersion:\nRaw/Flash GUID = 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 \n\nHuman Readable GUID = 00000000-0000-0000-0000-000000000000\n")"}},
    {"board, bare; a percent sign is shown as it stands",
     23,
     {1, 0, 0, 0},
     {"100%s %n"},
     {R"(DebugPrint 1 "\nStructure Header:\nType: 0x2   Len: 0x8   Handle: 0x1234\nNumber of strings found:1")",
      R"(DisplayPrint "\nManufacturer:100%s %n\nProduct Name:\nSerial Number:\nVersion:\n")"}},
};

std::uint8_t StructureType(std::uint32_t test) {
  static const std::map<std::uint32_t, std::uint8_t> types = {{21, 1}, {23, 2}, {24, 0}, {25, 3}};
  return types.at(test);
}

// The structure is the table's last, or six others of its type follow; the
// first one counts.
TEST(Display, ShowsTheFirstStructureOfItsType) {
  for (const Display& display : kDisplays) {
    for (const unsigned followers : {0u, 5u}) {
      SCOPED_TRACE(display.name);
      const std::uint8_t type = StructureType(display.test);
      Station station;
      station.smbios.Add(200, 0, {}).Add(type, 0x1234, display.fields, display.strings);
      for (unsigned i = 0; i < followers; ++i) station.smbios.Add(type, 0x2000, {1, 1, 1, 1, 1}, {"another"});
      EXPECT_EQ(Merged(station.Run(display.test)),
                Joined({{"Initialize -> 0 test " + std::to_string(display.test)}, display.lines, {"EndTest"}}));
    }
  }
}

// dmidecode, a program of its own, reads the same table from a dump: the entry
// point, and the table 32 bytes behind the file's start.
class Dmidecode {
 public:
  static bool Exists() { return std::filesystem::exists(kProgram); }

  explicit Dmidecode(const Bytes& table, std::uint16_t count) {
    Bytes entry(32, 0);
    std::memcpy(entry.data(), "_SM_", 4);
    std::memcpy(&entry[0x10], "_DMI_", 5);
    entry[0x05] = 0x1F;
    entry[0x06] = 2, entry[0x07] = 8;
    PutWord(entry, 0x16, static_cast<std::uint16_t>(table.size()));
    PutWord(entry, 0x18, 32);
    PutWord(entry, 0x1C, count);
    entry[0x15] = Checksum(entry, 0x10, 0x1F);
    entry[0x04] = Checksum(entry, 0x00, 0x1F);
    std::ofstream file(dump_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(entry.data()), static_cast<std::streamsize>(entry.size()));
    file.write(reinterpret_cast<const char*>(table.data()), static_cast<std::streamsize>(table.size()));
  }
  ~Dmidecode() { std::filesystem::remove(dump_); }

  // The first structure of a type: its "Label: value" lines.
  std::map<std::string, std::string> Fields(unsigned type) const {
    const std::string command =
        std::string(kProgram) + " -q -t " + std::to_string(type) + " --from-dump " + dump_.string() + " 2>&1";
    std::map<std::string, std::string> fields;
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
    for (char line[1024]; std::fgets(line, sizeof line, output.get()) != nullptr;) {
      const std::string text = line;
      if (text == "\n") break;
      const std::size_t colon = text.find(": ");
      if (text.front() != '\t' || colon == std::string::npos) continue;
      fields.emplace(text.substr(1, colon - 1), text.substr(colon + 2, text.size() - colon - 3));
    }
    return fields;
  }

 private:
  static constexpr const char* kProgram = "/usr/sbin/dmidecode";

  static void PutWord(Bytes& bytes, std::size_t offset, std::uint16_t value) {
    std::memcpy(&bytes[offset], &value, sizeof value);
  }
  static std::uint8_t Checksum(const Bytes& bytes, std::ptrdiff_t begin, std::ptrdiff_t end) {
    return static_cast<std::uint8_t>(-std::accumulate(bytes.begin() + begin, bytes.begin() + end, 0));
  }

  std::filesystem::path dump_ =
      std::filesystem::temp_directory_path() / ("smbios-" + std::to_string(getpid()) + ".dump");
};

// What a run displays, by label, as dmidecode would show it: bytes that are no
// printable ASCII are dots.
std::map<std::string, std::string> Displayed(Station& station, std::uint32_t test) {
  station.Run(test);
  std::map<std::string, std::string> fields;
  for (const simulation::Call& call : station.library->calls) {
    if (call.operation != Operation::kDisplayPrint) continue;
    std::string text;
    for (const char16_t c : call.text) {
      if (c != u'\n') text += c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '.';
    }
    const std::string separator = text.starts_with("Human") ? " = " : ":";
    const std::size_t at = text.find(separator);
    if (at != std::string::npos) fields[text.substr(0, at)] = text.substr(at + separator.size());
  }
  return fields;
}

// Labels that dmidecode words otherwise.
const std::map<std::string, std::string> kRenamed = {{"Human Readable GUID", "UUID"},
                                                     {"Asset Tag Number", "Asset Tag"}};

// Tables of random structures, good and odd: any number of strings, string
// numbers beyond them, any length from the shortest that dmidecode decodes.
SmbiosTable RandomTable(std::mt19937& generator) {
  const auto random = [&](unsigned least, unsigned most) {
    return std::uniform_int_distribution<unsigned>(least, most)(generator);
  };
  const std::pair<std::uint8_t, unsigned> types[] = {{0, 0x12}, {1, 0x08}, {2, 0x08}, {3, 0x09}, {9, 0x04}};
  SmbiosTable table;
  for (unsigned i = 0; i < 12; ++i) {
    const auto [type, shortest] = i < 4 ? types[i] : types[random(0, 4)];
    Strings strings(random(0, 24));
    for (std::string& text : strings) {
      text.resize(random(1, 127));
      for (char& c : text) c = static_cast<char>(random(0, 9) == 0 ? random(0x80, 0xFF) : random('!', '~'));
    }
    Bytes fields(random(shortest, 0x30) - 4);
    for (std::uint8_t& byte : fields) {
      byte = static_cast<std::uint8_t>(random(0, static_cast<unsigned>(strings.size()) + 2));
    }
    table.Add(type, static_cast<std::uint16_t>(i), fields, strings);
  }
  return table.Add(127, 0x7F, {});
}

TEST(Display, AgreesWithDmidecodeOnTheSameTable) {
  if (!Dmidecode::Exists()) GTEST_SKIP() << "dmidecode is not installed (Debian package dmidecode)";
  std::mt19937 generator{20260305};
  unsigned compared = 0;
  for (int i = 0; i < 20; ++i) {
    Station station;
    station.smbios = RandomTable(generator);
    const Dmidecode dmidecode(station.smbios.bytes, station.smbios.count);
    for (const std::uint32_t test : {21u, 23u, 24u, 25u}) {
      const auto expected = dmidecode.Fields(StructureType(test));
      for (const auto& [label, shown] : Displayed(station, test)) {
        const auto found = expected.find(kRenamed.contains(label) ? kRenamed.at(label) : label);
        // Of an enclosure's type dmidecode shows the name.
        if (found == expected.end() || label == "Type") continue;
        const bool is_none =
            std::set<std::string>{"Not Specified", "<BAD INDEX>", "Not Settable"}.contains(found->second);
        EXPECT_EQ(shown, is_none ? "" : found->second) << "table " << i << ", test " << test << ", " << label;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 200u);
}

// One round of the browser.
Lines Round(unsigned number, const char* type, const char* length, const char* handle, const char* answer) {
  return {R"(DebugPrint 1 "\nStructure )" + std::to_string(number) + R"( Header:")",
          std::string(R"(DebugPrint 1 "\nType: 0x)") + type + R"(   ")",
          std::string(R"(DebugPrint 1 "Len: 0x)") + length + R"(   ")",
          std::string(R"(DebugPrint 1 "Handle: 0x)") + handle + R"(")",
          R"(Prompt "\nPress any key for next structure or S to Stop: ")",
          std::string(R"(ReadInput 4 0 -> ")") + answer + R"(")"};
}

Lines Browse(Station& station, std::deque<std::u16string> answers) {
  station.library->answers = std::move(answers);
  Lines lines = station.Run(22);
  EXPECT_TRUE(station.library->answers.empty());
  return Lines(lines.begin() + 1, lines.end() - 1);
}

TEST(Browser, GoesOnUntilTheLastStructureOrTheAnswerS) {
  const Lines count = {R"(DebugPrint 1 "\nNumber of structs: 4")"};
  const Lines first = Round(0, "0", "5", "1", "");
  const struct {
    std::deque<std::u16string> answers;
    Lines rounds;
  } cases[] = {
      {{u"s"}, Round(0, "0", "5", "1", "s")},
      {{u"", u"S"}, Joined({first, Round(1, "11", "4", "abcd", "S")})},
      {{u"", u"Stop", u"s ", u"x"},
       Joined({first, Round(1, "11", "4", "abcd", "Stop"), Round(2, "7f", "4", "7f00", "s "),
               Round(3, "ff", "6", "3", "x")})},
  };
  for (const auto& c : cases) {
    Station station;
    station.smbios.Add(0, 1, {1}, {"A", "B"}).Add(17, 0xABCD, {}).Add(127, 0x7F00, {}).Add(255, 3, {9, 9}, {"C"});
    EXPECT_EQ(Browse(station, c.answers), Joined({count, c.rounds}));
  }
}

TEST(Browser, AnEmptyTableEndsAtOnceAndANullAddressIsAnError) {
  {
    Station station;
    EXPECT_EQ(Browse(station, {}), Lines{R"(DebugPrint 1 "\nNumber of structs: 0")"});
  }
  Station station;
  station.smbios_placement = {.declared_count = 2, .declared_address = 0};
  EXPECT_EQ(Browse(station, {}), (Lines{R"(DebugPrint 1 "\nNumber of structs: 2")",
                                        R"(ReportError 5 "\nStructure Table Address is NULL")"}));
}

TEST(Browser, ShowsAllOfALargeTableThoughItsCounterWraps) {
  Station station;
  for (unsigned i = 0; i < 620; ++i) station.smbios.Add(17, static_cast<std::uint16_t>(i), {1}, {"DIMM"});
  const Lines lines = Browse(station, std::deque<std::u16string>(620));
  EXPECT_EQ(Only({"ReadInput"}, lines).size(), 620u);
  const Lines headers = Only({R"(DebugPrint 1 "\nStructure )"}, lines);
  EXPECT_EQ(headers[255], R"(DebugPrint 1 "\nStructure 255 Header:")");
  EXPECT_EQ(headers[256], R"(DebugPrint 1 "\nStructure 0 Header:")");
}

}  // namespace
