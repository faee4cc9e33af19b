// The layer over the firmware, where firmware lacks or refuses something.
#include "platform/collation.h"
#include "platform/handles.h"
#include "platform/image.h"
#include "platform/protocols/unicode_collation.h"
#include "platform/shell.h"
#include "simulation/station.h"
#include "simulation/text.h"
#include "tests/faults_fail_tests.h"

namespace {

TEST(Services, FoldAsciiWithoutACollation) {
  const struct {
    const char16_t* a;
    const char16_t* b;
    bool equal;
  } cases[] = {
      {u"", u"", true},       {u"azAZ09", u"AZaz09", true}, {u"abc", u"abd", false}, {u"ab", u"abc", false},
      {u"abc", u"ab", false}, {u"`", u"@", false},          {u"{", u"[", false},     {u"\u00E9", u"\u00C9", false},
  };
  simulation::Station station;
  station.collation.reset();
  station.Bind();
  for (const auto& c : cases) EXPECT_EQ(platform::EqualIgnoringCase(c.a, c.b), c.equal) << simulation::Readable(c.a);
}

TEST(Services, FindNothingWhereNoBufferIsLargeEnough) {
  simulation::Station station;
  station.Bind();
  station.machine.system_table.BootServices->LocateHandle = [](EFI_LOCATE_SEARCH_TYPE, EFI_GUID*, void*, UINTN* size,
                                                               EFI_HANDLE*) EFIAPI {
    simulation::CountStep();
    ++*size;
    return EFI_STATUS{EFI_BUFFER_TOO_SMALL};
  };
  EXPECT_EQ(platform::FirstInterface(kUnicodeCollation2ProtocolGuid), nullptr);
}

TEST(Services, SetAVariableThroughAnOldShell) {
  using platform::VariableLife;
  const struct {
    const char16_t* value;
    VariableLife life;
    std::u16string command;
  } cases[] = {
      {u"A B", VariableLife::kKept, u"set \"X\" \"A B\""},
      {u"A B", VariableLife::kUntilReset, u"set -v \"X\" \"A B\""},
      {u"", VariableLife::kKept, u"set -d \"X\""},
      {nullptr, VariableLife::kUntilReset, u"set -d \"X\""},
  };
  simulation::Station station;
  station.Bind();
  for (const auto& c : cases) {
    EXPECT_EQ(platform::SetShellVariable(nullptr, u"X", c.value, c.life), EFI_SUCCESS);
    EXPECT_EQ(station.shell->commands.back().line, c.command);
  }
  EXPECT_EQ(platform::ShellVariable(u"X"), nullptr);
  station.shell.reset();
  EXPECT_EQ(platform::SetShellVariable(nullptr, u"X", u"", VariableLife::kKept), EFI_UNSUPPORTED);
}

TEST(Services, TakeNoNullForAnInterface) {
  simulation::Station station;
  station.Bind();
  constexpr EFI_GUID kProtocol = {1, 2, 3, {}};
  void* interface = &station;
  EXPECT_EQ(platform::HandleInterface(station.machine.handles.Install(kProtocol, nullptr), kProtocol, &interface),
            EFI_UNSUPPORTED);
  EXPECT_EQ(interface, nullptr);
}

TEST(Services, KeepNoEventThatWatchesNothing) {
  simulation::Station station;
  station.Bind();
  station.machine.system_table.BootServices->RegisterProtocolNotify = [](EFI_GUID*, EFI_EVENT, VOID**) EFIAPI {
    return EFI_STATUS{EFI_OUT_OF_RESOURCES};
  };
  platform::ProtocolWatch watch{};
  const auto notify = [](EFI_EVENT, void*) EFIAPI {};
  EXPECT_EQ(platform::WatchProtocol({1, 2, 3, {}}, notify, &watch), EFI_OUT_OF_RESOURCES);
  EXPECT_EQ(watch.event, nullptr);
}

}  // namespace
