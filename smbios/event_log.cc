// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "smbios/event_log.h"

#include <span>

#include "pci/access.h"
#include "platform/byte_fields.h"
#include "platform/numbers.h"
#include "report/last_error.h"
#include "report/parameters.h"
#include "report/report.h"
#include "smbios/fields.h"

namespace mfgtest {
namespace {

constexpr std::uint8_t kEndOfLog = 0xFF;
constexpr std::uint32_t kMaskCount = 50;
constexpr std::size_t kMaskBytes = 80;
// Kept: a match is 0 and none is 2, as the routine is declared.
constexpr int kMatches = 0;
constexpr int kMatchesNone = 2;

// One record (DSP0134, "System Event Log" record format, with the platform's
// log data). The offset that reads it has 8 bits, so a log holds 16 records at
// most; one that has come around without an end is taken as ended.
constexpr int kRecordsInCycle = 16;
struct EventLogRecord {
  std::uint8_t event_type;
  std::uint8_t length;
  std::uint8_t year, month, day, hour, minute, second;  // BCD
  std::uint8_t source, error_type, subtype;             // indices in the low 4 bits
  std::uint8_t location[3];                             // socket, channel, DIMM; or bus, device, function
  std::uint8_t rest[2];

  // Source to rest as a little-endian number.
  std::uint64_t LogData() const { return platform::LittleEndian64(&source); }
};
static_assert(sizeof(EventLogRecord) == 16);
static_assert(offsetof(EventLogRecord, source) == 8);

constexpr const char16_t* kStandardEvents[] = {
    u"Reserved",
    u"Single-bit ECC memory error",
    u"Multi-bit ECC memory error",
    u"Parity memory error",
    u"Bus time-out",
    u"I/O Channel Check",
    u"Software NMI",
    u"POST Memory Resize",
    u"POST Error",
    u"PCI Parity Error",
    u"PCI System Error",
    u"CPU Failure",
    u"EISA FailSafe Timer time-out",
    u"Correctable memory log disabled",
    u"Logging disabled for a specific Event Type - too many errors of the same type received in a short amount of time",
    u"Reserved",
    u"System Limit Exceeded",
    u"Asynchronous hardware timer expired and issued a system reset",
    u"System configuration information",
    u"Hard-disk information",
    u"System reconfigured",
    u"Uncorrectable CPU-complex error",
    u"Log Area Reset/Cleared",
    u"System boot",
};
static_assert(std::size(kStandardEvents) == 0x18);

constexpr const char16_t* kOemEvents[] = {
    u"Unknown error", u"PCIE COR error", u"PCIE fatal error", u"PCIE non fatal error", u"Thermal trip error",
};

constexpr const char16_t* kSources[] = {u"Unknown", u"Memory", u"PCI", u"Thermal trip"};

constexpr const char16_t* kErrorTypes[] = {
    u"Unknown", u"Non fatal", u"Fatal",   u"COR",     u"Unknown", u"Unknown",
    u"Unknown", u"Unknown",   u"Unknown", u"Unknown", u"Unknown", u"Legacy",
};

constexpr const char16_t* kPcieCorrectable[] = {
    u"PCIE CORR RX error",
    u"PCIE CORR bad TLP",
    u"PCIE CORR bad DLLP",
    u"PCIE CORR replay number rollover",
    u"PCIE CORR replay timer timeout",
    u"PCIE CORR advisory NF error",
};

constexpr const char16_t* kPci[] = {u"Unknown", u"Unknown", u"Unknown", u"Unknown", u"PCI PERR", u"PCIE SERR"};

constexpr const char16_t* kPcieFatal[] = {
    u"PCIE fatal DL PROT",
    u"PCIE fatal SLD",
    u"PCIE fatal unexpected COMP",
    u"PCIE fatal unsupported request",
    u"PCIE fatal poison TLP",
    u"PCIE fatal flow control PROT",
    u"PCIE fatal COMP timeout",
    u"PCIE fatal COMP abort",
    u"PCIE fatal RX buffer overflow",
    u"PCIE_fatal ACS violation",
    u"PCIE fatal malformed TLP",
};

using TextTable = std::span<const char16_t* const>;

const char16_t* Decode(TextTable table, std::uint8_t index) { return index < table.size() ? table[index] : u"Unknown"; }

const char16_t* DecodeLow(TextTable table, std::uint8_t byte) { return Decode(table, byte & 0x0F); }

enum class MessageForm { kMemory, kBus, kShort };

struct Decoding {
  std::uint8_t event_type;
  MessageForm form;
  bool oem_event;
  TextTable subtypes;
};

// Kept: the memory errors are decoded with the PCIe subtypes.
constexpr Decoding kDecodings[] = {
    {0x01, MessageForm::kMemory, false, kPcieCorrectable},
    {0x02, MessageForm::kMemory, false, kPcieFatal},
    {0x03, MessageForm::kMemory, false, kPcieFatal},
    {0x09, MessageForm::kBus, false, kPci},
    {0x0A, MessageForm::kBus, false, kPci},
    {0x81, MessageForm::kBus, true, kPcieCorrectable},
    {0x82, MessageForm::kBus, true, kPcieFatal},
    {0x83, MessageForm::kBus, true, kPcieFatal},
    {0x84, MessageForm::kShort, true, {}},
};

void ReportShort(const EventLogRecord& record, const char16_t* event, const char16_t* source) {
  report::ReportError(ErrorCode::kUnexpectedEvent,
                      "System event log test failed. Log Data in HEX: %lx\nEvent type: %s. Error source: %s.\n",
                      record.LogData(), event, source);
}

void ReportDecoded(const EventLogRecord& record, const Decoding& decoding) {
  const char16_t* const event =
      decoding.oem_event ? DecodeLow(kOemEvents, record.event_type) : Decode(kStandardEvents, record.event_type);
  const char16_t* const source = DecodeLow(kSources, record.source);
  if (decoding.form == MessageForm::kShort) return ReportShort(record, event, source);
  const char16_t* const type = DecodeLow(kErrorTypes, record.error_type);
  const char16_t* const subtype = DecodeLow(decoding.subtypes, record.subtype);
  const auto& location = record.location;
  if (decoding.form == MessageForm::kMemory) {
    return report::ReportError(
        ErrorCode::kUnexpectedEvent,
        "System event log test failed. Log Data in HEX: %lx\nEvent type: %s. Error source: %s.\nError type: %s. Error subtype: %s.\nSocket: %02x Channel: %02x DIMM: %02x\n",
        record.LogData(), event, source, type, subtype, location[0], location[1], location[2]);
  }
  report::ReportError(
      ErrorCode::kUnexpectedEvent,
      "System event log test failed. Log Data in HEX: %lx\nEvent type: %s. Error source: %s.\nError type: %s. Error subtype: %s.\nBus: %02x Device: %02x Function: %02x\n",
      record.LogData(), event, source, type, subtype, location[0], location[1], location[2]);
}

void ReportUnexpected(const EventLogRecord& record) {
  for (const Decoding& decoding : kDecodings) {
    if (decoding.event_type == record.event_type) return ReportDecoded(record, decoding);
  }
  if (record.event_type >= std::size(kStandardEvents)) return ReportShort(record, u"Unknown error", u"Unknown");
  ReportShort(record, Decode(kStandardEvents, record.event_type), DecodeLow(kSources, record.source));
}

// Reads the log byte by byte. Whatever its access method says, the log is
// memory-mapped. A failed read leaves the byte that stood in the record.
struct LogReader {
  std::uint32_t base;
  std::uint8_t offset;

