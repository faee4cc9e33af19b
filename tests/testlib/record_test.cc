// SPDX-License-Identifier: BSD-2-Clause-Patent
// Records of lines on a machine with a drive, read back as JSON.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>

#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/line_run.h"
#include "platform/protocols/test_library.h"
#include "platform/utc.h"
#include "simulation/machine.h"
#include "simulation/text.h"
#include "simulation/volume.h"
#include "testlib/record/comparisons.h"

extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using Json = nlohmann::json;
using Body = std::function<void(TestLibrary& library, std::uint32_t test)>;

constexpr EFI_GUID kSerialIo = EFI_SERIAL_IO_PROTOCOL_GUID;
std::string serial_text;
std::size_t serial_writes;

EFI_STATUS EFIAPI WriteSerialPort(SERIAL_IO_INTERFACE*, UINTN* size, void* from) {
  // A port that takes little at a time.
  *size = std::min<UINTN>(*size, 100);
  serial_text.append(static_cast<const char*>(from), *size);
  return EFI_SUCCESS;
}
EFI_STATUS EFIAPI WriteSilentPort(SERIAL_IO_INTERFACE*, UINTN* size, void*) {
  ++serial_writes;
  *size = 0;
  return EFI_TIMEOUT;
}

std::vector<Json> ParseLines(const std::string& text) {
  std::vector<Json> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(Json::parse(line));
  return lines;
}

EFI_TIME Local(const platform::UtcTime& time, std::int16_t zone) {
  EFI_TIME local{};
  local.Year = time.year;
  local.Month = time.month;
  local.Day = time.day;
  local.Hour = time.hour;
  local.Minute = time.minute;
  local.Second = time.second;
  local.TimeZone = zone;
  return local;
}

struct RecordedLine {
  RecordedLine() {
    machine.time = Local({2026, 11, 21, 21, 43, 10}, 0);
    driver = machine.LoadImage(volume.handle, u"\\testlib.efi");
    machine.StartImage(driver, testlib_efi_main);
    line = platform::FirstInterface<LineRun>(kLineRunProtocolGuid);
    library = platform::FirstInterface<TestLibrary>(kTestLibraryProtocolGuid);
  }
  ~RecordedLine() {
    platform::LoadedImage(driver)->Unload(driver);
    machine.UnloadImage(driver);
  }

  // Runs so many tests of a line, and its end when there are no more.
  std::u16string Run(const std::string& parameters, const Body& body, std::size_t tests = SIZE_MAX) {
    volume.files[u"\\mfgtest.cfg"] = parameters;
    const EFI_HANDLE module = machine.LoadImage(volume.handle, u"\\mfgtest.efi");
    const char16_t* const words[] = {u"fs0:\\start.efi", u"-d", u"1"};
    bool goes_on = !EFI_ERROR(line->Begin(module, words, std::size(words)));
    for (; goes_on && tests > 0; --tests) {
      const LineTest* const test = line->Next();
      if (test == nullptr) break;
      TestDescriptor descriptor = {48, 795, 0, module, "3.26.1.0001", test->Argc, test->Argv};
      if (library->Initialize(&descriptor) == 0) body(*library, descriptor.SelectedTest);
      library->EndTest();
      line->Ended(EFI_SUCCESS);
    }
    machine.UnloadImage(module);
    return tests > 0 ? line->End()->Verdict : u"the power went";
  }

  std::string Text() const {
    for (const auto& [path, content] : volume.files) {
      if (path.starts_with(u"\\results\\")) return content;
    }
    return {};
  }
  std::vector<Json> Lines() const { return ParseLines(Text()); }

  simulation::Machine machine;
  simulation::Volume volume{machine};
  EFI_HANDLE driver;
  LineRun* line;
  TestLibrary* library;
};

// The artifacts of a kind in a step, or of the run.
std::vector<Json> Artifacts(const std::vector<Json>& lines, const std::string& step, const std::string& kind) {
  std::vector<Json> found;
  for (const Json& line : lines) {
    const Json artifact = line.value(step.empty() ? "testRunArtifact" : "testStepArtifact", Json::object());
    if (artifact.contains(kind) && artifact.value("testStepId", "") == step) found.push_back(artifact[kind]);
  }
  return found;
}

