// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/identity.h"

#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/smbios/server_identity.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Station;
using simulation::TextData;

TEST(Identity, AnIndexBeyondTheFieldsOnlyShows) {
  const std::pair<void (*)(std::uint32_t), std::uint32_t> cases[] = {{mfgtest::VerifySystemString, 4},
                                                                     {mfgtest::VerifyBoardString, 4},
                                                                     {mfgtest::VerifyChassisString, 5},
                                                                     {mfgtest::VerifySystemString, ~0u}};
  for (const auto& [verify, index] : cases) {
    Station station;
    station.smbios = ServerIdentity();
    station.Bind();
    verify(index);
    const Lines lines = station.Transcript();
    EXPECT_FALSE(lines.empty());
    EXPECT_EQ(Only({"DebugPrint"}, lines), lines);
  }
}

TEST(Identity, ReferencesAreRecognisedInAnyCaseWithAnyCollation) {
  for (const EFI_GUID* const protocol :
       {&kUnicodeCollation2ProtocolGuid, &kUnicodeCollationProtocolGuid, static_cast<const EFI_GUID*>(nullptr)}) {
    for (const char16_t* const reference : {u"env=MFG", u"ENV=MFG", u"Env=mfg", u"enV=Mfg"}) {
      Station station;
      station.collation.reset();
      if (protocol != nullptr) station.collation.emplace(station.machine, *protocol);
      station.smbios = ServerIdentity();
      station.library->parameters[u"System_Manufacturer"] = reference;
      station.machine.variables.Add(u"MFG", TextData(u"ACME"));
      EXPECT_EQ(Errors(station.Run(1)), Lines{});
      EXPECT_TRUE(protocol == nullptr || station.collation->comparisons > 0);
    }
  }
}

TEST(Identity, TheModernCollationIsPreferred) {
  Station station;
  simulation::Collation original(station.machine, kUnicodeCollationProtocolGuid);
  station.smbios = ServerIdentity();
  station.library->parameters[u"System_Manufacturer"] = u"ACME";
  EXPECT_EQ(Errors(station.Run(1)), Lines{});
  EXPECT_GT(station.collation->comparisons, 0u);
  EXPECT_EQ(original.comparisons, 0u);
}

}  // namespace
