// Parts of a run's transcript.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

using Lines = std::vector<std::string>;

// The lines of these operations, in their order.
inline Lines Only(std::initializer_list<std::string_view> operations, Lines lines) {
  std::erase_if(lines, [&](const std::string& line) {
    return std::ranges::none_of(operations, [&](std::string_view operation) { return line.starts_with(operation); });
  });
  return lines;
}

inline Lines Errors(Lines lines) { return Only({"ReportError"}, std::move(lines)); }

inline Lines Joined(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}
