#include "testlib/flash_guard.h"

#include "platform/format.h"
#include "testlib/parameter_table.h"

namespace testlib {
namespace {

constexpr std::uint64_t kLastOfBlock = 0xFFFF;
constexpr std::uint64_t kTopOfFlash = 0xFFFF0000;

bool IsYes(const Parameter* parameter) {
  return parameter != nullptr && SameIgnoringCase(parameter->value.data(), u"YES");
}

}  // namespace

bool MayWriteFlash(std::uint32_t test, const ParameterStore& parameters, ErrorText& error) {
  const Parameter* const address = Find(parameters, u"FlashAddress");
  std::uint32_t start = 0;
  if (test != kGuidWriting || address == nullptr || !ParseNumber(address->value.data(), &start)) return true;
  if (start + kLastOfBlock < kTopOfFlash || IsYes(Find(parameters, kAllowTopOfFlashParameter))) return true;
  FormatText(
      error,
      "test %u would erase and rewrite the 64 KiB at FlashAddress 0x%x, and the processor starts in the block at 0xFFFF0000: a board that loses it starts no more. Give the address of the block that holds the GUID, or %s = YES when it is this one.",
      test, start, kAllowTopOfFlashParameter);
  return false;
}

}  // namespace testlib
