// The simulated machine notices what real firmware would not forgive.
#include "simulation/machine.h"

#include <gtest/gtest.h>

#include "simulation/fault.h"

namespace {

// Counts faults for the life of a test.
struct FaultCounter {
  FaultCounter() {
    simulation::fault_handler = [](const std::string&) { ++count; };
  }
  ~FaultCounter() { simulation::fault_handler = usual_; }

  static inline int count = 0;

 private:
  simulation::FaultHandler usual_ = simulation::fault_handler;
};

TEST(Machine, NoticesBadFreesAndUnprovidedServices) {
  const FaultCounter faults;
  simulation::Machine machine;
  EFI_BOOT_SERVICES& services = *machine.system_table.BootServices;
  void* block = nullptr;
  ASSERT_EQ(services.AllocatePool(EfiLoaderData, 16, &block), EFI_SUCCESS);
  EXPECT_NE(*static_cast<char*>(block), 0);
  EXPECT_EQ(machine.memory.Outstanding(), 1u);
  EXPECT_EQ(services.FreePool(block), EFI_SUCCESS);
  EXPECT_EQ(machine.memory.Outstanding(), 0u);
  EXPECT_EQ(FaultCounter::count, 0);

  EXPECT_TRUE(EFI_ERROR(services.FreePool(block)));
  EXPECT_EQ(FaultCounter::count, 1);
  EXPECT_TRUE(EFI_ERROR(services.GetNextMonotonicCount(nullptr)));
  EXPECT_EQ(FaultCounter::count, 2);
  EXPECT_TRUE(EFI_ERROR(services.CloseEvent(nullptr)));
  EXPECT_EQ(FaultCounter::count, 3);
  EXPECT_TRUE(EFI_ERROR(services.FreePages(0x5000, 1)));
  EXPECT_EQ(FaultCounter::count, 4);
}

TEST(Machine, PagesComeFromBelowTheLimit) {
  simulation::Machine machine;
  EFI_BOOT_SERVICES& services = *machine.system_table.BootServices;
  for (const EFI_PHYSICAL_ADDRESS limit : {0xFFFFFull, 0xFFFFFFull, 0xFFFFFFFFull}) {
    EFI_PHYSICAL_ADDRESS address = limit;
    ASSERT_EQ(services.AllocatePages(AllocateMaxAddress, EfiLoaderData, 3, &address), EFI_SUCCESS);
    EXPECT_EQ(address % EFI_PAGE_SIZE, 0u);
    EXPECT_LE(address + 3 * EFI_PAGE_SIZE - 1, limit);
    EFI_PHYSICAL_ADDRESS taken = address;
    EXPECT_EQ(services.AllocatePages(AllocateAddress, EfiLoaderData, 1, &taken), EFI_NOT_FOUND);
    EXPECT_EQ(services.FreePages(address, 3), EFI_SUCCESS);
  }
  EXPECT_EQ(machine.memory.Outstanding(), 0u);
}

}  // namespace
