// The content of registry keys below HKEY_CLASSES_ROOT, as text that can be compared whole.
#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace vantor::test {

// The values by "key\path [name]"; a key without values is an entry by its path alone. String values are their text,
// others are in hex, as the registry editor shows them.
using RegistrySnapshot = std::map<std::string, std::string>;

// The key and all below it; empty when there is no such key.
RegistrySnapshot Snapshot(const std::string& key);
// What those give together.
RegistrySnapshot Snapshot(std::initializer_list<std::string> keys);

// What the second has and the first has not ("+ entry = text") and the other way round ("- ..."); names of keys and
// values are the same in any case of their letters, as the registry takes them.
std::vector<std::string> Changes(const RegistrySnapshot& from, const RegistrySnapshot& to);

bool KeyExists(const std::string& key);
// Makes the key if it is missing, with a default value.
void MakeKey(const std::string& key, const std::string& value);
// Gives an existing key another string value.
void MakeValue(const std::string& key, const std::string& name, const std::string& value);
// The key and all below it.
void DeleteTree(const std::string& key);

}  // namespace vantor::test
