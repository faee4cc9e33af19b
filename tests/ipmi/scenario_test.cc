// SPDX-License-Identifier: BSD-2-Clause-Patent
// The scenarios that are also run over a KCS port in QEMU, against the same
// controller.
#include "simulation/scenario.h"

#include "tests/ipmi/server.h"

namespace {

TEST(FruScenarios, GiveTheirTranscripts) {
  unsigned count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TESTS_FOLDER "/ipmi")) {
    if (entry.path().extension() != ".scenario") continue;
    SCOPED_TRACE(entry.path());
    const simulation::Scenario scenario = simulation::ReadScenario(entry.path());
    Server server;
    EXPECT_EQ(server.Run(scenario.test, scenario.parameters), scenario.transcript);
    ++count;
  }
  EXPECT_GT(count, 0u);
}

}  // namespace
