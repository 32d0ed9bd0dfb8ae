// Text in which letters that differ in their case only are the same, as file systems that make no difference between
// them compare names: letter by letter, in every script, whatever the user's language. Scripts of two units a letter
// are among them, which not every such file system knows.
//
//   return WithoutCase(Utf8ToWide("Ä.TTF")) == WithoutCase(Utf8ToWide("ä.ttf"));   // true
#pragma once

#include "platform/com.h"
#include "platform/text.h"

namespace vantor::platform {

// Of as many units as the text has. For comparing only.
WideString WithoutCase(WideStringView text);

// What of it the system knows, in letters of one unit; the others stay as they are.
WideString WithoutCaseOfUnits(WideStringView text);

}  // namespace vantor::platform
