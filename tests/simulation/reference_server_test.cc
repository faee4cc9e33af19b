// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/reference_server.h"

#include "simulation/text.h"
#include "tests/faults_fail_tests.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Readable;
using simulation::ReferenceRun;
using simulation::ReferenceServer;

// The library was asked for everything in which the run differs.
TEST(ReferenceServer, PassesEveryTestOfTheCatalogue) {
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    SCOPED_TRACE(std::to_string(run.test) + ", " + run.name);
    ReferenceServer server(run);
    const Lines lines = server.Run();
    EXPECT_EQ(Errors(lines), Lines{});
    EXPECT_EQ(lines.size() > 2, run.test != 26);
    EXPECT_TRUE(server.station.library->answers.empty());
    for (const auto& parameter : run.parameters) {
      EXPECT_TRUE(std::ranges::any_of(server.station.library->calls, [&](const auto& call) {
        return call.key == parameter.first && call.status == kTestLibrarySuccess;
      })) << Readable(parameter.first);
    }
    const bool in_variable = run.parameters.contains(u"MARWICK_GUID_NAME");
    const Lines removed = run.test != 0 ? Lines{}
                          : in_variable ? Lines{"RemoveSubtest 28", "RemoveSubtest 29", "RemoveSubtest 30"}
                                        : Lines{"RemoveSubtest 31"};
    EXPECT_EQ(Only({"RemoveSubtest"}, lines), removed);
  }
}

}  // namespace
