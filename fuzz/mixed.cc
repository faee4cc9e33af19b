// SPDX-License-Identifier: BSD-2-Clause-Patent
// A server with several of its devices changed, under the station's recorder or
// under the real test library with an operator's parameters.
#include "fuzz/changes.h"
#include "fuzz/parameters.h"
#include "fuzz/targets.h"

namespace fuzz {
namespace {

// The event log's structure goes into the table that is changed next.
constexpr Change kChanges[] = {ChangeEventLog, ChangeSmbios, ChangeAcpi,      ChangeFru,
                               ChangeIpmb,     ChangePci,    ChangeVariables, ChangeNetwork};

}  // namespace

void ChangeDevices(Input& input, HostileServer& server) {
  for (const Change change : kChanges) {
    const Bytes bytes = input.Take(input.Byte());
    Input part(bytes);
    if (!part.Empty()) change(part, server);
  }
}

void FuzzMixed(Input input) {
  HostileServer server(ChooseRunWithoutFlash(input));
  const bool by_library = input.Byte() % 2 != 0;
  ChangeDevices(input, server);
  if (by_library) return RunAndJudgeByLibrary(input, server);
  RunAndJudge(server);
}

}  // namespace fuzz
