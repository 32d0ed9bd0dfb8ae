#include "published/component.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/text.h"

namespace vantor::test {
namespace {

// The description that a type library is compiled from, which cannot read the header.
std::string TypeLibrarySource(const std::string& name) {
  const std::string path = VANTOR_TYPE_LIBRARY_SOURCES "/" + name;
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The value of an attribute ("version(1.0)") in the brackets that stand in front of a definition.
std::string AttributeOf(const std::string& source, const std::string& definition, const std::string& attribute) {
  const std::size_t at = source.find(definition);
  const std::size_t open = source.rfind('[', at);
  const std::size_t begin = source.find(attribute + "(", open);
  if (at == std::string::npos || open == std::string::npos || begin >= at) return "none";
  const std::size_t value = begin + attribute.size() + 1;
  // Text may hold brackets of its own.
  const std::size_t end = source[value] == '"' ? source.find("\")", value) + 1 : source.find(')', value);
  return source.substr(value, end - value);
}

std::string Braced(const std::string& id) { return "{" + id + "}"; }

void ExpectSameAsHeader(const std::string& source, const std::string& library, const std::string& interfaceLine,
                        const ComponentIdentity& identity) {
  EXPECT_EQ(Braced(AttributeOf(source, library, "uuid")), GuidText(identity.typeLibraryId));
  EXPECT_EQ(AttributeOf(source, library, "version"),
            std::to_string(kTypeLibraryMajor) + "." + std::to_string(kTypeLibraryMinor));
  EXPECT_EQ(Braced(AttributeOf(source, interfaceLine, "uuid")), GuidText(identity.interfaceId));
  const std::string name = '"' + WideToUtf8(identity.filterName) + '"';
  EXPECT_EQ(AttributeOf(source, library, "helpstring"), name);
  EXPECT_EQ(AttributeOf(source, interfaceLine, "helpstring"), name);
}

TEST(Component, TheTypeLibrarySaysTheSameAsTheHeader) {
  ExpectSameAsHeader(TypeLibrarySource("vantormkv.idl"), "library VantorMkv\n", "interface IVXMkvDmx :", kMkvDmx);
}

TEST(Component, TheCompleteTypeLibrarySaysTheSameAsTheHeader) {
  ExpectSameAsHeader(TypeLibrarySource("vantormkv_complete.idl"), "library VantorMkvComplete\n",
                     "interface IVXMkvDmxComplete :", kMkvDmxComplete);
}

TEST(Component, TheTwoHaveNoIdentifierInCommon) {
  const GUID all[] = {kMkvDmx.classId,         kMkvDmx.interfaceId,         kMkvDmx.typeLibraryId,
                      kMkvDmxComplete.classId, kMkvDmxComplete.interfaceId, kMkvDmxComplete.typeLibraryId};
  for (const GUID& one : all) {
    EXPECT_EQ(std::ranges::count_if(all, [&](const GUID& other) { return SameGuid(one, other); }), 1) << GuidText(one);
  }
}

}  // namespace
}  // namespace vantor::test
