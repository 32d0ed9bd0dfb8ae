// What the system says of a standard stream.
#pragma once

#include <cstddef>
#include <cstdio>

namespace vantor::platform {

// Whether the stream is a terminal that a person looks at.
bool IsTerminal(std::FILE* stream) noexcept;
// Its width in characters, or the fallback when the system cannot tell.
int TerminalWidth(std::FILE* stream, int fallback) noexcept;
// Writes what may well be read by nobody, and flushes: a pipe whose reader has gone away does not end the program.
void WriteMessage(std::FILE* stream, const char* bytes, std::size_t size) noexcept;
// Makes a terminal understand UTF-8 and colour sequences, where it has to be told.
void PrepareTerminal(std::FILE* stream) noexcept;

}  // namespace vantor::platform