void PublishOrFail(TestLibrary& library, std::uint32_t test) {
  if (test == 0) library.SetResultString(u"System_Serial_Number", u"SN-9");
  if (test == 4)
    library.ReportError(4, u"\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", u"System_Serial_Number", u"SN-1", u"SN-9");
  library.DebugPrint(1, u"\n");
  library.DebugPrint(1, u"\nprogress of %d", UINTN{test});
}

const std::string kOrder = "Line_Tests = 0 1 4 5\nSystem_Serial_Number = SN-1\nStation = bench 3\n";

TEST(Record, KeepsEveryFinishedTestWhenThePowerGoes) {
  for (std::size_t tests = 0; tests <= 5; ++tests) {
    SCOPED_TRACE(tests);
    RecordedLine line;
    line.Run(kOrder, PublishOrFail, tests);
    const std::vector<Json> lines = line.Lines();
    const std::vector<std::string> steps = {"0", "1", "4", "5"};
    for (std::size_t i = 0; i < steps.size(); ++i) {
      EXPECT_EQ(Artifacts(lines, steps[i], "testStepStart").size(), i < tests ? 1u : 0u);
      EXPECT_EQ(Artifacts(lines, steps[i], "testStepEnd").size(), i < tests ? 1u : 0u);
    }
    EXPECT_EQ(Artifacts(lines, "4", "diagnosis").size(), tests > 2 ? 1u : 0u);
    const Json end = {{"status", "COMPLETE"}, {"result", "FAIL"}};
    EXPECT_EQ(Artifacts(lines, "", "testRunEnd"), tests == 5 ? std::vector<Json>{end} : std::vector<Json>{});
    for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(lines[i]["sequenceNumber"], i);
  }
}

TEST(Record, HoldsValueAndLimitOfEachComparison) {
  RecordedLine line;
  line.machine.variables.Add(u"EXPECTED", simulation::TextData(u"A variable's"));
  const std::string order = R"(Line_Tests = 0 4 36 40
System_Manufacturer = "Exact "
System_Product = ENV=expected
Chassis_Type = 0x17
Memory0_Speed = 65546
Memory_Speed_Tolerance = 20
Memory0_Size = 4096
SYS_BOARDS_PART_NUMBER = BP-1
OEM_BIOS_String = BUILD 7
)";
  const auto body = [](TestLibrary& library, std::uint32_t test) {
    if (test == 0) {
      library.SetResultString(u"System_Manufacturer", u"Exact  ");
      library.SetResultString(u"System_Product", u"\x01\"\\\xD800\xE9\xD83D\xDE00\n");
      library.SetResultNumber(u"Chassis_Type", 0x17);
      library.SetResultNumber(u"Memory0_Speed", 1333);
      library.SetResultNumber(u"Memory0_Size", 4096);
      library.SetResultString(u"SYS_BOARDS_PART_NUMBER", u"BP-2");
      library.SetResultString(u"display.cfg:BIOS ID", u"R01");
    }
    if (test == 36) {
      library.ReportError(28, u"\r\nMemory device %d bank locator mismatch. Expected: %s Received: %s\r\n", UINTN{1},
                          u"NODE 2", nullptr);
      // Another format than the table's: a message only.
      library.ReportError(28, u"\r\nMemory device %d bank locator mismatch. Expected: %s\r\n", UINTN{1}, u"NODE 2");
      library.Delay(5);
    }
    if (test == 40) {
      library.ReportError(4, u"\n%s mismatched. \nExp: \"%s\"\nRec: \"%s\"\n", u"OEM_BIOS_String", u"BUILD 6",
                          u"BUILD 7");
      library.ReportError(1, u"\nFailed to get param:%s\n", u"OEM_BIOS_String");
    }
  };
  EXPECT_EQ(line.Run(order, body), u"FAIL");
  const auto limit = [](const char* name, const char* type, const Json& value) {
    return Json{{"name", name}, {"type", type}, {"value", value}};
  };
  const std::vector<Json> published = {
      {{"name", "System_Manufacturer"},
       {"value", "Exact"},
       {"validators", {limit("System_Manufacturer", "EQUAL", "Exact ")}}},
      {{"name", "System_Product"},
       {"value", "\x01\"\\\xEF\xBF\xBD\xC3\xA9\xF0\x9F\x98\x80\n"},
       {"validators", {limit("System_Product", "EQUAL", "A variable's")}}},
      {{"name", "Chassis_Type"}, {"value", 0x17}, {"validators", {limit("Chassis_Type", "EQUAL", 0x17)}}},
      {{"name", "Memory0_Speed"},
       {"value", 1333},
       {"validators",
        {limit("Memory0_Speed", "GREATER_THAN_OR_EQUAL", -10), limit("Memory0_Speed", "LESS_THAN_OR_EQUAL", 30)}}},
      {{"name", "Memory0_Size"}, {"value", 4096}, {"validators", {limit("Memory0_Size", "EQUAL", 4096)}}},
      {{"name", "SYS_BOARDS_PART_NUMBER"}, {"value", "BP-2"}},
      {{"name", "display.cfg:BIOS ID"}, {"value", "R01"}},
  };
  const std::vector<Json> lines = line.Lines();
  EXPECT_EQ(Artifacts(lines, "0", "measurement"), published);
  const std::vector<Json> memory = {{{"name", "Memory1_BankLocator"},
                                     {"value", ""},
                                     {"validators", {limit("Memory1_BankLocator", "EQUAL", "NODE 2")}}},
                                    {{"name", "waits"}, {"value", 5}, {"unit", "ms"}}};
  EXPECT_EQ(Artifacts(lines, "36", "measurement"), memory);
  EXPECT_EQ(Artifacts(lines, "36", "diagnosis").size(), 2u);
  EXPECT_EQ(Artifacts(lines, "40", "measurement"),
            (std::vector<Json>{{{"name", "OEM_BIOS_String"},
                                {"value", "BUILD 6"},
                                {"validators", {limit("OEM_BIOS_String", "EQUAL", "BUILD 7")}}}}));
  EXPECT_EQ(
      Artifacts(lines, "40", "error"),
      (std::vector<Json>{{{"symptom", "parameter-unreadable"}, {"message", "Failed to get param:OEM_BIOS_String"}}}));
  EXPECT_EQ(Artifacts(lines, "4", "testStepEnd"), (std::vector<Json>{{{"status", "COMPLETE"}}}));
}

