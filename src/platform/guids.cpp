// The storage of every interface, class and media type GUID that the headers declare.
#define INITGUID
#include "platform/com.h"
