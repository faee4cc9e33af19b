// SPDX-License-Identifier: BSD-2-Clause-Patent
// Whole runs of the module, repeated with each of their calls of the platform
// failing in turn, once and from then on.
#include <optional>

#include "simulation/reference_server.h"
#include "simulation/text.h"
#include "tests/faults/injected_runs.h"
#include "tests/transcript_lines.h"

namespace {

using simulation::Call;
using simulation::Injection;
using simulation::Operation;
using simulation::ReferenceRun;
using simulation::ReferenceServer;
using simulation::VariableStore;

constexpr std::uint64_t kLongestRun = std::uint64_t{10} * 60 * 1000;  // ms

// What somebody who comes later finds on the machine.
std::string Remains(const ReferenceServer& server) {
  std::string remains(server.flash.Bytes().begin(), server.flash.Bytes().end());
  for (const auto& variable : server.station.machine.variables.variables) {
    remains += simulation::Readable(variable.name) + std::string(variable.data.begin(), variable.data.end());
  }
  for (const auto& command : server.station.shell->commands) remains += simulation::Readable(command.line);
  if (server.guid_store) remains.append(server.guid_store->guid.begin(), server.guid_store->guid.end());
  return remains;
}

struct Outcome {
  bool passes = false;
  Injection injection{};
  std::string remains{};
  std::vector<Call> library_calls{};
  std::vector<std::string> writes{};
  VariableStore variables{};

  std::string Passed() const { return passes ? Told(injection) : ""; }
};

bool Passes(const ReferenceServer& server) {
  const auto& calls = server.station.library->calls;
  return !server.station.end.by_exit_service && !calls.empty() && calls.front().status == kTestLibrarySuccess &&
         std::ranges::count(calls, Operation::kReportError, &Call::operation) == 0;
}

std::uint64_t Waited(const ReferenceServer& server) {
  std::uint64_t milliseconds = server.station.machine.stalled_microseconds / 1000;
  for (const Call& call : server.station.library->calls) {
    if (call.operation == Operation::kDelay) milliseconds += call.number;
  }
  return milliseconds;
}

Outcome RunWith(const ReferenceRun& run, const Injection& injection = {}) {
  ReferenceServer server(run);
  simulation::Machine& machine = server.station.machine;
  machine.injection = injection;
  // A GUID that could not be read keeps its buffer.
  if (run.test == 0 || run.test == 14) server.station.kept_blocks = 1;
  try {
    server.Run();
  } catch (const simulation::PowerCut&) {
  } catch (const std::runtime_error& error) {
    ADD_FAILURE() << error.what();
  }
  EXPECT_LE(Waited(server), kLongestRun);
  return {.passes = Passes(server),
          .injection = machine.injection,
          .remains = Remains(server),
          .library_calls = server.station.library->calls,
          .writes = machine.writes,
          .variables = machine.variables};
}

std::string Title(const ReferenceRun& run) { return "Test " + std::to_string(run.test) + ", " + run.name; }

// A parameter that cannot be read counts as absent, and these need not be there.
constexpr std::string_view kOptionalParameters[] = {"NIC_Index",      "NicMacAddress",     "RandomSeed",
                                                    "SPECIFY_A_GUID", "GUID_ENV_VARIABLE", "Memory_Speed_Tolerance",
                                                    "Event_Mask_01",  "BOARD_AREA_OFFSET"};

bool IsOptional(const ReferenceRun& run, std::string_view call) {
  constexpr std::string_view kService = "parameter ";
  if (!call.starts_with(kService)) return false;
  call.remove_prefix(kService.size());
  // FRU devices that are none of the line's boards have what they have.
  return (run.test == 39 && call.starts_with("SYS_BOARDS_")) || std::ranges::count(kOptionalParameters, call) > 0;
}

// Where a run may pass although a call failed.
struct Allowance {
  std::uint32_t first_test;
  std::uint32_t last_test;
  std::string_view call;  // how its name begins
  bool for_good;          // or only when the call fails once
  bool other_remains;
  const char* reason;
};
constexpr Allowance kAllowances[] = {
    {0, 43, "LocateHandle a4c751fc", true, false, "without collation ASCII letters are folded"},
    {0, 43, "LocateHandle 1d85cd7f", true, false, "likewise, without that of EFI 1.x"},
    {0, 43, "HandleProtocol a4c751fc", true, false, "likewise"},
    {0, 0, "", true, false, "what Autosense cannot sense leaves the line run, unless the station requires it"},
    {14, 14, "LocateHandleBuffer c58460a1", true, false, "without the manufacturing interface flash is read"},
    {22, 22, "ReadInput", true, false, "no answer is none to stop"},
    {28, 28, "LocateHandleBuffer c58460a1", true, true, "without the manufacturing interface flash is written"},
    {28, 28, "HandleProtocol c58460a1", true, true, "likewise"},
    {0, 43, "StriColl", true, false, "a value that is none of the words with a meaning is an ordinary one"},
    {28, 28, "StriColl", true, true, "what the firmware's collation takes for another word than YES is one"},
    {28, 28, "OpenProtocol 2f707ebb", true, false, "the flash service works while root bridges are sought"},
    {28, 31, "GetVariable Nic", true, true, "the controller's own MAC address takes the variable's place"},
    {33, 33, "PciRootBridge Pci.Read", true, false, "a function that cannot be read is not the wanted one"},
    {37, 37, "PciRootBridge Mem.Read", true, false, "a byte that cannot be read is the one that stood there"},
    {37, 37, "LocateHandleBuffer 2f707ebb", false, false, "likewise, and sought again with the next byte"},
    {37, 37, "OpenProtocol 2f707ebb", false, false, "likewise"},
    {38, 39, "SendIpmiRequest", false, false, "asked again"},
    {38, 39, "ReceiveIpmiResponse", false, false, "asked again"},
    {38, 39, "IPMI command", false, false, "asked again"},
    {39, 43, "LocateHandle 767f1800", true, false, "sought again; 41 and 42 judge nothing"},
    {39, 43, "HandleProtocol 767f1800", true, false, "likewise"},
    {41, 43, "SendIpmiRequest", true, false, "41 and 42 judge nothing; 43 takes the byte of the read before"},
    {41, 43, "ReceiveIpmiResponse", true, false, "likewise"},
    {41, 43, "IPMI command", true, false, "likewise"},
};

void JudgePass(const ReferenceRun& run, const Injection& injection, bool same_remains) {
  const auto is_allowed = [&](const Injection::Failed& failed) {
    if (IsOptional(run, failed.service)) return true;
    return std::ranges::any_of(kAllowances, [&](const Allowance& a) {
      return run.test >= a.first_test && run.test <= a.last_test && failed.service.starts_with(a.call) &&
             (a.for_good || !injection.for_good) && (a.other_remains || same_remains);
    });
  };
  EXPECT_TRUE(std::ranges::all_of(injection.failed, is_allowed))
      << "passed without " << Told(injection) << (same_remains ? "" : ", and left another machine");
}

TEST(FaultInjection, NoRunPassesOnAFailedCall) {
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    const Outcome whole = RunWith(run);
    const bool is_writing = run.test == 28 || run.test == 29 || run.test == 31 || run.test == 32;
    EXPECT_EQ(whole.writes.empty(), !is_writing) << Title(run);
    Inject(Title(run), InjectionsInto(whole.injection), 61, [&](const Injection& injection) {
      const Outcome outcome = RunWith(run, injection);
      if (outcome.passes) JudgePass(run, outcome.injection, outcome.remains == whole.remains);
      return outcome.Passed();
    });
  }
}

