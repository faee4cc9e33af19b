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
  EXPECT_EQ(
      Errors(lines),
      Lines{
          R"(ReportError 29 "System event log test failed. Log Data in HEX: cdab051403000203\nEvent type: POST Error. Error source: Thermal trip.\n")"});
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
