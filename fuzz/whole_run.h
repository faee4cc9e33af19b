// SPDX-License-Identifier: BSD-2-Clause-Patent
// Whole runs of the module on the reference server, and what is judged after
// each of them, whatever a device held.
#pragma once

#include <initializer_list>

#include "fuzz/input.h"
#include "simulation/reference_server.h"

namespace fuzz {

using simulation::ReferenceRun;
using simulation::ReferenceServer;

// One of the reference runs of these tests, by the next byte.
const ReferenceRun& ChooseRun(Input& input, std::initializer_list<std::uint32_t> tests);

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

}  // namespace fuzz
