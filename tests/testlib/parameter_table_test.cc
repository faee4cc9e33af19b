#include "testlib/parameter_table.h"

#include <string>

#include "simulation/reference_server.h"
#include "simulation/text.h"
#include "testlib/tests.h"
#include "tests/testlib/guide.h"

namespace testlib {
namespace {

using simulation::Operation;
using simulation::Readable;

TEST(ParameterTable, RefusesWhatNobodyCanRead) {
  const std::u16string text(255, u'7');
  const struct {
    std::u16string name, value;
    std::u16string reason;  // part of it; empty: all is well
  } cases[] = {
      {u"System_Manufacturer", u"x", u""},
      {u"System_Manufacturer", text.substr(0, 31), u""},
      {u"System_Manufacturer", text.substr(0, 32), u"expected at most 31 characters, found 32"},
      {u"System_Manufacturer", u"env=" + text.substr(0, 28), u"expected at most 31 characters, found 32"},
      {u"System_Manufacturer", u"ask:" + text.substr(0, 100), u""},
      {u"Board_Product", text.substr(0, 49), u""},
      {u"OEM_TABLE_ID", text.substr(0, 10), u"at most 9 characters"},
      {u"Sytem_Manufacturer", u"x", u"Is it System_Manufacturer?"},
      {u"system_manufacturer", u"x", u"Is it System_Manufacturer?"},
      {u"SYSTEM_MANUFACTURER", u"x", u"Is it System_Manufacturer?"},
      {u"Required_Test", u"1-43", u"Is it Required_Tests?"},
      {u"Memroy12_Size", u"1", u"Is it Memory12_Size?"},
      {u"Memory_Size", u"1", u"Is it Memory0_Size?"},
      {u"Memory10_Size", u"4096", u""},
      {u"Memory010_Size", u"4096", u"Is it Memory0_Size?"},
      {u"Memory_Speed_Tolerance", u"0x10", u""},
      {u"Event_Mask_1", u"1", u"Is it Event_Mask_00?"},
      {u"Event_Mask_01", u"51403000201", u""},
      {u"Event_Mask_01", u"0x5140300020F", u""},
      {u"Event_Mask_01", u"none", u"16 hexadecimal digits"},
      {u"MACADDR00", u"0x001122", u""},
      {u"MACADDR0", u"1", u"Is it MACADDR00?"},
      {u"HSBP", u"one", u"expected a number"},
      {u"SPECIFY_A_GUID", u"yes", u""},
      {u"SPECIFY_A_GUID", u"JA", u"expected YES or NO"},
      {u"Required_Tests", u"1-13, 34", u""},
      {u"Required_Tests", u"all", u"expected test numbers and ranges"},
      {u"X_Shelf", text, u""},
      {u"x", u"", u"no test knows this parameter"},
      {text.substr(0, 63), u"", u"no test knows this parameter"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(Readable(c.name + u" = " + c.value));
    ErrorText error{};
    EXPECT_EQ(CheckParameter(c.name, c.value, error), c.reason.empty());
    EXPECT_NE(std::u16string_view(error.data()).find(c.reason), std::u16string_view::npos) << Readable(error.data());
  }
}

// Whatever the module asks for stands in the row of its test, with its room.
TEST(ParameterTable, HoldsWhatTheTestsAskFor) {
  for (const simulation::ReferenceRun& run : simulation::ReferenceRuns()) {
    simulation::ReferenceServer server(run);
    server.station.RunUnread(run.test);
    for (const simulation::Call& call : server.station.library->calls) {
      const bool is_text = call.operation == Operation::kGetParamString;
      if (!is_text && call.operation != Operation::kGetParamNumber) continue;
      SCOPED_TRACE(std::to_string(run.test) + ", " + run.name + ": " + Readable(call.key));
      const ParameterRow* const row = FindParameterRow(call.key);
      ASSERT_NE(row, nullptr) << "testlib/parameter_table.cc has no row for it";
      EXPECT_TRUE(row->tests.Has(run.test)) << "its row in testlib/parameter_table.cc does not name the test";
      EXPECT_EQ(row->kind == ParameterKind::kNumber, !is_text);
      EXPECT_EQ(row->bytes, is_text ? call.number : 0);
    }
  }
}

TEST(ParameterTable, StandsInTheGuide) {
  for (const ParameterRow& row : ParameterTable()) {
    std::string tests;
    for (const TestRow& test : Tests()) {
      if (!row.tests.Has(test.number)) continue;
      tests += (tests.empty() ? "" : ", ") + std::to_string(test.number) + (row.required.Has(test.number) ? "*" : "");
    }
    ExpectInGuide("| `" + Readable(row.name) + "` | " + (tests.empty() ? "all" : tests) + " | " +
                  Readable(KindText(row).data()) + " | " + Readable(row.meaning) + " |");
  }
}

}  // namespace
}  // namespace testlib
