#include "platform/registration.h"

namespace vantor::platform {

RegistrationSystem* SystemRegistration() { return nullptr; }

}  // namespace vantor::platform
