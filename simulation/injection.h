// SPDX-License-Identifier: BSD-2-Clause-Patent
// Failures on purpose. Every call of the platform that may fail asks here
// first, so that a run can be repeated with any one of its calls failing, in
// any way that its service knows, or with the power gone from there on.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "platform/efi.h"

namespace simulation {

// Success, and a null pointer in the place of what was asked for.
inline constexpr EFI_STATUS kNothing = EFIWARN(0x7001);
// Success, and a size beyond the caller's buffer, in which nothing was put.
inline constexpr EFI_STATUS kTooMuch = EFIWARN(0x7002);

// How calls of a service may go wrong: one of these, or a status. The first is
// the usual one.
using Ways = std::initializer_list<EFI_STATUS>;
inline constexpr Ways kOfDevices = {EFI_DEVICE_ERROR, EFI_NOT_READY, EFI_ABORTED};
inline constexpr Ways kOfDrives = {EFI_DEVICE_ERROR, EFI_NO_MEDIA, EFI_MEDIA_CHANGED};
inline constexpr Ways kOfFiles = {EFI_DEVICE_ERROR, EFI_NO_MEDIA, EFI_MEDIA_CHANGED, kNothing};
inline constexpr Ways kOfReads = {EFI_DEVICE_ERROR, EFI_NO_MEDIA, EFI_MEDIA_CHANGED, kTooMuch};
inline constexpr Ways kOfDriveWrites = {EFI_DEVICE_ERROR, EFI_WRITE_PROTECTED, EFI_MEDIA_CHANGED};
inline constexpr Ways kOfSettings = {EFI_OUT_OF_RESOURCES, EFI_WRITE_PROTECTED, EFI_DEVICE_ERROR};

struct Injection {
  // Counted from 1, 0 for none; and the way in which it fails, counted from 0.
  struct Call {
    std::uint64_t number = 0;
    std::size_t way = 0;
  };
  struct Failed {
    std::string service;
    EFI_STATUS way;
  };

  std::array<Call, 2> failing{};
  // Whether all later calls of the name of the first one fail likewise.
  bool for_good = false;
  // The call at which the power goes; what came before it has reached the drive.
  std::uint64_t cut = 0;

  // For each call, the number of ways of its service.
  std::vector<std::uint8_t> calls{};
  // The calls that change what is kept: those that may be write-protected. The
  // power gone at each of them in turn leaves all that it ever leaves.
  std::vector<std::uint64_t> writes{};
  std::vector<Failed> failed{};
};

// Thrown where the power goes.
struct PowerCut {};

// How a call fails; success when it does not.
struct Failure {
  EFI_STATUS way;

  operator EFI_STATUS() const { return way; }
  // The status of a call that gives a pointer, or bytes of the size.
  template <class T>
  EFI_STATUS Give(T** pointer) const {
    if (way != kNothing) return way;
    *pointer = nullptr;
    return EFI_SUCCESS;
  }
  template <class T>
  EFI_STATUS GiveSize(T* size) const {
    constexpr T kBeyond = 0x1000;
    if (way != kTooMuch) return way;
    *size += kBeyond;
    return EFI_SUCCESS;
  }
};

// What becomes of the call of the current machine's platform that begins here;
// its name is that of the service and of what it is asked for.
Failure Fails(std::string_view service, Ways ways);
Failure Fails(std::string_view service, std::u16string_view subject, Ways ways);
Failure Fails(std::string_view service, const EFI_GUID& protocol, Ways ways);

// The calls that failed, for somebody who reads it.
std::string Told(const Injection& injection);

// Throws when a run takes more steps than any run that ends.
void CountStep();

}  // namespace simulation
