// The standard server: one on which every test finds what it looks for, with
// the parameters of the station file, and the runs that do real work on it.
// What is to hold for every test alike is tried on them.
#pragma once

#include <list>
#include <map>
#include <span>

#include "simulation/acpi_tables.h"
#include "simulation/firmware_ipmi.h"
#include "simulation/flash.h"
#include "simulation/ipmi_device.h"
#include "simulation/manufacturing_interface.h"
#include "simulation/network.h"
#include "simulation/pci_bus.h"
#include "simulation/station.h"

namespace simulation {

// One test, and how it differs from the station file.
struct ReferenceRun {
  std::uint32_t test;
  const char* name;
  std::map<std::u16string, std::u16string> parameters{};
  std::vector<std::u16string> answers{};
  // Whether firmware keeps the system GUID behind the manufacturing interface.
  bool has_guid_store = false;
  // The controller's answer to the OEM query.
  std::optional<std::uint8_t> oem_code{};
};

// Every test at least once, each by all its methods that can pass: behind a
// backplane's controller, test 39 cannot.
std::span<const ReferenceRun> ReferenceRuns();

// The FRU devices of its management controller, as a controller file.
const std::string& ReferenceController();

// What the server's firmware offers in the newer form only.
struct NewerFirmware {
  bool smbios = false;  // a 64-bit entry point
  bool acpi = false;    // an XSDT
  bool ipmi = false;    // its own IPMI protocol
};

struct ReferenceServer {
  explicit ReferenceServer(const ReferenceRun& run, const NewerFirmware& newer = {});

  std::vector<std::string> Run() { return station.Run(run.test); }

  const ReferenceRun& run;
  Station station;
  ManagementController controller;
  // One of the two.
  std::optional<IpmiDevice> ipmi;
  std::optional<FirmwareIpmiDevice> firmware_ipmi;
  std::list<NetworkController> networks;
  RootBridge root_bridge{station.machine};
  Flash flash{station.machine};
  AcpiDevice acpi;
  std::optional<GuidStore> guid_store;
};

}  // namespace simulation
