// The null GUID, which the headers only declare: elsewhere the system's import library holds it.
#include "platform/com.h"

extern "C" const IID GUID_NULL = {};
