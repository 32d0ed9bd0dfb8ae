#include "tools/safe_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "platform/letter_case.h"
#include "platform/text.h"
#include "tools/messages.h"

namespace vantor::tools {
namespace {

constexpr std::size_t kLongestSafeName = 200;
constexpr std::size_t kLongestExtension = 20;  // longer ones are no extensions
constexpr std::size_t kLongestPart = 60;

bool IsSurrogate(WCHAR unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

// What some system takes for something else than a letter of a name, or a terminal acts on.
bool IsNoLetter(WCHAR unit) {
  constexpr std::string_view kSpecial = "<>:\"/\\|?*";
  if (unit < 0x80 && kSpecial.find(static_cast<char>(unit)) != std::string_view::npos) return true;
  if (unit == 0xFFFD) return true;
  if (IsSurrogate(unit)) return false;
  const std::string text = WideToUtf8(WideString(1, unit));
  return Printable(text) != text;
}

std::string Letters(std::string_view text) {
  WideString letters = Utf8ToWide(text);
  std::replace_if(letters.begin(), letters.end(), IsNoLetter, WCHAR{'_'});
  return WideToUtf8(letters);
}

// The text's first bytes, whole characters only.
std::string Cut(const std::string& text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}

// Dots and spaces at the ends hide a name, or are left out of it by a system.
std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(". ");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(". ") + 1 - first);
}

std::string Folded(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
  return text;
}

// One system's devices are in every folder, with any extension.
bool IsDevice(const std::string& name) {
  static constexpr std::array<std::string_view, 7> kDevices = {"con",    "prn",     "aux",   "nul",
                                                               "conin$", "conout$", "clock$"};
  std::string stem = Folded(name.substr(0, name.find('.')));
  stem.erase(stem.find_last_not_of(' ') + 1);
  if (std::find(kDevices.begin(), kDevices.end(), stem) != kDevices.end()) return true;
  const bool isPort = stem.starts_with("com") || stem.starts_with("lpt");
  const std::string number = isPort ? stem.substr(3) : std::string();
  return (number.size() == 1 && number[0] >= '0' && number[0] <= '9') || number == "\u00B9" || number == "\u00B2" ||
         number == "\u00B3";
}

// Where the extension begins, its dot included; the end when there is none.
std::size_t ExtensionAt(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 || name.size() - dot > kLongestExtension ? name.size() : dot;
}

std::string Shortened(const std::string& name, std::size_t size) {
  if (name.size() <= size) return name;
  const std::size_t extension = ExtensionAt(name);
  const std::size_t kept = name.size() - extension;
  return Trimmed(Cut(name.substr(0, extension), size - kept)) + name.substr(extension);
}

}  // namespace

std::string SafeName(std::string_view name, std::string_view otherwise) {
  const std::size_t separator = name.find_last_of("/\\");
  if (separator != std::string_view::npos) name.remove_prefix(separator + 1);
  std::string safe = Shortened(Trimmed(Letters(name)), kLongestSafeName);
  if (safe.empty()) return std::string(otherwise);
  // A name that begins like an option is taken for one.
  if (safe.front() == '-') safe.front() = '_';
  return IsDevice(safe) ? "_" + safe : safe;
}

std::string SafePart(std::string_view text) { return Trimmed(Cut(Trimmed(Letters(text)), kLongestPart)); }

std::string UniqueNames::Take(const std::string& name) {
  const auto folded = [](const std::string& text) { return WideToUtf8(platform::WithoutCase(Utf8ToWide(text))); };
  const std::string plain = folded(name);
  // The number that was given last to the same name, so that thousands of them do not try each other's.
  const auto [entry, isNew] = taken_.try_emplace(plain, 1);
  if (isNew) return name;
  const std::size_t extension = ExtensionAt(name);
  std::string unique;
  do {
    unique = fmt::format("{} ({}){}", name.substr(0, extension), ++entry->second, name.substr(extension));
  } while (!taken_.try_emplace(folded(unique), 1).second);
  return unique;
}

}  // namespace vantor::tools