  void Peek(std::uint8_t* byte) const { (void)MemReadByte(base, offset, byte); }

  void Read(EventLogRecord* record) {
    auto* const bytes = reinterpret_cast<std::uint8_t*>(record);
    for (std::size_t i = 0; i < sizeof *record; ++i) {
      Peek(&bytes[i]);
      ++offset;
    }
  }
};

void ShowStructure(const SmbiosStructure& log) {
  report::DebugPrint(kDebugProgress, "\nStructure Header:");
  report::DebugPrint(kDebugProgress, "\nType: 0x%x   ", log.Type());
  report::DebugPrint(kDebugProgress, "\nAccessMethod: 0x%x", log.Byte(fields::event_log::kAccessMethod));
  report::DebugPrint(kDebugProgress, "\nAccessMethodAddress: 0x%x", log.Dword(fields::event_log::kAccessMethodAddress));
  report::DebugPrint(kDebugProgress, "\nLogDataStartOffset: 0x%x\n", log.Word(fields::event_log::kLogDataStartOffset));
  const unsigned descriptors = log.Byte(fields::event_log::kDescriptorCount);
  for (unsigned i = 0; i < descriptors; ++i) {
    report::DebugPrint(kDebugProgress, "EventLogType Supported: 0x%x\n",
                       log.Byte(fields::event_log::kDescriptors + 2 * i));
  }
}

void ShowRecord(const EventLogRecord& record) {
  report::DebugPrint(kDebugProgress, "\nEventType: %x\n", record.event_type);
  report::DebugPrint(kDebugProgress, "Length: %x\n", record.length);
  std::array<char16_t, 32> date;
  FormatText(date, "Date: %02x\\%02x\\%02x", record.year, record.month, record.day);
  report::DebugPrint(kDebugProgress, "%s\n", date.data());
  report::DebugPrint(kDebugProgress, "Time: %02x:%02x:%02x\n", record.hour, record.minute, record.second);
  report::DebugPrint(kDebugProgress, "OEMData: %lx\n", record.LogData());
}

bool VerifyRecords(LogReader reader) {
  EventLogRecord record{};
  reader.Peek(&record.event_type);
  if (record.event_type == kEndOfLog) {
    report::LogMessage("No events log found.\n");
    return true;
  }
  for (int records = 0; records < kRecordsInCycle; ++records) {
    reader.Read(&record);
    if (record.event_type == kEndOfLog) return true;
    ShowRecord(record);
    if (MatchEventMask(record.LogData()) == kMatches) continue;
    ReportUnexpected(record);
    return false;
  }
  return true;
}

}  // namespace

bool VerifyEventLog(Mode mode) {
  SmbiosStructure log;
  const bool found = GetSmbiosStructure(fields::event_log::kType, 0, &log);
  if (mode == Mode::kProbe) return found;
  if (!found) {
    report::ReportError(ErrorCode::kSmbiosStructureMissing, "\nFailed to get SMBIOS System Structure.\n%s\n",
                        LastError());
    return false;
  }
  ShowStructure(log);
  return VerifyRecords({.base = log.Dword(fields::event_log::kAccessMethodAddress),
                        .offset = static_cast<std::uint8_t>(log.Word(fields::event_log::kLogDataStartOffset))});
}

int MatchEventMask(std::uint64_t log_data) {
  std::array<std::uint64_t, kMaskCount> masks;
  std::uint32_t count = 0;
  for (; count < kMaskCount; ++count) {
    std::array<char16_t, 16> name;
    std::array<char16_t, kMaskBytes + 1> text{};
    FormatText(name, "Event_Mask_%02d", count);
    if (ReadText(name.data(), text.data(), kMaskBytes) != ParameterResult::kRead) break;
    masks[count] = platform::HexadecimalNumber(text.data());
    report::DebugPrint(kDebugProgress, "Event_Mask_%02d: %lx\n", count, masks[count]);
  }
  while (count > 0) {
    if (masks[--count] == log_data) return kMatches;
  }
  return kMatchesNone;
}

}  // namespace mfgtest
