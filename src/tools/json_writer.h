// JsonWriter: a JSON value written piece by piece, with the commas where they belong.
//
//   JsonWriter json;
//   json.BeginObject().Key("file").Text(name).Key("sizes").BeginArray().Number(1).Number(2).End().End();
//   Print(json.Line());   // {"file":"a.mkv","sizes":[1,2]}
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/json_text.h"

namespace vantor::tools {

class JsonWriter {
 public:
  JsonWriter& BeginObject() { return Begin('{', '}'); }
  JsonWriter& BeginArray() { return Begin('[', ']'); }
  // Of the object or array that was begun last.
  JsonWriter& End();
  JsonWriter& Key(std::string_view key);
  // What is not UTF-8 becomes U+FFFD.
  JsonWriter& Text(std::string_view utf8);
  JsonWriter& Number(std::int64_t number);
  JsonWriter& Number(std::uint64_t number);
  JsonWriter& Number(int number) { return Number(static_cast<std::int64_t>(number)); }
  JsonWriter& Real(double number);
  JsonWriter& Bool(bool value);
  JsonWriter& Null();
  template <typename Value>
  JsonWriter& NumberOrNull(const std::optional<Value>& number) {
    return number ? Number(*number) : Null();
  }
  // Null for an empty text.
  JsonWriter& TextOrNull(std::string_view utf8) { return utf8.empty() ? Null() : Text(utf8); }

  // What has been written, and a line feed.
  std::string Line() const { return fmt::to_string(out_) + "\n"; }

 private:
  JsonWriter& Begin(char begin, char end);
  void Separate();

  Buffer out_;
  std::vector<char> ends_;
  bool isFirst_ = true;  // of what stands in the innermost one, or behind a key
};

}  // namespace vantor::tools
