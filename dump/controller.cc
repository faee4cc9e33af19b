// SPDX-License-Identifier: BSD-2-Clause-Patent
// The management controller and the FRU devices behind it.
#include <algorithm>

#include "dump/dump.h"
#include "ipmi/bridge.h"
#include "platform/console.h"
#include "platform/handles.h"
#include "platform/ipmi_transport.h"
#include "platform/status_text.h"
#include "report/last_error.h"

namespace dump {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kController = 0x20;
constexpr std::uint8_t kBackplanes[] = {0xC0, 0xC2};
constexpr std::uint32_t kLastFru = 16;
// Of a device that does not say how large it is.
constexpr std::size_t kUsualFruBytes = 256;
// A bridged answer carries no more.
constexpr std::uint8_t kPortion = 16;
constexpr int kAttempts = 3;

constexpr mfgtest::IpmiCommand kGetDeviceId{0x06, 0x01};
constexpr mfgtest::IpmiCommand kOemQuery{0x30, 0x93};
constexpr mfgtest::IpmiCommand kGetAreaInfo{0x0A, 0x10};
constexpr mfgtest::IpmiCommand kReadFruData{0x0A, 0x11};

// A device's answer: its completion code, then its data.
struct Answer {
  EFI_STATUS status = EFI_NOT_STARTED;
  std::array<std::uint8_t, 1 + mfgtest::kIpmiResponseCapacity> bytes{};
  std::size_t length = 0;  // with the completion code

  bool IsGood() const { return !EFI_ERROR(status) && bytes[0] == 0; }
  Bytes Data() const { return Bytes(bytes).first(length).subspan(std::min<std::size_t>(length, 1)); }
};

// One of the controller's own devices, without the tests' waits.
Answer AskController(mfgtest::IpmiCommand command, Bytes request) {
  Answer answer;
  auto* const transport = platform::FirstInterface<IpmiTransport>(kIpmiTransportProtocolGuid);
  if (transport == nullptr) return answer;
  for (int attempt = 0; attempt < kAttempts && EFI_ERROR(answer.status); ++attempt) {
    answer.status = platform::SendIpmiRequest(transport, command.net_function, command.command, request);
    if (EFI_ERROR(answer.status)) continue;
    std::uint32_t length = mfgtest::kIpmiResponseCapacity;
    answer.status = platform::ReceiveIpmiResponse(transport, &answer.bytes[0], &answer.bytes[1], &length);
    // What lies behind an error's completion code is nobody's.
    answer.length = 1 + (answer.bytes[0] == 0 ? std::min(length, mfgtest::kIpmiResponseCapacity) : 0);
  }
  return answer;
}

// A device behind the controller. A failure gives no completion code.
Answer AskBehind(std::uint8_t address, mfgtest::IpmiCommand command, Bytes request) {
  Answer answer;
  mfgtest::IpmiResponse response;
  if (!mfgtest::SendIpmbMessage(command, address, 0, request, &response)) return answer;
  answer.status = EFI_SUCCESS;
  std::copy_n(response.data.begin(), response.length, answer.bytes.begin() + 1);
  answer.length = 1 + response.length;
  return answer;
}

struct FruDevice {
  std::uint8_t address;
  std::uint8_t id;

