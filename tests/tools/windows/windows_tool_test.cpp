// The built program on Windows: what its command line, streams and component file have of their own there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "platform/com.h"
#include "platform/file_path.h"
#include "platform/platform.h"
#include "support/temporary_folder.h"

namespace vantor::tools {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// A German and a Japanese word, and a letter outside the basic plane: no code page holds them all.
constexpr const char* kName =
    "\xC3\x9C"
    "bung \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xAC.mka";

struct Outcome {
  DWORD status = MAXDWORD;
  std::string out;
  std::string messages;
};

class WindowsTool : public testing::Test {
 protected:
  static std::filesystem::path Program() { return platform::ToPath(ModulePath()).parent_path() / "vantor-mkv.exe"; }

  Outcome Run(const WideString& arguments, const std::filesystem::path& program = Program()) const {
    Outcome outcome;
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const auto create = [&](const char* name) {
      return CreateFileW((folder_ / name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = create("out");
    startup.hStdError = create("messages");
    PROCESS_INFORMATION started = {};
    WideString command = L"\"" + program.wstring() + L"\" " + arguments;
    if (CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &started)) {
      WaitForSingleObject(started.hProcess, INFINITE);
      GetExitCodeProcess(started.hProcess, &outcome.status);
      CloseHandle(started.hThread);
      CloseHandle(started.hProcess);
    }
    CloseHandle(startup.hStdOutput);
    CloseHandle(startup.hStdError);
    outcome.out = Content(folder_ / "out");
    outcome.messages = Content(folder_ / "messages");
    return outcome;
  }

  static std::string Content(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  static std::filesystem::path Media(const char* name) {
    return std::filesystem::absolute(std::filesystem::path(VANTOR_TEST_MEDIA) / name);
  }
  static WideString Quoted(const std::filesystem::path& path) { return L"\"" + path.wstring() + L"\""; }

  const test::TemporaryFolder folder_;
};

TEST_F(WindowsTool, TakesFileNamesOfEveryScriptAndPrintsThemAsUtf8) {
  const std::filesystem::path file = folder_ / platform::ToPath(kName);
  std::filesystem::copy_file(Media("vorbis.mka"), file);
  const Outcome outcome = Run(L"info --json " + Quoted(file));
  EXPECT_EQ(outcome.status, 0U) << outcome.messages;
  EXPECT_EQ(json::parse(outcome.out).at("file"), platform::FromPath(file));
}

TEST_F(WindowsTool, SaysInUtf8WhichFileIsMissing) {
  const Outcome outcome = Run(L"info " + Quoted(folder_ / platform::ToPath(kName)));
  EXPECT_EQ(outcome.status, 2U);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.messages, HasSubstr(kName));
  EXPECT_THAT(outcome.messages, HasSubstr("no such file\n"));
}

TEST_F(WindowsTool, EndsLinesAsItDoesEverywhere) {
  const Outcome outcome = Run(L"samples " + Quoted(Media("subtitles.mks")));
  EXPECT_EQ(outcome.status, 0U) << outcome.messages;
  EXPECT_THAT(outcome.out, HasSubstr("}\n{"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("\r")));
}

TEST_F(WindowsTool, TakesAPathWithoutADriveForAFile) {
  const WideString path = L"\\" + Media("subtitles.mks").relative_path().wstring();
  WideString slashes = path;
  for (WCHAR& letter : slashes) {
    letter = letter == L'\\' ? L'/' : letter;
  }
  EXPECT_EQ(Run(L"samples \"" + slashes + L"\"").out, Run(L"samples \"" + path + L"\"").out);
  EXPECT_EQ(Run(L"samples \"" + slashes + L"\"").messages, "");
}

TEST_F(WindowsTool, FindsTheComponentBesideItselfOnly) {
  const std::filesystem::path lonely = folder_ / "vantor-mkv.exe";
  std::filesystem::copy_file(Program(), lonely);
  const Outcome outcome = Run(L"info " + Quoted(Media("vorbis.mka")), lonely);
  EXPECT_EQ(outcome.status, 2U);
  EXPECT_THAT(outcome.messages, HasSubstr("no component"));
}

}  // namespace
}  // namespace vantor::tools
