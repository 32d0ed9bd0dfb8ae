#include "tools/json_writer.h"

#include <iterator>

namespace vantor::tools {

void JsonWriter::Separate() {
  if (!isFirst_) out_.push_back(',');
  isFirst_ = false;
}

JsonWriter& JsonWriter::Begin(char begin, char end) {
  Separate();
  out_.push_back(begin);
  ends_.push_back(end);
  isFirst_ = true;
  return *this;
}

JsonWriter& JsonWriter::End() {
  out_.push_back(ends_.back());
  ends_.pop_back();
  isFirst_ = false;
  return *this;
}

JsonWriter& JsonWriter::Key(std::string_view key) {
  Separate();
  AppendJsonString(out_, key);
  out_.push_back(':');
  isFirst_ = true;
  return *this;
}

JsonWriter& JsonWriter::Text(std::string_view utf8) {
  Separate();
  AppendJsonString(out_, ValidUtf8(utf8));
  return *this;
}

JsonWriter& JsonWriter::Number(std::int64_t number) {
  Separate();
  fmt::format_to(std::back_inserter(out_), "{}", number);
  return *this;
}

JsonWriter& JsonWriter::Number(std::uint64_t number) {
  Separate();
  fmt::format_to(std::back_inserter(out_), "{}", number);
  return *this;
}

JsonWriter& JsonWriter::Real(double number) {
  Separate();
  AppendReal(out_, number);
  return *this;
}

JsonWriter& JsonWriter::Bool(bool value) {
  Separate();
  out_.append(std::string_view(value ? "true" : "false"));
  return *this;
}

JsonWriter& JsonWriter::Null() {
  Separate();
  out_.append(std::string_view("null"));
  return *this;
}

}  // namespace vantor::tools
