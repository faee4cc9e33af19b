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

std::uint8_t StructureType(std::uint32_t test) {
  static const std::map<std::uint32_t, std::uint8_t> types = {{21, 1}, {23, 2}, {24, 0}, {25, 3}};
  return types.at(test);
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

TEST(Browser, ShowsAllOfALargeTableThoughItsCounterWraps) {
  Station station;
  for (unsigned i = 0; i < 620; ++i) station.smbios.Add(17, static_cast<std::uint16_t>(i), {1}, {"DIMM"});
  station.library->answers.assign(620, u"");
  const Lines headers = Only({R"(DebugPrint 1 "\nStructure )"}, station.Run(22));
  EXPECT_EQ(headers.size(), 620u);
  EXPECT_EQ(headers[255], R"(DebugPrint 1 "\nStructure 255 Header:")");
  EXPECT_EQ(headers[256], R"(DebugPrint 1 "\nStructure 0 Header:")");
}

}  // namespace
