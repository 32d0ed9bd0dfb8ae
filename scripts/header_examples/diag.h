// What the examples in the headers of src/diag take as given.
#pragma once
#include "diag/result_names.h"

void Write(const unsigned char* bytes, std::size_t count);
extern HRESULT result;
extern TraceSystem& system;
