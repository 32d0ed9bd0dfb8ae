// What the examples in the headers of src/hosting take as given.
#pragma once
#include "hosting/host.h"

extern std::shared_ptr<ByteSource> source;
extern std::shared_ptr<SampleListener> listener;
extern std::int64_t total;
bool WaitUntilHere(std::uint64_t end);
bool CopyTo(void* buffer, std::int64_t position, std::size_t size);
