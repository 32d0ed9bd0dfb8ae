#include "tools/messages.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/terminal.h"

namespace vantor::tools {
namespace {

// A character as it is shown; as long as an escape gets, "\u202e" or "\xff", or four bytes of UTF-8.
struct Shown {
  std::array<char, 8> letters = {};
  std::size_t size = 0;

  void Add(char letter) { letters[size++] = letter; }
};

void AddHex(Shown& shown, std::uint32_t value, int digits) {
  while (digits-- > 0) {
    shown.Add("0123456789abcdef"[value >> (4 * digits) & 0xF]);
  }
}

// The bytes of the UTF-8 character that the text begins with, and the character; 0 when there is none.
std::size_t Decode(std::string_view text, std::uint32_t& character) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t size = lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
  if (size == 0 || text.size() < size) {
    return 0;
  }
  character = size == 1 ? lead : lead & (0x7FU >> size);
  for (std::size_t i = 1; i < size; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) {
      return 0;
    }
    character = character << 6 | (next & 0x3FU);
  }
  const bool isOverlong = (size == 3 && character < 0x800) || (size == 4 && character < 0x10000);
  const bool isNone = (character >= 0xD800 && character <= 0xDFFF) || character > 0x10FFFF;
  return isOverlong || isNone ? 0 : size;
}

// Beyond ASCII: the second set of controls, line separators, marks and overrides of the direction. The joiners of words
// and pictures are a part of how these are written.
bool IsActedOn(std::uint32_t character) {
  return (character >= 0x80 && character <= 0x9F) || character == 0x200B || character == 0x200E ||
         character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2060 && character <= 0x206F) || character == 0x061C || character == 0xFEFF;
}

// Takes the first character off the text and gives it as it is shown.
Shown TakeShown(std::string_view& text) {
  Shown shown;
  std::uint32_t character = 0;
  const std::size_t size = Decode(text, character);
  if (size == 0 || character < 0x20 || character == 0x7F) {
    shown.Add('\\');
    if (character == '\n' && size != 0) {
      shown.Add('n');
    } else {
      shown.Add('x');
      AddHex(shown, static_cast<unsigned char>(text.front()), 2);
    }
  } else if (IsActedOn(character)) {
    shown.Add('\\');
    shown.Add('u');
    AddHex(shown, character, 4);
  } else {
    std::memcpy(shown.letters.data(), text.data(), size);
    shown.size = size;
  }
  text.remove_prefix(size == 0 ? 1 : size);
  return shown;
}

// Writes in pieces of its own, since a message stream has no buffer and another program may be writing there too.
class Line {
 public:
  explicit Line(std::FILE* stream) noexcept : stream_(stream) {}
  void Add(const char* bytes, std::size_t size) noexcept {
    if (used_ + size > piece_.size()) {
      Write();
    }
    std::memcpy(piece_.data() + used_, bytes, size);
    used_ += size;
  }
  void Write() noexcept {
    platform::WriteMessage(stream_, piece_.data(), used_);
    used_ = 0;
  }

 private:
  std::FILE* const stream_;
  std::array<char, 1024> piece_;
  std::size_t used_ = 0;
};

}  // namespace

void Say(std::FILE* messages, std::string_view text) noexcept {
  static constexpr std::string_view kName = "vantor-mkv: ";
  Line line(messages);
  line.Add(kName.data(), kName.size());
  while (!text.empty()) {
    const Shown shown = TakeShown(text);
    line.Add(shown.letters.data(), shown.size);
  }
  line.Add("\n", 1);
  line.Write();
}

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const Shown shown = TakeShown(text);
    printable.append(shown.letters.data(), shown.size);
  }
  return printable;
}

}  // namespace vantor::tools
