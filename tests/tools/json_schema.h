// A validator for the part of JSON Schema that docs/vantor-mkv.schema.json is written in. A keyword that it does not
// know is an error as well, so that nothing in the schema goes untried.
//
//   EXPECT_THAT(SchemaErrors("info", nlohmann::json::parse(out)), testing::IsEmpty());
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vantor::tools {

// What of the value is not as the schema's definition of that name has it, each with its path: "/tracks/0/pin: ...".
std::vector<std::string> SchemaErrors(const std::string& definition, const nlohmann::json& value);
// The same with a schema of one's own.
std::vector<std::string> SchemaErrors(const nlohmann::json& schema, const std::string& definition,
                                      const nlohmann::json& value);

}  // namespace vantor::tools
