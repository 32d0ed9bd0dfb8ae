// Changes a file as a tree of elements: what comes of it is mostly a file again, with another shape.
//
//   ElementMutator mutator(seed, LLVMFuzzerMutate);
//   Raw changed = mutator.Mutate(bytes, 2000);
//
// Elements are deleted, repeated, moved, nested, taken out of their parents and made anew; values, texts, blocks with
// their laces, identifiers and sizes are changed. The sizes above a change are right afterwards unless a size itself
// was what was changed, and mostly so are the positions in seek index and cues. The same seed gives the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "fuzz/element_tree.h"
#include "fuzz/known_elements.h"
#include "fuzz/random.h"

namespace vantor::fuzz {

class ElementMutator {
 public:
  // Changes the `size` bytes at the address into at most `most`, and returns how many they are.
  using ByteMutator = std::function<std::size_t(std::uint8_t* bytes, std::size_t size, std::size_t most)>;

  ElementMutator(std::uint32_t seed, ByteMutator mutateBytes) : random_(seed), mutateBytes_(std::move(mutateBytes)) {}

  // A few changes, in at most `most` bytes.
  Raw Mutate(std::span<const std::uint8_t> bytes, std::size_t most);
  // The bytes with an element of the other file put in, or in the place of one.
  Raw Cross(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> other, std::size_t most);

 private:
  using Tree = std::vector<ElementNode>;
  // An element by the list in which it stands. Valid until the tree changes.
  struct Place {
    Tree* list;
    std::size_t index;
    std::uint32_t parent;  // identifier, 0 for the file
    ElementNode& Node() const { return (*list)[index]; }
  };

  void Delete();
  void Repeat();
  void Move();
  void Swap();
  void Nest();
  void TakeOut();
  void MakeChild();
  void ChangeValue();
  void ChangeSize();
  void ChangeId();
  void ChangeBlock();
  void ChangeTail();

  void ChangeOnce();
  Raw Finish(std::size_t most);
  Raw NewPayload(ElementKind kind);
  std::vector<Place> Places();
  template <typename Wanted>
  bool Pick(Place& place, const Wanted& wanted);
  bool PickAny(Place& place);
  std::size_t Room() const;

  Random random_;
  ByteMutator mutateBytes_;
  Tree tree_;
  std::size_t most_ = 0;
};

}  // namespace vantor::fuzz
