// Messages for people: one line each on the message stream, behind the program's name, and never the reason for another
// failure: they cost no memory, and a stream that takes nothing is no error.
//
//   Say(stderr, path + ": no such file");    // vantor-mkv: movie.mkv: no such file
//
// Names and texts come from files and command lines and may hold anything. What a terminal would act on, or cannot
// show, is escaped: control characters, marks that turn the direction of writing, bytes that are not UTF-8.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace vantor::tools {

void Say(std::FILE* messages, std::string_view text) noexcept;

// The same text, escaped, for a line or a table on standard output: "a\x1b[31m\u009b\xff".
std::string Printable(std::string_view text);

}  // namespace vantor::tools
