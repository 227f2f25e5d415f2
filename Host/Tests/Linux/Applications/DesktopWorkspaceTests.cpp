// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QuorlHostLinux/Applications/DesktopWorkspace.h>
#include <QuorlHostLinux/Applications/ProgramLauncher.h>
#include <Support/Eventually.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

class DesktopWorkspaceTest : public ::testing::Test {
 protected:
  DesktopWorkspaceTest() {
    std::ofstream(script) << "#!/bin/sh\n"
                             "{ echo args \"$@\"; echo cwd \"$PWD\"; echo fds $(ls /proc/$$/fd);"
                             " echo ppid $PPID; echo limit $(ulimit -n); }"
                             " > '"
                          << report
                          << ".part'\n"
                             "mv '"
                          << report << ".part' '" << report << "'\n";
    fs::permissions(script, fs::perms::owner_all);
  }

  void install(const std::string& data, const std::string& file, const std::string& text) {
    const fs::path path = folder / data / "applications" / file;
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  std::string entryFor(const std::string& exec) const {
    return "[Desktop Entry]\nType=Application\nPath=" + folder.path().string() + "\nExec=" + exec + "\n";
  }
  std::string reported() {
    EXPECT_TRUE(eventually([&] { return fs::exists(report); }));
    std::stringstream text;
    text << std::ifstream(report).rdbuf();
    return text.str();
  }

  TemporaryFolder folder;
  std::string report = folder.file("report");
  std::string script = folder.file("program");
};

TEST_F(DesktopWorkspaceTest, findsAnApplicationInTheMostImportantFolder) {
  install("user", "org.x.App.desktop", entryFor("a"));
  install("system", "org.x.App.desktop", entryFor("b"));
  install("system", "kde/tool.desktop", entryFor("c"));
  DesktopWorkspace workspace({folder.file("user"), folder.file("system")});
  EXPECT_EQ(workspace.applicationPath("org.x.App"), folder.file("user/applications/org.x.App.desktop"));
  EXPECT_EQ(workspace.applicationPath("kde-tool"), folder.file("system/applications/kde/tool.desktop"));
  EXPECT_EQ(workspace.applicationPath("org.x.None"), std::nullopt);
}

TEST_F(DesktopWorkspaceTest, launchesADesktopFileWithoutAShellAndWithoutOurDescriptors) {
  // Deliberately inheritable, and far above what a shell opens for itself while it runs the script.
  constexpr int shellsOwn = 100;
  const int low = ::open("/dev/null", O_RDONLY);
  const int ours = ::fcntl(low, F_DUPFD, shellsOwn);
  ::close(low);
  ASSERT_GE(ours, shellsOwn);
  install("user", "app.desktop", entryFor("\"" + script + "\" one \"two words\" %U \\$HOME"));
  DesktopWorkspace workspace({folder.file("user")});
  workspace.openApplication(*workspace.applicationPath("app"));
  const std::string text = reported();
  ::close(ours);
  EXPECT_NE(text.find("args one two words \\$HOME\n"), std::string::npos) << text;
  EXPECT_NE(text.find("cwd " + folder.path().string() + "\n"), std::string::npos) << text;
  std::istringstream descriptors(
      text.substr(text.find("fds ") + 4, text.find("ppid") - text.find("fds ") - 4));
  int count = 0;
  for (int descriptor = 0; descriptors >> descriptor; ++count) EXPECT_LT(descriptor, shellsOwn) << text;
  EXPECT_GE(count, 3) << text;
  EXPECT_EQ(text.find("ppid " + std::to_string(::getpid()) + "\n"), std::string::npos)
      << "it is not our child";
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "and nothing is left to reap";
}

TEST_F(DesktopWorkspaceTest, opensAnExecutableByItsPath) {
  DesktopWorkspace({}).openApplication(script);
  EXPECT_NE(reported().find("args"), std::string::npos);
}

TEST_F(DesktopWorkspaceTest, startsAnApplicationWithTheDescriptorLimitGiven) {
  DesktopWorkspace({}, 321).openApplication(script);
  EXPECT_NE(reported().find("limit 321\n"), std::string::npos);
  rlimit ours{};
  ::getrlimit(RLIMIT_NOFILE, &ours);
  EXPECT_NE(ours.rlim_cur, 321U);
}

TEST_F(DesktopWorkspaceTest, doesNothingForUnknownAndBrokenPaths) {
  DesktopWorkspace workspace({});
  std::ofstream(folder / "broken.desktop") << "[Desktop Entry]\nType=Application\nExec=\"open\n";
  std::ofstream(folder / "plain.txt") << "no program";
  for (const std::string& path :
       {folder.path().string(), folder.file("broken.desktop"), folder.file("plain.txt"),
        std::string("relative"), std::string("/nonexistent/x")})
    workspace.openApplication(path);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_FALSE(fs::exists(report));
}

TEST_F(DesktopWorkspaceTest, findsNothingForAnIDThatIsNoFileName) {
  install("user", "app.desktop", entryFor(script));
  std::ofstream(folder / "user/outside.desktop") << entryFor(script);
  DesktopWorkspace workspace({folder.file("user")});
  for (const std::string& id :
       {std::string(), std::string("."), std::string(".."), std::string("../outside"), std::string("./app"),
        std::string("app/"), std::string("sub/app"), std::string("-..-outside"), std::string("..-outside"),
        std::string("app.desktop"), std::string("app\n"), std::string("\x1b[2Japp"), std::string("app\0", 4),
        std::string("\0app", 4), std::string("app ") + std::string(100'000, 'x')})
    EXPECT_EQ(workspace.applicationPath(id), std::nullopt) << testing::PrintToString(id.substr(0, 20));
  EXPECT_NE(workspace.applicationPath("app"), std::nullopt);
}

// The system would read the text up to the zero only, and execute another file.
TEST(ProgramLauncher, refusesAnArgumentWithAZeroByte) {
  EXPECT_EQ(launchProgram({std::string("/bin/true\0.desktop", 18)}, ""), LaunchResult::failed);
  EXPECT_EQ(launchProgram({"/bin/true", std::string("a\0b", 3)}, ""), LaunchResult::failed);
}

TEST(ProgramLauncher, reportsAProgramThatCannotBeExecuted) {
  EXPECT_EQ(launchProgram({"/nonexistent/program"}, ""), LaunchResult::failed);
  EXPECT_EQ(launchProgram({}, ""), LaunchResult::failed);
  EXPECT_EQ(launchProgram({"true"}, "/nonexistent"), LaunchResult::started);
}

}  // namespace
}  // namespace quorl::test
