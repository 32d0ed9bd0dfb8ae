// ModuleFile: what the file of a component or program says of itself, read without loading it, for files of every
// system and bitness.
//
//   if (const std::optional<ModuleFile> module = ReadModuleFile(path)) Use(module->bits, module->version);
#pragma once

#include <optional>
#include <string>

namespace vantor::tools {

struct ModuleFile {
  int bits = 0;         // 32 or 64; 0: it is no program and no library
  std::string version;  // "1.2.3"; empty where it tells none
};

// Nothing where there is no file that can be read.
std::optional<ModuleFile> ReadModuleFile(const std::string& path);

}  // namespace vantor::tools
