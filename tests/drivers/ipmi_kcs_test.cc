// SPDX-License-Identifier: BSD-2-Clause-Patent
// The driver on a simulated machine, from its start to its end, and the
// transport that it offers.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "platform/handles.h"
#include "platform/port_io.h"
#include "platform/protocols/ipmi_transport.h"
#include "simulation/firmware_ipmi.h"
#include "simulation/kcs_interface.h"
#include "simulation/machine.h"
#include "simulation/modern_shell.h"
#include "simulation/smbios_table.h"
#include "simulation/text.h"
#include "tests/drivers/loaded_driver.h"
#include "tests/faults_fail_tests.h"

extern "C" EFI_STATUS ipmi_kcs_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace {

using simulation::KcsInterface;
using Bytes = KcsInterface::Bytes;
using Fault = KcsInterface::Fault;

constexpr std::uint64_t kSecond = 1'000'000;

// DSP0134, type 38, behind the header: KCS, and where.
Bytes KcsAt(std::uint64_t base, std::uint8_t modifier) {
  Bytes fields{0x01, 0x20, 0x20, 0xFF};
  for (int i = 0; i < 8; ++i) fields.push_back(static_cast<std::uint8_t>(base >> (8 * i)));
  fields.insert(fields.end(), {modifier, 0});
  return fields;
}

// Repeats the request's data behind a good header.
Bytes Echo(const Bytes& request) {
  Bytes response{static_cast<std::uint8_t>(request[0] | 4), request[1], 0};
  response.insert(response.end(), request.begin() + 2, request.end());
  return response;
}

const Bytes kDeviceId{0x1C, 0x01, 0x00, 0x20, 0x01, 0x82, 0x45, 0x51, 0xBF, 0, 0, 0, 0, 0};

// A machine with a shell, and the driver on it once it is loaded.
struct Station {
  ~Station() {
    driver.reset();
    EXPECT_TRUE(machine.handles.Handles(&kIpmiTransportProtocolGuid).empty());
  }

  EFI_STATUS Load(const std::u16string& load_options = u"") {
    machine.console.written.clear();
    driver.emplace(machine, ipmi_kcs_efi_main, load_options);
    transport = platform::FirstInterface<IpmiTransport>(kIpmiTransportProtocolGuid);
    return driver->status;
  }

  void Unload() { EXPECT_EQ(driver->Unload(), EFI_SUCCESS); }

  bool Shows(std::u16string_view text) const { return machine.console.written.find(text) != std::u16string::npos; }

  EFI_STATUS Send(const Bytes& request, std::uint8_t to_function = 0x0A, std::uint16_t to_lun = 0) {
    return transport->SendIpmiRequest(transport, to_function, to_lun, 0x11, request.data(),
                                      static_cast<std::uint32_t>(request.size()));
  }

  EFI_STATUS Receive(std::uint32_t capacity = 100) {
    length = capacity;
    return transport->ReceiveIpmiResponse(transport, &network_function, &lun, &command, &completion_code, data.data(),
                                          &length);
  }

  simulation::Machine machine;
  simulation::ModernShell shell{machine};
  std::optional<LoadedDriver> driver;
  IpmiTransport* transport = nullptr;

  std::uint64_t network_function = 0;
  std::uint64_t lun = 0;
  std::uint64_t command = 0;
  std::uint8_t completion_code = 0xEE;
  std::array<std::uint8_t, 600> data{};
  std::uint32_t length = 0;
};

TEST(IpmiKcs, FindsTheController) {
  const Bytes none;
  const struct {
    std::uint16_t port;
    std::uint8_t spacing;
    Bytes type38;
    std::u16string load_options;
    std::u16string variable;
    EFI_STATUS status;
    std::u16string shows;
  } cases[] = {
      {0xCA2, 1, KcsAt(0xCA3, 0x00), u"", u"", EFI_SUCCESS,
       u"at I/O 0xca2, spacing 1: IPMI 1.5, device 0x20, firmware 2.45\r\n"},
      {0xCA2, 4, KcsAt(0xCA3, 0x40), u"", u"", EFI_SUCCESS, u"at I/O 0xca2, spacing 4: IPMI 1.5"},
      {0xCA1, 16, KcsAt(0xCA1, 0x98), u"", u"", EFI_SUCCESS, u"at I/O 0xca1, spacing 16:"},
      {0xCA2, 1, KcsAt(0xCA5, 0x00), u"", u"", EFI_NO_RESPONSE,
       u"ERROR: ipmi_kcs is not loaded: no management controller answers at I/O 0xca4, spacing 1 (No Response).\r\n"},
      {0xCA2, 4, KcsAt(0xCA3, 0x00), u"", u"", EFI_NO_RESPONSE, u"at I/O 0xca2, spacing 1 ("},
      {0xCA2, 1, none, u"", u"", EFI_NOT_FOUND,
       u"no management controller (type 38).\r\nWhere you know the address: set -v IpmiKcsOptions \"io=0xca2\""},
      {0xCA2, 1, none, u"", u"io=0xca2", EFI_SUCCESS, u"at I/O 0xca2, spacing 1:"},
      {0xCA2, 4, KcsAt(0x5001, 0), u"--io 0xCA2 --spacing 4", u"io=1", EFI_SUCCESS, u"at I/O 0xca2, spacing 4:"},
      {0xCA2, 1, none, u"fs0:\\ipmi_kcs.efi --io=3234", u"", EFI_SUCCESS, u"at I/O 0xca2, spacing 1:"},
      // An EFI 1.x shell: the program, then the folder.
      {0xCA2, 1, KcsAt(0xCA3, 0), {u"fs0:\\ipmi_kcs.efi\0fs0:\\", 23}, u"", EFI_SUCCESS, u"at I/O 0xca2"},
      {0xCA2, 1, KcsAt(0xCA3, 0), u"--bogus", u"", EFI_INVALID_PARAMETER, u"not loaded: unknown option --bogus."},
      {0xCA2, 1, KcsAt(0xCA3, 0), u"", u"help", EFI_ABORTED, u"--memory ADDRESS"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(simulation::Readable(c.shows));
    Station station;
    if (!c.variable.empty()) station.machine.variables.Add(u"IpmiKcsOptions", simulation::TextData(c.variable));
    simulation::SmbiosTable table;
    table.Add(1, 1, Bytes(23), {"ACME", "Server"});
    if (!c.type38.empty()) table.Add(38, 2, c.type38);
    const simulation::SmbiosDevice smbios(station.machine, table);
    KcsInterface kcs(
        c.port, [](const Bytes&) { return kDeviceId; }, c.spacing);
    EXPECT_EQ(station.Load(c.load_options), c.status);
    EXPECT_TRUE(station.Shows(c.shows)) << simulation::Readable(station.machine.console.written);
  }
}

TEST(IpmiKcs, StaysOutOfTheWay) {
  Station station;
  KcsInterface kcs(0xCA2, Echo);
  ASSERT_EQ(station.Load(u"--io 0xca2"), EFI_SUCCESS);
  EXPECT_TRUE(station.Shows(u"not ready yet (completion code 0x00)."));
  EXPECT_EQ(LoadedDriver(station.machine, ipmi_kcs_efi_main, u"--io 0xca2").status, EFI_ALREADY_STARTED);
  EXPECT_TRUE(station.Shows(u"the IPMI transport is offered already"));
  EXPECT_EQ(station.machine.handles.Handles(&kIpmiTransportProtocolGuid), std::vector{station.driver->image});
}

// Registers in memory that answer nothing.
TEST(IpmiKcs, TalksToMemory) {
  const struct {
    std::uint8_t state;
    EFI_STATUS status;
    std::uint8_t last_command;
  } cases[] = {
      // Its last try to end what a silent interface is in.
      {0x00, EFI_DEVICE_ERROR, 0x60},
      // What is busy is left alone.
      {0x02, EFI_TIMEOUT, 0x02},
  };
  for (const auto& c : cases) {
    Station station;
    const auto registers = simulation::Mapping::Low(EFI_PAGE_SIZE);
    registers.Data()[4] = c.state;
    const auto address = reinterpret_cast<std::uintptr_t>(registers.Data());
    const simulation::SmbiosDevice smbios(station.machine, simulation::SmbiosTable().Add(38, 1, KcsAt(address, 0x40)));
    EXPECT_EQ(station.Load(), c.status);
    EXPECT_TRUE(station.Shows(u"no management controller answers at memory 0x"));
    EXPECT_EQ(registers.Data()[4], c.last_command);
  }
}

// A table, or a person, that names memory or the board's ports.
TEST(IpmiKcs, TouchesNothingButDevices) {
  constexpr std::uint64_t kInMemory = 0;  // in place of an address
  const struct {
    std::uint32_t kind;
    std::uint64_t base;
    std::uint8_t modifier;
    EFI_STATUS status;
    const char16_t* shows;
  } cases[] = {
      {EfiMemoryMappedIO, kInMemory, 0, EFI_TIMEOUT, u"answers at memory 0x"},
      {EfiMemoryMappedIOPortSpace, kInMemory, 0, EFI_TIMEOUT, u"answers at memory 0x"},
      {EfiReservedMemoryType, kInMemory, 0, EFI_TIMEOUT, u"answers at memory 0x"},
      {EfiMaxMemoryType, kInMemory, 0, EFI_TIMEOUT, u"answers at memory 0x"},  // not listed
      {EfiConventionalMemory, kInMemory, 0, EFI_ACCESS_DENIED,
       u"by the firmware's memory map it is no device (type 7)."},
      {EfiRuntimeServicesData, kInMemory, 0, EFI_ACCESS_DENIED, u"is no device (type 6)."},
      {EfiMemoryMappedIO, 0xF9, 0, EFI_ACCESS_DENIED, u"I/O address 0xf8 is refused: ports below 0x100 belong"},
      {EfiMemoryMappedIO, 0x101, 0, EFI_NO_RESPONSE, u"answers at I/O 0x100"},
      {EfiMemoryMappedIO, 0xCF7, 0x10, EFI_ACCESS_DENIED, u"I/O address 0xcf7 is refused: ports 0xcf8 to 0xcff"},
      {EfiMemoryMappedIO, 0xCF7, 0x00, EFI_NO_RESPONSE, u"answers at I/O 0xcf6"},
      {EfiMemoryMappedIO, 0xCFF, 0x10, EFI_ACCESS_DENIED, u"I/O address 0xcff is refused: ports 0xcf8 to 0xcff"},
      {EfiMemoryMappedIO, 0xCF1, 0x80, EFI_NO_RESPONSE, u"answers at I/O 0xcf0"},
      {EfiMemoryMappedIO, 0xD01, 0x00, EFI_NO_RESPONSE, u"answers at I/O 0xd00"},
  };
  for (const auto& c : cases) {
    for (const bool by_hand : {false, true}) {
      SCOPED_TRACE(std::to_string(&c - cases) + (by_hand ? " by hand" : ""));
      Station station;
      const auto memory = simulation::Mapping::Low(EFI_PAGE_SIZE);
      memory.Data()[1] = 0x02;  // busy
      const auto page = reinterpret_cast<std::uintptr_t>(memory.Data());
      const std::uint64_t address = c.base == kInMemory ? page : c.base & ~1u;
      if (c.kind != EfiMaxMemoryType) station.machine.memory_map.push_back({c.kind, 0, page, 0, 1, 0});
      station.machine.memory_map_growths = 3;
      const simulation::SmbiosDevice smbios(
          station.machine,
          simulation::SmbiosTable().Add(38, 1, KcsAt(c.base == kInMemory ? page : c.base, c.modifier)));
      const std::uint64_t by_modifier = (c.modifier & 0x10) != 0 ? 1 : 0;
      const std::string option = std::string(c.base == kInMemory ? "memory=" : "io=") +
                                 std::to_string(address + by_modifier) +
                                 " spacing=" + std::to_string(c.modifier >> 6 == 2 ? 16 : 1);
      EXPECT_EQ(station.Load(by_hand ? simulation::Widen(option) : u""), c.status);
      EXPECT_TRUE(station.Shows(c.shows)) << simulation::Readable(station.machine.console.written);
      EXPECT_EQ(memory.Data()[0], 0);
      EXPECT_EQ(memory.Data()[1], 0x02);
    }
  }
}

// The protocol of the firmware, unless the port is forced.
TEST(IpmiKcs, GoesThroughTheFirmware) {
  Station station;
  KcsInterface kcs(0xCA2, [](const Bytes&) { return kDeviceId; });
  simulation::ManagementController controller;
  std::optional<simulation::FirmwareIpmiDevice> firmware(std::in_place, station.machine, controller);
  EXPECT_EQ(station.Load(u"port io=0xca2"), EFI_SUCCESS);
  EXPECT_TRUE(station.Shows(u"Management controller at I/O 0xca2"));
  EXPECT_TRUE(controller.log.empty());
  station.Unload();

  kcs.request.clear();
  ASSERT_EQ(station.Load(u"io=0xca2"), EFI_SUCCESS);
  EXPECT_TRUE(station.Shows(u"The address is not used: the firmware has an IPMI protocol."));
  EXPECT_TRUE(station.Shows(u"controller through the firmware's IPMI protocol"));
  EXPECT_EQ(station.Send({}, 0x06, 1), EFI_UNSUPPORTED);
  EXPECT_EQ(station.Receive(), EFI_NOT_READY);
  for (const std::uint32_t size : {0u, 600u}) {
    firmware->reported_size = size;
    EXPECT_EQ(station.Send({}, 0x06), EFI_SUCCESS);
    EXPECT_EQ(station.Receive(), size == 0 ? EFI_DEVICE_ERROR : EFI_SUCCESS);
  }
  controller.script.push_back({.kind = simulation::Misbehaviour::Kind::kSilence});
  EXPECT_EQ(station.Send({}, 0x06), EFI_TIMEOUT);
  EXPECT_EQ(station.Receive(), EFI_NOT_READY);
  station.Unload();
  EXPECT_EQ(station.Load(), EFI_TIMEOUT);
  EXPECT_TRUE(station.Shows(u"no management controller answers through the firmware's IPMI protocol (Time out)."));
  EXPECT_TRUE(kcs.request.empty());
}

TEST(IpmiKcs, PassesMessages) {
  const Bytes longest(510, 0xA5);
  const struct {
    Bytes request;
    std::uint8_t network_function;
    std::uint16_t lun;
    Bytes response;
    std::uint32_t capacity;
    EFI_STATUS send;
    EFI_STATUS receive;
    std::uint8_t completion_code;
    Bytes data;
  } cases[] = {
      {{0, 8, 0, 2}, 0x0A, 0, {0x2C, 0x11, 0, 2, 7, 9}, 100, EFI_SUCCESS, EFI_SUCCESS, 0, {2, 7, 9}},
      {{}, 0x30, 3, {0xC7, 0x11, 0xC0}, 100, EFI_SUCCESS, EFI_SUCCESS, 0xC0, {}},
      {{}, 0x0A, 0, {0x2C, 0x11, 0, 1, 2, 3}, 2, EFI_SUCCESS, EFI_SUCCESS, 0, {1, 2}},
      {{}, 0x0A, 0, {0x2C, 0x11, 0, 1, 2, 3}, 0, EFI_SUCCESS, EFI_SUCCESS, 0, {}},
      {longest, 0x0A, 0, {0x2C, 0x11, 0}, 100, EFI_SUCCESS, EFI_SUCCESS, 0, {}},
      {Bytes(511), 0x0A, 0, {}, 100, EFI_INVALID_PARAMETER, EFI_NOT_READY, 0, {}},
      {{}, 0x40, 0, {}, 100, EFI_INVALID_PARAMETER, EFI_NOT_READY, 0, {}},
      {{}, 0x0A, 4, {}, 100, EFI_INVALID_PARAMETER, EFI_NOT_READY, 0, {}},
      {{}, 0x0A, 0, {}, 100, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, {}},
      {{}, 0x0A, 0, {0x2C, 0x11}, 100, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, {}},
      {{}, 0x0A, 0, {0x28, 0x11, 0}, 100, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, {}},
      {{}, 0x0A, 0, {0x2C, 0x12, 0}, 100, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, {}},
      {{}, 0x0A, 0, Bytes(100'000, 0x2C), 100, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, {}},
  };
  Station station;
  Bytes response = kDeviceId;
  KcsInterface kcs(0xCA2, [&](const Bytes&) { return response; });
  ASSERT_EQ(station.Load(u"--io 0xca2"), EFI_SUCCESS);
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    response = c.response;
    station.data.fill(0xEE);
    station.completion_code = 0xEE;
    EXPECT_EQ(station.Send(c.request, c.network_function, c.lun), c.send);
    if (c.send == EFI_SUCCESS) {
      Bytes wire{static_cast<std::uint8_t>(c.network_function << 2 | c.lun), 0x11};
      wire.insert(wire.end(), c.request.begin(), c.request.end());
      EXPECT_EQ(kcs.request, wire);
    }
    EXPECT_EQ(station.Receive(c.capacity), c.receive);
    // Whoever tries a refused command again takes the length for the capacity.
    const bool has_data = c.receive == EFI_SUCCESS && c.completion_code == 0;
    EXPECT_EQ(station.length, has_data ? c.data.size() : c.capacity);
    EXPECT_EQ(station.completion_code, c.receive == EFI_SUCCESS ? c.completion_code : 0xEE);
    EXPECT_TRUE(std::equal(c.data.begin(), c.data.end(), station.data.begin()));
    EXPECT_EQ(station.data[c.data.size()], 0xEE);
    EXPECT_EQ(station.Receive(), EFI_NOT_READY);
  }
  response = {0xC7, 0x11, 0};
  station.Send({}, 0x30, 3);
  station.Receive();
  EXPECT_EQ(station.network_function, 0x31u);
  EXPECT_EQ(station.lun, 3u);
  EXPECT_EQ(station.command, 0x11u);
}

TEST(IpmiKcs, RefusesCallsWithoutABuffer) {
  Station station;
  KcsInterface kcs(0xCA2, Echo);
  ASSERT_EQ(station.Load(u"--io 0xca2"), EFI_SUCCESS);
  IpmiTransport& transport = *station.transport;
  EXPECT_EQ(transport.SendIpmiRequest(&transport, 0x0A, 0, 0x11, nullptr, 1), EFI_INVALID_PARAMETER);
  ASSERT_EQ(station.Send({1}), EFI_SUCCESS);
  std::uint8_t* const code = &station.completion_code;
  std::uint32_t length = 1;
  const auto receive = [&](std::uint8_t* completion_code, std::uint32_t* capacity) {
    return transport.ReceiveIpmiResponse(&transport, nullptr, nullptr, nullptr, completion_code, nullptr, capacity);
  };
  EXPECT_EQ(receive(nullptr, &length), EFI_INVALID_PARAMETER);
  EXPECT_EQ(receive(code, nullptr), EFI_INVALID_PARAMETER);
  EXPECT_EQ(receive(code, &length), EFI_INVALID_PARAMETER);
  length = 0;
  EXPECT_EQ(receive(code, &length), EFI_SUCCESS);
}

// A request of two data bytes is: start (0), four bytes, end of message at the
// last (4, 5), the response's header and data, each but the first asked for
// (6 to 10).
TEST(IpmiKcs, SurvivesWhatTheControllerDoes) {
  const struct {
    const char* what;
    KcsInterface::Script script;
    int latency;
    EFI_STATUS send;
    EFI_STATUS receive;
    std::uint64_t seconds;
    int aborted;
  } cases[] = {
      {"good", {}, 0, EFI_SUCCESS, EFI_SUCCESS, 0, 0},
      {"slow", {}, 500, EFI_SUCCESS, EFI_SUCCESS, 1, 0},
      {"a second a byte", {}, 100'000, EFI_SUCCESS, EFI_TIMEOUT, 6, 1},
      {"busy from the start", {Fault::kStaysBusy, 0}, 0, EFI_TIMEOUT, EFI_NOT_READY, 6, 0},
      {"busy in the request", {Fault::kStaysBusy, 3}, 0, EFI_TIMEOUT, EFI_NOT_READY, 6, 0},
      {"no response", {Fault::kStaysBusy, 5}, 0, EFI_SUCCESS, EFI_TIMEOUT, 6, 0},
      {"busy in the response", {Fault::kStaysBusy, 8}, 0, EFI_SUCCESS, EFI_TIMEOUT, 6, 0},
      {"no first byte", {Fault::kNoOutput, 5}, 0, EFI_SUCCESS, EFI_TIMEOUT, 5, 1},
      {"no further byte", {Fault::kNoOutput, 8}, 0, EFI_SUCCESS, EFI_TIMEOUT, 5, 1},
      {"no last byte", {Fault::kNoOutput, 10}, 0, EFI_SUCCESS, EFI_SUCCESS, 0, 0},
      {"error at the start", {Fault::kErrorState, 0}, 0, EFI_SUCCESS, EFI_SUCCESS, 0, 1},
      {"error in the request", {Fault::kErrorState, 3}, 0, EFI_SUCCESS, EFI_SUCCESS, 0, 1},
      {"error in a slow request", {Fault::kErrorState, 3}, 2, EFI_SUCCESS, EFI_SUCCESS, 1, 1},
      {"error at its end", {Fault::kErrorState, 4}, 0, EFI_SUCCESS, EFI_SUCCESS, 0, 1},
      {"error twice", {Fault::kErrorState, 3, 2}, 0, EFI_DEVICE_ERROR, EFI_NOT_READY, 0, 2},
      {"error for ever", {Fault::kErrorState, 3, 9, false}, 0, EFI_DEVICE_ERROR, EFI_NOT_READY, 0, 0},
      {"error instead of a response", {Fault::kErrorState, 5}, 0, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, 1},
      {"error in the response", {Fault::kErrorState, 8}, 0, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, 1},
      {"idle in the request", {Fault::kIdleState, 2}, 0, EFI_SUCCESS, EFI_SUCCESS, 0, 1},
      {"idle without a response", {Fault::kIdleState, 5}, 0, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, 0},
      {"idle after the header's half", {Fault::kIdleState, 7}, 0, EFI_SUCCESS, EFI_DEVICE_ERROR, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Station station;
    std::optional<KcsInterface> kcs(std::in_place, 0xCA2, Echo);
    kcs->attention = true;
    ASSERT_EQ(station.Load(u"--io 0xca2"), EFI_SUCCESS);
    kcs->script = c.script;
    kcs->latency = c.latency;
    station.machine.stalled_microseconds = 0;
    EXPECT_EQ(station.Send({5, 6}), c.send);
    EXPECT_EQ(station.Receive(), c.receive);
    EXPECT_EQ(kcs->aborted, c.aborted);
    EXPECT_EQ(kcs->lost, 0);
    EXPECT_LE(station.machine.stalled_microseconds, c.seconds * kSecond);

    // The controller starts again.
    kcs.reset();
    kcs.emplace(0xCA2, Echo);
    EXPECT_EQ(station.Send({5, 6}), EFI_SUCCESS);
    EXPECT_EQ(station.Receive(), EFI_SUCCESS);
    EXPECT_EQ(station.length, 2u);
  }
}

TEST(IpmiKcs, TakesOverAnUnfinishedTransfer) {
  Station station;
  KcsInterface kcs(0xCA2, [](const Bytes&) { return kDeviceId; });
  platform::WritePort(0xCA3, 0x61);
  platform::ReadPort(0xCA2);
  platform::WritePort(0xCA2, 0x18);
  EXPECT_EQ(station.Load(u"--io 0xca2"), EFI_SUCCESS);
  EXPECT_EQ(kcs.aborted, 1);
}

}  // namespace
