// SPDX-License-Identifier: BSD-2-Clause-Patent
// Whole runs of the module on the reference server, and what is judged after
// each of them, whatever a device held.
#pragma once

#include <initializer_list>
#include <list>
#include <span>

#include "fuzz/input.h"
#include "simulation/reference_server.h"

namespace fuzz {

using simulation::ReferenceRun;
using simulation::ReferenceServer;

using Tests = std::span<const std::uint32_t>;

// One of the tests, by its number: an input keeps its meaning when others are
// added. A number that is none of them stands for any.
std::uint32_t ChooseTest(Input& input, Tests tests);

// A run of one of the tests, by the test's number and the run's place among
// those of the test.
const ReferenceRun& ChooseRun(Input& input, Tests tests,
                              std::span<const ReferenceRun> runs = simulation::ReferenceRuns());

// A run with GUID and EUI-64 behind an interface: an address in flash is the
// operator's word, and read wherever it leads.
const ReferenceRun& ChooseRunWithoutFlash(Input& input);

// Firmware's bytes below 4 GiB, their end against an unmapped page. Writing to
// them ends the program.
class Placed {
 public:
  explicit Placed(const Bytes& bytes, std::size_t zeros_behind = 0);
  std::uint8_t* Data() const { return data_; }
  std::uint32_t Address() const { return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(data_)); }

 private:
  simulation::Mapping memory_;
  std::uint8_t* data_;
};

// The reference server, and the memory that changed tables of it lie in.
struct HostileServer : ReferenceServer {
  explicit HostileServer(const ReferenceRun& wanted, const simulation::NewerFirmware& newer = {})
      : ReferenceServer(wanted, newer) {}
  std::list<Placed> memory{};
};

// Changes some of the machine by what the input says.
using Change = void (*)(Input& input, HostileServer& server);

// A little-endian number in the bytes.
void Put(Bytes& bytes, std::size_t offset, std::uint64_t value, std::size_t size);

// What the machine keeps, as it was before a run.
class Judge {
 public:
  explicit Judge(const ReferenceServer& server);

  // A fault: a run that ended with an error, or wrote what its test may not
  // write.
  void AfterRun() const;
  // The writes alone, for a run without the station's recorder.
  void CheckWrites() const;

 private:
  void CheckVariables() const;
  void CheckController() const;
  bool MayWrite(const simulation::Variable& variable) const;

  const ReferenceServer& server_;
  std::vector<simulation::Variable> variables_;
};

// A GUID that could not be read keeps its buffer.
std::size_t KeptBlocks(std::uint32_t test);

// Runs the server's test and judges it.
void RunAndJudge(ReferenceServer& server);

// One of the tests on a server with that change, judged.
void RunChanged(Input& input, std::initializer_list<std::uint32_t> tests, Change change);

}  // namespace fuzz
