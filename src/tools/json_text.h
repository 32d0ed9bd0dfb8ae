// Text for JSON output: always valid, whatever the names and bytes were.
//
//   AppendJsonString(buffer, name);                      // "AVC video 1", quotes included
//   AppendHex(buffer, block.data(), block.size());       // 0a1b2c
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/com.h"

namespace vantor::tools {

using Buffer = fmt::memory_buffer;

// Appends the UTF-8 text in quotes, with quotes, backslashes and the control characters of both sets escaped.
void AppendJsonString(Buffer& out, std::string_view utf8);
// The same for wide text; a lone surrogate becomes U+FFFD.
void AppendJsonString(Buffer& out, const WideString& text);
// The bytes in lower-case hexadecimal.
void AppendHex(Buffer& out, const unsigned char* bytes, std::size_t size);
// The shortest decimal form that reads back as the number, always with a fraction or an exponent; null for a number
// that JSON has not got.
void AppendReal(Buffer& out, double value);

// File names and what a file holds as bytes: what is not valid in them becomes U+FFFD.
std::string ValidUtf8(std::string_view text);

// The result code as "0x%08X".
std::string ResultText(HRESULT result);

}  // namespace vantor::tools
