// Damaged tables: whatever they hold, a run ends in order and reads nothing
// beyond the memory in which the walk's own bounds keep it.
#include <random>

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
  const char16_t* const names[] = {u"System_Manufacturer",  u"System_Product",      u"System_Part_Number",
                                   u"System_Serial_Number", u"Board_Manufacturer",  u"Board_Product",
                                   u"Board_Part_Number",    u"Board_Serial_Number", u"Chassis_Manufacturer",
                                   u"Chassis_Type",         u"Chassis_Part_Number", u"Chassis_Serial_Number",
                                   u"Chassis_Asset"};
  const char16_t* const values[] = {u"ACME", u"env=MFG", u"0x17", u""};
  for (int i = 0; i < 3000; ++i) {
    SCOPED_TRACE(i);
    Station station;
    station.smbios = ServerIdentity();
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
    const std::uint32_t test = 1 + random(13);
    station.library->parameters[names[test - 1]] = values[random(4)];
    station.Run(test);
    ASSERT_EQ(station.end.status, EFI_SUCCESS);
    ASSERT_FALSE(HasFailure());
  }
}

}  // namespace
