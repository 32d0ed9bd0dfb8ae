#include "windows/registry_snapshot.h"

#include <gtest/gtest.h>

#include <cctype>
#include <set>

#include "platform/text.h"

namespace vantor::test {
namespace {

std::string ValueText(DWORD type, const std::vector<BYTE>& data) {
  if (type == REG_SZ || type == REG_EXPAND_SZ) {
    WideStringView text(reinterpret_cast<const WCHAR*>(data.data()), data.size() / sizeof(WCHAR));
    return WideToUtf8(text.substr(0, text.find(L'\0')));
  }
  std::string hex;
  for (const BYTE byte : data) {
    hex += "0123456789ABCDEF"[byte >> 4];
    hex += "0123456789ABCDEF"[byte & 15];
  }
  return hex;
}

void AddValues(HKEY key, const std::string& path, RegistrySnapshot& snapshot) {
  WCHAR name[256];
  std::vector<BYTE> data(65536);
  DWORD index = 0;
  for (;; ++index) {
    DWORD nameLength = 256;
    DWORD size = static_cast<DWORD>(data.size());
    DWORD type = 0;
    if (RegEnumValueW(key, index, name, &nameLength, nullptr, &type, data.data(), &size) != ERROR_SUCCESS) break;
    snapshot[path + " [" + WideToUtf8({name, nameLength}) + "]"] =
        ValueText(type, std::vector<BYTE>(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  if (index == 0) snapshot[path] = "";
}

void AddKey(HKEY parent, const std::string& name, const std::string& path, RegistrySnapshot& snapshot) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(parent, Utf8ToWide(name).c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return;
  AddValues(key, path, snapshot);
  WCHAR child[256];
  DWORD length = 256;
  for (DWORD i = 0; RegEnumKeyExW(key, i, child, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS; ++i) {
    const std::string childName = WideToUtf8({child, length});
    AddKey(key, childName, path + "\\" + childName, snapshot);
    length = 256;
  }
  RegCloseKey(key);
}

std::set<std::string> Lines(const RegistrySnapshot& snapshot) {
  std::set<std::string> lines;
  for (const auto& [name, text] : snapshot) {
    std::string folded = name;
    for (char& letter : folded) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    lines.insert(folded + " = " + text);
  }
  return lines;
}

}  // namespace

RegistrySnapshot Snapshot(const std::string& key) {
  RegistrySnapshot snapshot;
  AddKey(HKEY_CLASSES_ROOT, key, key, snapshot);
  return snapshot;
}

RegistrySnapshot Snapshot(std::initializer_list<std::string> keys) {
  RegistrySnapshot snapshot;
  for (const std::string& key : keys) snapshot.merge(Snapshot(key));
  return snapshot;
}

std::vector<std::string> Changes(const RegistrySnapshot& from, const RegistrySnapshot& to) {
  const std::set<std::string> before = Lines(from);
  const std::set<std::string> after = Lines(to);
  std::vector<std::string> changes;
  for (const std::string& line : before) {
    if (!after.contains(line)) changes.push_back("- " + line);
  }
  for (const std::string& line : after) {
    if (!before.contains(line)) changes.push_back("+ " + line);
  }
  return changes;
}

bool KeyExists(const std::string& key) { return !Snapshot(key).empty(); }

void MakeKey(const std::string& key, const std::string& value) {
  const WideString text = Utf8ToWide(value);
  EXPECT_EQ(RegSetValueW(HKEY_CLASSES_ROOT, Utf8ToWide(key).c_str(), REG_SZ, text.c_str(), 0), ERROR_SUCCESS);
}

void MakeValue(const std::string& key, const std::string& name, const std::string& value) {
  const WideString text = Utf8ToWide(value);
  EXPECT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, Utf8ToWide(key).c_str(), Utf8ToWide(name).c_str(), REG_SZ, text.c_str(),
                            static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR))),
            ERROR_SUCCESS);
}

void DeleteTree(const std::string& key) { RegDeleteTreeW(HKEY_CLASSES_ROOT, Utf8ToWide(key).c_str()); }

}  // namespace vantor::test
