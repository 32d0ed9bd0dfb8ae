// Profile (INI) files.
#pragma once

#include <cstddef>

#include "platform/com.h"

namespace vantor::platform {

// The value of the key in the section, names compared without regard to case, white space and one pair of quotes
// around the value taken off, cut to `capacity` - 1 characters (a terminator counts). Empty when the file, the section
// or the key is missing. A relative path counts from the
// current folder.
WideString ReadProfileString(const WideString& path, const WideString& section, const WideString& key,
                             std::size_t capacity);

}  // namespace vantor::platform
