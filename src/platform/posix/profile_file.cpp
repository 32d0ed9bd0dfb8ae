// Profile files as the other platform's own reader takes them: 16-bit text with a byte order mark, or 8-bit text, here
// UTF-8 or else one character a byte.
#include "platform/profile_file.h"

#include <locale.h>

#include <algorithm>
#include <cstdint>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "platform/text.h"

namespace vantor::platform {

namespace {

constexpr WCHAR kReplacement = 0xFFFD;

std::string ReadFile(const WideString& path) {
  const std::filesystem::path file(WideToUtf8(path));
  std::error_code error;
  const bool regular = std::filesystem::is_regular_file(file, error);
  if (!regular || error || std::filesystem::file_size(file, error) > ProfileFile::kLargestFile || error) return {};
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

WideString Decode16(std::string_view bytes, bool bigEndian) {
  WideString text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    text.push_back(static_cast<WCHAR>(bigEndian ? first << 8 | second : second << 8 | first));
  }
  return text;
}

WideString Decode8(std::string_view bytes) {
  WideString text = Utf8ToWide(bytes);
  if (text.find(kReplacement) == WideString::npos) return text;
  WideString widened;
  for (const char byte : bytes) widened.push_back(static_cast<WCHAR>(static_cast<unsigned char>(byte)));
  return widened;
}

WideString Decode(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) return Decode16(bytes.substr(2), false);
  if (bytes.starts_with("\xFE\xFF")) return Decode16(bytes.substr(2), true);
  if (bytes.starts_with("\xEF\xBB\xBF")) return Decode8(bytes.substr(3));
  return Decode8(bytes);
}

WideStringView Trim(WideStringView text) {
  constexpr WCHAR kBlanks[] = OLESTR(" \t\v\f\r");
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == WideStringView::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

WideStringView Unquote(WideStringView text) {
  const bool quoted = text.size() >= 2 && text.front() == text.back() && (text.front() == '"' || text.front() == '\'');
  return quoted ? text.substr(1, text.size() - 2) : text;
}

// Small letters of every script, whatever the program's locale: where the system lacks the one asked for, of ASCII.
std::wint_t SmallLetter(WCHAR letter) {
  static const locale_t kEverywhere = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  const auto wide = static_cast<std::wint_t>(letter);
  if (kEverywhere != nullptr) return towlower_l(wide, kEverywhere);
  return wide >= 'A' && wide <= 'Z' ? wide - 'A' + 'a' : wide;
}

bool SameName(WideStringView left, WideStringView right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](WCHAR a, WCHAR b) { return a == b || SmallLetter(a) == SmallLetter(b); });
}

// Calls `visit` with every trimmed line until it returns true.
template <typename Visitor>
void ForEachLine(WideStringView text, Visitor visit) {
  while (!text.empty()) {
    const std::size_t end = text.find_first_of(OLESTR("\r\n"));
    if (visit(Trim(text.substr(0, end))) || end == WideStringView::npos) return;
    text.remove_prefix(end + 1);
  }
}

WideStringView FindValue(WideStringView text, WideStringView section, WideStringView key) {
  WideStringView value;
  bool inside = false;
  ForEachLine(text, [&](WideStringView line) {
    if (line.empty() || line.front() == ';') return false;
    if (const std::size_t end = line.rfind(OLESTR(']')); line.front() == '[' && end != WideStringView::npos) {
      if (inside) return true;  // only the first section of a name counts
      inside = SameName(Trim(line.substr(1, end - 1)), section);
      return false;
    }
    const std::size_t equals = line.find(OLESTR('='));
    if (!inside || equals == WideStringView::npos || !SameName(Trim(line.substr(0, equals)), key)) return false;
    value = Unquote(Trim(line.substr(equals + 1)));
    return true;
  });
  return value;
}

}  // namespace

ProfileFile::ProfileFile(const WideString& path) : content_(Decode(ReadFile(path))) {}

WideString ProfileFile::Value(const WideString& section, const WideString& key, std::size_t capacity) const {
  if (capacity == 0) return {};
  return WideString(FindValue(content_, Trim(section), Trim(key)).substr(0, capacity - 1));
}

}  // namespace vantor::platform
