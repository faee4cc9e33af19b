// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "fuzz/whole_run.h"

#include "simulation/fault.h"
#include "simulation/text.h"

namespace fuzz {
namespace {

using simulation::Fault;
using simulation::Variable;

constexpr EFI_GUID kManufacturingGuid = {0xEC87D643, 0xEBA4, 0x4BB5, {0xA1, 0xE5, 0x3F, 0x3E, 0x36, 0xB2, 0x0D, 0xA9}};

// The tests that change a machine, and how.
constexpr std::uint32_t kSetsShellVariable = 29;
constexpr std::uint32_t kStoresSystemGuid = 31;
constexpr std::uint32_t kStoresEui64 = 32;
constexpr struct {
  std::uint32_t test;
  std::string_view write;
} kWrites[] = {
    {28, "flash erase"},
    {28, "flash write"},
    {28, "WriteGuid"},
    {kSetsShellVariable, "ShellEnvironment Execute"},
    {kStoresSystemGuid, "SetVariable"},
    {kStoresEui64, "SetVariable"},
};

// A request's line in the controller's log, and of the requests behind the IPMB:
// flags, messages, reads of a FRU and the OEM query.
constexpr std::string_view kRequests[] = {"> 06 30", "> 06 31", "> 06 33", "> 06 34", "> 0A 11", "> 30 93", "> 06 01"};
constexpr std::string_view kBridgedRequest = "> 0A 11";

bool SameVariable(const Variable& a, const Variable& b) {
  return a.name == b.name && SameGuid(a.vendor, b.vendor) && a.attributes == b.attributes && a.data == b.data;
}

bool Contains(const std::vector<Variable>& variables, const Variable& wanted) {
  return std::ranges::any_of(variables, [&](const Variable& one) { return SameVariable(one, wanted); });
}

bool SameName(std::u16string_view a, std::u16string_view b) {
  return std::ranges::equal(a, b, [](char16_t x, char16_t y) { return (x | 0x20) == (y | 0x20); });
}

bool IsAllowed(std::string_view line) {
  if (line.starts_with("<")) return true;
  if (line.starts_with(">")) {
    return std::ranges::any_of(kRequests, [&](std::string_view request) { return line.starts_with(request); });
  }
  // From behind the IPMB, with the address in front.
  const std::string_view behind = line.substr(std::min<std::size_t>(3, line.size()));
  return behind.starts_with("<") || behind.starts_with(kBridgedRequest);
}

}  // namespace

std::uint32_t ChooseTest(Input& input, Tests tests) {
  const std::uint8_t number = input.Byte();
  return std::ranges::find(tests, number) != tests.end() ? number : tests[number % tests.size()];
}

const ReferenceRun& ChooseRun(Input& input, Tests tests, std::span<const ReferenceRun> runs) {
  const std::uint32_t test = ChooseTest(input, tests);
  std::vector<const ReferenceRun*> of_test;
  for (const ReferenceRun& run : runs) {
    if (run.test == test) of_test.push_back(&run);
  }
  return *of_test[input.Below(of_test.size())];
}

const ReferenceRun& ChooseRunWithoutFlash(Input& input) {
  static std::vector<std::uint32_t> tests;
  static const std::vector<ReferenceRun> runs = [] {
    std::vector<ReferenceRun> all;
    for (ReferenceRun run : simulation::ReferenceRuns()) {
      if (run.test == 30) continue;
      run.has_guid_store = true;
      all.push_back(run);
      if (tests.empty() || tests.back() != run.test) tests.push_back(run.test);
    }
    return all;
  }();
  return ChooseRun(input, tests, runs);
}

Placed::Placed(const Bytes& bytes, std::size_t zeros_behind)
    : memory_(simulation::Mapping::Low(std::max<std::size_t>(bytes.size() + zeros_behind, 1))),
      data_(memory_.Data() + memory_.Size() - zeros_behind - bytes.size()) {
  std::ranges::copy(bytes, data_);
  memory_.Protect();
}

void Put(Bytes& bytes, std::size_t offset, std::uint64_t value, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

Judge::Judge(const ReferenceServer& server) : server_(server), variables_(server.station.machine.variables.variables) {}

void Judge::AfterRun() const {
  if (EFI_ERROR(server_.station.end.status)) Fault("the module ended with an error");
  CheckWrites();
}

void Judge::CheckWrites() const {
  for (const std::string& write : server_.station.machine.writes) {
    const bool allowed = std::ranges::any_of(
        kWrites, [&](const auto& row) { return row.test == server_.run.test && row.write == write; });
    if (!allowed) Fault(write + " by a test that only reads");
  }
  CheckVariables();
  CheckController();
}

void Judge::CheckVariables() const {
  const std::vector<Variable>& now = server_.station.machine.variables.variables;
  for (const Variable& variable : now) {
    if (!Contains(variables_, variable) && !MayWrite(variable)) {
      Fault("variable " + simulation::Readable(variable.name) + " was written");
    }
  }
  for (const Variable& variable : variables_) {
    if (!Contains(now, variable) && !MayWrite(variable)) {
      Fault("variable " + simulation::Readable(variable.name) + " is gone or changed");
    }
  }
}

bool Judge::MayWrite(const Variable& variable) const {
  const std::uint32_t test = server_.run.test;
  if (SameGuid(variable.vendor, simulation::kShellVariableGuid)) {
    return test == kSetsShellVariable || variable.name == u"MfgVerdict";
  }
  if (!SameGuid(variable.vendor, kManufacturingGuid)) return false;
  return (test == kStoresSystemGuid && SameName(variable.name, u"MfgSystemUuid")) ||
         (test == kStoresEui64 && SameName(variable.name, u"Mfg1394Uuid"));
}

void Judge::CheckController() const {
  for (const std::string& line : server_.controller.log) {
    if (!IsAllowed(line)) Fault("IPMI: " + line);
  }
}

std::size_t KeptBlocks(std::uint32_t test) { return test == 0 || test == 14 ? 1 : 0; }

void RunAndJudge(ReferenceServer& server) {
  server.station.kept_blocks = KeptBlocks(server.run.test);
  const Judge judge(server);
  server.station.RunUnread(server.run.test);
  judge.AfterRun();
}

void RunChanged(Input& input, std::initializer_list<std::uint32_t> tests, Change change) {
  HostileServer server(ChooseRun(input, Tests(tests.begin(), tests.size())));
  change(input, server);
  RunAndJudge(server);
}

}  // namespace fuzz
