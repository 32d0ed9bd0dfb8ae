// The built program on a console: what it leaves behind there. Where this program has none, it runs once more on one
// that nobody sees.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "host/fake_splitter.h"
#include "platform/com.h"
#include "platform/file_path.h"
#include "platform/platform.h"
#include "support/temporary_folder.h"
#include "tools/checked_file.h"

namespace vantor::tools {
namespace {

constexpr UINT kPage = 850;
constexpr DWORD kPatience = 60'000;
constexpr const wchar_t* kOnHiddenConsole = L"VANTOR_ON_HIDDEN_CONSOLE";

// The exit status of a program, which is left to itself when it takes too long.
DWORD RunToItsEnd(WideString command, STARTUPINFOW& startup, DWORD flags = 0) {
  PROCESS_INFORMATION started = {};
  DWORD status = MAXDWORD;
  if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &startup, &started)) {
    return status;
  }
  WaitForSingleObject(started.hProcess, kPatience);
  GetExitCodeProcess(started.hProcess, &status);
  CloseHandle(started.hThread);
  CloseHandle(started.hProcess);
  return status;
}

// A console without a window. Older systems have none.
class HiddenConsole {
 public:
  HiddenConsole() {
    // What the console shows goes into a pipe that nobody reads, and has to find room there.
    constexpr DWORD kRoom = 1 << 20;
    CreatePipe(&pipes_[0], &pipes_[1], nullptr, kRoom);
    CreatePipe(&pipes_[2], &pipes_[3], nullptr, kRoom);
    using Create = HRESULT(WINAPI*)(COORD, HANDLE, HANDLE, DWORD, HANDLE*);
    const auto create = Function<Create>("CreatePseudoConsole");
    if (create == nullptr || FAILED(create({80, 25}, pipes_[0], pipes_[3], 0, &console_))) console_ = nullptr;
  }
  ~HiddenConsole() {
    if (console_ != nullptr) Function<void(WINAPI*)(HANDLE)>("ClosePseudoConsole")(console_);
    for (const HANDLE pipe : pipes_) CloseHandle(pipe);
  }
  HiddenConsole(const HiddenConsole&) = delete;
  HiddenConsole& operator=(const HiddenConsole&) = delete;

  bool IsThere() const { return console_ != nullptr; }

  // What the program prints goes into the file.
  DWORD Run(const WideString& command, const std::filesystem::path& printed) const {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const HANDLE output = CreateFileW(printed.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    constexpr DWORD_PTR kPseudoConsole = 0x00020016;
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    std::vector<char> attributes(size);
    STARTUPINFOEXW startup = {};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdOutput = output;
    startup.StartupInfo.hStdError = output;
    startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.data());
    InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size);
    UpdateProcThreadAttribute(startup.lpAttributeList, 0, kPseudoConsole, console_, sizeof console_, nullptr, nullptr);
    const DWORD status = RunToItsEnd(command, startup.StartupInfo, EXTENDED_STARTUPINFO_PRESENT);
    CloseHandle(output);
    return status;
  }

 private:
  template <typename Pointer>
  static Pointer Function(const char* name) {
    return reinterpret_cast<Pointer>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
  }

  std::array<HANDLE, 4> pipes_{};
  HANDLE console_ = nullptr;
};

std::filesystem::path Beside(const std::filesystem::path& name) {
  return platform::ToPath(ModulePath()).parent_path() / name.filename();
}

WideString QuotedPath(const std::filesystem::path& path) { return L"\"" + path.wstring() + L"\""; }

// The tool's exit status, on the console of this program.
DWORD RunTheTool(const WideString& arguments) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  return RunToItsEnd(QuotedPath(Beside("vantor-mkv.exe")) + L" " + arguments, startup);
}

TEST(WindowsConsole, HasItsCodePageAgainWhenTheProgramHasEndedOrWasInterrupted) {
  const test::TemporaryFolder folder;
  const UINT before = GetConsoleOutputCP();
  if (before == 0) {
    ASSERT_EQ(GetEnvironmentVariableW(kOnHiddenConsole, nullptr, 0), 0U) << "it has a console now";
    const HiddenConsole console;
    if (!console.IsThere()) GTEST_SKIP() << "this system has no console without a window";
    SetEnvironmentVariableW(kOnHiddenConsole, L"yes");
    const WideString again = QuotedPath(platform::ToPath(ModulePath())) + L" --gtest_filter=WindowsConsole.*";
    EXPECT_EQ(console.Run(again, folder / "printed"), 0U) << Slurp(folder / "printed");
    SetEnvironmentVariableW(kOnHiddenConsole, nullptr);
    return;
  }
  const auto toy = test::ToyStream('i', 1, 1);
  const std::filesystem::path stream = folder.Write("toy", std::string(toy.begin(), toy.end()));
  EXPECT_TRUE(SetConsoleOutputCP(kPage));
  EXPECT_EQ(RunTheTool(L"--version"), 0U);
  EXPECT_EQ(GetConsoleOutputCP(), kPage);
  const WideString component = L"--component " + QuotedPath(Beside(VANTOR_TOY_COMPONENT));
  EXPECT_EQ(RunTheTool(component + L" samples " + QuotedPath(stream)), 130U);
  EXPECT_EQ(GetConsoleOutputCP(), kPage);
  SetConsoleOutputCP(before);
}

}  // namespace
}  // namespace vantor::tools
