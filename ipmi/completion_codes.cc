// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "ipmi/completion_codes.h"

#include <span>

namespace mfgtest {
namespace {

struct CodeText {
  std::uint8_t code;
  const char16_t* text;
};

// A list that goes on into another one, when it has one to go on into.
struct CodeList {
  std::span<const CodeText> entries;
  const CodeList* next = nullptr;
};

// The commands of one network function, first to last, that share a list.
struct CommandRange {
  std::uint8_t net_function;
  std::uint8_t first_command;
  std::uint8_t last_command;
  const CodeList* list;
};

constexpr CodeText kGenericCodes[] = {
    {0xFF, u"Unspecified Error"},
    {0xC0, u"Node Busy"},
    {0xC1, u"Invalid Command"},
    {0xC2, u"Command Invalid for LUN"},
    {0xC3, u"Timeout. Response Unavailable"},
    {0xC4, u"Out of Storage Space"},
    {0xC5, u"Reservation ID Canceled or Invalid"},
    {0xC6, u"Request Data Truncated"},
    {0xC7, u"Request Data Length Invalid"},
    {0xC8, u"Request Data Field Length Limit Exceeded"},
    {0xC9, u"Parameter Out of Range"},
    {0xCA, u"Cannot Return Requested Data Bytes"},
    {0xCB, u"Requested Sensor/Data/Record Not Present"},
    {0xCC, u"Invalid Data Field in Request"},
    {0xCD, u"Command Illegal for Sensor/Record Type"},
    {0xCE, u"Command Response Cannot Be Provided"},
    {0xCF, u"Cannot Execute Duplicated Request"},
    {0xD0, u"No Response, SDR in Update Mode"},
    {0xD1, u"No Response, Device in FW Update Mode"},
    {0xD2, u"No Response, BMC Initialization In Progress"},
    {0xD3, u"Destination Unavailable"},
    {0xD4, u"Insufficient Privilege Level to Execute Command"},
    {0xD5, u"Command/Request Parameter Not Supported"},
};

constexpr CodeText kPefCodes[] = {
    {0x80, u"Parameter Not supported"},
    {0x81, u"Another Party Has Already Claimed the Parameter"},
    {0x82, u"Attempt to Write Read-Only Parameter"},
    {0x83, u"Attempt to Read Write-Only Parameter"},
};

constexpr CodeText kEventLogCodes[] = {
    {0x80, u"Operation Not supported"},
    {0x81, u"SEL Erase In Progress"},
};

constexpr CodeText kMasterWriteReadCodes[] = {
    {0x81, u"Lost Arbitration"},
    {0x82, u"Bus Error"},
    {0x83, u"NAK on Write"},
    {0x84, u"Truncated Read"},
};

constexpr CodeText kSendMessageCodes[] = {
    {0x80, u"Invalid Session Handle"},
    {0x81, u"Lost Arbitration"},
    {0x82, u"Bus Error"},
    {0x83, u"NAK on Write"},
};

constexpr CodeText kGetMessageCodes[] = {
    {0x80, u"data not available - queue/buffer empty"},
};

constexpr CodeText kLanParameterCodes[] = {
    {0x80, u"Parameter not supported"},
    {0x81, u"Attempt to set the ‘set in progress’ value (in parameter #0) when not in the ‘set complete’ state"},
    {0x82, u"Attempt to write read-only parameter"},
    {0x83, u"Attempt to read write-only parameter"},
};

constexpr CodeText kFirmwareCodes[] = {
    {0x81, u"Address not in flash"},
};

constexpr CodeText kChannelAccessCodes[] = {
    {0x82, u"Set not supported on selected channel"},
    {0x83, u"Access mode not supported"},
};

constexpr CodeText kUserPasswordCodes[] = {
    {0x80, u"Password test failed. Password size correct but password data does not match stored value"},
    {0x81, u"Password test failed. Wrong password size was used"},
};

constexpr CodeList kPef{kPefCodes};
constexpr CodeList kEventLog{kEventLogCodes};
constexpr CodeList kMasterWriteRead{kMasterWriteReadCodes};
constexpr CodeList kSendMessage{kSendMessageCodes};
constexpr CodeList kGetMessage{kGetMessageCodes};
constexpr CodeList kLanParameter{kLanParameterCodes};
// Kept: these three are one run, each list going on into the next.
constexpr CodeList kUserPassword{kUserPasswordCodes};
constexpr CodeList kChannelAccess{kChannelAccessCodes, &kUserPassword};
constexpr CodeList kFirmware{kFirmwareCodes, &kChannelAccess};

constexpr CommandRange kCommandLists[] = {
    {0x04, 0x12, 0x13, &kPef},         {0x0A, 0x40, 0x47, &kEventLog},      {0x06, 0x52, 0x52, &kMasterWriteRead},
    {0x06, 0x34, 0x34, &kSendMessage}, {0x06, 0x33, 0x33, &kGetMessage},    {0x0C, 0x01, 0x01, &kLanParameter},
    {0x08, 0x01, 0x02, &kFirmware},    {0x06, 0x40, 0x40, &kChannelAccess}, {0x06, 0x47, 0x47, &kUserPassword},
};

const char16_t* FindText(std::span<const CodeText> entries, std::uint8_t code) {
  for (const CodeText& entry : entries) {
    if (entry.code == code) return entry.text;
  }
  return nullptr;
}

const CodeList* FindList(std::uint8_t net_function, std::uint8_t command) {
  for (const CommandRange& range : kCommandLists) {
    if (range.net_function == net_function && command >= range.first_command && command <= range.last_command) {
      return range.list;
    }
  }
  return nullptr;
}

}  // namespace

const char16_t* GetCompletionCodeText(std::uint8_t code, std::uint8_t net_function, std::uint8_t command) {
  if (const char16_t* const text = FindText(kGenericCodes, code)) return text;
  for (const CodeList* list = FindList(net_function, command); list != nullptr; list = list->next) {
    if (const char16_t* const text = FindText(list->entries, code)) return text;
  }
  return u"Unspecified Error";
}

}  // namespace mfgtest
