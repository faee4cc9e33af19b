// Damaged tables: whatever they hold, a run ends in order and reads nothing
// beyond the memory in which the walk's own bounds keep it.
#include <random>

#include "simulation/acpi_tables.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/smbios/server_identity.h"

namespace {

using simulation::Station;

// A walk takes at most 255 structures of at most 257 bytes before the table's
// length bounds it, and that has 16 bits.
constexpr std::size_t kReachOfTheWalk = 0x12000;

TEST(MalformedSmbios, EveryRunEndsInOrder) {
  std::mt19937 generator{20260102};
  const auto random = [&](unsigned below) { return std::uniform_int_distribution<unsigned>(0, below - 1)(generator); };
  const std::pair<std::uint32_t, const char16_t*> tests[] = {
      {1, u"System_Manufacturer"},
      {2, u"System_Product"},
      {3, u"System_Part_Number"},
      {4, u"System_Serial_Number"},
      {5, u"Board_Manufacturer"},
      {6, u"Board_Product"},
      {7, u"Board_Part_Number"},
      {8, u"Board_Serial_Number"},
      {9, u"Chassis_Manufacturer"},
      {10, u"Chassis_Type"},
      {11, u"Chassis_Part_Number"},
      {12, u"Chassis_Serial_Number"},
      {13, u"Chassis_Asset"},
      {20, u""},
      {21, u""},
      {23, u""},
      {24, u""},
      {25, u""},
      {35, u"BIOS_ID"},
      {36, u"Memory0_BankLocator"},
      {37, u"Event_Mask_00"},
      {40, u"OEM_BIOS_String"},
      {0, u"HSBP_FRU_DelayTime"},
  };
  const char16_t* const values[] = {u"ACME", u"env=MFG", u"0x17", u""};
  for (int i = 0; i < 2000; ++i) {
    SCOPED_TRACE(i);
    Station station;
    station.smbios = ServerIdentity();
    station.smbios.Add(11, 0xB00, {1}, {"BUILD"}).Add(15, 0xF00, std::vector<std::uint8_t>(21, 1));
    station.smbios.Add(16, 0x1000, std::vector<std::uint8_t>(11, 1))
        .Add(17, 0x1100, std::vector<std::uint8_t>(23, 1), {"A"});
    const simulation::AcpiDevice acpi(station.machine);
    station.smbios_placement.zeros_behind = kReachOfTheWalk;
    auto& bytes = station.smbios.bytes;
    for (unsigned damage = random(8); damage > 0; --damage) {
      bytes[random(static_cast<unsigned>(bytes.size()))] = static_cast<std::uint8_t>(random(256));
    }
    if (random(4) == 0) bytes.resize(random(static_cast<unsigned>(bytes.size())));
    if (random(2) == 0) station.smbios_placement.declared_count = static_cast<std::uint16_t>(random(0x10000));
    if (random(2) == 0) station.smbios_placement.declared_length = static_cast<std::uint16_t>(random(0x10000));
    if (random(3) == 0) station.smbios_placement.entry = simulation::SmbiosPlacement::Entry::kInBiosSegment;
    station.machine.variables.Add(u"MFG", simulation::TextData(u"ACME"));
    const auto& [test, parameter] = tests[random(std::size(tests))];
    station.library->parameters[parameter] = values[random(4)];
    station.Run(test);
    ASSERT_EQ(station.end.status, EFI_SUCCESS);
    ASSERT_FALSE(HasFailure());
  }
}

}  // namespace
