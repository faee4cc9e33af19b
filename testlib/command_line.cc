// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "testlib/command_line.h"

#include "platform/format.h"
#include "testlib/text_part.h"

namespace testlib {
namespace {

bool SelectTest(CommandLine& command_line, const char16_t* value, ErrorText& error) {
  if (command_line.has_test) {
    FormatText(error, "a second test is given: %s. One run is one test.", value);
    return false;
  }
  if (!ParseNumber(value, &command_line.test)) {
    FormatText(error, "expected a test number, found \"%s\". --list shows the tests.", value);
    return false;
  }
  command_line.has_test = true;
  return true;
}

template <std::size_t kSize>
bool Append(Words<kSize>& list, const char16_t* word, const char16_t* what, ErrorText& error) {
  if (list.count == kSize) {
    FormatText(error, "there are more than %lu %s", kSize, what);
    return false;
  }
  list.words[list.count++] = word;
  return true;
}

bool AddDefinition(CommandLine& command_line, const char16_t* value, ErrorText& error) {
  return Append(command_line.definitions, value, u"parameters", error);
}

bool AddFile(CommandLine& command_line, const char16_t* value, ErrorText& error) {
  return Append(command_line.files, value, u"parameter files", error);
}

bool AddAnswer(CommandLine& command_line, const char16_t* value, ErrorText& error) {
  return Append(command_line.answers, value, u"answers", error);
}

bool SetDebugMask(CommandLine& command_line, const char16_t* value, ErrorText& error) {
  if (ParseNumber(value, &command_line.debug_mask)) return true;
  FormatText(error, "expected a number as debug mask, found \"%s\"", value);
  return false;
}

bool SetDelayScale(CommandLine& command_line, const char16_t* value, ErrorText& error) {
  command_line.has_delay_scale = true;
  if (ParseDelayScale(value, &command_line.delay_scale)) return true;
  FormatText(error, "expected a delay scale of 0 to 100 percent, found \"%s\"", value);
  return false;
}

bool SetRecord(CommandLine& command_line, const char16_t* value, ErrorText&) {
  command_line.record = value;
  return true;
}

bool AskForParameters(CommandLine& command_line, const char16_t*, ErrorText&) {
  command_line.action = Action::kShowParameters;
  return true;
}

bool AskForList(CommandLine& command_line, const char16_t*, ErrorText&) {
  command_line.action = Action::kListTests;
  return true;
}

bool AskForSummary(CommandLine& command_line, const char16_t*, ErrorText&) {
  command_line.action = Action::kShowSummary;
  return true;
}

bool AskForHelp(CommandLine& command_line, const char16_t*, ErrorText&) {
  command_line.action = Action::kShowHelp;
  return true;
}

bool AskForConnection(CommandLine& command_line, const char16_t*, ErrorText&) {
  command_line.action = Action::kConnect;
  return true;
}

bool AskForTranscript(CommandLine& command_line, const char16_t*, ErrorText&) {
  command_line.trace = true;
  return true;
}

bool AskForDebugger(CommandLine& command_line, const char16_t*, ErrorText&) {
  command_line.gdb = true;
  return true;
}

struct Option {
  char16_t letter;  // 0 for none
  std::u16string_view name;
  bool takes_value;
  bool (*apply)(CommandLine& command_line, const char16_t* value, ErrorText& error);
};

constexpr Option kOptions[] = {
    {u't', u"test", true, SelectTest},        {u'p', u"param", true, AddDefinition},
    {u'f', u"file", true, AddFile},           {u'd', u"debug", true, SetDebugMask},
    {u'a', u"answer", true, AddAnswer},       {u's', u"delay-scale", true, SetDelayScale},
    {u'n', u"show", false, AskForParameters}, {u'l', u"list", false, AskForList},
    {u'r', u"record", true, SetRecord},       {0, u"summary", false, AskForSummary},
    {0, u"trace", false, AskForTranscript},   {u'h', u"help", false, AskForHelp},
    {0, u"connect", false, AskForConnection}, {0, u"gdb", false, AskForDebugger},
};

// An option as it was written: --name, --name=value, -l or -lvalue.
struct WrittenOption {
  const Option* option = nullptr;
  const char16_t* attached_value = nullptr;
};

WrittenOption FindLongOption(const char16_t* word) {
  std::u16string_view name = word;
  const std::size_t sign = name.find(u'=');
  const char16_t* const value = sign == name.npos ? nullptr : word + sign + 1;
  name = PartBefore(name, sign);
  for (const Option& option : kOptions) {
    if (option.name == name) return {&option, value};
  }
  return {};
}

WrittenOption FindShortOption(const char16_t* word) {
  for (const Option& option : kOptions) {
    if (option.letter != 0 && option.letter == word[0]) return {&option, word[1] == 0 ? nullptr : word + 1};
  }
  return {};
}

// Takes the option at the front, and its value when that is a word of its own.
bool ReadOption(std::span<const char16_t* const>& arguments, CommandLine& command_line, ErrorText& error) {
  const char16_t* const word = arguments.front();
  arguments = arguments.subspan(1);
  const WrittenOption written = word[1] == u'-' ? FindLongOption(word + 2) : FindShortOption(word + 1);
  if (written.option == nullptr) {
    FormatText(error, "unknown option %s. --help shows the options.", word);
    return false;
  }
  const char16_t* value = written.attached_value;
  if (!written.option->takes_value && value != nullptr) {
    FormatText(error, "%s: this option takes no value", word);
    return false;
  }
  if (written.option->takes_value && value == nullptr) {
    if (arguments.empty()) {
      FormatText(error, "%s: this option needs a value after it", word);
      return false;
    }
    value = arguments.front();
    arguments = arguments.subspan(1);
  }
  return written.option->apply(command_line, value, error);
}

bool ReadPositional(const char16_t* word, CommandLine& command_line, ErrorText& error) {
  if (std::u16string_view(word).find(u'=') != std::u16string_view::npos) {
    return AddDefinition(command_line, word, error);
  }
  std::uint32_t number = 0;
  if (ParseNumber(word, &number)) return SelectTest(command_line, word, error);
  FormatText(error, "expected a test number, NAME=VALUE or an option, found \"%s\". --help shows the way.", word);
  return false;
}

}  // namespace

bool ReadCommandLine(std::span<const char16_t* const> arguments, CommandLine& command_line, ErrorText& error) {
  command_line = {};
  command_line.delay_scale = kWholePercent;
  bool options_ended = false;
  if (!arguments.empty()) arguments = arguments.subspan(1);
  while (!arguments.empty()) {
    const std::u16string_view word = arguments.front();
    if (!options_ended && word.size() > 1 && word.front() == u'-' && word != u"--") {
      if (!ReadOption(arguments, command_line, error)) return false;
      continue;
    }
    if (!options_ended && word == u"--") {
      options_ended = true;
    } else if (!ReadPositional(arguments.front(), command_line, error)) {
      return false;
    }
    arguments = arguments.subspan(1);
  }
  if (command_line.action != Action::kRunTest || command_line.has_test) return true;
  FormatText(error, "no test is selected. Give its number, for example: mfgtest.efi 1. --list shows the tests.");
  return false;
}

bool ParseDelayScale(std::u16string_view text, std::uint32_t* percent) {
  return ParseNumber(text, percent) && *percent <= kWholePercent;
}

bool DefineFromCommandLine(const CommandLine& command_line, ParameterStore& store, ErrorText& error) {
  for (std::size_t i = 0; i < command_line.definitions.count; ++i) {
    const std::u16string_view word = command_line.definitions.words[i];
    const std::size_t sign = word.find(u'=');
    ErrorText reason;
    // A script's unset variable leaves an empty value behind, which would pass
    // on a machine that was never programmed.
    if (sign == word.npos) {
      FormatText(reason, "expected NAME=VALUE");
    } else if (sign + 1 == word.size()) {
      FormatText(reason, "the value is empty; expect an empty text with NAME = \"\" in a parameter file");
    } else if (Define(store, PartBefore(word, sign), PartFrom(word, sign + 1), {}, reason)) {
      continue;
    }
    FormatText(error, "command line: \"%s\": %s", word.data(), reason.data());
    return false;
  }
  return true;
}

constinit const char16_t* const kHelpText =
    u"mfgtest.efi [options] [TEST] [NAME=VALUE]...\n"
    u"Runs one test of this machine and tells the verdict.\n"
    u"  -t, --test N              the test to run, as a plain number does\n"
    u"  -p, --param NAME=VALUE    a parameter, as a plain NAME=VALUE does;\n"
    u"                            with blanks: \"NAME=A B\"\n"
    u"  -f, --file PATH           a file of parameters, NAME = VALUE lines;\n"
    u"                            may be repeated, later files win\n"
    u"  -d, --debug MASK          debug messages to show: 1 progress, 2 details,\n"
    u"                            8 trace, 16 IPMI; add them up, or 0x1f for all\n"
    u"  -a, --answer TEXT         the operator's answer, in advance; may be repeated\n"
    u"  -s, --delay-scale PERCENT shorter waits, 0 to 100, for simulated machines\n"
    u"  -r, --record PATH         a record of the run, in a file or into a folder\n"
    u"  -n, --show                show the parameters and where they come from; with a\n"
    u"                            test, what it reads, what is missing, the limits\n"
    u"  -l, --list                list the tests and the parameters of each\n"
    u"      --summary             show all runs since the library was loaded\n"
    u"      --connect             start every driver on every device, as the shell's\n"
    u"                            connect -r does; needed after a fast boot\n"
    u"      --trace               show every step as a line for a machine\n"
    u"      --gdb                 tell a debugger where the module is, and wait a minute\n"
    u"  -h, --help                this text\n"
    u"The file mfgtest.cfg beside the module is read first when it is there. The\n"
    u"command line wins over files. Numbers are decimal, or hexadecimal after 0x.\n"
    u"Names are case-sensitive, and one that no test knows is refused, unless it\n"
    u"begins with X_: such names are the station's own. The shell variable\n"
    u"MfgVerdict holds PASS, FAIL, ERROR or SKIP afterwards.\n";

}  // namespace testlib
