// SPDX-License-Identifier: BSD-2-Clause-Patent
// Command lines for the bridge's shell environment. Whatever they are, the one
// thing that may come of them is a variable whose name and value give the very
// line again.
#include "fuzz/driver.h"
#include "fuzz/targets.h"
#include "platform/handles.h"
#include "platform/protocols/shell_environment.h"
#include "simulation/modern_shell.h"

namespace fuzz {
namespace {

using simulation::Fault;
using simulation::Variable;
using Texts = std::map<std::u16string, std::u16string>;

// What stands in a line that is nearly right.
constexpr std::u16string_view kPieces[] = {u"set \"", u"\" \"", u"\"", u"set -d \"", u"set ", u"-v ", u"NAME", u" > "};

std::u16string TakeLine(Input& input) {
  std::u16string line;
  for (std::uint8_t pieces = input.Byte() % 16; pieces > 0; --pieces) {
    const std::uint8_t kind = input.Byte();
    if (kind < 0x80) {
      line += kPieces[kind % std::size(kPieces)];
    } else if (kind < 0xC0) {
      line.append(std::size_t{kind & 0x3Fu} * 16, u'x');
    } else if (const std::uint16_t c = input.Word(); c != 0) {
      line += static_cast<char16_t>(c);
    }
  }
  return line;
}

Texts ShellVariables(const simulation::Machine& machine) {
  Texts texts;
  for (const Variable& one : machine.variables.variables) {
    if (!SameGuid(one.vendor, simulation::kShellVariableGuid)) Fault("a variable outside the shell's");
    texts[one.name].assign(reinterpret_cast<const char16_t*>(one.data.data()), one.data.size() / sizeof(char16_t));
  }
  return texts;
}

bool IsPlain(std::u16string_view text) {
  return std::ranges::none_of(text, [](char16_t c) { return c < 0x20 || c == u'"' || (c >= 0x7F && c < 0xA0); });
}

// The lines that lead from one set of variables to the other.
void CheckChange(const Texts& before, const Texts& after, const std::u16string& line) {
  std::size_t changes = 0;
  const auto check = [&](std::u16string_view name, std::u16string_view value, const std::u16string& wanted) {
    if (line != wanted || !IsPlain(name) || !IsPlain(value)) Fault("a variable that the line does not set");
    ++changes;
  };
  for (const auto& [name, value] : after) {
    const auto old = before.find(name);
    if (old == before.end() || old->second != value) check(name, value, u"set \"" + name + u"\" \"" + value + u"\"");
  }
  for (const auto& [name, value] : before) {
    if (!after.contains(name)) check(name, u"", u"set -d \"" + name + u"\"");
  }
  if (changes > 1) Fault("a line that changes more than one variable");
}

}  // namespace

void FuzzShellBridge(Input input) {
  simulation::Machine machine;
  std::optional<simulation::ModernShell> shell;
  const std::uint8_t way = input.Byte();
  // Without a modern shell the bridge writes the variables by itself.
  if ((way & 1) == 0) shell.emplace(machine);
  const Driver library(machine, testlib_efi_main);
  if (!library.IsLoaded()) Fault("the test library did not start");
  auto* const environment = platform::FirstInterface<ShellEnvironment>(kShellEnvironmentProtocolGuid);
  EFI_HANDLE image = machine.LoadImage();
  while (!input.Empty()) {
    const std::u16string line = TakeLine(input);
    const Texts before = ShellVariables(machine);
    EFI_HANDLE* const parents[] = {&image, static_cast<EFI_HANDLE*>(image), nullptr};
    const EFI_STATUS status = environment->Execute(parents[way / 2 % 3], line.c_str(), (way & 8) != 0);
    const Texts after = ShellVariables(machine);
    CheckChange(before, after, line);
    if (EFI_ERROR(status) && before != after) Fault("a refused line that does something");
    environment->GetEnv(line.c_str());
  }
  machine.UnloadImage(image);
  if (shell && !shell->commands.empty()) Fault("a command reached the shell");
}

}  // namespace fuzz
