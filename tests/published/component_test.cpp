#include "published/component.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "platform/text.h"

namespace vantor::test {
namespace {

// The description that the type library is compiled from, which cannot read the header.
std::string TypeLibrarySource() {
  std::ifstream file(VANTOR_TYPE_LIBRARY_SOURCE, std::ios::binary);
  EXPECT_TRUE(file) << VANTOR_TYPE_LIBRARY_SOURCE;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The value of an attribute ("version(1.0)") in the brackets that stand in front of a definition.
std::string AttributeOf(const std::string& source, const std::string& definition, const std::string& attribute) {
  const std::size_t at = source.find(definition);
  const std::size_t open = source.rfind('[', at);
  const std::size_t begin = source.find(attribute + "(", open);
  if (at == std::string::npos || open == std::string::npos || begin >= at) return "none";
  const std::size_t value = begin + attribute.size() + 1;
  return source.substr(value, source.find(')', value) - value);
}

std::string Braced(const std::string& id) { return "{" + id + "}"; }

TEST(Component, TheTypeLibrarySaysTheSameAsTheHeader) {
  const std::string source = TypeLibrarySource();
  EXPECT_EQ(Braced(AttributeOf(source, "library VantorMkv\n", "uuid")), GuidText(kTypeLibraryId));
  EXPECT_EQ(AttributeOf(source, "library VantorMkv\n", "version"),
            std::to_string(kTypeLibraryMajor) + "." + std::to_string(kTypeLibraryMinor));
  EXPECT_EQ(Braced(AttributeOf(source, "interface IVXMkvDmx :", "uuid")), GuidText(kIidMkvDmx));
  const std::string name = '"' + WideToUtf8(kFilterName) + '"';
  EXPECT_EQ(AttributeOf(source, "library VantorMkv\n", "helpstring"), name);
  EXPECT_EQ(AttributeOf(source, "interface IVXMkvDmx :", "helpstring"), name);
}

}  // namespace
}  // namespace vantor::test
