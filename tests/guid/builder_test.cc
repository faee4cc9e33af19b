// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "guid/builder.h"

#include "guid/random.h"
#include "report/last_error.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/guid/server_guid.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::NetworkController;
using simulation::Station;

TEST(Random32, FollowsItsSeed) {
  // Computed apart from the program.
  const struct {
    std::uint32_t seed;
    std::uint32_t numbers[3];
  } cases[] = {
      {0, {0x1E270026, 0x0985D2F6, 0x2E15A297}},
      {1, {0xC8230029, 0xE78418BE, 0x3D6CCAE1}},
      {0xFFFFFFFF, {0x742B0023, 0x2B858D2E, 0x1EBE7A4C}},
      {0x80000000, {0x9E278026, 0x898552F6, 0xAE152297}},
  };
  for (const auto& c : cases) {
    mfgtest::SetSeed(c.seed);
    for (const std::uint32_t number : c.numbers) EXPECT_EQ(mfgtest::Random32(), number) << c.seed;
  }
}

struct Build {
  const char* name;
  EFI_TIME time;
  const char16_t* seed;
  std::array<std::uint8_t, 6> mac;
  // Computed apart from the program.
  const char* guid;
};

const Build kBuilds[] = {
    {"the clock's epoch is a day zero", Clock(1970, 1, 0, 0, 0, 0), u"1", kServerMac,
     "138140001dd211b28029001122334455"},
    {"every field of the clock", Clock(2010, 5, 6, 7, 8, 9), u"1", kServerMac, "afc3128030f611e08029001122334455"},
    {"the carry into the middle is dropped", Clock(2026, 11, 21, 7, 57, 46), nullptr, kServerMac,
     "05e8f900140911f38476001122334455"},
    {"every month has 31 days", Clock(2026, 2, 31, 23, 59, 59), u"1", kServerMac, "e056e980412e11f28029001122334455"},
    {"so a day later is a second later", Clock(2026, 3, 1, 0, 0, 0), u"1", kServerMac,
     "e0ef8000412e11f28029001122334455"},
    {"the century's last second",
     Clock(2099, 12, 31, 23, 59, 59),
     u"0xFFFFFFFF",
     {0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA},
     "56286980900f12468023fffefdfcfbfa"},
    {"a clock that stopped", Clock(0, 0, 0, 0, 0, 0), u"1", kServerMac, "dacd0000894718e88029001122334455"},
    {"the clock as the seed", Clock(2018, 1, 23, 12, 0, 0), nullptr, kServerMac, "c8466000ff9711e8a6d4001122334455"},
    {"the seed counts months where days belong", Clock(2026, 2, 28, 23, 59, 59), nullptr, kServerMac,
     "6119a9803ed311f2a0bd001122334455"},
};

TEST(BuildGuid, IsOfTheClockTheSeedAndTheMac) {
  for (const Build& build : kBuilds) {
    SCOPED_TRACE(build.name);
    Station station;
    station.Bind();
    NetworkController network(station.machine, build.mac);
    station.machine.time = build.time;
    if (build.seed != nullptr) station.library->parameters[u"RandomSeed"] = build.seed;
    const std::size_t allocated = station.machine.memory.Outstanding();
    mfgtest::RawGuid guid{};
    EXPECT_TRUE(mfgtest::BuildGuid(&guid));
    EXPECT_EQ(Hexadecimal(guid), build.guid);
    EXPECT_EQ(station.machine.memory.Outstanding(), allocated);
  }
}

// For its time stamp, and for the seed.
TEST(BuildGuid, NeedsAClock) {
  for (const std::uint64_t failing : {1, 3}) {
    Station station;
    NetworkController network(station.machine, kServerMac);
    station.Bind();
    station.machine.injection.failing[0].number = station.machine.injection.calls.size() + failing;
    mfgtest::RawGuid guid{};
    EXPECT_FALSE(mfgtest::BuildGuid(&guid));
    EXPECT_EQ(Told(station.machine.injection), "GetTime (Device Error)");
    EXPECT_EQ(simulation::Readable(mfgtest::LastError()), R"(\u000AFailed to read the clock. Status=0x7)");
  }
}

}  // namespace
