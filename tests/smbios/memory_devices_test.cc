// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/memory_devices.h"

#include <optional>

#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::SmbiosTable;
using simulation::Station;
using simulation::Widen;
using Bytes = std::vector<std::uint8_t>;

struct Device {
  std::uint16_t size;   // MB
  std::uint16_t speed;  // MHz
  std::string locator = "DIMM_A1";
  std::string bank = "NODE 1";
};

Bytes ArrayFields(std::uint16_t devices) {
  Bytes fields(0x0F - 4, 0);
  fields[0x0D - 4] = static_cast<std::uint8_t>(devices);
  fields[0x0E - 4] = static_cast<std::uint8_t>(devices >> 8);
  return fields;
}

// The structure's first string is its serial number, so that the locators are
// not found by chance.
SmbiosTable& AddDevice(SmbiosTable& table, const Device& device, std::size_t length = 0x1B) {
  Bytes fields(0x1B - 4, 0);
  const auto put = [&](std::size_t offset, std::uint16_t value) {
    fields[offset - 4] = static_cast<std::uint8_t>(value);
    fields[offset - 3] = static_cast<std::uint8_t>(value >> 8);
  };
  put(0x0C, device.size);
  put(0x10, 0x0203);  // device locator string 3, bank locator string 2
  put(0x15, device.speed);
  fields[0x18 - 4] = 1;
  fields.resize(length - 4);
  return table.Add(17, 0x1100, fields, {"SERIAL", device.bank, device.locator});
}

SmbiosTable DeviceTable(const std::vector<Device>& devices) {
  SmbiosTable table;
  table.Add(16, 0x1000, ArrayFields(static_cast<std::uint16_t>(devices.size())));
  for (const Device& device : devices) AddDevice(table, device);
  return table;
}

// The line expects of a slot what it has.
void Expect(Station& station, unsigned slot, const Device& device) {
  auto& parameters = station.library->parameters;
  const std::u16string name = u"Memory" + Widen(std::to_string(slot));
  parameters[name + u"_DeviceLocator"] = Widen(device.locator);
  parameters[name + u"_BankLocator"] = Widen(device.bank);
  parameters[name + u"_Speed"] = Widen(std::to_string(device.speed));
  parameters[name + u"_Size"] = Widen(std::to_string(device.size));
}