TEST(Record, GoesOnInMemoryWhileTheDriveTakesNothing) {
  using Behaviour = simulation::Volume::Behaviour;
  const struct {
    const char* what;
    Behaviour at_first, then, at_last;
    std::u16string verdict;  // when the record is required
    bool is_told;
  } cases[] = {
      {"a good drive", {}, {}, {}, u"FAIL", false},
      {"a protected drive",
       {.write_status = EFI_WRITE_PROTECTED},
       {.write_status = EFI_WRITE_PROTECTED},
       {.write_status = EFI_WRITE_PROTECTED},
       u"ERROR",
       true},
      {"a drive that fills", {}, {.room = 50}, {.room = 50}, u"ERROR", true},
      {"a drive that is pulled and put back", {}, {.write_status = EFI_NO_MEDIA}, {}, u"FAIL", true},
      {"a drive that comes late",
       {.write_status = EFI_DEVICE_ERROR},
       {.write_status = EFI_DEVICE_ERROR},
       {},
       u"FAIL",
       true},
  };
  for (const auto& c : cases) {
    for (const bool is_required : {false, true}) {
      SCOPED_TRACE(c.what);
      RecordedLine line;
      line.volume.behaviour = c.at_first;
      const auto body = [&](TestLibrary& library, std::uint32_t test) {
        if (test == 1) line.volume.behaviour = c.then;
        if (test == 5) line.volume.behaviour = c.at_last;
        PublishOrFail(library, test);
        // More than memory holds; the results stay.
        for (int i = 0; test == 1 && i < 1500; ++i) library.DebugPrint(1, u"%s", std::u16string(200, u'x').c_str());
      };
      EXPECT_EQ(line.Run(kOrder + (is_required ? "Record = required\n" : ""), body), is_required ? c.verdict : u"FAIL");
      const std::u16string& written = line.machine.console.written;
      const std::size_t told = written.find(u"The record cannot be written");
      EXPECT_EQ(told != std::u16string::npos, c.is_told);
      EXPECT_EQ(written.rfind(u"The record cannot be written"), told);
      const std::vector<Json> lines = line.Lines();
      for (std::size_t i = 0; i < lines.size(); ++i) ASSERT_EQ(lines[i]["sequenceNumber"], i);
      const bool is_whole = c.verdict == u"FAIL";
      EXPECT_EQ(Artifacts(lines, "", "testRunEnd").size(), is_whole ? 1u : 0u);
      EXPECT_EQ(Artifacts(lines, "4", "diagnosis").size(), is_whole ? 1u : 0u);
    }
  }
}

