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

void Trace(const TranscriptCall& call) {
  if (!Tracing()) return;
  WriteLine(state->line, call);
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

}  // namespace testlib
