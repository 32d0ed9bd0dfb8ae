// Plays the scenes of many cells, a few at a time: most of a cell is waiting.
//
//   for (const std::string& complaint : PlayCells(cells, makeGraph, makeFilter)) ADD_FAILURE() << complaint;
//
// A scene that is still at it after the bound is reported with its stage and left behind, so that the other cells have
// their turn; it goes on holding what it holds until the program ends.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "support/control_scene.h"

namespace vantor::test {

// For a watchdog, and generous: sanitizers and shared machines are slow.
inline constexpr std::chrono::seconds kCellBound{30};

using MakeGraph = std::function<ComPtr<IFilterGraph>()>;

// So many scenes at a time: cells whose waits are long take more.
std::vector<std::string> PlayCells(const std::vector<ControlCell>& cells, const MakeGraph& makeGraph,
                                   const ControlScene::MakeFilter& makeFilter, std::size_t atATime = 8);

}  // namespace vantor::test
