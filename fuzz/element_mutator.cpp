// How a file is changed.
//
// It is read as a tree, changed once or a few times, and written. Each change picks its element from a list of all of
// them that is made for it, so that a small element is met as often as a large one. Copies are bounded by the room
// that is left; where a change made the file too long all the same, elements are taken out of it until it fits. Last,
// the seek index and the cues are made to point at what they name, unless it is to be seen what happens when they do
// not.
#include "fuzz/element_mutator.h"

#include <algorithm>
#include <array>
#include <utility>

#include "fuzz/index_repair.h"
#include "fuzz/payload_maker.h"

namespace vantor::fuzz {

namespace {

std::vector<std::uint64_t> TrackNumbers(const std::vector<ElementNode>& elements) {
  std::vector<std::uint64_t> numbers;
  for (const ElementNode& element : elements) {
    if (IdOf(element) == 0xD7 && !element.payload.empty()) numbers.push_back(element.payload.back());
    const std::vector<std::uint64_t> inside = TrackNumbers(element.children);
    numbers.insert(numbers.end(), inside.begin(), inside.end());
  }
  return numbers;
}

}  // namespace

// ---- Picking.

std::vector<ElementMutator::Place> ElementMutator::Places() {
  std::vector<Place> places;
  const auto visit = [&](const auto& self, Tree& list, std::uint32_t parent) -> void {
    for (std::size_t i = 0; i < list.size(); ++i) {
      places.push_back({&list, i, parent});
      self(self, list[i].children, IdOf(list[i]));
    }
  };
  visit(visit, tree_, 0);
  return places;
}

template <typename Wanted>
bool ElementMutator::Pick(Place& place, const Wanted& wanted) {
  std::vector<Place> places = Places();
  std::erase_if(places, [&](const Place& each) { return !wanted(each.Node()); });
  if (places.empty()) return false;
  place = random_.Of(places);
  return true;
}

bool ElementMutator::PickAny(Place& place) {
  return Pick(place, [](const ElementNode&) { return true; });
}

std::size_t ElementMutator::Room() const {
  const std::size_t size = WriteElements(tree_).size();
  return size < most_ ? most_ - size : 0;
}

// ---- Changes.

void ElementMutator::Delete() {
  Place place;
  if (PickAny(place)) place.list->erase(place.list->begin() + static_cast<std::ptrdiff_t>(place.index));
}

void ElementMutator::Repeat() {
  Place place;
  if (!PickAny(place)) return;
  const std::size_t fitting = Room() / std::max<std::size_t>(1, WrittenSize(place.Node()));
  if (fitting == 0) return;
  const std::size_t wanted = random_.OneIn(8) ? fitting : 1 + random_.Below(random_.OneIn(2) ? 2 : 40);
  const Tree copies(std::min(wanted, fitting), place.Node());
  place.list->insert(place.list->begin() + static_cast<std::ptrdiff_t>(place.index), copies.begin(), copies.end());
}

void ElementMutator::Move() {
  Place from;
  if (!PickAny(from)) return;
  const ElementNode moved = from.Node();
  from.list->erase(from.list->begin() + static_cast<std::ptrdiff_t>(from.index));
  Place to;
  const auto isMaster = [](const ElementNode& node) { return node.isMaster; };
  Tree& list = Pick(to, isMaster) ? to.Node().children : tree_;
  list.insert(list.begin() + static_cast<std::ptrdiff_t>(random_.Below(list.size() + 1)), moved);
}

void ElementMutator::Swap() {
  Place place;
  if (PickAny(place)) std::swap(place.Node(), (*place.list)[random_.Below(place.list->size())]);
}

void ElementMutator::Nest() {
  Place place;
  if (!PickAny(place)) return;
  const std::vector<KnownElement> siblings = ChildrenOf(place.parent);
  ElementNode outside;
  outside.id = random_.OneIn(2) || siblings.empty() ? place.Node().id : BytesOfId(random_.Of(siblings).id);
  if (outside.id.empty()) outside.id = BytesOfId(ids::kSegment);
  outside.isMaster = true;
  outside.children.push_back(std::move(place.Node()));
  place.Node() = std::move(outside);
}

void ElementMutator::TakeOut() {
  Place place;
  if (!Pick(place, [](const ElementNode& node) { return !node.children.empty(); })) return;
  const Tree children = std::move(place.Node().children);
  const auto at = place.list->erase(place.list->begin() + static_cast<std::ptrdiff_t>(place.index));
  place.list->insert(at, children.begin(), children.end());
}

void ElementMutator::MakeChild() {
  Place place;
  std::uint32_t parent = 0;
  Tree* list = &tree_;
  if (!random_.OneIn(16) && Pick(place, [](const ElementNode& node) { return node.isMaster; })) {
    parent = IdOf(place.Node());
    list = &place.Node().children;
  }
  const std::vector<KnownElement> known = random_.OneIn(16) ? KnownElements() : ChildrenOf(parent);
  if (known.empty()) return;
  const KnownElement& chosen = random_.Of(known);
  ElementNode made;
  made.id = BytesOfId(chosen.id);
  made.isMaster = chosen.kind == ElementKind::kMaster;
  if (!made.isMaster) made.payload = NewPayload(chosen.kind);
  list->insert(list->begin() + static_cast<std::ptrdiff_t>(random_.Below(list->size() + 1)), std::move(made));
}

Raw ElementMutator::NewPayload(ElementKind kind) {
  switch (kind) {
    case ElementKind::kUnsigned:
    case ElementKind::kSigned:
      return MakeNumber(random_);
    case ElementKind::kFloat:
      return MakeFloat(random_);
    case ElementKind::kText:
      return MakeText(random_);
    case ElementKind::kBlock: {
      std::vector<std::uint64_t> tracks = TrackNumbers(tree_);
      tracks.push_back(1);
      return MakeBlock(random_, tracks, Room());
    }
    case ElementKind::kMaster:
    case ElementKind::kBinary:
      break;
  }
  return MakeBytes(random_, std::min<std::size_t>(Room(), 64));
}

void ElementMutator::ChangeValue() {
  Place place;
  if (!Pick(place, [](const ElementNode& node) { return !node.isMaster; })) return;
  Raw& payload = place.Node().payload;
  if (random_.OneIn(2)) {
    payload = NewPayload(KindOf(IdOf(place.Node())));
    return;
  }
  const std::size_t size = payload.size();
  payload.resize(size + std::min<std::size_t>(Room(), 256));
  if (payload.empty()) return;
  payload.resize(mutateBytes_(payload.data(), size, payload.size()));
}

void ElementMutator::ChangeSize() {
  Place place;
  if (!Pick(place, [](const ElementNode& node) { return !node.id.empty(); })) return;
  ElementNode& node = place.Node();
  const std::size_t content = ContentSize(node);
  switch (random_.Below(5)) {
    case 0:
      node.hasUnknownSize = !node.hasUnknownSize;
      break;
    case 1:
      node.sizeWidth = 1 + random_.Below(8);
      break;
    case 2:  // right again
      node.claimed.reset();
      node.hasUnknownSize = false;
      break;
    case 3:
      node.claimed = content + random_.Below(9) - std::min<std::size_t>(content, 4);
      break;
    default:
      node.claimed = (std::uint64_t{1} << random_.Below(56)) - random_.Below(2);
      break;
  }
}

void ElementMutator::ChangeId() {
  Place place;
  if (!Pick(place, [](const ElementNode& node) { return !node.id.empty(); })) return;
  const std::vector<KnownElement> siblings = ChildrenOf(place.parent);
  ElementNode& node = place.Node();
  const bool isAny = siblings.empty() || random_.OneIn(4);
  if (random_.OneIn(8)) {
    node.id.back() = random_.Byte();
    // What is left must be an identifier of that length, or all behind it would be another file.
    if (node.id.size() == 1) node.id.back() |= 0x80;
  } else {
    node.id = BytesOfId((isAny ? random_.Of(KnownElements()) : random_.Of(siblings)).id);
  }
}

void ElementMutator::ChangeBlock() {
  Place place;
  const auto isBlock = [](const ElementNode& node) { return KindOf(IdOf(node)) == ElementKind::kBlock; };
  if (Pick(place, isBlock)) place.Node().payload = NewPayload(ElementKind::kBlock);
}

// The last bytes say how the file is played, sought and failed.
void ElementMutator::ChangeTail() {
  if (tree_.empty()) return;
  ElementNode& last = tree_.back();
  if (last.isMaster || last.payload.empty()) {
    ElementNode tail;
    tail.id = {0xEC};
    tail.payload = Raw(8, 0);
    tree_.push_back(std::move(tail));
    return;
  }
  Raw& payload = last.payload;
  payload[payload.size() - 1 - random_.Below(std::min<std::size_t>(payload.size(), 8))] = random_.Byte();
}

// ---- All of it.

void ElementMutator::ChangeOnce() {
  using Change = void (ElementMutator::*)();
  static constexpr std::array<Change, 15> kChanges = {
      &ElementMutator::Delete,      &ElementMutator::Repeat,      &ElementMutator::Repeat,
      &ElementMutator::Move,        &ElementMutator::Swap,        &ElementMutator::Nest,
      &ElementMutator::TakeOut,     &ElementMutator::MakeChild,   &ElementMutator::MakeChild,
      &ElementMutator::ChangeValue, &ElementMutator::ChangeValue, &ElementMutator::ChangeSize,
      &ElementMutator::ChangeId,    &ElementMutator::ChangeBlock, &ElementMutator::ChangeTail};
  (this->*random_.Of(kChanges))();
}

Raw ElementMutator::Finish(std::size_t most) {
  if (!random_.OneIn(8)) RepairIndexes(tree_);
  Raw bytes = WriteElements(tree_);
  while (bytes.size() > most && !tree_.empty()) {
    Delete();
    bytes = WriteElements(tree_);
  }
  return bytes;
}

Raw ElementMutator::Mutate(std::span<const std::uint8_t> bytes, std::size_t most) {
  tree_ = ParseElements(bytes);
  most_ = most;
  const std::size_t changes = 1 + random_.Below(random_.OneIn(2) ? 1 : 4);
  for (std::size_t i = 0; i < changes; ++i) ChangeOnce();
  return Finish(most);
}

Raw ElementMutator::Cross(std::span<const std::uint8_t> bytes, std::span<const std::uint8_t> other, std::size_t most) {
  most_ = most;
  tree_ = ParseElements(other);
  Place place;
  ElementNode taken;
  std::uint32_t parent = 0;
  if (PickAny(place)) {
    taken = place.Node();
    parent = place.parent;
  }
  tree_ = ParseElements(bytes);
  const auto isParent = [&](const ElementNode& node) { return node.isMaster && IdOf(node) == parent; };
  const auto isAlike = [&](const ElementNode& node) { return node.id == taken.id; };
  if (random_.OneIn(2) && Pick(place, isAlike)) {
    place.Node() = std::move(taken);
  } else {
    Tree& list = Pick(place, isParent) ? place.Node().children : tree_;
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(random_.Below(list.size() + 1)), std::move(taken));
  }
  return Finish(most);
}

}  // namespace vantor::fuzz
