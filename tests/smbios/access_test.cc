// SPDX-License-Identifier: BSD-2-Clause-Patent
#include <optional>

#include "report/last_error.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "smbios/entry_point.h"
#include "smbios/structures.h"
#include "tests/faults_fail_tests.h"
#include "tests/smbios/server_identity.h"

namespace {

using Entry = simulation::SmbiosPlacement::Entry;
using simulation::SmbiosPlacement;
using simulation::SmbiosTable;
using simulation::Station;

const char16_t* const kNoEntryPoint =
    u"\nFailed to get SMBIOS Table Entry Point.\nUnable to find SMBIOS table entry point.\n";

// Structures of type 17, handles from 0.
SmbiosTable ManyStructures(unsigned count) {
  SmbiosTable table;
  for (unsigned i = 0; i < count; ++i) table.Add(17, static_cast<std::uint16_t>(i), {1}, {"DIMM"});
  return table;
}

SmbiosTable ManyAndALast(unsigned count) { return ManyStructures(count - 1).Add(2, 0x200, {}); }

struct Lookup {
  const char* name;
  SmbiosTable table;
  std::uint8_t type;
  std::uint8_t index;
  // The handle of what is found, if anything is.
  std::optional<std::uint16_t> handle;
  SmbiosPlacement placement{};
  // Where it is another one than that the structure is missing.
  std::u16string reason{};
};

std::vector<Lookup> Lookups() {
  const SmbiosTable server = ServerIdentity();
  const SmbiosTable behind_the_end = SmbiosTable(server).Add(17, 0x1100, {}).Add(17, 0x1101, {9, 9}, {"A", "B"});
  constexpr Entry kSegment = Entry::kInBiosSegment;
  return {
      {"first", server, 0, 0, 0x0000},
      {"behind a structure without strings", server, 1, 0, 0x0100},
      {"behind the end-of-table structure", behind_the_end, 17, 0, 0x1100},
      {"second of its type", behind_the_end, 17, 1, 0x1101},
      {"one index too many", behind_the_end, 17, 2, {}},
      {"index 1 of one", server, 1, 1, {}},
      {"absent type", server, 200, 0, {}},
      {"count smaller than the table", server, 2, 0, {}, {.declared_count = 2}},
      {"length is not a bound", server, 3, 0, 0x0300, {.declared_length = 4}},
      {"unsound checksums", server, 1, 0, 0x0100, {.sound_checksums = false}},
      {"no structures", server, 0, 0, {}, {.declared_count = 0}},
      {"no address", server, 0, 0, {}, {.declared_address = 0}, u"\nStructure Table Address is NULL.\n"},
      {"no address and no structures", server, 0, 0, {}, {.declared_count = 0, .declared_address = 0}},
      {"255 structures", ManyAndALast(255), 2, 0, 0x200},
      {"256 structures", ManyAndALast(256), 2, 0, 0x200},
      {"257 structures", ManyAndALast(257), 2, 0, 0x200},
      {"620 structures", ManyAndALast(620), 2, 0, 0x200},
      {"index 255", ManyStructures(620), 17, 255, 255},
      {"absent among 255", ManyStructures(255), 2, 0, {}},
      {"absent among 256", ManyStructures(256), 2, 0, {}},
      {"absent among 620", ManyStructures(620), 2, 0, {}},
      {"count without end, sound length", ManyStructures(300), 2, 0, {}, {.declared_count = 0xFFFF}},
      {"in the segment", server, 3, 0, 0x0300, {.entry = kSegment}},
      {"not aligned", server, 3, 0, 0x0300, {.entry = kSegment, .segment_offset = 0x1235}},
      {"unsound", server, 3, 0, 0x0300, {.entry = kSegment, .segment_offset = 0xE000, .sound_checksums = false}},
      {"at the last offset", server, 3, 0, 0x0300, {.entry = kSegment, .segment_offset = 0xFFFB}},
      {"behind it", server, 3, 0, {}, {.entry = kSegment, .segment_offset = 0xFFFC}, kNoEntryPoint},
      {"behind the segment", server, 3, 0, {}, {.entry = kSegment, .segment_offset = 0x10000}, kNoEntryPoint},
      {"nowhere", server, 3, 0, {}, {.entry = Entry::kNowhere}, kNoEntryPoint},
  };
}

TEST(SmbiosAccess, FindsTheStructureOrSaysWhyNot) {
  for (const Lookup& lookup : Lookups()) {
    SCOPED_TRACE(lookup.name);
    Station station;
    station.smbios = lookup.table;
    station.smbios_placement = lookup.placement;
    station.Bind();
    const std::uint8_t untouched = 0;
    mfgtest::SmbiosStructure structure{&untouched};
    const bool found = mfgtest::GetSmbiosStructure(lookup.type, lookup.index, &structure);
    EXPECT_EQ(found, lookup.handle.has_value());
    if (found) {
      EXPECT_EQ(structure.Type(), lookup.type);
      EXPECT_EQ(structure.Handle(), lookup.handle);
    } else {
      EXPECT_EQ(structure.bytes, &untouched);
      const std::string missing =
          "No Structure Type " + std::to_string(lookup.type) + ", Index " + std::to_string(lookup.index) + ", found.\n";
      EXPECT_EQ(mfgtest::LastError(), lookup.reason.empty() ? simulation::Widen(missing) : lookup.reason);
    }
  }
}

TEST(SmbiosAccess, TheFirstListedTableCountsAndTheSegmentOnlyWithoutOne) {
  Station station;
  constexpr EFI_GUID kAcpiGuid = ACPI_TABLE_GUID;
  station.machine.AddConfigurationTable(kAcpiGuid, &station);
  const simulation::SmbiosDevice in_segment(station.machine, SmbiosTable().Add(1, 1, {}),
                                            {.entry = Entry::kInBiosSegment});
  station.Bind();  // lists an empty table
  const simulation::SmbiosDevice listed_later(station.machine, SmbiosTable().Add(1, 2, {}));
  const mfgtest::SmbiosEntryPoint* entry = nullptr;
  ASSERT_TRUE(mfgtest::GetSmbiosEntryPoint(&entry));
  EXPECT_EQ(entry->table_address, station.smbios_device->Address());
}

TEST(SmbiosAccess, TheLowestAnchorOfTheSegmentCountsAndLeavesARemark) {
  Station station;
  station.smbios_placement.entry = Entry::kNowhere;
  station.Bind();
  for (const std::uint32_t offset : {0x9000u, 0x8003u, 0xA000u}) {
    const simulation::SmbiosDevice device(station.machine, {},
                                          {.entry = Entry::kInBiosSegment, .segment_offset = offset});
  }
  const mfgtest::SmbiosEntryPoint* entry = nullptr;
  ASSERT_TRUE(mfgtest::GetSmbiosEntryPoint(&entry));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(entry), 0xF8003u);
  EXPECT_EQ(mfgtest::LastError(), std::u16string(u"SMBIOS Table not found with GUID, trying memory search.\n"));
}

