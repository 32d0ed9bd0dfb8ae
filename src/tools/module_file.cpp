// A Windows file holds its version as a resource whose fixed part has a mark of its own; an ELF file as a note about
// its package, in JSON. Both are found by searching for their marks, which need no table of either format to be walked.
#include "tools/module_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "platform/mapped_file.h"

namespace vantor::tools {
namespace {

using namespace std::string_view_literals;

constexpr std::int64_t kMostBytes = std::int64_t{64} << 20;
constexpr std::size_t kPeOffsetAt = 0x3C;
// Up to where the fixed part begins: lengths and type, the name, the padding.
constexpr std::string_view kVersionName = "V\0S\0_\0V\0E\0R\0S\0I\0O\0N\0_\0I\0N\0F\0O\0\0\0"sv;
constexpr std::string_view kFixedVersion = "\xBD\x04\xEF\xFE\0\0\1\0"sv;
// The type of the note and its owner.
constexpr std::string_view kPackageNote =
    "\x7E\x1A\xFE\xCA"
    "FDO\0"sv;
constexpr std::size_t kMostPadding = 8;
constexpr std::size_t kMostNote = 4096;

std::string ReadAll(const platform::ReadableFile& file) {
  const std::int64_t length = std::min(file.Length(), kMostBytes);
  std::string bytes(static_cast<std::size_t>(std::max<std::int64_t>(length, 0)), '\0');
  const std::int64_t read = bytes.empty() ? 0 : file.ReadAt(0, bytes.data(), bytes.size());
  bytes.resize(static_cast<std::size_t>(std::max<std::int64_t>(read, 0)));
  return bytes;
}

std::uint32_t LittleEndian(std::string_view bytes, std::size_t at, std::size_t size) {
  if (bytes.size() < size || at > bytes.size() - size) return 0;
  std::uint32_t value = 0;
  for (std::size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

int PeBits(std::string_view bytes) {
  const std::size_t header = LittleEndian(bytes, kPeOffsetAt, 4);
  if (header > bytes.size() || !bytes.substr(header).starts_with("PE\0\0"sv)) return 0;
  switch (LittleEndian(bytes, header + 4, 2)) {
    case 0x014C:  // x86
    case 0x01C4:  // ARM
      return 32;
    case 0x8664:  // x64
    case 0xAA64:  // ARM64
      return 64;
    default:
      return 0;
  }
}

int ElfBits(std::string_view bytes) {
  const std::uint32_t kind = LittleEndian(bytes, 4, 1);
  return kind == 1 ? 32 : kind == 2 ? 64 : 0;
}

std::string PeVersion(std::string_view bytes) {
  const std::size_t name = bytes.find(kVersionName);
  if (name == std::string_view::npos) return {};
  const std::size_t end = name + kVersionName.size();
  const std::size_t fixed = bytes.substr(end, kMostPadding + kFixedVersion.size()).find(kFixedVersion);
  if (fixed == std::string_view::npos) return {};
  const std::size_t at = end + fixed + kFixedVersion.size();
  const auto word = [&](std::size_t offset) { return LittleEndian(bytes, at + offset, 2); };
  const std::string version = fmt::format("{}.{}.{}", word(2), word(0), word(6));
  return word(4) == 0 ? version : fmt::format("{}.{}", version, word(4));
}

// The text up to that character, or all of it.
std::string_view UpTo(std::string_view text, char end) {
  return text.substr(0, static_cast<std::size_t>(std::find(text.begin(), text.end(), end) - text.begin()));
}

std::string ElfVersion(std::string_view bytes) {
  const std::size_t note = bytes.find(kPackageNote);
  if (note == std::string_view::npos) return {};
  const std::string_view text = UpTo(bytes.substr(note + kPackageNote.size(), kMostNote), '\0');
  constexpr std::string_view kKey = "\"version\":\"";
  const std::size_t key = text.find(kKey);
  return key == std::string_view::npos ? std::string() : std::string(UpTo(text.substr(key + kKey.size()), '"'));
}

}  // namespace

std::optional<ModuleFile> ReadModuleFile(const std::string& path) {
  platform::ReadableFile file;
  if (file.Open(path) != platform::FileError::kNone) return std::nullopt;
  const std::string bytes = ReadAll(file);
  if (bytes.starts_with("MZ")) return ModuleFile{PeBits(bytes), PeVersion(bytes)};
  if (bytes.starts_with("\177ELF")) return ModuleFile{ElfBits(bytes), ElfVersion(bytes)};
  return ModuleFile();
}

}  // namespace vantor::tools
