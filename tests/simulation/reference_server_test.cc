// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the module says on the standard server, line by line, and on servers that
// differ much from it.
#include "simulation/reference_server.h"

#include <filesystem>
#include <fstream>
#include <regex>

#include "module/catalogue.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Readable;
using simulation::ReferenceRun;
using simulation::ReferenceServer;
using simulation::Station;
using Bytes = std::vector<std::uint8_t>;

// Addresses of the host, and the sum that counts one of them.
std::string WithoutAddresses(std::string text, const ReferenceServer& server) {
  const auto hide = [&](const char* pattern, const std::string& by) {
    text = std::regex_replace(text, std::regex(pattern), by);
  };
  const auto hide_address = [&](std::uint32_t address, const std::string& by) {
    std::array<char, 16> digits;
    std::snprintf(digits.data(), digits.size(), "%08x", address);
    hide(digits.data(), by);
  };
  hide_address(server.flash.Address(), "(flash)");
  hide_address(server.flash.Address() + 0xFFF0, "(flash + fff0)");
  hide_address(server.station.smbios_device->Address(), "(table)");
  hide("address: 0x[0-9a-f]+", "address: (entry point)");
  hide("InterChecksum:0x[0-9a-f]+", "InterChecksum:(sum)");
  return text;
}

std::string Section(const std::string& title, const Lines& lines) {
  std::string text = "[" + title + "]\n";
  for (const std::string& line : Merged(lines)) text += line + "\n";
  return text;
}

// The library was asked for everything in which the run differs.
void ExpectPass(const ReferenceRun& run, const Lines& lines, const Station& station) {
  EXPECT_EQ(Errors(lines), Lines{});
  EXPECT_TRUE(station.library->answers.empty());
  for (const auto& parameter : run.parameters) {
    EXPECT_TRUE(std::ranges::any_of(station.library->calls, [&](const auto& call) {
      return call.key == parameter.first && call.status == kTestLibrarySuccess;
    })) << Readable(parameter.first);
  }
}

// Servers on which Autosense finds little.
struct OddServer {
  const char* title;
  void (*prepare)(simulation::SmbiosTable& table);
};

const OddServer kOddServers[] = {
    {"0, nothing is there", [](simulation::SmbiosTable&) {}},
    {"0, identity without strings, an array without its device",
     [](simulation::SmbiosTable& table) {
       for (const std::uint8_t type : {1, 2, 3}) table.Add(type, 0, {0, 0, 0, 0, 0});
       table.Add(16, 1, {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0});
     }},
    {"0, string numbers beyond the strings",
     [](simulation::SmbiosTable& table) {
       table.Add(1, 1, {10, 11, 12, 255}, {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten", "eleven", "twelve"});
       table.Add(2, 2, {1, 9, 0, 2}, {"A  ", " B"}).Add(3, 3, {3, 24, 2, 1, 4}, {"A", "   ", "C ", "D"});
       table.Add(11, 4, {2}, {"first", "BUILD 7 ", "third"});
     }},
};

TEST(ReferenceServer, SaysOfEveryTestWhatItSaidBefore) {
  std::string said;
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    SCOPED_TRACE(std::to_string(run.test) + ", " + run.name);
    ReferenceServer server(run);
    const Lines lines = server.Run();
    ExpectPass(run, lines, server.station);
    said += WithoutAddresses(Section(std::to_string(run.test) + ", " + run.name, lines), server);
  }
  for (const OddServer& odd : kOddServers) {
    const ReferenceRun run{0, odd.title};
    ReferenceServer server(run);
    server.station.smbios = {};
    server.station.library->parameters.clear();
    server.ipmi.reset();
    odd.prepare(server.station.smbios);
    said += WithoutAddresses(Section(odd.title, server.Run()), server);
  }
  std::ifstream file(TESTS_FOLDER "/simulation/reference-runs.txt");
  if (said == std::string(std::istreambuf_iterator<char>(file), {})) return;
  std::ofstream("reference-runs.txt") << said;
  ADD_FAILURE() << "what was said is now in " << std::filesystem::absolute("reference-runs.txt")
                << "\ncompare it with tests/simulation/reference-runs.txt, and where it is meant, copy it there";
}

TEST(ReferenceServer, HasARunOfEveryTest) {
  for (const mfgtest::CatalogueEntry& test : mfgtest::Catalogue()) {
    const auto runs = simulation::ReferenceRuns();
    EXPECT_NE(std::ranges::find(runs, test.number, &ReferenceRun::test), runs.end())
        << "ReferenceRuns() in simulation/reference_server.cc has no run of test " << test.number;
  }
}

}  // namespace
