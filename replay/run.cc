#include "replay/run.h"

#include <stdexcept>

#include "replay/text.h"
#include "simulation/station.h"
#include "testlib/state.h"

extern "C" EFI_STATUS efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);
extern "C" EFI_STATUS testlib_efi_main(EFI_HANDLE image, EFI_SYSTEM_TABLE* system_table);

namespace replay {
namespace {

using simulation::CommandLine;

constexpr EFI_GUID kLoadedImage = LOADED_IMAGE_PROTOCOL;

// Test 22 asks at every structure; 28, 31 and 32 write.
constexpr unsigned kLineTests[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 20, 21, 23,
                                   24, 25, 26, 27, 29, 30, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43};

Verdict VerdictOf(const simulation::Machine& machine) {
  const simulation::Variable* const variable = machine.variables.Find(u"MfgVerdict", simulation::kShellVariableGuid);
  for (const Verdict verdict : {Verdict::kPass, Verdict::kFail, Verdict::kError, Verdict::kSkip}) {
    if (variable != nullptr && variable->data == simulation::TextData(testlib::VerdictText(verdict))) return verdict;
  }
  return Verdict::kNone;
}

}  // namespace

Session::Session(ReplayedMachine& machine, bool waits_for_real) : machine_(machine) {
  // The library measures its clock against a short wait.
  machine.machine.stalls_for_real = true;
  library_ = machine.machine.LoadImage();
  if (EFI_ERROR(machine.machine.StartImage(library_, testlib_efi_main).status)) {
    throw std::runtime_error("the test library does not start on this machine");
  }
  machine.machine.stalls_for_real = waits_for_real;
  machine.machine.stalled_microseconds = 0;
}

Session::~Session() {
  void* loaded = nullptr;
  machine_.machine.handles.Interface(library_, kLoadedImage, &loaded);
  static_cast<EFI_LOADED_IMAGE*>(loaded)->Unload(library_);
  machine_.machine.UnloadImage(library_);
}

Verdict Session::Run(const std::vector<std::string>& words) {
  std::vector<std::u16string> arguments = {u"mfgtest.efi"};
  for (const std::string& word : words) arguments.push_back(FromUtf8(word));
  simulation::ForgetEarlierRun();
  const EFI_HANDLE image = machine_.machine.LoadImage();
  machine_.shell.Run(image, efi_main, CommandLine(arguments));
  machine_.machine.UnloadImage(image);
  return VerdictOf(machine_.machine);
}

Verdict Session::RunLine(const std::vector<std::string>& words) {
  for (const unsigned test : kLineTests) {
    std::vector<std::string> arguments = {std::to_string(test)};
    arguments.insert(arguments.end(), words.begin(), words.end());
    Run(arguments);
  }
  Run({"--summary"});
  return testlib::Judge(testlib::state->history.line);
}

}  // namespace replay
