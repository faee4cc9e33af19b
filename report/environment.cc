// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "report/environment.h"

#include <algorithm>

#include "platform/handles.h"
#include "platform/shell_environment.h"
#include "platform/text.h"
#include "platform/variables.h"
#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr std::size_t kCommandCharacters = 256;

// No variable store comes near this; a firmware that never says "no more"
// would otherwise hold the line.
constexpr unsigned kMaximumVariables = 65536;

bool IsEmpty(const char16_t* text) { return text == nullptr || *text == 0; }

// Takes a variable's data as text. Modern shells store it without a
// terminator, so it ends at the first terminator or where the data ends.
bool CopyValue(const platform::PoolBuffer& data, std::span<char16_t> value) {
  if (data.data == nullptr) return false;
  const auto* const text = static_cast<const char16_t*>(data.data);
  const std::size_t limit = std::min(data.size / sizeof(char16_t), value.size() - 1);
  const auto length = static_cast<std::size_t>(std::find(text, text + limit, u'\0') - text);
  std::copy_n(text, length, value.data());
  value[length] = 0;
  return true;
}

bool ReadFoundVariable(const platform::VariableCursor& found, std::span<char16_t> value) {
  const platform::PoolBuffer data = platform::ReadVariable(found.name.data(), found.vendor);
  if (!CopyValue(data, value)) return false;
  report::DebugPrint(kDebugProgressAndIndex, "\n%.-35g %.-20s %s\n", &found.vendor, found.name.data(), value.data());
  return true;
}

}  // namespace

bool FindEnvVariable(const char16_t* name, std::span<char16_t> value) {
  if (IsEmpty(name)) return false;
  report::DebugPrint(kDebugProgress, "GUID                                Variable Name        Value\n");
  report::DebugPrint(kDebugProgress, "=================================== ==================== ========\n");
  platform::VariableCursor cursor;
  for (unsigned seen = 0; seen < kMaximumVariables && platform::NextVariable(cursor); ++seen) {
    if (platform::StriCmpAscii(cursor.name.data(), name) == 0) return ReadFoundVariable(cursor, value);
  }
  return false;
}

bool SetShellEnvVariable(const char16_t* name, const char16_t* value) {
  if (IsEmpty(name)) {
    SetLastError("NULL or empty string not allowed");
    return false;
  }
  std::array<char16_t, kCommandCharacters> command;
  if (IsEmpty(value)) {
    FormatText(command, "set -d \"%s\"", name);
  } else {
    FormatText(command, "set \"%s\" \"%s\"", name, value);
  }

  EFI_HANDLE provider = nullptr;
  if (EFI_ERROR(platform::LocateOnlyHandle(kShellEnvironmentProtocolGuid, &provider))) {
    SetLastError("Failed to Locate Handle to ShellEnvProtocol.");
    return false;
  }
  ShellEnvironment* shell = nullptr;
  if (EFI_ERROR(platform::HandleInterface(provider, kShellEnvironmentProtocolGuid, &shell))) {
    SetLastError("Failed to get handle to ShellEnvProtocol.");
    return false;
  }
  return platform::ExecuteShellCommand(shell, command.data()) == EFI_SUCCESS;
}

}  // namespace mfgtest
