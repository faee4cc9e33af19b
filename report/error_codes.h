// SPDX-License-Identifier: BSD-2-Clause-Patent
// The module-wide numbering of failures, as ReportError hands them to the test
// library. A code names a kind of failure wherever it occurs.
#pragma once

#include <cstdint>

namespace mfgtest {

enum class ErrorCode : std::uint32_t {
  kInvalidTestNumber = 0,
  kParameterUnreadable = 1,
  kSmbiosEntryPointMissing = 2,
  kSmbiosStructureMissing = 3,
  kStringMismatch = 4,
  kSmbiosTableAddressNull = 5,
  kNetworkControllers = 6,
  kDeviceOrValue = 7,
  kGuidTimeRange = 8,
  kGuidVersion = 10,
  kGuidWriteFailed = 11,
  kGuidNotBuilt = 12,
  kGuidVariant = 14,
  kChassisTypeMismatch = 15,
  kOutOfMemory = 16,
  kEnvironmentVariableMissing = 17,
  kFlashReadFailed = 18,
  kGuidTextInvalid = 19,
  kVariableNotSet = 20,
  kFlashRequestFailed = 22,
  kIpmiUnavailable = 23,
  kInvalidDate = 24,
  kManufacturingDate = 25,
  kFirmwareIdMissing = 26,
  kFirmwareIdMismatch = 27,
  kMemoryDeviceMismatch = 28,
  kUnexpectedEvent = 29,
  kBoardAreaNotProgrammed = 30,
  kEndMarkerMissing = 31,
  kFruReadFailed = 48,
};

}  // namespace mfgtest