  Answer Ask(mfgtest::IpmiCommand command, Bytes request) const {
    return address == kController ? AskController(command, request) : AskBehind(address, command, request);
  }
  Answer Read(std::size_t offset, std::size_t count) const {
    const std::uint8_t request[] = {id, static_cast<std::uint8_t>(offset), static_cast<std::uint8_t>(offset >> 8),
                                    static_cast<std::uint8_t>(count)};
    return Ask(kReadFruData, request);
  }
  std::size_t Size() const {
    const std::uint8_t request[] = {id};
    const Answer answer = Ask(kGetAreaInfo, request);
    if (!answer.IsGood() || answer.Data().size() < 2) return kUsualFruBytes;
    return answer.Data()[0] | std::size_t{answer.Data()[1]} << 8;
  }
  FileName Name() const {
    FileName name;
    if (address == kController) {
      FormatText(name, "fru-%u.bin", id);
    } else {
      FormatText(name, "fru-%u-at-%x.bin", id, address);
    }
    return name;
  }
};

// Reads as much as there is; `last` is the answer that ended it.
std::size_t ReadAll(const FruDevice& device, std::size_t size, std::span<std::uint8_t> room, Answer& last) {
  std::size_t read = 0;
  for (std::size_t portion = kPortion; read < size;) {
    last = device.Read(read, std::min(portion, size - read));
    // The count byte, then the data.
    const Bytes data = last.IsGood() && last.length > 2 ? last.Data().subspan(1) : Bytes();
    const std::size_t taken = std::min({data.size(), portion, size - read});
    std::copy_n(data.begin(), taken, room.begin() + static_cast<std::ptrdiff_t>(read));
    read += taken;
    // Some devices refuse what reaches beyond a page, or answer in bytes.
    if (taken == 0 && portion == 1) break;
    if (taken == 0) portion = read == 0 ? 1 : portion / 2;
  }
  return read;
}

void MissFru(const FruDevice& device, const Answer& answer, std::size_t read) {
  const FileName name = device.Name();
  if (device.address != kController) return Miss(name.data(), mfgtest::LastError());
  if (EFI_ERROR(answer.status)) {
    return Miss(name.data(), "from byte %lu on: %s", read, platform::StatusText(answer.status).Text());
  }
  Miss(name.data(), "from byte %lu on: completion code 0x%02x", read, answer.bytes[0]);
}

void AddRefusal(const FruDevice& device, const Answer& answer) {
  Json& index = the_dump->index;
  OpenObject(index, nullptr);
  AddNumber(index, "address", device.address);
  AddNumber(index, "fru", device.id);
  if (!EFI_ERROR(answer.status)) AddNumber(index, "completionCode", answer.bytes[0]);
  CloseObject(index);
}

void DumpFru(const FruDevice& device) {
  platform::Write(u".");
  Answer last;
  const std::size_t size = device.Size();
  const std::size_t read = ReadAll(device, size, the_dump->room, last);
  // A server has few of the devices that it may have.
  if (read == 0 && device.address == kController) return AddRefusal(device, last);
  if (read < size) MissFru(device, last, read);
  if (read > 0) WritePart(device.Name().data(), Bytes(the_dump->room).first(read));
}

}  // namespace

// The member stays open for the devices.
void DumpController() {
  if (!mfgtest::IsIpmiAvailable()) {
    return Miss(u"controller and FRU devices", u"no IPMI transport: load ipmi_kcs.efi before");
  }
  Json& index = the_dump->index;
  OpenObject(index, "controller");
  const Answer id = AskController(kGetDeviceId, {});
  if (!EFI_ERROR(id.status)) AddBytes(index, "deviceId", Bytes(id.bytes).first(id.length));
  if (EFI_ERROR(id.status)) Miss(u"device ID of the controller", platform::StatusText(id.status).Text());
  const Answer oem = AskController(kOemQuery, {});
  if (!EFI_ERROR(oem.status)) AddBytes(index, "oemQuery", Bytes(oem.bytes).first(oem.length));
  if (EFI_ERROR(oem.status)) Miss(u"OEM query of the controller", platform::StatusText(oem.status).Text());
}

void DumpFrus() {
  if (!mfgtest::IsIpmiAvailable()) return;
  std::uint32_t board = 0;
  const bool has_board = GetNumber(u"SYS_BD_FRU_ID", &board) && board <= 0xFF;
  Json& index = the_dump->index;
  OpenList(index, "refusals");
  for (std::uint32_t id = 0; id <= kLastFru; ++id) DumpFru({kController, static_cast<std::uint8_t>(id)});
  if (has_board && board > kLastFru) DumpFru({kController, static_cast<std::uint8_t>(board)});
  std::uint32_t route = 0;
  for (const std::uint8_t address : kBackplanes) {
    DumpFru({address, 0});
    // Where the order looks for the board behind a backplane.
    const bool is_route = GetNumber(u"HSBP", &route) && route != 0 && has_board && board != 0;
    if (is_route) DumpFru({address, static_cast<std::uint8_t>(board)});
  }
  CloseList(index);
  CloseObject(index);
}

}  // namespace dump
