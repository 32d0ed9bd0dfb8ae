// JsonObject: an object written member by member, over several lines with two blanks a level, or on one line.
//
//   JsonObject object(buffer, 0);                 // JsonObject::kOneLine: {"id":1}
//   object.Value("schema_version", 1);
//   object.Text("file", name);
//   object.Objects("findings", findings, [](JsonObject& below, const Finding& finding) {
//     below.Text("id", finding.Id());
//   });
//   object.Object("scale", [&](JsonObject& scale) { scale.Value("start", 0); });
//   object.Close();
#pragma once

#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>

#include "tools/json_text.h"

namespace vantor::tools {

class JsonObject {
 public:
  // As a depth: the object and all within it on one line.
  static constexpr std::size_t kOneLine = ~std::size_t{0};

  JsonObject(Buffer& out, std::size_t depth) : out_(out), depth_(depth) { Append("{"); }

  // What comes from a file need not be valid UTF-8; what is printed is.
  void Text(const char* key, std::string_view text) {
    Key(key);
    AppendJsonString(out_, ValidUtf8(text));
  }
  template <typename Number>
  void Value(const char* key, Number number) {
    Key(key);
    fmt::format_to(std::back_inserter(out_), "{}", number);
  }
  void Real(const char* key, double number) {
    Key(key);
    AppendReal(out_, number);
  }
  // null without a value.
  template <typename Number>
  void Optional(const char* key, const std::optional<Number>& number) {
    if (number) return Value(key, *number);
    Null(key);
  }
  // null for an empty text.
  void TextOrNull(const char* key, std::string_view text) {
    if (!text.empty()) return Text(key, text);
    Null(key);
  }
  void Null(const char* key) {
    Key(key);
    Append("null");
  }
  // Left out when there is nothing to tell.
  void KnownText(const char* key, std::string_view text) {
    if (!text.empty()) Text(key, text);
  }
  template <typename Number>
  void KnownValue(const char* key, Number number) {
    if (number != 0) Value(key, number);
  }
  // An array; the callable appends each item, an object among them one level deeper.
  template <typename Items, typename AppendItem>
  void Array(const char* key, const Items& items, AppendItem&& appendItem) {
    Key(key);
    Append("[");
    bool isFirst = true;
    for (const auto& item : items) {
      Append(isFirst ? "" : ",");
      NewLine(2);
      isFirst = false;
      appendItem(depth_ == kOneLine ? kOneLine : depth_ + 2, item);
    }
    if (!isFirst) NewLine(1);
    Append("]");
  }
  // Objects within this one: the callable fills them.
  template <typename Fill>
  void Object(const char* key, Fill&& fill) {
    Key(key);
    JsonObject below(out_, depth_ == kOneLine ? kOneLine : depth_ + 1);
    fill(below);
    below.Close();
  }
  template <typename Items, typename Fill>
  void Objects(const char* key, const Items& items, Fill&& fill) {
    Array(key, items, [&](std::size_t depth, const auto& item) {
      JsonObject below(out_, depth);
      fill(below, item);
      below.Close();
    });
  }
  template <typename Items>
  void Texts(const char* key, const Items& texts) {
    Array(key, texts, [&](std::size_t, std::string_view text) { AppendJsonString(out_, ValidUtf8(text)); });
  }
  template <typename Items>
  void Values(const char* key, const Items& numbers) {
    Array(key, numbers,
          [&](std::size_t, const auto& number) { fmt::format_to(std::back_inserter(out_), "{}", number); });
  }
  void Close() {
    NewLine(0);
    Append("}");
  }

 private:
  void Append(std::string_view text) { out_.append(text); }
  void NewLine(std::size_t deeper) {
    if (depth_ != kOneLine) fmt::format_to(std::back_inserter(out_), "\n{:{}}", "", 2 * (depth_ + deeper));
  }
  void Key(const char* key) {
    Append(isEmpty_ ? "" : ",");
    isEmpty_ = false;
    NewLine(1);
    AppendJsonString(out_, std::string_view(key));
    Append(depth_ == kOneLine ? ":" : ": ");
  }

  Buffer& out_;
  const std::size_t depth_;
  bool isEmpty_ = true;
};

}  // namespace vantor::tools
