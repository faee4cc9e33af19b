#include "smbios/memory_devices.h"

#include <algorithm>

#include "module/last_error.h"
#include "module/report.h"
#include "module/text.h"
#include "smbios/structures.h"

namespace mfgtest {
namespace {

constexpr std::uint8_t kMemoryArrayType = 16;
constexpr std::uint8_t kMemoryDeviceType = 17;
// A structure's index has 8 bits; a table has no more of a type.
constexpr std::uint32_t kIndexEnd = 256;

constexpr UINTN kLocatorLength = 128;
constexpr std::size_t kReplacedCharacters = 15;
using Text = std::array<char16_t, 256>;

struct MemoryDevice {
  std::uint32_t index;
  SmbiosString device_locator;
  SmbiosString bank_locator;
  std::uint16_t size;   // MB
  std::uint16_t speed;  // MHz
};

// What the parameters of a slot expect.
struct ExpectedDevice {
  Text device_locator{};
  Text bank_locator{};
  std::uint16_t speed = 0;
  std::uint16_t size = 0;
};

// The name of a slot's parameter or result.
struct SlotKey {
  SlotKey(CheckedFormat<std::uint32_t> format, std::uint32_t index) { FormatText(buffer, format, index); }
  const char16_t* Text() const { return buffer.data(); }

  std::array<char16_t, 64> buffer;
};

struct SlotKeys {
  explicit SlotKeys(std::uint32_t index)
      : device_locator("Memory%d_DeviceLocator", index),
        bank_locator("Memory%d_BankLocator", index),
        speed("Memory%d_Speed", index),
        size("Memory%d_Size", index) {}

