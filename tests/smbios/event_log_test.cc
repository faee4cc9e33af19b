// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/event_log.h"

#include <cstdio>

#include "simulation/pci_bus.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::RootBridge;
using simulation::Station;
using simulation::Widen;
using Bytes = std::vector<std::uint8_t>;
using Record = std::array<std::uint8_t, 16>;

constexpr std::uint32_t kLogAddress = 0xFED10000;

// A type 15 structure of a memory-mapped log.
Bytes LogFields(std::uint32_t address, std::uint16_t start, const Bytes& descriptors = {}) {
  Bytes fields = {0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x03, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2};
  fields[0x08 - 4] = static_cast<std::uint8_t>(start);
  fields[0x09 - 4] = static_cast<std::uint8_t>(start >> 8);
  for (unsigned i = 0; i < 4; ++i) fields[0x10 - 4 + i] = static_cast<std::uint8_t>(address >> (8 * i));
  fields[0x15 - 4] = static_cast<std::uint8_t>(descriptors.size() / 2);
  fields.insert(fields.end(), descriptors.begin(), descriptors.end());
  return fields;
}

// A machine whose log lies in the 256 bytes at an address; where no record was
// put, the log has ended.
struct LogMachine {
  explicit LogMachine(std::uint32_t address = kLogAddress, std::uint16_t start = 0) : log_address(address) {
    for (unsigned i = 0; i < 256; ++i) bridge.memory[static_cast<std::uint32_t>(address + i)] = 0xFF;
    station.smbios.Add(15, 0x0F00, LogFields(address, start));
  }

  void Put(unsigned offset, const Record& record) {
    for (const std::uint8_t byte : record) {
      bridge.memory[static_cast<std::uint32_t>(log_address + offset++ % 256)] = byte;
    }
  }
  void Expect(unsigned number, const char* mask) {
    const std::string digits = std::to_string(number);
    station.library->parameters[u"Event_Mask_" + Widen(digits.size() < 2 ? "0" + digits : digits)] = Widen(mask);
  }

  std::uint32_t log_address;
  Station station;
  RootBridge bridge{station.machine};
};

Record MakeRecord(std::uint8_t event, std::uint8_t source = 1, std::uint8_t type = 2, std::uint8_t subtype = 0) {
  return {event, 0x10, 0x26, 0x11, 0x21, 0x07, 0x59, 0x01, source, type, subtype, 3, 0x14, 5, 0xAB, 0xCD};
}

// The log data of MakeRecord(1).
const char* const kData = "cdab051403000201";

TEST(EventLog, AnEmptyLogPassesAfterOneByte) {
  for (const std::uint16_t start : {0x0000, 0x0010, 0x0810, 0x00FF}) {
    LogMachine machine(kLogAddress, start);
    EXPECT_EQ(Only({"LogMessage", "GetParam", "ReportError", R"(DebugPrint 1 "\nEventType)"}, machine.station.Run(37)),
              Lines{R"(LogMessage "No events log found.\n")"});
    EXPECT_EQ(machine.bridge.memory_reads, std::vector<std::uint64_t>{kLogAddress + (start & 0xFF)});
  }
}

// What the line reads about a record: three forms.
std::string Report(const std::string& data, const std::string& event, const std::string& source,
                   const std::string& rest = "") {
  return R"(ReportError 29 "System event log test failed. Log Data in HEX: )" + data + R"(\nEvent type: )" + event +
         ". Error source: " + source + R"(.\n)" + rest + "\"";
}

std::string MemoryPart(const std::string& type, const std::string& subtype) {
  return "Error type: " + type + ". Error subtype: " + subtype + R"(.\nSocket: 03 Channel: 14 DIMM: 05\n)";
}

std::string BusPart(const std::string& type, const std::string& subtype) {
  return "Error type: " + type + ". Error subtype: " + subtype + R"(.\nBus: 03 Device: 14 Function: 05\n)";
}

// What each kind of event brings: full reports of memory and bus, and words.
TEST(EventLog, EveryEventTypeHasItsForm) {
  const std::string fatal = "PCIE fatal DL PROT";
  const std::string correctable = "PCIE CORR RX error";
  const std::pair<unsigned, std::string> cases[] = {
      {0x00, Report(kData, "Reserved", "Memory")},
      {0x01, Report(kData, "Single-bit ECC memory error", "Memory", MemoryPart("Fatal", correctable))},
      {0x02, Report(kData, "Multi-bit ECC memory error", "Memory", MemoryPart("Fatal", fatal))},
      {0x03, Report(kData, "Parity memory error", "Memory", MemoryPart("Fatal", fatal))},
      {0x04, Report(kData, "Bus time-out", "Memory")},
      {0x08, Report(kData, "POST Error", "Memory")},
      {0x09, Report(kData, "PCI Parity Error", "Memory", BusPart("Fatal", "Unknown"))},
      {0x0A, Report(kData, "PCI System Error", "Memory", BusPart("Fatal", "Unknown"))},
      {0x0B, Report(kData, "CPU Failure", "Memory")},
      {0x17, Report(kData, "System boot", "Memory")},
      {0x18, Report(kData, "Unknown error", "Unknown")},
      {0x80, Report(kData, "Unknown error", "Unknown")},
      {0x81, Report(kData, "PCIE COR error", "Memory", BusPart("Fatal", correctable))},
      {0x82, Report(kData, "PCIE fatal error", "Memory", BusPart("Fatal", fatal))},
      {0x83, Report(kData, "PCIE non fatal error", "Memory", BusPart("Fatal", fatal))},
      {0x84, Report(kData, "Thermal trip error", "Memory")},
      {0x85, Report(kData, "Unknown error", "Unknown")},
      {0xFE, Report(kData, "Unknown error", "Unknown")},
  };
  for (const auto& [event, report] : cases) {
    LogMachine machine;
    machine.Put(0, MakeRecord(static_cast<std::uint8_t>(event)));
    EXPECT_EQ(Errors(machine.station.Run(37)), Lines{report}) << event;
  }
}