// The firmware promises it of one call, so there has to be one for each variable.
TEST(FaultInjection, PowerThatGoesLeavesAVariableOldOrNew) {
  const auto data = [](const VariableStore& store, const simulation::Variable& variable) {
    const simulation::Variable* const found = store.Find(variable.name, variable.vendor);
    return found == nullptr ? std::vector<std::uint8_t>() : found->data;
  };
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    const Outcome whole = RunWith(run);
    const VariableStore before = ReferenceServer(run).station.machine.variables;
    Inject(Title(run) + ", the power goes", CutsInto(whole.injection), 1, [&](const Injection& injection) {
      const Outcome outcome = RunWith(run, injection);
      for (const simulation::Variable& variable : whole.variables.variables) {
        const auto kept = data(outcome.variables, variable);
        EXPECT_TRUE(kept == variable.data || kept == data(before, variable)) << simulation::Readable(variable.name);
      }
      return "";
    });
  }
}

// Parameters that tell where to look are no expectations.
bool IsExpectation(const Call& call) {
  const bool is_read = call.operation == Operation::kGetParamNumber || call.operation == Operation::kGetParamString;
  const bool is_place = call.key.starts_with(u"Flash") || call.key.starts_with(u"GuidOffset") ||
                        call.key.ends_with(u"_VENDOR_ID") || call.key.ends_with(u"_DEVICE_ID");
  return is_read && !is_place && call.status == kTestLibrarySuccess;
}

// The run with a value of the parameter that fails it: this machine is not the
// expected one.
std::optional<ReferenceRun> Unexpected(const ReferenceRun& run, const Call& parameter) {
  const bool is_number = parameter.operation == Operation::kGetParamNumber;
  const auto values = is_number ? std::vector{simulation::Widen(std::to_string(parameter.number + 1))}
                                : std::vector{parameter.text + u"x", std::u16string(u"2099/01/01")};
  for (const std::u16string& value : values) {
    ReferenceRun changed = run;
    changed.parameters[parameter.key] = value;
    if (!RunWith(changed).passes) return changed;
  }
  return std::nullopt;
}

TEST(FaultInjection, NoFailedCallHidesAWrongMachine) {
  for (const ReferenceRun& run : simulation::ReferenceRuns()) {
    for (const Call& parameter : RunWith(run).library_calls) {
      if (!IsExpectation(parameter)) continue;
      const std::optional<ReferenceRun> changed = Unexpected(run, parameter);
      if (!changed) continue;
      const std::string title = Title(run) + ", another " + simulation::Readable(parameter.key);
      Inject(title, InjectionsInto(RunWith(*changed).injection), 127, [&](const Injection& injection) {
        const Outcome outcome = RunWith(*changed, injection);
        // A collation that takes nothing for equal makes other words of the
        // parameters that say how to look.
        const bool is_allowed = std::ranges::any_of(outcome.injection.failed, [&](const Injection::Failed& failed) {
          return IsOptional(run, failed.service) || failed.service == "StriColl";
        });
        EXPECT_TRUE(!outcome.passes || is_allowed) << Told(outcome.injection);
        return outcome.Passed();
      });
    }
  }
}

}  // namespace
