// The constant tables that codes are named from, EventNameRows among them. Rows stand in ascending order of their
// codes, which the search relies on; a few stand elsewhere, or share their code, and are then found by chance or not at
// all.
#pragma once

#include <cstdint>
#include <span>

#include "published/event_names.h"

namespace vantor {

// Result codes: the symbolic name, for some followed by " - " and a description.
std::span<const NameRow> ResultNameRows();
// Errors of the network library, by their own numbers: the symbolic name, " = " and a description.
std::span<const NameRow> WinsockNameRows();
// Messages of windows.
std::span<const NameRow> MessageNameRows();

// The text of the row with that code, by bisection, or null.
const char* FindName(std::span<const NameRow> rows, std::uint32_t code);

}  // namespace vantor
