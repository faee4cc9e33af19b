// SPDX-License-Identifier: BSD-2-Clause-Patent
// The ways to change the reference server, one for each of its devices.
#pragma once

#include "fuzz/whole_run.h"

namespace fuzz {

void ChangeSmbios(Input& input, HostileServer& server);
void ChangeEventLog(Input& input, HostileServer& server);
void ChangeAcpi(Input& input, HostileServer& server);
void ChangeFru(Input& input, HostileServer& server);
void ChangeIpmb(Input& input, HostileServer& server);
void ChangeVariables(Input& input, HostileServer& server);
void ChangePci(Input& input, HostileServer& server);
void ChangeNetwork(Input& input, HostileServer& server);
// All of them: each has its part of the input, after the part's length.
void ChangeDevices(Input& input, HostileServer& server);

}  // namespace fuzz
