// SPDX-License-Identifier: BSD-2-Clause-Patent
// The identity that manufacturing programs into SMBIOS: each field once, for
// the tests that check it and for Autosense, which publishes it.
#pragma once

#include "smbios/fields.h"

namespace mfgtest {

struct IdentityField {
  std::uint32_t test;
  const char16_t* key;  // of the expected value, and of the published one
  std::uint8_t offset;
  const char16_t* label;  // of the published value
};

inline constexpr std::size_t kIdentityStrings = 4;

// The structures have no part number; the line programs it into Version.
inline constexpr IdentityField kSystemStrings[kIdentityStrings] = {
    {1, u"System_Manufacturer", fields::system::kManufacturer, u"System manufacturer"},
    {2, u"System_Product", fields::system::kProductName, u"System product"},
    {3, u"System_Part_Number", fields::system::kVersion, u"System part number"},
    {4, u"System_Serial_Number", fields::system::kSerialNumber, u"System serial number"},
};

inline constexpr IdentityField kBoardStrings[kIdentityStrings] = {
    {5, u"Board_Manufacturer", fields::baseboard::kManufacturer, u"Board manufacturer"},
    {6, u"Board_Product", fields::baseboard::kProduct, u"Board product"},
    {7, u"Board_Part_Number", fields::baseboard::kVersion, u"Board part number"},
    {8, u"Board_Serial_Number", fields::baseboard::kSerialNumber, u"Board serial number"},
};

inline constexpr IdentityField kChassisStrings[kIdentityStrings] = {
    {9, u"Chassis_Manufacturer", fields::chassis::kManufacturer, u"Chassis manufacturer"},
    {11, u"Chassis_Part_Number", fields::chassis::kVersion, u"Chassis part number"},
    {12, u"Chassis_Serial_Number", fields::chassis::kSerialNumber, u"Chassis serial number"},
    {13, u"Chassis_Asset", fields::chassis::kAssetTagNumber, u"Chassis asset"},
};

// A number among the chassis' strings.
inline constexpr IdentityField kChassisTypeField{10, u"Chassis_Type", fields::chassis::kChassisType, u"Chassis type"};

}  // namespace mfgtest
