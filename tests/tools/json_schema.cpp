#include "tools/json_schema.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <regex>
#include <string_view>

namespace vantor::tools {
namespace {

using nlohmann::json;

bool IsOfType(const json& value, const std::string& type) {
  if (type == "object") return value.is_object();
  if (type == "array") return value.is_array();
  if (type == "string") return value.is_string();
  if (type == "boolean") return value.is_boolean();
  if (type == "integer") return value.is_number_integer();
  if (type == "number") return value.is_number();
  return type == "null" && value.is_null();
}

class SchemaValidator {
 public:
  explicit SchemaValidator(const json& schema) : schema_(schema) {}

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the value
  void Validate(const json& rules, const json& value, const std::string& path) {
    for (const auto& [keyword, rule] : rules.items()) {
      if (keyword == "$ref") {
        Validate(schema_.at(json::json_pointer(rule.get<std::string>().substr(1))), value, path);
      } else if (keyword == "type") {
        CheckType(rule, value, path);
      } else if (keyword == "const") {
        if (value != rule) Fail(path, value.dump() + " is not " + rule.dump());
      } else if (keyword == "enum") {
        if (std::find(rule.begin(), rule.end(), value) == rule.end()) Fail(path, value.dump() + " is not listed");
      } else if (keyword == "minimum") {
        if (value.is_number() && value < rule) Fail(path, value.dump() + " is below the minimum");
      } else if (keyword == "pattern") {
        CheckPattern(rule, value, path);
      } else if (keyword == "items") {
        for (std::size_t i = 0; value.is_array() && i < value.size(); ++i) {
          Validate(rule, value[i], path + "/" + std::to_string(i));
        }
      } else if (keyword == "required") {
        for (const json& name : rule) {
          if (value.is_object() && !value.contains(name)) Fail(path, "has no " + name.dump());
        }
      } else if (keyword == "properties") {
        CheckProperties(rule, value, path);
      } else if (keyword == "additionalProperties") {
        CheckNoOthers(rules, rule, value, path);
      } else if (keyword == "anyOf") {
        CheckAnyOf(rule, value, path);
      } else if (!IsNote(keyword)) {
        Fail(path, "the schema has the keyword " + keyword);
      }
    }
  }
  const std::vector<std::string>& Errors() const { return errors_; }

 private:
  static bool IsNote(const std::string& keyword) {
    constexpr std::array<std::string_view, 4> kNotes = {"description", "title", "$schema", "$defs"};
    return std::find(kNotes.begin(), kNotes.end(), keyword) != kNotes.end();
  }

  void CheckType(const json& rule, const json& value, const std::string& path) {
    const json types = rule.is_array() ? rule : json::array({rule});
    const bool isOne = std::any_of(types.begin(), types.end(), [&](const json& type) { return IsOfType(value, type); });
    if (!isOne) Fail(path, value.dump().substr(0, 40) + " is no " + rule.dump());
  }

  void CheckPattern(const std::string& pattern, const json& value, const std::string& path) {
    if (!value.is_string()) return;
    const auto text = value.get<std::string>();
    // Long texts are too much for the library's expressions.
    constexpr std::size_t kLongest = 1024;
    if (!std::regex_search(text.substr(0, kLongest), std::regex(pattern))) Fail(path, text + " is not " + pattern);
  }

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the value
  void CheckProperties(const json& rule, const json& value, const std::string& path) {
    if (!value.is_object()) return;
    for (const auto& [name, ofProperty] : rule.items()) {
      if (value.contains(name)) Validate(ofProperty, value.at(name), path + "/" + name);
    }
  }

  void CheckNoOthers(const json& rules, const json& rule, const json& value, const std::string& path) {
    if (rule != false) return Fail(path, "the schema allows others");
    if (!value.is_object()) return;
    for (const auto& [name, ofProperty] : value.items()) {
      if (!rules.at("properties").contains(name)) Fail(path, "has " + name + ", which the schema does not know");
    }
  }

  // NOLINTNEXTLINE(misc-no-recursion): as deep as the value
  void CheckAnyOf(const json& rule, const json& value, const std::string& path) {
    std::string why;
    for (const json& choice : rule) {
      SchemaValidator validator(schema_);
      validator.Validate(choice, value, path);
      if (validator.Errors().empty()) return;
      why += "; " + validator.Errors().front();
    }
    Fail(path, "is none of those it may be" + why);
  }

  void Fail(const std::string& path, const std::string& what) { errors_.push_back(path + ": " + what); }

  const json& schema_;
  std::vector<std::string> errors_;
};

}  // namespace

std::vector<std::string> SchemaErrors(const nlohmann::json& schema, const std::string& definition,
                                      const nlohmann::json& value) {
  SchemaValidator validator(schema);
  validator.Validate(schema.at("$defs").at(definition), value, "");
  return validator.Errors();
}

std::vector<std::string> SchemaErrors(const std::string& definition, const nlohmann::json& value) {
  static const json schema = [] {
    std::ifstream file(VANTOR_JSON_SCHEMA);
    return json::parse(file);
  }();
  return SchemaErrors(schema, definition, value);
}

}  // namespace vantor::tools
