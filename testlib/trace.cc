// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/trace.h"

#include <algorithm>

#include "testlib/output.h"
#include "testlib/state.h"
#include "testlib/text_part.h"

namespace testlib {

namespace {

constexpr std::size_t kPiece = 72;

}  // namespace

TranscriptLine& BeginTrace(const char16_t* operation) {
  TranscriptLine& line = state->line;
  line.length = 0;
  AppendPlain(line, operation);
  return line;
}

void EndTrace() {
  if (!Tracing()) return;
  platform::StartLine();
  std::u16string_view rest(state->line.text.data(), state->line.length);
  const char16_t* prefix = u"@ ";
  do {
    std::array<char16_t, kPiece + 1> piece{};
    std::ranges::copy(PartBefore(rest, kPiece), piece.begin());
    rest = PartFrom(rest, kPiece);
    Say(Colour::kNormal, "%s%s\n", prefix, piece.data());
    prefix = u"@+";
  } while (!rest.empty());
}

void TraceText(const char16_t* operation, const char16_t* text) {
  if (!Tracing()) return;
  AppendQuoted(BeginTrace(operation), text);
  EndTrace();
}

void TraceNumber(const char16_t* operation, std::uint64_t number) {
  if (!Tracing()) return;
  AppendDecimal(BeginTrace(operation), number);
  EndTrace();
}

void TraceNumberAndText(const char16_t* operation, std::uint64_t number, const char16_t* text) {
  if (!Tracing()) return;
  TranscriptLine& line = BeginTrace(operation);
  AppendDecimal(line, number);
  AppendPlain(line, u" ");
  AppendQuoted(line, text);
  EndTrace();
}

}  // namespace testlib
