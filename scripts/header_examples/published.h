// What the examples in the headers of src/published take as given.
#pragma once
#include "baseclasses/media_type.h"
#include "published/media_guids.h"
#include "published/subtype_codes.h"

extern void* filter;
extern CMediaType& type;
