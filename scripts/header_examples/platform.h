// What the examples in the headers of src/platform take as given.
#pragma once
#include "platform/com.h"

std::string Describe(platform::FileError error);
extern IBaseFilter* filter;
extern LONGLONG duration;
extern std::uint64_t position;
extern std::uint8_t bytes[4];
extern unsigned char buffer[];
extern std::size_t size;
struct Registry {
  void Find(const std::string& name);
};
extern std::string name;
int Run(const std::vector<std::string>& arguments);
