#include "guid/guid_writing.h"

#include <algorithm>
#include <cstring>

#include "guid/builder.h"
#include "guid/flash.h"
#include "module/last_error.h"
#include "module/report.h"
#include "platform/collation.h"
#include "platform/memory.h"

namespace mfgtest {
namespace {

constexpr UINTN kChoiceLength = 64;
constexpr UINTN kGuidTextLength = 128;

// One byte more than a block and the worst alignment of the pool take.
constexpr std::size_t kCopyBytes = kFlashBlockBytes + 16;

void ShowBytes(const std::uint8_t* bytes) {
  for (std::size_t i = 0; i < kGuidBytes; ++i) report::DebugPrint(kDebugProgress, " %02.2x,", bytes[i]);
  report::DebugPrint(kDebugProgress, "\r\n");
}

bool GuidIsSpecified() {
  std::array<char16_t, kChoiceLength + 1> choice{};
  return TestLib->GetParamString(u"SPECIFY_A_GUID", choice.data(), kChoiceLength) == kTestLibrarySuccess &&
         platform::EqualIgnoringCase(choice.data(), u"YES");
}

// Kept: a given GUID is written as an EFI_GUID lies in memory, while a built one
// is in network order.
bool TakeSpecifiedGuid(RawGuid* guid) {
  std::array<char16_t, kGuidTextLength + 1> text{};
  if (TestLib->GetParamString(u"GUID_TO_WRITE", text.data(), kGuidTextLength) != kTestLibrarySuccess) {
    report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: GUID_TO_WRITE\r\n");
    return false;
  }
  report::DebugPrint(kDebugProgress, "GUID_TO_WRITE param string=%s\r\n", text.data());
  EFI_GUID parsed;
  if (!StrToGuid(text.data(), &parsed)) {
    report::ReportError(ErrorCode::kGuidTextInvalid, "\r\nFailed to convert the String to GUID.\r\n%s\r\n",
                        LastError());
    return false;
  }
  std::memcpy(guid->data(), &parsed, sizeof parsed);
  return true;
}

bool BuildNewGuid(RawGuid* guid) {
  report::DebugPrint(kDebugProgress, "Creating a GUID.\r\n");
  if (BuildGuid(guid)) return true;
  report::ReportError(ErrorCode::kGuidNotBuilt, "\r\nFailed to build GUID.%s\r\n", LastError());
  return false;
}

// Gives false when the write failed. Kept: the test counts a successful one as
// failed all the same.
bool WriteThroughInterface(ManufacturingInterface* interface, RawGuid& guid) {
  report::DebugPrint(kDebugProgress, "MfgInterface Protocol detected.\r\n");
  report::DisplayPrint("Writing GUID. Please wait...\r\n");
  const EFI_STATUS status = interface->WriteGuid(interface, 0, guid.data(), nullptr);
  if (!EFI_ERROR(status)) return true;
  report::ReportError(ErrorCode::kGuidWriteFailed, "\r\nError in Writing efiGuid.Status=%d\r\n",
                      static_cast<std::uint32_t>(status));
  return false;
}

struct FlashPlace {
  std::uint32_t block;
  std::uint32_t offset;

  std::uint32_t GuidAddress() const { return block + offset; }
  const std::uint8_t* Guid() const { return platform::PhysicalMemory(GuidAddress()); }
};

bool FindPlace(FlashPlace* place) {
  if (!RequireFlashParameter(u"FlashAddress", &place->block)) return false;
  if (!RequireFlashParameter(u"GuidOffsetInFlash", &place->offset)) return false;
  if (place->offset <= kFlashBlockBytes - kGuidBytes) return true;
  report::ReportError(ErrorCode::kParameterUnreadable, "\r\nGuidOffsetInFlash 0x%x is outside of the flash block.\r\n",
                      place->offset);
  return false;
}

bool EraseAndWrite(const FlashPlace& place, const std::uint8_t* block) {
  const std::uint64_t erased = SmiEraseBlock(place.block);
  if (erased != 0) {
    report::ReportError(ErrorCode::kFlashRequestFailed, "\r\nFailed call to SmiEraseBlock() - status = %x\r\n",
                        static_cast<std::uint32_t>(erased));
    return false;
  }
  report::DebugPrint(kDebugProgress, "Erase Completed\r\nFlash values at %08.8x: ", place.GuidAddress());
  ShowBytes(place.Guid());
  const std::uint64_t written = SmiWriteBlock(place.block, block, kFlashBlockBytes);
  if (written != 0) {
    report::ReportError(ErrorCode::kFlashRequestFailed, "\r\nFailed call to SmiWriteBlock() - status = %x\r\n",
                        static_cast<std::uint32_t>(written));
    return false;
  }
  report::DebugPrint(kDebugProgress, "Write completed\r\nFlash values at %08.8x: ", place.GuidAddress());
  ShowBytes(place.Guid());
  return true;
}

bool WriteToFlash(const FlashPlace& place, const RawGuid& guid) {
  report::DebugPrint(kDebugProgress, "Writing GUID via SMI. (flash@0x%08.8x) Please wait...\r\n", place.block);
  report::DebugPrint(kDebugProgress, "Flash values at %08.8x: ", place.GuidAddress());
  ShowBytes(place.Guid());
  const platform::PoolBuffer copy = platform::AllocatePool(kCopyBytes);
  if (copy.data == nullptr) {
    report::ReportError(ErrorCode::kGuidWriteFailed, "WriteGuid()::malloc(flashCopyBlock) failed\r\n");
    return false;
  }
  const auto start = reinterpret_cast<std::uintptr_t>(copy.data);
  auto* const block = static_cast<std::uint8_t*>(copy.data) + (16 - start % 16);
  std::copy_n(platform::PhysicalMemory(place.block), kFlashBlockBytes, block);
  std::ranges::copy(guid, block + place.offset);
  report::DebugPrint(kDebugProgress, "Buf vals before erase  : ");
  ShowBytes(block + place.offset);
  return EraseAndWrite(place, block);
}

bool Close(bool written) {
  report::DebugPrint(kDebugProgress, "WriteGuid returning %s.\r\n", written ? u"TRUE" : u"FALSE");
  return written;
}

}  // namespace

bool WriteGuid() {
  RawGuid guid{};
  if (!(GuidIsSpecified() ? TakeSpecifiedGuid(&guid) : BuildNewGuid(&guid))) return false;
  report::DebugPrint(kDebugProgress, "BuildGUID generated (all byte swapping completed): ");
  for (const std::uint8_t byte : guid) report::DebugPrint(kDebugProgress, "%02x ", byte);
  report::DebugPrint(kDebugProgress, "\n");

  if (ManufacturingInterface* const interface = FindManufacturingInterface()) {
    return WriteThroughInterface(interface, guid) && Close(false);
  }
  FlashPlace place{};
  if (!FindPlace(&place)) return false;
  return Close(WriteToFlash(place, guid));
}

}  // namespace mfgtest
