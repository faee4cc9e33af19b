// SPDX-License-Identifier: BSD-2-Clause-Patent
#include <cstring>

#include "module/catalogue.h"
#include "simulation/station.h"
#include "tests/faults_fail_tests.h"

namespace {

using simulation::ProtocolCall;
using simulation::Station;
using Service = ProtocolCall::Service;
using Transcript = std::vector<std::string>;

constexpr std::uint32_t kEmptyTest = 26;

TEST(StartUp, LooksForTheShellThenForTheLibrary) {
  Station station;
  // gnu-efi's own initialisation asks for this one until it fits.
  station.machine.variables.Add(u"Lang", {}, EFI_GLOBAL_VARIABLE).read_status = EFI_BUFFER_TOO_SMALL;
  station.Run(kEmptyTest);
  EXPECT_EQ(station.end.status, EFI_SUCCESS);
  EXPECT_FALSE(station.end.by_exit_service);
  const std::vector<ProtocolCall> expected = {{Service::kHandleProtocol, kShellInterfaceProtocolGuid},
                                              {Service::kLocateHandle, kTestLibraryProtocolGuid},
                                              {Service::kHandleProtocol, kTestLibraryProtocolGuid}};
  EXPECT_TRUE(station.machine.protocol_calls == expected);
}

TEST(StartUp, ExitsWithTheStatusOfTheFirstFailure) {
  static TestLibrary second_library{};
  const struct {
    const char* name;
    void (*prepare)(Station&);
    EFI_STATUS status;
  } cases[] = {
      {"started outside the shell", [](Station& s) { s.shell.reset(); }, EFI_UNSUPPORTED},
      {"no library", [](Station& s) { s.library.reset(); }, EFI_NOT_FOUND},
      {"neither", [](Station& s) { s.shell.reset(), s.library.reset(); }, EFI_UNSUPPORTED},
      {"two libraries", [](Station& s) { s.machine.handles.Install(kTestLibraryProtocolGuid, &second_library); },
       EFI_BUFFER_TOO_SMALL},
      {"library not obtainable",
       [](Station& s) { s.machine.handles.RefuseInterface(kTestLibraryProtocolGuid, EFI_ACCESS_DENIED); },
       EFI_ACCESS_DENIED},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Station station;
    c.prepare(station);
    EXPECT_EQ(station.Run(kEmptyTest), Transcript{});
    EXPECT_TRUE(station.end.by_exit_service);
    EXPECT_EQ(station.end.status, c.status);
  }
}

TEST(StartUp, IntroducesItselfWithTheShellsCommandLine) {
  Station station;
  station.Run(kEmptyTest);
  const TestDescriptor& descriptor = station.library->descriptor;
  EXPECT_EQ(descriptor.SubtestCount, 48u);
  EXPECT_EQ(descriptor.ModuleNumber, 795u);
  EXPECT_STREQ(descriptor.Version, "3.26.1.0001");
  EXPECT_EQ(descriptor.ImageHandle, station.image);
  EXPECT_EQ(descriptor.Argc, 3u);
  EXPECT_EQ(station.library->arguments, (std::vector<std::u16string>{u"FS0:\\mfgtest.efi", u"--station", u"7"}));
}

TEST(Dispatcher, RunsNothingWhenInitializeFails) {
  for (const std::uint32_t test : {1u, kEmptyTest, 44u}) {
    Station station;
    station.library->initialize_status = 0x1F;
    EXPECT_EQ(station.Run(test), (Transcript{"Initialize -> 31",
                                             R"(DebugPrint 1 "\nFailed to initialize test lib. Code=1f")", "EndTest"}));
    EXPECT_EQ(station.end.status, EFI_SUCCESS);
  }
}

TEST(Dispatcher, TheEmptyTestOnlyStartsAndEnds) {
  Station station;
  EXPECT_EQ(station.Run(kEmptyTest), (Transcript{"Initialize -> 0 test 26", "EndTest"}));
}

void ExpectInvalid(Station& station, std::uint32_t test, const std::string& shown) {
  EXPECT_EQ(station.Run(test), (Transcript{"Initialize -> 0 test " + std::to_string(test),
                                           "ReportError 0 \"Invalid test number: " + shown + "\\n\"", "EndTest"}));
  EXPECT_EQ(station.end.status, EFI_SUCCESS);
}

TEST(Dispatcher, OtherNumbersAreInvalid) {
  Station station;
  ExpectInvalid(station, 0x7FFFFFFF, "2147483647");
  ExpectInvalid(station, 0xFFFFFFFF, "-1");
  ExpectInvalid(station, 0x80000001, "-2147483647");
  for (std::uint32_t test = 0; test <= mfgtest::Catalogue().back().number + 2; ++test) {
    if (mfgtest::FindTest(test) == nullptr) ExpectInvalid(station, test, std::to_string(test));
  }
}

}  // namespace
