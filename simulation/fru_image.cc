// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "simulation/fru_image.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace simulation {
namespace {

constexpr std::size_t kUnit = 8;  // offsets and lengths count in it
constexpr std::uint8_t kFormatVersion = 1;
constexpr std::uint8_t kEnglish = 25;
constexpr std::uint8_t kEightBitText = 0xC0;
constexpr std::uint8_t kEndOfFields = 0xC1;
constexpr std::uint8_t kErased = 0xFF;

void AddField(Bytes& area, const std::string& text) {
  if (text.size() > 0x3F) throw std::invalid_argument("a FRU field holds 63 characters at most: " + text);
  // A text of one character would look like the end of the fields.
  const std::uint8_t type = text.size() == 1 ? 0 : kEightBitText;
  area.push_back(static_cast<std::uint8_t>(type | text.size()));
  area.insert(area.end(), text.begin(), text.end());
}

// `area` begins with the format version and a length to be filled in.
Bytes Finish(Bytes area, const std::vector<std::string>& fields) {
  for (const std::string& field : fields) AddField(area, field);
  area.push_back(kEndOfFields);
  area.resize((area.size() + kUnit) / kUnit * kUnit - 1);
  const std::size_t units = (area.size() + 1) / kUnit;
  if (units > 0xFF) throw std::invalid_argument("an area is too long");
  area[1] = static_cast<std::uint8_t>(units);
  area.push_back(ZeroChecksum(area));
  return area;
}

// Puts an area into the image and its offset into the common header.
void Place(Bytes& image, std::size_t header_byte, const FruArea& area, Bytes start) {
  const Bytes bytes = Finish(std::move(start), area.fields);
  const std::size_t offset = area.offset != 0 ? area.offset : image.size();
  if (offset % kUnit != 0 || offset < image.size() || offset / kUnit > 0xFF) {
    throw std::invalid_argument("an area cannot lie at " + std::to_string(offset));
  }
  image.resize(offset, kErased);
  image.insert(image.end(), bytes.begin(), bytes.end());
  image[header_byte] = static_cast<std::uint8_t>(offset / kUnit);
}

std::uint8_t Part(std::uint32_t number, int shift) { return static_cast<std::uint8_t>(number >> shift); }

}  // namespace

std::uint8_t ZeroChecksum(const Bytes& bytes) {
  return static_cast<std::uint8_t>(0 - std::accumulate(bytes.begin(), bytes.end(), 0));
}

std::uint32_t FruMinutes(std::chrono::year_month_day date) {
  using namespace std::chrono;
  return static_cast<std::uint32_t>(duration_cast<minutes>(sys_days(date) - sys_days(1996y / January / 1)).count());
}

Bytes BuildFruImage(const FruDescription& description) {
  Bytes image(kUnit);
  image[0] = kFormatVersion;
  if (description.chassis) Place(image, 2, *description.chassis, {kFormatVersion, 0, description.chassis_type});
  if (description.board) {
    const std::uint32_t minutes = description.board_minutes;
    Place(image, 3, *description.board,
          {kFormatVersion, 0, kEnglish, Part(minutes, 0), Part(minutes, 8), Part(minutes, 16)});
  }
  if (description.product) Place(image, 4, *description.product, {kFormatVersion, 0, kEnglish});
  image[7] = ZeroChecksum(Bytes(image.begin(), image.begin() + 7));
  image.resize(std::max(image.size(), description.size), kErased);
  for (const auto& [offset, byte] : description.bytes) image.at(offset) = byte;
  return image;
}

}  // namespace simulation
