// Sixteen bytes that every module of the process finds under the same name: zero at first, there while anybody holds
// them. Access is by std::atomic_ref.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

namespace vantor::platform {

using SharedWords = std::array<std::uint32_t, 4>;

// The name is UTF-8 and holds no backslash. Null when the system has no room, or does not take the name. Natively only
// the modules that share this function share the words.
std::shared_ptr<SharedWords> OpenSharedWords(const char* name);

}  // namespace vantor::platform