TEST(Record, GoesToTheSerialPortsAsWell) {
  serial_text.clear();
  serial_writes = 0;
  RecordedLine line;
  SERIAL_IO_INTERFACE silent{};
  SERIAL_IO_INTERFACE port{};
  silent.Write = WriteSilentPort;
  port.Write = WriteSerialPort;
  const EFI_HANDLE silent_handle = line.machine.handles.Install(kSerialIo, &silent);
  const EFI_HANDLE handle = line.machine.handles.Install(kSerialIo, &port);
  line.Run(kOrder + "Record_Console = YES\nRecord = no\n", PublishOrFail);
  line.machine.handles.Uninstall(silent_handle, kSerialIo, &silent);
  line.machine.handles.Uninstall(handle, kSerialIo, &port);
  EXPECT_EQ(line.Text(), "");
  EXPECT_EQ(serial_writes, 1u);
  std::string text;
  for (std::size_t at = serial_text.find("\r\n@MFG "); at != std::string::npos;
       at = serial_text.find("\r\n@MFG ", at + 2)) {
    text += serial_text.substr(at + 7, serial_text.find("\r\n", at + 2) - at - 7) + "\n";
  }
  EXPECT_EQ(Artifacts(ParseLines(text), "", "testRunEnd").size(), 1u);
}

// A format that the module changed would leave its values out of the record.
TEST(Record, KnowsTheFormatsOfTheModule) {
  std::string sources;
  for (const char* const folder : {"smbios", "guid", "ipmi"}) {
    for (const auto& file :
         std::filesystem::directory_iterator(std::filesystem::path(TESTS_FOLDER).parent_path() / folder)) {
      std::ifstream stream(file.path());
      sources.append(std::istreambuf_iterator<char>(stream), {});
    }
  }
  for (const testlib::Comparison& row : testlib::Comparisons()) {
    const std::string literal = Json(row.format).dump();
    EXPECT_NE(sources.find(literal), std::string::npos) << literal;
  }
}

TEST(Record, TellsTheTimeInUtc) {
  const struct {
    EFI_TIME local;
    platform::UtcTime utc;
    bool is_set;
  } cases[] = {
      {Local({2026, 12, 31, 23, 30, 5}, 300), {2027, 1, 1, 4, 30, 5}, true},
      {Local({2028, 3, 1, 0, 10, 0}, -60), {2028, 2, 29, 23, 10, 0}, true},
      {Local({2026, 11, 21, 21, 0, 0}, EFI_UNSPECIFIED_TIMEZONE), {2026, 11, 21, 21, 0, 0}, true},
      {Local({2026, 2, 29, 0, 0, 0}, 0), platform::kUnsetTime, false},
      {Local({2000, 1, 1, 0, 0, 0}, 0), platform::kUnsetTime, false},
  };
  for (const auto& c : cases) {
    RecordedLine line;
    line.machine.time = c.local;
    platform::UtcTime time;
    EXPECT_EQ(platform::ReadUtcTime(&time), c.is_set);
    EXPECT_EQ(std::tie(time.year, time.month, time.day, time.hour, time.minute, time.second),
              std::tie(c.utc.year, c.utc.month, c.utc.day, c.utc.hour, c.utc.minute, c.utc.second));
    line.Run(kOrder, PublishOrFail);
    EXPECT_EQ(Artifacts(line.Lines(), "", "log").size(), c.is_set ? 0u : 1u);
  }
}

}  // namespace
