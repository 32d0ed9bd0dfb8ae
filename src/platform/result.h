// Result codes and exceptions: inside the component a failure that has no return path travels as ResultError; at every
// boundary (COM methods, thread procedures, exported functions) Guarded turns it back into its code.
//
//   HRESULT Open() { return Guarded([&] { ...; return S_OK; }); }
#pragma once

#include <exception>
#include <new>
#include <utility>

#include "platform/com.h"

namespace vantor {

class ResultError : public std::exception {
 public:
  explicit ResultError(HRESULT code) noexcept : code_(code) {}
  HRESULT Code() const noexcept { return code_; }
  const char* what() const noexcept override { return "result code raised"; }

 private:
  HRESULT code_;
};

// Runs the callable, which returns an HRESULT, and lets no exception out: a ResultError gives its code, running out of
// memory E_OUTOFMEMORY, anything else E_UNEXPECTED.
template <typename Callable>
HRESULT Guarded(Callable&& callable) noexcept {
  try {
    return std::forward<Callable>(callable)();
  } catch (const ResultError& error) {
    return error.Code();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace vantor
