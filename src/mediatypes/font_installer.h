// Installs fonts for this process only, and takes them back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/font_functions.h"

namespace vantor {

// Not for use by several threads at once.
class CFontInstaller {
 public:
  // With the system's functions; where it has none, every install fails.
  CFontInstaller();
  // `files` outlives the installer.
  CFontInstaller(const platform::FontFunctions& functions, platform::TemporaryFiles& files);
  // Removes what is installed.
  virtual ~CFontInstaller();
  CFontInstaller(const CFontInstaller&) = delete;
  CFontInstaller& operator=(const CFontInstaller&) = delete;

  // Installs the font through a temporary file or, failing that, from memory; true when one of the two worked. The
  // data is not needed afterwards.
  bool Install(const std::uint8_t* data, std::size_t size);

  // Removes every installed font and deletes its file, at the next restart if it is still in use.
  void RemoveAll();

 private:
  bool InstallFromFile(const std::uint8_t* data, std::size_t size);
  bool InstallFromMemory(const std::uint8_t* data, std::size_t size);

  platform::FontFunctions functions_;
  platform::TemporaryFiles& temporaryFiles_;
  std::vector<HANDLE> handles_;         // in the order of installation
  std::vector<std::string> fileNames_;  // likewise
};

}  // namespace vantor
