#include "platform/system_error.h"

#include <cerrno>
#include <system_error>

namespace vantor::platform {

int LastSystemError() noexcept { return errno; }

std::string SystemErrorText(int error) { return std::generic_category().message(error); }

}  // namespace vantor::platform
