// The built tool, run with a fault of the system that fault_shim.cpp makes.
//
//   const FaultyOutcome whole = RunFaulty({"samples", path}, {});
//   const FaultyOutcome run = RunFaulty({"samples", path}, {"read", 3});
//   ExpectWholeOrTold(run, whole);
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace vantor::tools {

struct Fault {
  std::string kind;          // as of fault_shim.cpp; empty for none
  unsigned long number = 0;  // of the call; 0 for none
  bool isOngoing = false;    // the calls after it fail too
  bool isUnmapped = false;   // files cannot be mapped
  std::string file;          // that a fault of the kind "cut" cuts
  long largestFile = -1;     // bytes that a file may hold that is written; below 0 for any number
  bool isNamed = false;      // no file can be made without a name
  bool isTwice = false;      // interrupts come as two
  int standardInput = -1;    // what the tool has for it; below 0 for that of the test
};

struct FaultyOutcome {
  int status = -1;  // minus the signal that ended it
  std::string out;  // without what depends on the time
  std::string messages;
  std::map<std::string, unsigned long> calls;  // by kind
};

FaultyOutcome RunFaulty(const std::vector<std::string>& arguments, const Fault& fault);

// The tool's code in this process, where operator new fails at its n-th call, or from there on; 0 for never. Sanitizers
// see what becomes of it. Nothing fails where allocations are not watched.
FaultyOutcome RunHere(const std::vector<std::string>& arguments, unsigned long failing, bool isOngoing);

// The result of a run without a fault, or a failure that says so in one line; a warning may go before it.
void ExpectWholeOrTold(const FaultyOutcome& outcome, const FaultyOutcome& whole);

// A file of the test media, by its whole path.
std::string MediaPath(const std::string& name);

// So many of the numbers up to the last, evenly spread; which ones differs with the seed.
std::vector<unsigned long> SpreadOver(unsigned long last, unsigned long count, std::size_t seed);

// Every fault that is tried on runs with those calls, with files mapped and unmapped.
std::vector<Fault> FaultsOf(const FaultyOutcome& mapped, const FaultyOutcome& unmapped, std::size_t seed);
// At most so many of them, evenly spread.
std::vector<Fault> Some(const std::vector<Fault>& faults, std::size_t count, std::size_t seed);
// What a fault of this kind does for sure.
void ExpectAsOfItsKind(const Fault& fault, const FaultyOutcome& outcome);

// The fault in words, for a failed test.
std::string Describe(const Fault& fault);

}  // namespace vantor::tools