  SlotKey device_locator;
  SlotKey bank_locator;
  SlotKey speed;
  SlotKey size;
};

// What the station shows for a module of this speed and size.
struct ModuleName {
  std::uint16_t speed;  // and the next one
  std::uint16_t size;
  const char16_t* text;
};

// Kept: the 4GB module of the fastest row goes by a size of 3072 MB.
constexpr ModuleName kModuleNames[] = {
    {800, 1024, u"1GB 800"},   {800, 2048, u"2GB 800"},   {800, 4096, u"4GB 800"},   {800, 8192, u"8GB 800"},
    {1066, 1024, u"1GB 1066"}, {1066, 2048, u"2GB 1066"}, {1066, 4096, u"4GB 1066"}, {1066, 8192, u"8GB 1066"},
    {1333, 1024, u"1GB 1333"}, {1333, 2048, u"2GB 1333"}, {1333, 4096, u"4GB 1333"}, {1333, 8192, u"8GB 1333"},
    {1600, 1024, u"1GB 1600"}, {1600, 2048, u"2GB 1600"}, {1600, 3072, u"4GB 1600"}, {1600, 8192, u"8GB 1600"},
};

const char16_t* FindModuleName(const MemoryDevice& device) {
  if (device.speed == 0) return u"Empty";
  for (const ModuleName& name : kModuleNames) {
    const bool same_speed = device.speed == name.speed || device.speed == name.speed + 1;
    if (same_speed && device.size == name.size) return name.text;
  }
  return nullptr;
}

void ShowHeader(const SmbiosStructure& structure) {
  report::DebugPrint(kDebugProgress, "\nStructure Header:");
  report::DebugPrint(kDebugProgress, "\nType: %d  ", structure.Type());
  report::DebugPrint(kDebugProgress, "Len: 0x%x  \n", structure.Length());
}

std::uint32_t CountDevices() {
  std::uint32_t total = 0;
  std::uint32_t index = 0;
  SmbiosStructure array;
  for (; index < kIndexEnd && GetSmbiosStructure(kMemoryArrayType, static_cast<std::uint8_t>(index), &array); ++index) {
    ShowHeader(array);
    total += array.Word(0x0D);
  }
  report::DebugPrint(kDebugProgress, "SMBIOS Physical Memory Array Structure Type 16, Index %d not found\n", index);
  report::DebugPrint(kDebugTrace, "TotalMemDev: %d  \n", total);
  return total;
}

bool FindDevice(std::uint32_t index, SmbiosStructure* structure) {
  if (index < kIndexEnd) return GetSmbiosStructure(kMemoryDeviceType, static_cast<std::uint8_t>(index), structure);
  SetLastError("No Structure Type %d, Index %d, found.\n", kMemoryDeviceType, index);
  return false;
}

bool ReadDevice(std::uint32_t index, MemoryDevice* device) {
  SmbiosStructure structure;
  if (!FindDevice(index, &structure)) {
    report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS Memory Device Structure.\n%s\n",
                        LastError());
    return false;
  }
  ShowHeader(structure);
  SmbiosStrings strings;
  CollectStructureStrings(structure, &strings);
  device->index = index;
  CopyChars(device->device_locator.data(), strings.Numbered(structure.Byte(0x10)), kSmbiosStringCharacters - 1);
  CopyChars(device->bank_locator.data(), strings.Numbered(structure.Byte(0x11)), kSmbiosStringCharacters - 1);
  device->size = structure.Word(0x0C);
  device->speed = structure.Word(0x15);
  report::DebugPrint(kDebugTrace, "Device Locator: %s Bank Locator: %s\n", device->device_locator.data(),
                     device->bank_locator.data());
  report::DebugPrint(kDebugTrace, "Memory Speed: %d MHz Memory Size: %d MB\n", device->speed, device->size);
  return true;
}

bool FailOnParameter(const SlotKey& key) {
  report::ReportError(ErrorCode::kParameterUnreadable, "\r\nFailed to get param: %s\r\n", key.Text());
  return false;
}

bool ReadText(const SlotKey& key, Text& value) {
  return TestLib->GetParamString(key.Text(), value.data(), kLocatorLength) == kTestLibrarySuccess ||
         FailOnParameter(key);
}

// Speeds and sizes have 16 bits; the rest of a parameter is ignored.
bool ReadNumber(const SlotKey& key, std::uint16_t* value) {
  std::uint32_t number = 0;
  if (TestLib->GetParamNumber(key.Text(), &number) != kTestLibrarySuccess) return FailOnParameter(key);
  *value = static_cast<std::uint16_t>(number);
  return true;
}

bool ReadExpected(std::uint32_t index, ExpectedDevice* expected) {
  const SlotKeys keys(index);
  return ReadText(keys.device_locator, expected->device_locator) &&
         ReadText(keys.bank_locator, expected->bank_locator) && ReadNumber(keys.speed, &expected->speed) &&
         ReadNumber(keys.size, &expected->size);
}

bool VerifySpeed(const MemoryDevice& device, const ExpectedDevice& expected) {
  Text reason;
  std::uint32_t tolerance = 0;
  if (TestLib->GetParamNumber(u"Memory_Speed_Tolerance", &tolerance) != kTestLibrarySuccess) {
    if (device.speed == expected.speed) return true;
    FormatText(reason, "Expected: %d MHz Received: %d MHz", expected.speed, device.speed);
  } else {
    const int allowed = static_cast<std::uint16_t>(tolerance);
    const int least = expected.speed - allowed;
    const int most = expected.speed + allowed;
    if (least <= device.speed && device.speed <= most) return true;
    FormatText(reason, "Expected: %d MHz to %d MHz Received: %d MHz", least, most, device.speed);
  }
  report::ReportError(ErrorCode::kMemoryDeviceMismatch, "\r\n%s memory speed test failed.\n%s\r\n",
                      expected.device_locator.data(), reason.data());
  return false;
}

bool VerifyDevice(const MemoryDevice& device) {
  ExpectedDevice expected;
  if (!ReadExpected(device.index, &expected)) return false;
  report::DebugPrint(kDebugTrace, "Verifying Memory Device %d... \n", device.index);
  const char16_t* const locator = expected.device_locator.data();
  if (!SameText(locator, device.device_locator.data())) {
    report::ReportError(ErrorCode::kMemoryDeviceMismatch,
                        "\r\nMemory device %d device locator mismatch. Expected: %s Received: %s\r\n", device.index,
                        locator, device.device_locator.data());
    return false;
  }
  if (!SameText(expected.bank_locator.data(), device.bank_locator.data())) {
    report::ReportError(ErrorCode::kMemoryDeviceMismatch,
                        "\r\nMemory device %d bank locator mismatch. Expected: %s Received: %s\r\n", device.index,
                        expected.bank_locator.data(), device.bank_locator.data());
    return false;
  }
  if (device.size != expected.size) {
    Text reason;
    FormatText(reason, "Expected: %d MB Received: %d MB", expected.size, device.size);
    report::ReportError(ErrorCode::kMemoryDeviceMismatch, "\r\n%s memory size mismatch.\n%s\r\n", locator,
                        reason.data());
    return false;
  }
  return VerifySpeed(device, expected);
}

void PublishDevice(const MemoryDevice& device) {
  const SlotKeys keys(device.index);
  TestLib->SetResultString(keys.device_locator.Text(), device.device_locator.data());
  TestLib->SetResultString(keys.bank_locator.Text(), device.bank_locator.data());
  TestLib->SetResultNumber(keys.speed.Text(), device.speed);
  TestLib->SetResultNumber(keys.size.Text(), device.size);

  const char16_t* const value = FindModuleName(device);
  if (value == nullptr) return;
  SmbiosString label = device.device_locator;
  std::replace(label.begin(), label.begin() + kReplacedCharacters, u'_', u' ');
  Text key;
  FormatText(key, "display.cfg:%s", label.data());
  TestLib->SetResultString(key.data(), value);
}

}  // namespace

bool VerifyMemoryDevices(bool publish) {
  const std::uint32_t total = CountDevices();
  for (std::uint32_t index = 0; index < total; ++index) {
    MemoryDevice device{};
    if (!ReadDevice(index, &device)) return false;
    if (publish) {
      PublishDevice(device);
    } else if (!VerifyDevice(device)) {
      return false;
    }
  }
  return true;
}

}  // namespace mfgtest
