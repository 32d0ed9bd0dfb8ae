#include "filter/output_pins.h"

namespace vantor {

std::size_t OutputPins::Count() const {
  const LockScope hold(lock_);
  return pins_.size();
}

PinHold OutputPins::Hold(std::size_t index) const {
  const LockScope hold(lock_);
  return PinHold(index < pins_.size() ? pins_[index].Get() : nullptr);
}

CVXMkvDmxOutputPin* OutputPins::At(std::size_t index) const {
  const LockScope hold(lock_);
  return index < pins_.size() ? pins_[index].Get() : nullptr;
}

void OutputPins::Append(PinHold pin) {
  const LockScope hold(lock_);
  pins_.push_back(std::move(pin));
}

std::vector<PinHold> OutputPins::TakeAll() {
  std::vector<PinHold> taken;
  const LockScope hold(lock_);
  taken.swap(pins_);
  return taken;
}

}  // namespace vantor
