#include <cstdio>

#include "tools/commands.h"

int main(int argc, char** argv) { return vantor::tools::Main(argc, argv, stdout, stderr); }