TEST(MemoryDevices, AllArraysCountAndTheFirstFailureEnds) {
  SmbiosTable table;
  table.Add(16, 1, ArrayFields(4));
  for (unsigned i = 0; i < 12; ++i) AddDevice(table, {static_cast<std::uint16_t>(i), 800});
  table.Add(16, 2, ArrayFields(8));
  for (const unsigned wrong : {12u, 11u, 5u}) {
    Station station;
    station.smbios = table;
    for (unsigned i = 0; i < 12; ++i) Expect(station, i, {static_cast<std::uint16_t>(i < wrong ? i : 99), 800});
    const Lines lines = station.Run(36);
    EXPECT_EQ(Only({R"(DebugPrint 8 "TotalMemDev)"}, lines), Lines{R"(DebugPrint 8 "TotalMemDev: 12  \n")"});
    EXPECT_EQ(Only({R"(DebugPrint 8 "Verifying)"}, lines).size(), std::min(wrong + 1, 12u));
    EXPECT_EQ(Errors(lines).size(), wrong < 12 ? 1u : 0u);
  }
}

TEST(MemoryDevices, AnArrayMayAnnounceMoreDevicesThanThereAre) {
  const char* const complaint =
      R"(ReportError 3 "\nFailed to get SMBIOS Memory Device Structure.\nNo Structure Type 17, Index )";
  for (const unsigned announced : {2u, 0xFFFFu}) {
    Station station;
    station.smbios.Add(16, 1, ArrayFields(static_cast<std::uint16_t>(announced)));
    AddDevice(station.smbios, {4096, 1333});
    Expect(station, 0, {4096, 1333});
    EXPECT_EQ(Errors(station.Run(36)), Lines{std::string(complaint) + R"(1, found.\n\n")"});
  }
  // More devices than an index of 8 bits can name.
  Station station;
  station.smbios.Add(16, 1, ArrayFields(257));
  for (unsigned i = 0; i < 300; ++i) AddDevice(station.smbios, {1, 2});
  for (unsigned i = 0; i < 300; ++i) Expect(station, i, {1, 2});
  EXPECT_EQ(Errors(station.Run(36)), Lines{std::string(complaint) + R"(256, found.\n\n")"});
}

TEST(MemoryDevices, NoDevicesPass) {
  Station station;
  station.smbios.Add(16, 1, {1, 2, 3}).Add(17, 2, {});  // an array too short to count
  const Lines lines = station.Run(36);
  EXPECT_EQ(Only({R"(DebugPrint 8 "TotalMemDev)"}, lines), Lines{R"(DebugPrint 8 "TotalMemDev: 0  \n")"});
  EXPECT_EQ(Errors(lines), Lines{});
}

TEST(MemoryDevices, FieldsBeyondTheLengthAreZeroOrEmpty) {
  const struct {
    std::size_t length;
    Device seen;
  } cases[] = {
      {0x17, {4096, 1333}},      {0x16, {4096, 0}},      {0x15, {4096, 0}},      {0x11, {4096, 0, "DIMM_A1", ""}},
      {0x10, {4096, 0, "", ""}}, {0x0D, {0, 0, "", ""}}, {0x04, {0, 0, "", ""}},
  };
  for (const auto& c : cases) {
    Station station;
    station.smbios.Add(16, 1, ArrayFields(1));
    AddDevice(station.smbios, {4096, 1333}, c.length);
    Expect(station, 0, c.seen);
    EXPECT_EQ(Errors(station.Run(36)), Lines{}) << c.length;
  }
}

// The name under which a module is shown, or none. A module of 4GB is one of
// 3072 MB at the highest speed.
std::string ShownName(unsigned speed, unsigned size) {
  if (speed == 0) return "Empty";
  for (const unsigned name : {800u, 1066u, 1333u, 1600u}) {
    if (speed != name && speed != name + 1) continue;
    for (const unsigned gigabytes : {1u, 2u, 4u, 8u}) {
      const bool is_odd_one = name == 1600 && gigabytes == 4;
      if (size == (is_odd_one ? 3072 : gigabytes * 1024)) {
        return std::to_string(gigabytes) + "GB " + std::to_string(name);
      }
    }
  }
  return "";
}

TEST(MemoryDevices, ShowsTheModulesThatTheLineKnows) {
  for (const unsigned name : {0u, 1u, 800u, 1066u, 1333u, 1600u, 0xFFFEu}) {
    for (unsigned speed = name == 0 ? 0 : name - 1; speed <= std::min(name + 2, 0xFFFFu); ++speed) {
      std::vector<Device> devices;
      Lines expected;
      for (const unsigned size : {0u, 512u, 1023u, 1024u, 1025u, 2048u, 3072u, 4096u, 8191u, 8192u, 16384u, 0xFFFFu}) {
        const std::string slot = std::to_string(size);
        devices.push_back(
            {static_cast<std::uint16_t>(size), static_cast<std::uint16_t>(speed), "0123456789abcd__" + slot});
        const std::string shown = ShownName(speed, size);
        if (!shown.empty())
          expected.push_back(R"(SetResultString "display.cfg:0123456789abcd _)" + slot + "\" \"" + shown + "\"");
      }
      Station station;
      station.smbios = DeviceTable(devices);
      station.Bind();
      EXPECT_TRUE(mfgtest::VerifyMemoryDevices(mfgtest::Mode::kProbe));
      EXPECT_EQ(Only({R"(SetResultString "display)", "GetParam"}, station.Transcript()), expected) << speed;
    }
  }
}

}  // namespace
