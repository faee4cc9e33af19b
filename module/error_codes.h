// The module-wide numbering of failures, as ReportError hands them to the test
// library. A code names a kind of failure wherever it occurs.
#pragma once

#include <cstdint>

namespace mfgtest {

enum class ErrorCode : std::uint32_t {
  kInvalidTestNumber = 0,
  kParameterUnreadable = 1,
  kSmbiosStructureMissing = 3,
  kStringMismatch = 4,
  kChassisTypeMismatch = 15,
  kEnvironmentVariableMissing = 17,
};

}  // namespace mfgtest
