#include "drivers/ipmi_kcs/options.h"

#include <algorithm>
#include <charconv>

#include "platform/format.h"

namespace ipmi_kcs {
namespace {

constexpr std::u16string_view kSeparators = u" \t\r\n=";

std::u16string_view TakeWord(std::u16string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kSeparators), text.size()));
  const std::u16string_view word(text.data(), std::min(text.find_first_of(kSeparators), text.size()));
  text.remove_prefix(word.size());
  return word;
}

// The shell takes a variable's value for an option when it begins with a dash.
std::u16string_view WithoutDashes(std::u16string_view word) {
  word.remove_prefix(std::min(word.find_first_not_of(u'-'), word.size()));
  return word;
}

// A word as it can be shown; the end of a long one is left out.
struct ShownWord {
  explicit ShownWord(std::u16string_view word) { std::copy_n(word.data(), std::min(word.size(), kLongest), text); }

  static constexpr std::size_t kLongest = 40;
  char16_t text[kLongest + 1]{};
};

// Decimal, or hexadecimal after 0x.
bool ReadNumber(std::u16string_view word, std::uint64_t* number) {
  const int base = word.starts_with(u"0x") || word.starts_with(u"0X") ? 16 : 10;
  if (base == 16) word.remove_prefix(2);
  std::array<char, 20> digits{};
  if (word.size() > digits.size()) return false;
  std::ranges::transform(word, digits.begin(), [](char16_t c) { return c < 0x80 ? static_cast<char>(c) : '?'; });
  const char* const end = digits.data() + word.size();
  const auto [last, fault] = std::from_chars(digits.data(), end, *number, base);
  return fault == std::errc{} && last == end;
}

bool SetAddress(AddressSpace space, std::uint64_t value, Options* options, ErrorText& error) {
  if (options->has_address) {
    FormatText(error, "a second address is given: 0x%lx. The driver talks to one controller.", value);
    return false;
  }
  options->has_address = true;
  options->registers.space = space;
  options->registers.address = value;
  return true;
}

bool SetIoAddress(std::uint64_t value, Options* options, ErrorText& error) {
  return SetAddress(AddressSpace::kIo, value, options, error);
}

bool SetMemoryAddress(std::uint64_t value, Options* options, ErrorText& error) {
  return SetAddress(AddressSpace::kMemory, value, options, error);
}

bool SetSpacing(std::uint64_t value, Options* options, ErrorText& error) {
  if (!IsSpacing(value)) {
    FormatText(error, "registers are 1, 4 or 16 bytes apart, not %lu.", value);
    return false;
  }
  options->registers.spacing = static_cast<std::uint8_t>(value);
  return true;
}

constexpr struct {
  std::u16string_view name;
  bool (*apply)(std::uint64_t value, Options* options, ErrorText& error);
} kOptions[] = {
    {u"io", SetIoAddress},
    {u"memory", SetMemoryAddress},
    {u"spacing", SetSpacing},
};

bool ReadOption(std::u16string_view word, std::u16string_view& text, Options* options, ErrorText& error) {
  for (const auto& option : kOptions) {
    if (option.name != WithoutDashes(word)) continue;
    const std::u16string_view value = TakeWord(text);
    std::uint64_t number = 0;
    if (ReadNumber(value, &number)) return option.apply(number, options, error);
    FormatText(error, "%s: expected a number, found \"%s\".", ShownWord(word).text, ShownWord(value).text);
    return false;
  }
  FormatText(error, "unknown option %s. --help shows the options.", ShownWord(word).text);
  return false;
}

}  // namespace

bool ReadOptions(std::u16string_view text, Options* options, ErrorText& error) {
  *options = {};
  bool has_spacing = false;
  for (auto word = TakeWord(text); !word.empty(); word = TakeWord(text)) {
    const std::u16string_view name = WithoutDashes(word);
    if (name == u"h" || name == u"help") {
      options->help = true;
    } else if (name == u"port") {
      options->port = true;
    } else if (!ReadOption(word, text, options, error)) {
      return false;
    }
    if (name == u"spacing") has_spacing = true;
  }
  if (has_spacing && !options->has_address) {
    FormatText(error, "--spacing goes with an address: --io or --memory.");
    return false;
  }
  if (options->has_address && !AreInSpace(options->registers)) {
    const Registers& registers = options->registers;
    FormatText(error, "there are no registers at %s address 0x%lx.", SpaceName(registers.space), registers.address);
    return false;
  }
  return true;
}

constinit const char16_t* const kHelpText =
    u"ipmi_kcs.efi offers the IPMI transport over the KCS interface of the management\n"
    u"controller, which it finds through SMBIOS, or at the address that is given.\n"
    u"Where the firmware has an IPMI protocol of its own it goes through that one.\n"
    u"      --port                the KCS interface all the same\n"
    u"      --io ADDRESS          of the data register in I/O space, mostly 0xca2\n"
    u"      --memory ADDRESS      of the data register in memory\n"
    u"      --spacing BYTES       from there to the status register: 1, 4 or 16\n"
    u"  -h, --help                this text\n"
    u"The shell's load command passes no options. Put them into a variable before,\n"
    u"without the dashes:\n"
    u"  set -v IpmiKcsOptions \"io=0xca2 spacing=4\"\n"
    u"  load ipmi_kcs.efi\n"
    u"Options of a driver load entry (bcfg driver) are read too, and win.\n";

}  // namespace ipmi_kcs
