// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/transcript.h"

#include "platform/format.h"

namespace testlib {
namespace {

void Append(TranscriptLine& line, char16_t c) {
  if (line.length + 1 == line.text.size()) return;
  line.text[line.length++] = c;
  line.text[line.length] = 0;
}

char16_t EscapeLetter(char16_t c) {
  switch (c) {
    case u'\n':
      return u'n';
    case u'\r':
      return u'r';
    case u'\t':
      return u't';
    case u'"':
    case u'\\':
      return c;
    default:
      return 0;
  }
}

void AppendPlain(TranscriptLine& line, const char16_t* text) {
  for (; *text != 0; ++text) Append(line, *text);
}

void AppendEscaped(TranscriptLine& line, char16_t c) {
  if (const char16_t letter = EscapeLetter(c); letter != 0) {
    Append(line, u'\\');
    return Append(line, letter);
  }
  if (c >= 0x20 && c <= 0x7E) return Append(line, c);
  AppendPlain(line, u"\\u");
  for (int shift = 12; shift >= 0; shift -= 4) Append(line, u"0123456789ABCDEF"[(c >> shift) & 0xF]);
}

void AppendNumber(TranscriptLine& line, CheckedFormat<std::uint64_t> format, std::uint64_t number) {
  std::array<char16_t, 24> digits;
  FormatText(digits, format, number);
  AppendPlain(line, digits.data());
}

void AppendText(TranscriptLine& line, const char16_t* text) {
  AppendPlain(line, u" \"");
  for (; *text != 0; ++text) AppendEscaped(line, *text);
  Append(line, u'"');
}

// What stands in an operation's line, in this order.
struct LineShape {
  const char16_t* name;
  bool key = false;
  bool number = false;
  bool flags = false;
  bool status = false;
  const char16_t* arrow = u"";
  bool text = false;
};

const LineShape& Shape(Operation operation) {
  static constexpr LineShape kShapes[] = {
      {.name = u"Initialize", .status = true},
      {.name = u"Delay", .number = true},
      {.name = u"GetParamNumber", .key = true, .status = true},
      {.name = u"GetParamString", .key = true, .number = true, .status = true, .text = true},
      {.name = u"SetResultNumber", .key = true, .number = true},
      {.name = u"SetResultString", .key = true, .text = true},
      {.name = u"RemoveSubtest", .number = true},
      {.name = u"EndTest"},
      {.name = u"LogMessage", .text = true},
      {.name = u"ReportError", .number = true, .text = true},
      {.name = u"DisplayPrint", .text = true},
      {.name = u"Prompt", .text = true},
      {.name = u"DebugPrint", .number = true, .text = true},
      {.name = u"ReadInput", .number = true, .flags = true, .arrow = u" ->", .text = true},
  };
  return kShapes[static_cast<std::size_t>(operation)];
}

}  // namespace

void WriteLine(TranscriptLine& line, const TranscriptCall& call) {
  const LineShape& shape = Shape(call.operation);
  line.length = 0;
  AppendPlain(line, shape.name);
  if (shape.key) AppendText(line, call.key);
  if (shape.number) AppendNumber(line, " %lu", call.number);
  if (shape.flags) AppendNumber(line, " %lu", call.flags);
  AppendPlain(line, shape.arrow);
  if (shape.status) AppendNumber(line, " -> %lu", call.status);
  if (call.status != kTestLibrarySuccess) return;
  if (shape.text) AppendText(line, call.text);
  if (call.operation == Operation::kGetParamNumber) AppendNumber(line, " 0x%lx", call.number);
  if (call.operation == Operation::kInitialize) AppendNumber(line, " test %lu", call.number);
}

}  // namespace testlib
