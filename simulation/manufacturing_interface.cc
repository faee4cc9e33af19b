// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/manufacturing_interface.h"

#include <algorithm>

#include "simulation/fault.h"
#include "simulation/injection.h"

namespace simulation {
namespace {

constexpr std::array kNames = {"ManufacturingInterface slot 0", "ManufacturingInterface slot 1",
                               "ManufacturingInterface WriteGuid", "ManufacturingInterface ReadGuid"};
static_assert(kNamesEverySlot<kNames, sizeof(ManufacturingInterface)>);

void CheckArguments(std::uint32_t index, const void* reserved) {
  if (index != 0 || reserved != nullptr) Fault("the manufacturing interface wants index 0 and nothing else");
}

EFI_STATUS EFIAPI WriteGuid(ManufacturingInterface* self, std::uint32_t index, std::uint8_t* guid, void* reserved) {
  CheckArguments(index, reserved);
  Machine::Current().NoteWrite("WriteGuid");
  if (const Failure failure = Fails("WriteGuid", kOfSettings)) return failure;
  auto& store = *static_cast<GuidStore*>(self);
  if (!EFI_ERROR(store.write_status)) std::copy_n(guid, store.guid.size(), store.guid.begin());
  return store.write_status;
}

EFI_STATUS EFIAPI ReadGuid(ManufacturingInterface* self, std::uint32_t index, std::uint8_t* guid, void* reserved) {
  CheckArguments(index, reserved);
  if (const Failure failure = Fails("ReadGuid", kOfDevices)) return failure;
  const auto& store = *static_cast<const GuidStore*>(self);
  if (!EFI_ERROR(store.read_status)) std::ranges::copy(store.guid, guid);
  return store.read_status;
}

}  // namespace

GuidStore::GuidStore(Machine& machine) : ManufacturingInterface{}, machine_(machine) {
  ManufacturingInterface* const table = this;
  FillWithRefusals<kNames>(table);
  table->WriteGuid = simulation::WriteGuid;
  table->ReadGuid = simulation::ReadGuid;
  handle_ = machine.handles.Install(kManufacturingInterfaceProtocolGuid, table);
}

GuidStore::~GuidStore() {
  machine_.handles.Uninstall(handle_, kManufacturingInterfaceProtocolGuid, static_cast<ManufacturingInterface*>(this));
}

}  // namespace simulation
