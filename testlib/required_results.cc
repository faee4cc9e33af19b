#include "testlib/required_results.h"

#include <algorithm>

#include "testlib/parameter_table.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

constexpr std::u16string_view kBlanks = u" \t";

std::u16string_view Trimmed(std::u16string_view text) {
  text = PartFrom(text, text.find_first_not_of(kBlanks));
  return PartBefore(text, text.find_last_not_of(kBlanks) + 1);
}

bool RequireList(std::u16string_view list, ResultStore& results) {
  while (!list.empty()) {
    const std::u16string_view part = PartBefore(list, list.find(u','));
    list = PartFrom(list, part.size() + 1);
    if (const std::u16string_view key = Trimmed(part); !key.empty() && !Require(results, key)) return false;
  }
  return true;
}

bool IsList(const Parameter& parameter) {
  const ParameterRow* const row = FindParameterRow(parameter.name.data());
  if (row == nullptr) return false;
  const std::u16string_view name = row->name;
  return name == kRequiredResultsParameter || name == kMoreRequiredResultsParameter;
}

}  // namespace

bool RequireResults(const ParameterStore& parameters, ResultStore& results) {
  return std::ranges::all_of(parameters.All(), [&](const Parameter& parameter) {
    return !IsList(parameter) || RequireList(parameter.value.data(), results);
  });
}

Verdict JudgeLine(const Tally& tally, const ResultStore& results) {
  const Verdict verdict = Judge(tally);
  return verdict == Verdict::kPass && std::ranges::any_of(results.All(), IsMissing) ? Verdict::kFail : verdict;
}

}  // namespace testlib
