// SPDX-License-Identifier: BSD-2-Clause-Patent
// Dumps, and the tables and devices of other tools, from the file to the
// verdict; and the dump of a machine that is known.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <numeric>
#include <sstream>

#include "platform/crc32.h"
#include "replay/files.h"
#include "replay/learn.h"
#include "replay/options.h"
#include "replay/run.h"
#include "replay/text.h"
#include "simulation/station.h"
#include "simulation/volume.h"
#include "tests/faults/injected_runs.h"

extern "C" EFI_STATUS dump_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

namespace fs = std::filesystem;
using replay::Bytes;
using Files = std::map<std::string, std::string>;
using Words = std::vector<std::string>;

constexpr const char* kServer = TESTS_FOLDER "/machines/demonstration-server";

// A folder of this test, gone with it.
struct Folder {
  explicit Folder(const Files& files) : path(fs::temp_directory_path() / ("mfgtest-" + std::to_string(getpid()))) {
    fs::create_directory(path);
    for (const auto& [name, content] : files) std::ofstream(path / name, std::ios::binary) << content;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { fs::remove_all(path); }

  fs::path path;
};

std::string Complaint(const std::function<void()>& action) {
  try {
    action();
  } catch (const replay::BadInput& fault) {
    return fault.what();
  }
  return "nothing";
}

std::string Index(const std::string& members) { return R"({"format": "mfgtest dump", "version": 1, )" + members + "}"; }

// A dump with one file.
std::string IndexOf(const std::string& name, const std::string& content, const std::string& members = "") {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(content.data());
  return Index("\"files\": [{\"name\": \"" + name + "\", \"size\": " + std::to_string(content.size()) +
               ", \"crc32\": " + std::to_string(platform::Crc32({bytes, content.size()})) + members + "}]");
}

TEST(Replay, NamesFileAndPlaceOfWhatItCannotTake) {
  std::string table(0x20, '\0');
  table.replace(0, 4, "_SM_").replace(0x16, 7, std::string("\x40\0\x20\0\0\0\1", 7));
  const struct {
    Files files;
    const char* complaint;
  } cases[] = {
      {{}, "/machine.json: there is no such file. It is written last, so the dump is not finished: "},
      {{{"machine.json", "{\"a\": 1"}}, "/machine.json: no JSON from offset 0x7 on. It is written last"},
      {{{"machine.json", "[]"}}, "/machine.json: expected an object with \"format\""},
      {{{"machine.json", R"({"format": "mfgtest dump", "version": 2})"}}, "version: expected 1"},
      {{{"machine.json", IndexOf("../a", "")}}, "files[0].name: expected the name of a file in the dump's own folder"},
      {{{"machine.json", IndexOf("a", "x")}}, "/a: cannot be read: No such file or directory"},
      {{{"machine.json", IndexOf("a", "xy")}, {"a", "x"}}, "/a: ends at offset 0x1, machine.json says 0x2"},
      {{{"machine.json", IndexOf("a", "x")}, {"a", "y"}}, "/a: damaged"},
      {{{"machine.json", IndexOf("smbios.bin", "_DMI_")}, {"smbios.bin", "_DMI_"}}, "expected an SMBIOS entry point"},
      {{{"machine.json", IndexOf("smbios.bin", "_SM3_")}, {"smbios.bin", "_SM3_"}}, "the file ends at offset 0x5"},
      {{{"machine.json", IndexOf("smbios.bin", table)}, {"smbios.bin", table}},
       "/smbios.bin: the entry point states a table of 64 bytes at offset 0x20, and the file ends at offset 0x20"},
      {{{"machine.json", IndexOf("rsdp.bin", "RSD PTR ")}, {"rsdp.bin", "RSD PTR "}}, "an RSDP has 20 bytes or more"},
      {{{"machine.json", IndexOf("flash.bin", "x", ", \"address\": \"0xFFFF0000\"")}, {"flash.bin", "x"}},
       "/flash.bin: ends at offset 0x1, expected a block of 0x10000 bytes"},
      {{{"machine.json", IndexOf("pci.txt", "00:01.0 x\n00: 1\nrest\n")}, {"pci.txt", "00:01.0 x\n00: 1\nrest\n"}},
       "/pci.txt: line 3 at offset 0x10: expected lines of lspci -x"},
      {{{"machine.json", IndexOf("variables.json", "[{}]")}, {"variables.json", "[{}]"}}, "[0]: expected an object"},
      {{{"machine.json", Index(R"("files": [], "network": [{"mac": "12"}])")}}, "network[0].mac: expected 12 hexa"},
      {{{"machine.json", Index(R"("files": [], "controller": {"deviceId": "0g"})")}}, "controller.deviceId: expected"},
      {{{"machine.json", Index(R"("files": [], "time": "now")")}}, "time: expected a time such as"},
  };
  for (const auto& c : cases) {
    const Folder folder(c.files);
    const std::string complaint = Complaint([&] { replay::ReadDump(folder.path); });
    EXPECT_NE(complaint.find(c.complaint), complaint.npos) << complaint << "\n" << c.complaint;
  }
}

TEST(Replay, NamesTheWordThatItCannotTake) {
  const std::pair<Words, const char*> cases[] = {
      {{}, "on which machine?"},
      {{"1"}, "on which machine?"},
      {{"learn"}, "from which dump or record?"},
      {{"--smbios"}, "--smbios: this option needs a value"},
      {{"--colour"}, "unknown option --colour"},
      {{"--trace=1", "a"}, "--trace=1: this option takes no value"},
      {{"a", "b"}, "found \"b\""},
      {{"--fru", "256=a"}, "--fru 256=a: expected ID=FILE"},
      {{"--fru", "5"}, "--fru 5: expected ID=FILE"},
  };
  for (const auto& c : cases) {
    const std::string seen = Complaint([&] { replay::ReadOptions(c.first); });
    EXPECT_NE(seen.find(c.second), seen.npos) << seen;
  }
}

// A walk that goes by the count meets ends of the table, not what lies behind it.
TEST(Replay, RunsATableThatEndsEarlyAsFarAsItGoes) {
  std::string file(0x20, '\0');
  const std::string structure("\1\6\0\1\1\0Acme\0\0", 12);
  file.replace(0, 4, "_SM_").replace(0x16, 8, std::string("\x1B\0\x20\0\0\0\xFF\0", 8));
  const Folder folder({{"table", file + structure + structure.substr(0, 11) + std::string(4, '\7')}});
  replay::MachineData data;
  data.smbios = replay::ReadSmbios(folder.path / "table", data.remarks);
  ASSERT_EQ(data.remarks.size(), 1u);
  EXPECT_NE(data.remarks[0].find("states 255 structures, the table holds 1 whole ones"), std::string::npos);
  replay::ReplayedMachine machine(data);
  replay::Session session(machine, false);
  EXPECT_EQ(session.Run({"1", "System_Manufacturer=Acme"}), replay::Verdict::kPass);
  EXPECT_EQ(session.Run({"9", "Chassis_Manufacturer=Acme"}), replay::Verdict::kFail);
}

// The bridge of the line offers what the firmware does not list, and the record
// of a run comes along.
TEST(Replay, ReadsATableWithA64BitEntryOnly) {
  std::string file("_SM3_\0\x18\3\0\0\1\0", 12);
  const std::string table("\1\6\0\1\1\0Acme\0\0\x7F\4\1\1\0\0", 18);
  file += std::string("\x12\0\0\0\x20\0\0\0\0\0\0\0", 12);
  file[5] = static_cast<char>(-std::accumulate(file.begin(), file.end(), 0));
  const Folder folder({{"table", file + std::string(8, '\0') + table}});
  replay::MachineData data;
  data.smbios = replay::ReadSmbios(folder.path / "table", data.remarks);
  replay::ReplayedMachine machine(data);
  replay::Session session(machine, false);
  EXPECT_EQ(session.Run({"1", "System_Manufacturer=Acme", "--record=record.jsonl"}), replay::Verdict::kPass);
  const auto record = machine.shell.files.find(u"record.jsonl");
  ASSERT_NE(record, machine.shell.files.end());
  const std::string text(record->second.begin(), record->second.end());
  EXPECT_NE(text.find(R"("testRunEnd":{"status":"COMPLETE","result":"PASS"})"), text.npos) << text;
}

// Folders of tests/machines: a dump, and runs.txt with what its runs come to.
// A line is a verdict and the words behind `replay DUMP`; indented lines below
// it stand on the console.
TEST(Machines, ComeToTheirVerdicts) {
  const std::map<std::string, replay::Verdict> verdicts = {{"PASS", replay::Verdict::kPass},
                                                           {"FAIL", replay::Verdict::kFail},
                                                           {"ERROR", replay::Verdict::kError},
                                                           {"SKIP", replay::Verdict::kSkip}};
  unsigned count = 0;
  for (const auto& entry : fs::directory_iterator(TESTS_FOLDER "/machines")) {
    if (!entry.is_directory()) continue;
    fs::current_path(entry.path());
    std::ifstream runs("runs.txt");
    std::string console;
    for (std::string line; std::getline(runs, line);) {
      SCOPED_TRACE(entry.path().filename().string() + ": " + line);
      if (line.starts_with('#') || line.empty()) continue;
      if (line.starts_with(' ')) {
        EXPECT_NE(console.find(line.substr(line.find_first_not_of(' '))), console.npos) << console;
        continue;
      }
      std::istringstream stream(line);
      std::string verdict;
      stream >> verdict;
      Words words = {"."};
      for (std::string word; stream >> word;) words.push_back(word);
      const replay::Options options = replay::ReadOptions(words);
      replay::ReplayedMachine machine(replay::ReadMachine(options));
      replay::AddFiles(machine.shell, options.files);
      replay::Session session(machine, false);
      const bool is_line = options.action == replay::Options::Action::kRunLine;
      EXPECT_EQ(is_line ? session.RunLine(options.words) : session.Run(options.words), verdicts.at(verdict));
      console = replay::ToUtf8(machine.machine.console.written);
      ++count;
    }
  }
  EXPECT_GT(count, 0u);
}

TEST(Learn, MakesTheOrdersFileOfUnits) {
  replay::MachineData data = replay::ReadDump(kServer);
  std::string complaint;
  const replay::Unit unit = replay::LearnFromMachine(data, {}, {"NIC_Index=1"}, &complaint);
  EXPECT_EQ(complaint, "");
  const auto has = [](const std::string& file, const std::string& line) {
    return ("\n" + file).find("\n" + line + "\n") != std::string::npos;
  };
  const std::string one = replay::ParameterFile({unit});
  EXPECT_TRUE(has(one, "System_Serial_Number  = SN-0000009")) << one;
  EXPECT_TRUE(has(one, "NIC_Index              = 1")) << one;
  EXPECT_TRUE(has(one, "Memory2_Size           = 0")) << one;
  EXPECT_TRUE(has(one, "# SYS_BOARDS_PRODUCT_NAME: Autosense finds none on this machine")) << one;

  // The other unit's record.
  const Folder folder(
      {{"record", R"({"testRunArtifact":{"testRunStart":{"parameters":{"NIC_Index":"1"}}},"sequenceNumber":0})"
                  "\n"
                  R"({"testStepArtifact":{"testStepId":"0","measurement":{"name":"System_Serial_Number",)"
                  R"("value":"SN 1 # x"}}})"
                  "\n"},
       {"text", "SN-1\n"}});
  replay::Unit other = replay::LearnFromRecord(folder.path / "record");
  EXPECT_TRUE(has(replay::ParameterFile({other}), "System_Serial_Number  = \"SN 1 # x\""));
  other.results.insert(unit.results.begin(), unit.results.end());
  const std::string two = replay::ParameterFile({unit, other});
  EXPECT_TRUE(has(two, "System_Serial_Number  = ask")) << two;
  EXPECT_TRUE(has(two, "System_Product        = Rack Server 2U")) << two;
  EXPECT_NE(Complaint([&] { replay::LearnFromRecord(folder.path / "text"); }).find("line 1 is no line of a record"),
            std::string::npos);
}

// What dump.efi writes on the machine until its end, or until the power goes, by
// the file's name.
Files DumpOf(replay::ReplayedMachine& machine, bool* is_whole = nullptr) {
  simulation::Volume stick(machine.machine);
  stick.files[u"\\mfgtest.cfg"] = "SYS_BD_FRU_ID = 5\nHSBP = 0\n";
  const EFI_HANDLE image = machine.machine.LoadImage(stick.handle, u"\\dump.efi");
  simulation::ForgetEarlierRun();
  try {
    const EFI_STATUS status = machine.shell.Run(image, dump_efi_main, simulation::CommandLine({u"dump.efi"})).status;
    if (is_whole != nullptr) *is_whole = status == EFI_SUCCESS;
    machine.machine.UnloadImage(image);
  } catch (const simulation::PowerCut&) {
    stick.open_files = 0;
  }
  Files files;
  for (const auto& [path, content] : stick.files) {
    const std::u16string name = path.substr(path.rfind(u'\\') + 1);
    if (path.starts_with(u"\\dump\\") && name.find(u'.') != name.npos) files[replay::ToUtf8(name)] = content;
  }
  return files;
}

TEST(Dump, OfAReplayedMachineIsTheSameDump) {
  replay::ReplayedMachine machine(replay::ReadDump(kServer));
  const Files files = DumpOf(machine);
  EXPECT_TRUE(machine.machine.writes.empty());
  std::size_t compared = 0;
  for (const auto& entry : fs::directory_iterator(kServer)) {
    const std::string name = entry.path().filename().string();
    if (name == "machine.json" || name == "runs.txt" || name == "mfgtest.cfg") continue;
    const Bytes bytes = replay::ReadBytes(entry.path());
    EXPECT_TRUE(files.contains(name) && files.at(name) == std::string(bytes.begin(), bytes.end())) << name;
    ++compared;
  }
  EXPECT_EQ(files.size(), compared + 1);
  const Folder folder(files);
  const replay::MachineData again = replay::ReadDump(folder.path);
  EXPECT_EQ(again.smbios->table.address, replay::ReadDump(kServer).smbios->table.address);
  EXPECT_EQ(again.networks.size(), 3u);
  EXPECT_EQ(again.controller->refusals.size(), 11u);
}

// Whatever call fails, and wherever the power goes, the dump is whole and sound,
// or its reader is told that it is not.
TEST(Dump, IsWholeOrSaysThatItIsNot) {
  const replay::MachineData server = replay::ReadDump(kServer);
  const auto dump = [&](const simulation::Injection& injection) {
    replay::ReplayedMachine machine(server);
    machine.machine.injection = injection;
    const std::size_t allocated = machine.machine.memory.Outstanding();
    bool is_whole = false;
    const Files files = DumpOf(machine, &is_whole);
    EXPECT_TRUE(machine.machine.writes.empty());
    // The list of root bridges is kept for good.
    EXPECT_TRUE(injection.cut != 0 || machine.machine.memory.Outstanding() <= allocated + 1);
    const Folder folder(files);
    const std::string complaint = Complaint([&] { replay::ReadDump(folder.path); });
    EXPECT_TRUE(complaint == "nothing" || (!is_whole && complaint.find("not finished") != complaint.npos)) << complaint;
    return machine.machine.injection;
  };
  const simulation::Injection whole = dump({});
  const auto repeat = [&](const simulation::Injection& injection) {
    dump(injection);
    return "";
  };
  Inject("dump", InjectionsInto(whole), 1999, repeat, 50);
  Inject("dump, the power goes", CutsInto(whole), 9, repeat);
}

}  // namespace
