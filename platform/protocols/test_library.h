// SPDX-License-Identifier: BSD-2-Clause-Patent
// The test-library protocol: the table of operations through which a test
// module reads its parameters, talks to the operator and reports. Installed by
// a framework driver that is loaded before the module; testlib.efi is ours.
#pragma once

#include "platform/efi.h"

inline constexpr EFI_GUID kTestLibraryProtocolGuid = {
    0x15F85662, 0x8384, 0x49E8, {0x8A, 0x01, 0x56, 0xA5, 0x5C, 0xB1, 0xF7, 0xA4}};

// How a module introduces itself to the library, and how the library answers
// with the test to run.
struct TestDescriptor {
  std::uint32_t SubtestCount;  // written by the module
  std::uint32_t ModuleNumber;  // written by the module
  std::uint32_t SelectedTest;  // written by the library during Initialize
  EFI_HANDLE ImageHandle;      // the module's image
  const char* Version;         // 8-bit text, written by the module
  UINTN Argc;                  // the shell's argument vector
  const char16_t* const* Argv;
};

static_assert(offsetof(TestDescriptor, SelectedTest) == 8);
static_assert(offsetof(TestDescriptor, ImageHandle) == 16);
static_assert(offsetof(TestDescriptor, Version) == 24);
static_assert(offsetof(TestDescriptor, Argc) == 32);
static_assert(offsetof(TestDescriptor, Argv) == 40);

// Status values of the operations; any other non-zero value is a failure too.
using TestLibraryStatus = std::uint32_t;
inline constexpr TestLibraryStatus kTestLibrarySuccess = 0;
inline constexpr TestLibraryStatus kTestLibraryBufferTooSmall = 6;

// Classes of DebugPrint messages; the operator selects them with a mask.
inline constexpr std::uint32_t kDebugProgress = 1;
inline constexpr std::uint32_t kDebugIndex = 2;
inline constexpr std::uint32_t kDebugProgressAndIndex = 3;
inline constexpr std::uint32_t kDebugTrace = 8;
inline constexpr std::uint32_t kDebugIpmi = 16;

// An entry that no module of ours calls.
using UnusedOperation = TestLibraryStatus(EFIAPI*)();

// Text is UCS-2. Formats are those of platform/format.h, their arguments one
// 8-byte slot each.
struct TestLibrary {
  TestLibraryStatus(EFIAPI* Initialize)(TestDescriptor* descriptor);
  UnusedOperation unused1;
  void(EFIAPI* Delay)(std::uint32_t milliseconds);
  TestLibraryStatus(EFIAPI* GetParamNumber)(const char16_t* name, std::uint32_t* value);
  UnusedOperation unused4;
  // `maximum` is the size of the value's buffer in bytes; a longer value is
  // answered with kTestLibraryBufferTooSmall.
  TestLibraryStatus(EFIAPI* GetParamString)(const char16_t* name, char16_t* value, UINTN maximum);
  UnusedOperation unused6[4];
  void(EFIAPI* SetResultNumber)(const char16_t* key, UINTN value);
  UnusedOperation unused11;
  void(EFIAPI* SetResultString)(const char16_t* key, const char16_t* value);
  UnusedOperation unused13[2];
  void(EFIAPI* RemoveSubtest)(UINTN subtest);
  UnusedOperation unused16[3];
  void(EFIAPI* EndTest)();
  void(EFIAPI* LogMessage)(const char16_t* format, ...);
  void(EFIAPI* ReportError)(UINTN code, const char16_t* format, ...);
  UnusedOperation unused22;
  void(EFIAPI* DisplayPrint)(const char16_t* format, ...);
  void(EFIAPI* Prompt)(const char16_t* text);
  UnusedOperation unused25;
  void(EFIAPI* DebugPrint)(UINTN mask, const char16_t* format, ...);
  // `maximum` is the size of the answer's buffer in characters, terminator included.
  void(EFIAPI* ReadInput)(char16_t* answer, UINTN maximum, UINTN flags);
};

constexpr std::size_t TestLibrarySlot(std::size_t offset) { return offset / sizeof(void*); }
static_assert(TestLibrarySlot(offsetof(TestLibrary, Delay)) == 2);
static_assert(TestLibrarySlot(offsetof(TestLibrary, GetParamNumber)) == 3);
static_assert(TestLibrarySlot(offsetof(TestLibrary, GetParamString)) == 5);
static_assert(TestLibrarySlot(offsetof(TestLibrary, SetResultNumber)) == 10);
static_assert(TestLibrarySlot(offsetof(TestLibrary, SetResultString)) == 12);
static_assert(TestLibrarySlot(offsetof(TestLibrary, RemoveSubtest)) == 15);
static_assert(TestLibrarySlot(offsetof(TestLibrary, EndTest)) == 19);
static_assert(TestLibrarySlot(offsetof(TestLibrary, LogMessage)) == 20);
static_assert(TestLibrarySlot(offsetof(TestLibrary, ReportError)) == 21);
static_assert(TestLibrarySlot(offsetof(TestLibrary, DisplayPrint)) == 23);
static_assert(TestLibrarySlot(offsetof(TestLibrary, Prompt)) == 24);
static_assert(TestLibrarySlot(offsetof(TestLibrary, DebugPrint)) == 26);
static_assert(TestLibrarySlot(offsetof(TestLibrary, ReadInput)) == 27);
static_assert(sizeof(TestLibrary) == 28 * sizeof(void*));
