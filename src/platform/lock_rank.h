// The order in which locks nest, all locks of the system in one table: a thread takes them in rising order only. Debug
// builds check it (platform/lock_check.h). Two locks of one rank do not nest either, but for filter locks: two filters
// that connect hold both. Unranked locks are not checked.
//
// The locks from Position on are held for a few lines each, never across a call out of their own class or a wait for
// another thread (but for AddRef on what they guard), and so mostly nest in nothing but the locks above them.
#pragma once

// It reads like an enumeration, LockRank::Filter, but its values are numbers to compare.
// NOLINTBEGIN(readability-identifier-naming)
namespace vantor::LockRank {

constexpr int Unranked = 0;

// The control side: held across calls out and across waits for workers. No worker takes them.
constexpr int Seek = 10;
constexpr int Filter = 20;
constexpr int ThreadCall = 30;  // whose turn it is to talk to a worker thread

// Data of the filter and its pins.
constexpr int Late = 36;  // of a worker or a search: whether it was left to itself
constexpr int Position = 40;
constexpr int PinList = 50;
constexpr int Enumerator = 52;  // where an enumerator of pins stands
constexpr int Connection = 60;  // of a pin: peer and media type
constexpr int Clock = 62;       // of a filter, and the start time
constexpr int Info = 64;        // of a filter: graph, sink and name
constexpr int Allocator = 70;
constexpr int ThreadChannel = 80;
constexpr int Event = 82;

// The embedded host.
constexpr int Host = 90;

// Tracing, which may happen under any other lock.
constexpr int TraceLog = 100;
constexpr int TraceLoggers = 102;  // makes loggers, with the two below
constexpr int SharedWords = 104;
constexpr int Timer = 106;
constexpr int TraceText = 108;

constexpr bool MayNestInItself(int rank) { return rank == Filter; }

}  // namespace vantor::LockRank
// NOLINTEND(readability-identifier-naming)