// The first and the last name that each byte has, and what lies beyond.
TEST(EventLog, TheLowHalfOfAByteNamesSourceTypeAndSubtype) {
  const struct {
    std::uint8_t event;
    std::uint8_t low;
    const char* names;
  } cases[] = {
      {0x01, 0x0, R"(source: Unknown.\nError type: Unknown. Error subtype: PCIE CORR RX error.)"},
      {0x01, 0x1, R"(source: Memory.\nError type: Non fatal. Error subtype: PCIE CORR bad TLP.)"},
      {0x81, 0x3, R"(source: Thermal trip.\nError type: COR. Error subtype: PCIE CORR replay number rollover.)"},
      {0x81, 0x5, R"(source: Unknown.\nError type: Unknown. Error subtype: PCIE CORR advisory NF error.)"},
      {0x01, 0x6, R"(source: Unknown.\nError type: Unknown. Error subtype: Unknown.)"},
      {0x02, 0x0, R"(source: Unknown.\nError type: Unknown. Error subtype: PCIE fatal DL PROT.)"},
      {0x03, 0x2, R"(source: PCI.\nError type: Fatal. Error subtype: PCIE fatal unexpected COMP.)"},
      {0x82, 0x9, R"(source: Unknown.\nError type: Unknown. Error subtype: PCIE_fatal ACS violation.)"},
      {0x83, 0xA, R"(source: Unknown.\nError type: Unknown. Error subtype: PCIE fatal malformed TLP.)"},
      {0x83, 0xB, R"(source: Unknown.\nError type: Legacy. Error subtype: Unknown.)"},
      {0x09, 0x3, R"(source: Thermal trip.\nError type: COR. Error subtype: Unknown.)"},
      {0x09, 0x4, R"(source: Unknown.\nError type: Unknown. Error subtype: PCI PERR.)"},
      {0x0A, 0x5, R"(source: Unknown.\nError type: Unknown. Error subtype: PCIE SERR.)"},
      {0x0A, 0x6, R"(source: Unknown.\nError type: Unknown. Error subtype: Unknown.)"},
      {0x02, 0xF, R"(source: Unknown.\nError type: Unknown. Error subtype: Unknown.)"},
  };
  for (const auto& c : cases) {
    LogMachine machine;
    const auto byte = static_cast<std::uint8_t>(0xF0 | c.low);
    machine.Put(0, MakeRecord(c.event, byte, byte, byte));
    const std::string report = Errors(machine.station.Run(37)).at(0);
    EXPECT_NE(report.find(c.names), std::string::npos) << report;
  }
}

struct MaskCase {
  const char* name;
  std::vector<std::pair<unsigned, const char*>> masks;
  bool expected;
  // How many parameters are asked for.
  std::size_t asked;
};

const MaskCase kMaskCases[] = {
    {"none", {}, false, 1},
    {"the only one", {{0, kData}}, true, 2},
    {"capital letters, blanks before and more behind", {{0, "  CDAB051403000201 and more"}}, true, 2},
    {"a prefix of its own reads as zero", {{0, "0xcdab051403000201"}}, false, 2},
    {"part of the data", {{0, "cdab051403000200"}}, false, 2},
    {"the last of several", {{0, "1"}, {1, "2"}, {2, "3"}, {3, kData}}, true, 5},
    {"the first of several", {{0, kData}, {1, "2"}, {2, "3"}}, true, 4},
    {"behind a gap", {{0, "1"}, {2, kData}}, false, 2},
    {"without the first", {{1, kData}}, false, 1},
    {"longer than its buffer", {{0, "cdab051403000201 0123456789 0123456789 01234567"}}, false, 1},
};

TEST(EventLog, AMaskIsTheWholeLogData) {
  for (const MaskCase& c : kMaskCases) {
    SCOPED_TRACE(c.name);
    LogMachine machine;
    for (const auto& [number, mask] : c.masks) machine.Expect(number, mask);
    machine.station.Bind();
    EXPECT_EQ(mfgtest::MatchEventMask(0xCDAB051403000201), c.expected ? 0 : 2);
    EXPECT_EQ(Only({"GetParamString"}, machine.station.Transcript()).size(), c.asked);
  }
}

