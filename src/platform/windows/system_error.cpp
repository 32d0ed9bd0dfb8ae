#include "platform/system_error.h"

#include "platform/windows/system_message.h"

namespace vantor::platform {

int LastSystemError() noexcept { return static_cast<int>(GetLastError()); }

std::string SystemErrorText(int error) { return SystemMessage(static_cast<DWORD>(error)); }

}  // namespace vantor::platform
