// Names in PIN_INFO and FILTER_INFO, which have room for a fixed number of characters.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/com.h"

// Copies the name into the field, cut where it is too long; always terminated.
template <std::size_t N>
void CopyInfoName(WCHAR (&field)[N], std::basic_string_view<WCHAR> name) {
  const std::size_t length = std::min(name.size(), N - 1);
  std::copy_n(name.begin(), length, field);
  field[length] = 0;
}
