// SPDX-License-Identifier: BSD-2-Clause-Patent
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

// What the module says, as a line of its own.
inline std::string Log(const std::string& text) { return "LogMessage \"" + text + "\""; }
inline std::string Error(unsigned code, const std::string& text) {
  return "ReportError " + std::to_string(code) + " \"" + text + "\"";
}

inline Lines Errors(Lines lines) { return Only({"ReportError"}, std::move(lines)); }

inline Lines Joined(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Texts that one operation said in pieces, as the operator sees them: whole.
inline Lines Merged(const Lines& lines) {
  Lines merged;
  for (const std::string& line : lines) {
    const std::string head = line.substr(0, line.find('"') + 1);
    const bool is_text = head.find("Print") != head.npos || head.starts_with("LogMessage");
    if (is_text && !merged.empty() && merged.back().starts_with(head)) {
      merged.back().pop_back();
      merged.back() += line.substr(head.size());
    } else {
      merged.push_back(line);
    }
  }
  return merged;
}
