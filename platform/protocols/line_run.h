// SPDX-License-Identifier: BSD-2-Clause-Patent
// The line run: our own protocol of testlib.efi beside the test library, through
// which start.efi begins a line, learns what to run, tells how each run ended
// and gets what its last screen shows. One line at a time. All text belongs to
// the driver and stays until the next call.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kLineRunProtocolGuid = {
    0x7D35C2A6, 0x19F4, 0x4E0B, {0x9C, 0x63, 0x5A, 0x0E, 0x84, 0xD1, 0x2B, 0x71}};

// The next test, and the arguments with which the module runs it.
struct LineTest {
  std::uint32_t Number;
  const char16_t* Title;
  UINTN Argc;
  const char16_t* const* Argv;
  std::uint32_t Seconds;  // that it may take; 0 for no limit
};

// A text that is not there is empty.
struct LineFailure {
  const char16_t* Test;  // its number and title
  const char16_t* Message;
  const char16_t* WhatToDo;
};

enum class AfterLine : std::uint32_t { kUnsaid, kStay, kOff, kReboot, kExit };

struct LineReport {
  const char16_t* Verdict;  // PASS, FAIL or ERROR
  const char16_t* Summary;  // the line that begins with SUMMARY, without its end
  const char16_t* Unit;
  const char16_t* Record;  // its file, when all of it is there
  const char16_t* Remark;
  UINTN FailureCount;
  const LineFailure* Failures;
  AfterLine After;
  bool DumpsMachine;  // the order asks for a dump of a machine like this one
};

struct LineRun {
  // Reads the words of the line and the parameters, as a run of the module
  // would that was loaded as `module`, and has the operator answer what is to be
  // asked. The first word is the program that runs the tests. Anything but
  // success is the end of the line: the operator was told why, and End is next.
  EFI_STATUS(EFIAPI* Begin)(EFI_HANDLE module, const char16_t* const* words, UINTN count);
  // What the order gives to ipmi_kcs.efi; empty for nothing.
  const char16_t*(EFIAPI* IpmiOptions)();
  // The next test, or null when there is none.
  const LineTest*(EFIAPI* Next)();
  // The module is back, with this status.
  void(EFIAPI* Ended)(EFI_STATUS status);
  // The line ends as an error, for this reason.
  void(EFIAPI* Break)(const char16_t* reason);
  // Ends the line. The report stays until the next one begins.
  const LineReport*(EFIAPI* End)();
};

static_assert(sizeof(LineRun) == 6 * sizeof(void*));
