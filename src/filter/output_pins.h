// The filter's list of output pins, in the order of their creation.
//
//   for (std::size_t i = 0; const PinHold pin = pins.Hold(i); ++i) pin->DeliverBeginFlush();
//
// Any thread may look at it at any time: its lock is held for no call out. It changes under the filter lock only, so
// whoever holds that knows that a pin stays in the list, until the next call out at least: what is called may call back
// and disconnect the filter. A loop that calls out therefore holds each pin it is at, and asks for the next one anew.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "filter/output_pin.h"
#include "platform/lock.h"

namespace vantor {

// Keeps a pin, not its filter, for a while; empty when there was none.
class PinHold {
 public:
  PinHold() = default;
  explicit PinHold(CVXMkvDmxOutputPin* pin) : pin_(pin) {
    if (pin_ != nullptr) pin_->HoldByFilter();
  }
  PinHold(PinHold&& other) noexcept : pin_(std::exchange(other.pin_, nullptr)) {}
  PinHold& operator=(PinHold&& other) noexcept {
    std::swap(pin_, other.pin_);
    return *this;
  }
  ~PinHold() {
    if (pin_ != nullptr) pin_->ReleaseByFilter();
  }

  // Gives the hold to the caller.
  CVXMkvDmxOutputPin* Detach() { return std::exchange(pin_, nullptr); }

  CVXMkvDmxOutputPin* operator->() const { return pin_; }
  CVXMkvDmxOutputPin& operator*() const { return *pin_; }
  CVXMkvDmxOutputPin* Get() const { return pin_; }
  explicit operator bool() const { return pin_ != nullptr; }

 private:
  CVXMkvDmxOutputPin* pin_ = nullptr;
};

class OutputPins {
 public:
  OutputPins() = default;
  OutputPins(const OutputPins&) = delete;
  OutputPins& operator=(const OutputPins&) = delete;

  std::size_t Count() const;
  // The pin of that index, held; an empty hold beyond the last.
  PinHold Hold(std::size_t index) const;
  // The same, not held, for callers with the filter lock; null beyond the last.
  CVXMkvDmxOutputPin* At(std::size_t index) const;

  // Raises running out of memory, with the list as it was.
  void Append(PinHold pin);
  // Empties the list and gives the pins to the caller.
  std::vector<PinHold> TakeAll();

 private:
  mutable Lock lock_{LockRank::PinList};
  std::vector<PinHold> pins_ VANTOR_GUARDED_BY(lock_);
};

}  // namespace vantor
