// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/fru_access.h"

#include <algorithm>

#include "ipmi/bridge.h"
#include "report/last_error.h"
#include "report/report.h"

namespace mfgtest {
namespace {

constexpr IpmiCommand kReadFruData{0x0A, 0x11};
constexpr IpmiCommand kOemQuery{0x30, 0x93};

constexpr std::uint8_t kPrimaryBackplaneAddress = 0xC0;
constexpr std::uint8_t kSecondaryBackplaneAddress = 0xC2;

using ReadRequest = std::array<std::uint8_t, 4>;

ReadRequest Request(std::uint8_t device, FruRange range) {
  return {device, range.offset_low, range.offset_high, range.count};
}

bool Fail(FruReport report) {
  if (report == FruReport::kToLastError) {
    SetLastError("IPMI command - Get FRU Data Area Info failed");
  } else {
    report::ReportError(ErrorCode::kIpmiUnavailable, "IPMI command - Get FRU Data Area Info failed.\r\n");
  }
  return false;
}

// The controller's own devices: nothing is reported to the library, the
// transport has printed its attempts.
bool FailQuietly(FruReport report) { return report == FruReport::kToLastError ? Fail(report) : false; }

void TakeWithCount(const IpmiResponse& response, FruBuffer* buffer) {
  std::copy_n(response.data.data(), response.length, buffer->bytes.data());
  buffer->length = response.length - 1;
  report::DebugPrint(kDebugIpmi, "FRU Data: 0x%0x.\n", buffer->Word());
}

bool ReadBehindBackplane(std::uint8_t address, const FruDevice& device, FruRange range, FruBuffer* buffer) {
  IpmiResponse response;
  if (!SendIpmbMessage(kReadFruData, address, 0, Request(device.id, range), &response)) return Fail(device.report);
  TakeWithCount(response, buffer);
  return true;
}

}  // namespace

bool ReadFruData(FruRange range, FruReport report, FruBuffer* buffer) {
  IpmiResponse response;
  if (!SendIpmiCommand(kReadFruData, Request(0, range), &response)) return Fail(report);
  TakeWithCount(response, buffer);
  return true;
}

bool ReadFruBytes(const FruDevice& device, FruRange range, FruBuffer* buffer) {
  switch (device.route) {
    case FruRoute::kBmc: {
      IpmiResponse response;
      if (!SendIpmiCommandWithRetry(kReadFruData, Request(device.id, range), &response, &buffer->completion_code)) {
        return FailQuietly(device.report);
      }
      TakeWithCount(response, buffer);
      return true;
    }
    case FruRoute::kPrimaryBackplane:
      return ReadBehindBackplane(kPrimaryBackplaneAddress, device, range, buffer);
    case FruRoute::kSecondaryBackplane:
      return ReadBehindBackplane(kSecondaryBackplaneAddress, device, range, buffer);
    default:
      return Fail(device.report);
  }
}

bool ReadFruBytesNoCount(const FruDevice& device, FruRange range, FruBuffer* buffer) {
  if (device.route != FruRoute::kBmc) return Fail(device.report);
  IpmiResponse response;
  if (!SendIpmiCommandWithRetry(kReadFruData, Request(device.id, range), &response, &buffer->completion_code)) {
    return FailQuietly(device.report);
  }
  if (response.length > 0) {
    std::copy_n(&response.data[1], response.length - 1, buffer->bytes.data());
    buffer->bytes[response.length - 1] = 0;
  }
  buffer->length = response.length - 1;
  return true;
}

std::uint8_t GetBmcOemCode() {
  IpmiResponse response;
  std::uint8_t completion_code = 0;
  // Without an answer the byte stays 0.
  (void)SendIpmiCommandWithRetry(kOemQuery, {}, &response, &completion_code);
  return response.data[0];
}

}  // namespace mfgtest