std::vector<std::string> Collected(const std::vector<std::string>& strings) {
  Station station;
  station.smbios.Add(1, 0, {1}, strings);
  station.Bind();
  mfgtest::SmbiosStructure structure;
  EXPECT_TRUE(mfgtest::GetSmbiosStructure(1, 0, &structure));
  mfgtest::SmbiosStrings collected;
  collected.slots[0][0] = u'#';
  mfgtest::CollectStructureStrings(structure, &collected);
  std::vector<std::string> texts;
  for (unsigned i = 0; i < collected.count; ++i) texts.push_back(simulation::Readable(collected.slots[i].data()));
  for (const unsigned absent : {0u, collected.count + 1, 11u, 200u, 255u}) {
    EXPECT_EQ(collected.Numbered(static_cast<std::uint8_t>(absent))[0], 0) << absent;
  }
  EXPECT_EQ(simulation::Readable(collected.Numbered(1)), texts.empty() ? "" : texts[0]);
  return texts;
}

TEST(SmbiosAccess, CollectsTheFirstTenStringsCutToTheirSlots) {
  using Strings = std::vector<std::string>;
  EXPECT_EQ(Collected({}), Strings{});
  EXPECT_EQ(Collected({"A", " B "}), (Strings{"A", " B "}));
  EXPECT_EQ(Collected({"caf\xE9\x01"}), Strings{"caf\\u00E9\\u0001"});
  EXPECT_EQ(Collected({std::string(127, 'x'), std::string(128, 'y'), std::string(500, 'z'), "end"}),
            (Strings{std::string(127, 'x'), std::string(127, 'y'), std::string(127, 'z'), "end"}));
  const Strings twelve = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12"};
  EXPECT_EQ(Collected(twelve), Strings(twelve.begin(), twelve.begin() + 10));
}

}  // namespace
