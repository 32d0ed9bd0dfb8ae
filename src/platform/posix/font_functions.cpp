#include "platform/font_functions.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace vantor::platform {

namespace {

class PosixTemporaryFiles final : public TemporaryFiles {
 public:
  bool MakeName(const char* prefix, std::string& name) override {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error) return false;
    std::string made = (folder / (std::string(prefix) + "XXXXXX")).string();
    const int file = mkstemp(made.data());
    if (file < 0) return false;
    close(file);
    name = std::move(made);
    return true;
  }

  bool Write(const std::string& name, const void* data, std::size_t size) override {
    std::FILE* file = std::fopen(name.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
  }

  bool Delete(const std::string& name) override { return unlink(name.c_str()) == 0; }
};

}  // namespace

FontFunctions FindFontFunctions() { return {}; }

TemporaryFiles& SystemTemporaryFiles() {
  static PosixTemporaryFiles files;
  return files;
}

}  // namespace vantor::platform
