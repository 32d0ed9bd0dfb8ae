// Element tables: the children of a master element and what each is read into, one line a child.
//
//   ReadChildren(point, {
//       {0xB3, record.CueTime},
//       {0xB7, [&](const MkvElement& child) { ReadTrackPosition(child, record); }},
//   });
//
// A holder is left as it was when its child's payload cannot be read; a child met again is read again. Identifiers that
// are not in the table are passed over.
#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "parser/ebml_value.h"
#include "parser/element.h"

namespace vantor {

// One line of a table. It refers to its holder or callable, which must outlive the ReadChildren call.
class ElementField {
 public:
  ElementField(std::uint32_t id, CMkvUInt& holder) : ElementField(id, &holder, ReadValue<CMkvUInt>) {}
  ElementField(std::uint32_t id, CMkvInt& holder) : ElementField(id, &holder, ReadValue<CMkvInt>) {}
  ElementField(std::uint32_t id, CMkvFloat& holder) : ElementField(id, &holder, ReadValue<CMkvFloat>) {}
  ElementField(std::uint32_t id, CMkvID& holder) : ElementField(id, &holder, ReadValue<CMkvID>) {}
  ElementField(std::uint32_t id, std::string& text) : ElementField(id, &text, ReadWith<std::string, ReadAsciiString>) {}
  ElementField(std::uint32_t id, WideString& text) : ElementField(id, &text, ReadWith<WideString, ReadUtf8String>) {}
  ElementField(std::uint32_t id, Bytes& bytes) : ElementField(id, &bytes, ReadWith<Bytes, ReadBytes>) {}
  // The callable gets the child, with the cursor on its payload.
  template <std::invocable<const MkvElement&> Callable>
  ElementField(std::uint32_t id, const Callable& callable)
      : ElementField(id, const_cast<Callable*>(&callable), Call<Callable>) {}

  std::uint32_t Id() const { return id_; }
  void Read(const MkvElement& child) const { read_(target_, child); }

 private:
  using Reader = void (*)(void* target, const MkvElement& child);

  ElementField(std::uint32_t id, void* target, Reader read) : id_(id), target_(target), read_(read) {}

  template <typename Value>
  static void ReadValue(void* target, const MkvElement& child) {
    // Into a fresh holder, since one whose read fails has lost the default that was in it.
    Value value;
    if (value.Read(child) == S_OK) {
      *static_cast<Value*>(target) = value;
    } else {
      child.NotePassedOver(Tolerated::kUnreadableValue);
    }
  }

  template <typename Target, HRESULT (*Function)(const MkvElement&, Target&)>
  static void ReadWith(void* target, const MkvElement& child) {
    (void)Function(child, *static_cast<Target*>(target));  // failed, it leaves the target as it was
  }

  template <typename Callable>
  static void Call(void* target, const MkvElement& child) {
    (*static_cast<const Callable*>(target))(child);
  }

  std::uint32_t id_;
  void* target_;
  Reader read_;
};

// Walks the element's children and reads those in the table. S_OK; S_FALSE when it has no child; E_POINTER for an empty
// element; E_ABORT when the file's `interrupted` ended the walk.
[[nodiscard]] HRESULT ReadChildren(const MkvElement& master, std::initializer_list<ElementField> table);

// The same for a record that is what was read of it: a missing, an empty and a damaged element leave its defaults.
inline void ReadRecord(const MkvElement& master, std::initializer_list<ElementField> table) {
  (void)ReadChildren(master, table);
}

}  // namespace vantor
