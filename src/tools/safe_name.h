// Names for files, made of what stands in a file that may come from anybody: no name leads out of its folder, hides,
// names a device, or holds what a terminal would act on, on any system.
//
//   SafeName("../fonts/Sans.ttf", "attachment 1");   // "Sans.ttf"
//   SafeName("CON.txt", "attachment 1");             // "_CON.txt"
//   SafeName("..", "attachment 1");                  // "attachment 1"
//   SafePart("Commentary: A/B");                     // "Commentary_ A_B"
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace vantor::tools {

// The last part of a path of any system's kind, in valid UTF-8, of 200 bytes at most; a long one is shortened before
// its extension. The other name, which is taken as it is, where nothing is left of it.
std::string SafeName(std::string_view name, std::string_view otherwise);

// A text as a part of a name that has others before it: separators and all that no name holds become "_". At most 60
// bytes, empty when nothing is left.
std::string SafePart(std::string_view text);

class UniqueNames {
 public:
  // The name, or the first of "name (2).ttf", "name (3).ttf" that has not been taken, and takes it. Names that only
  // differ in the case of letters are one, since some file systems have it so.
  std::string Take(const std::string& name);

 private:
  std::map<std::string, int> taken_;  // without case, and the last number that was given to it
};

}  // namespace vantor::tools
