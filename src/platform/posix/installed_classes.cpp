#include "platform/installed_classes.h"

namespace vantor::platform {

InstalledClasses* SystemClasses() { return nullptr; }

}  // namespace vantor::platform
