// SPDX-License-Identifier: BSD-2-Clause-Patent
// A simulated machine that is what the data tells.
#pragma once

#include <list>

#include "replay/machine_data.h"
#include "simulation/collation.h"
#include "simulation/firmware_memory.h"
#include "simulation/flash.h"
#include "simulation/ipmi_device.h"
#include "simulation/machine.h"
#include "simulation/manufacturing_interface.h"
#include "simulation/modern_shell.h"
#include "simulation/network.h"
#include "simulation/pci_bus.h"

namespace replay {

struct ReplayedMachine {
  explicit ReplayedMachine(const MachineData& data);
  ReplayedMachine(const ReplayedMachine&) = delete;
  ReplayedMachine& operator=(const ReplayedMachine&) = delete;

  simulation::Machine machine;
  simulation::Collation collation{machine, kUnicodeCollation2ProtocolGuid};
  simulation::ModernShell shell{machine};
  simulation::FirmwareMemory tables{machine};
  simulation::ManagementController controller;
  std::optional<simulation::IpmiDevice> ipmi;
  std::list<simulation::NetworkController> networks;
  std::optional<simulation::RootBridge> root_bridge;
  std::optional<simulation::Flash> flash;
  std::optional<simulation::GuidStore> guid_store;
  // The tests need a bridge to them.
  bool has_newer_tables_only = false;

 private:
  void AddSmbios(const SmbiosData& smbios);
  void AddAcpi(const AcpiData& acpi);
  void AddController(const ControllerData& data);
  void AddPci(const MachineData& data);
};

}  // namespace replay