TEST(EventLog, FiftyMasksCount) {
  for (const unsigned last : {49u, 50u}) {
    LogMachine machine;
    for (unsigned i = 0; i <= last; ++i) machine.Expect(i, i == last ? kData : "1");
    machine.station.Bind();
    EXPECT_EQ(mfgtest::MatchEventMask(0xCDAB051403000201), last == 49 ? 0 : 2);
    EXPECT_EQ(Only({"GetParamString"}, machine.station.Transcript()).size(), 50u);
  }
}

TEST(EventLog, TheFirstUnexpectedRecordEndsTheTest) {
  LogMachine machine;
  machine.Expect(0, kData);
  Record longer = MakeRecord(0x17);
  longer[1] = 0x20;  // records are 16 bytes apart all the same
  machine.Put(0, longer);
  machine.Put(16, MakeRecord(0x01));
  machine.Put(32, MakeRecord(0x08, 0x03));
  machine.Put(48, MakeRecord(0x04, 0x02));
  const Lines lines = machine.station.Run(37);
  EXPECT_EQ(Errors(lines), Lines{Report("cdab051403000203", "POST Error", "Thermal trip")});
  // The masks are asked for anew with every record.
  EXPECT_EQ(Only({R"(GetParamString "Event_Mask_00")"}, lines).size(), 3u);
  EXPECT_EQ(machine.bridge.memory_reads.size(), 1u + 3 * 16);
}

// The order of the reads, from the byte that is looked at first.
std::vector<std::uint64_t> Addresses(std::uint32_t base, unsigned start, unsigned records) {
  std::vector<std::uint64_t> addresses = {static_cast<std::uint32_t>(base + start)};
  for (unsigned i = 0; i < records * 16; ++i) addresses.push_back(static_cast<std::uint32_t>(base + (start + i) % 256));
  return addresses;
}

TEST(EventLog, TheOffsetWrapsWithin256BytesAndTheAddressWithin32Bits) {
  for (const std::uint32_t base : {kLogAddress, 0xFFFFFF80u}) {
    LogMachine machine(base, 0x00E8);
    machine.Expect(0, kData);
    machine.Put(0xE8, MakeRecord(0x01));
    machine.Put(0xF8, MakeRecord(0x02));
    EXPECT_EQ(Errors(machine.station.Run(37)), Lines{});
    EXPECT_EQ(machine.bridge.memory_reads, Addresses(base, 0xE8, 3));
  }
}

TEST(EventLog, ALogThatNeverEndsIsReadOnce) {
  LogMachine machine(kLogAddress, 0x0808);
  machine.Expect(0, kData);
  for (unsigned offset = 8; offset < 256 + 8; offset += 16) machine.Put(offset, MakeRecord(0x10));
  EXPECT_EQ(Errors(machine.station.Run(37)), Lines{});
  EXPECT_EQ(machine.bridge.memory_reads, Addresses(kLogAddress, 8, 16));
}

TEST(EventLog, AFailedReadIsLoggedAndLeavesZeros) {
  LogMachine machine;
  machine.bridge.memory.clear();
  const Lines lines = machine.station.Run(37);
  EXPECT_EQ(Errors(lines), Lines{Report("0", "Reserved", "Unknown")});
  const Lines logged = Only({"LogMessage"}, lines);
  ASSERT_EQ(logged.size(), 17u);
  EXPECT_EQ(logged.back(), R"(LogMessage "Error reading MEMORY MAPPED BYTE at address:FED10000h offset:0000000F\n")");
}

TEST(EventLog, FieldsBeyondTheLengthAreZero) {
  Station station;
  RootBridge bridge(station.machine);
  bridge.memory[0] = 0xFF;
  // The structure ends before its address; the string-set is no address.
  station.smbios.Add(15, 1, Bytes(0x10 - 4, 0), {"\x01\x02\x03\x04\x05\x06\x07"});
  EXPECT_EQ(Only({"LogMessage"}, station.Run(37)), Lines{R"(LogMessage "No events log found.\n")"});
  EXPECT_EQ(bridge.memory_reads, std::vector<std::uint64_t>{0});
}

TEST(EventLog, DescriptorsBeyondTheLengthAreZero) {
  LogMachine machine;
  Bytes fields = LogFields(kLogAddress, 0, {0x01, 0x00});
  fields[0x15 - 4] = 255;
  machine.station.smbios = {};
  machine.station.smbios.Add(15, 1, fields, {"\x55\x55\x55"});
  const Lines descriptors = Only({R"(DebugPrint 1 "EventLogType)"}, machine.station.Run(37));
  ASSERT_EQ(descriptors.size(), 255u);
  EXPECT_EQ(descriptors[0], R"(DebugPrint 1 "EventLogType Supported: 0x1\n")");
  EXPECT_EQ(descriptors[1], R"(DebugPrint 1 "EventLogType Supported: 0x0\n")");
}

}  // namespace
