// Stands for the regsvr32 of 32 bits, where programs of 32 bits cannot run: adds its command line to the file
// C:\regsvr32.log, and ends with the number in C:\regsvr32.code, or with 0.
#include <cstdio>

#include "platform/com.h"

int main() {
  if (std::FILE* log = std::fopen("C:\\regsvr32.log", "a")) {
    std::fprintf(log, "%s\n", GetCommandLineA());
    std::fclose(log);
  }
  int code = 0;
  if (std::FILE* wanted = std::fopen("C:\\regsvr32.code", "r")) {
    if (std::fscanf(wanted, "%d", &code) != 1) code = -1;
    std::fclose(wanted);
  }
  return code;
}
