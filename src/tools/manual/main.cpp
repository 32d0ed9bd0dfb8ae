// Prints the manual page or a shell's completions, made of what the tool says of its command line. Run by the build.
//
//   vantor_mkv_manual man 2026-01-31 > vantor-mkv.1
//   vantor_mkv_manual bash|zsh|fish
#include <cstdio>
#include <string>

#include "tools/command_words.h"
#include "tools/manual/pages.h"

int main(int argc, char** argv) {
  using namespace vantor::tools;
  const std::string wanted = argc > 1 ? argv[1] : "";
  const CommandWords tool = DescribeCommandLine();
  const std::string page = wanted == "man" && argc > 2 ? ManualPage(tool, argv[2])
                           : wanted == "bash"          ? BashCompletions(tool)
                           : wanted == "zsh"           ? ZshCompletions(tool)
                           : wanted == "fish"          ? FishCompletions(tool)
                                                       : std::string();
  if (page.empty()) {
    std::fputs("usage: vantor_mkv_manual man DATE | bash | zsh | fish\n", stderr);
    return 2;
  }
  return std::fwrite(page.data(), 1, page.size(), stdout) == page.size() && std::fclose(stdout) == 0 ? 0 : 2;
}
