// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Applications/ApplicationNames.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

class ApplicationNamesTest : public ::testing::Test {
 protected:
  void install(const std::string& id, const std::string& lines) const {
    std::filesystem::create_directories(folder / "applications");
    std::ofstream(folder / "applications" / (id + ".desktop"))
        << "[Desktop Entry]\nType=Application\nName=" << id << " name\n"
        << lines << "\n";
  }
  ApplicationIdentity identify(const std::string& windowClass, const RunningProgram& program = {}) {
    ApplicationNames names({folder.path().string()});
    names.refresh();
    return names.identify({.className = windowClass}, program);
  }
  std::string identifyWindow(const WindowHints& window, const RunningProgram& program = {}) {
    ApplicationNames names({folder.path().string()});
    names.refresh();
    return names.identify(window, program).bundleID;
  }

  TemporaryFolder folder;
};

TEST_F(ApplicationNamesTest, matchTheWindowsClassThenTheId) {
  install("org.example.Editor", "Exec=edit\nStartupWMClass=TheEditor");
  install("viewer", "Exec=v");
  EXPECT_EQ(identify("TheEditor"), (ApplicationIdentity{"org.example.Editor", "org.example.Editor name"}));
  EXPECT_EQ(identify("Viewer"), (ApplicationIdentity{"viewer", "viewer name"}));
}

TEST_F(ApplicationNamesTest, matchTheProgramThatTheCommandLineStarts) {
  install("org.example.Paint", "Exec=\"/opt/paint program\" --new %U");
  EXPECT_EQ(identify("Unknown", {.name = "paint program"}).bundleID, "org.example.Paint");
}

TEST_F(ApplicationNamesTest, preferTheIdThatTheWindowClaimsThenTheFileThatLaunchedTheProgram) {
  install("org.example.Editor", "Exec=edit");
  install("org.example.Mail", "Exec=mail\nStartupWMClass=Mail");
  install("gvim", "Exec=gvim");
  const std::string editor = folder.file("applications/org.example.Editor.desktop");
  EXPECT_EQ(identifyWindow({.className = "Mail", .applicationID = "org.example.Editor"}),
            "org.example.Editor");
  EXPECT_EQ(identifyWindow({.className = "Mail", .applicationID = editor}), "org.example.Editor");
  EXPECT_EQ(identifyWindow({.className = "Mail"}, {.name = "gvim", .launchedBy = editor}),
            "org.example.Editor");
  EXPECT_EQ(identifyWindow({.className = "Mail", .applicationID = "org.example.None"}, {.name = "gvim"}),
            "org.example.Mail");
}

TEST_F(ApplicationNamesTest, matchTheInstanceOfAWindowToo) {
  install("web-app", "Exec=browser --app=x\nStartupWMClass=crx_mail");
  EXPECT_EQ(identifyWindow({.className = "Browser", .instanceName = "crx_mail"}), "web-app");
}

TEST_F(ApplicationNamesTest, areNeverHiddenEntriesThatAWindowClaims) {
  install("org.example.Desktop", "Exec=files --desktop\nNoDisplay=true");
  const std::string path = folder.file("applications/org.example.Desktop.desktop");
  EXPECT_EQ(identifyWindow({.className = "Files", .applicationID = "org.example.Desktop"}), "x11.Files");
  EXPECT_EQ(identifyWindow({.className = "Files"}, {.name = "files", .launchedBy = path}), "x11.Files");
}

TEST_F(ApplicationNamesTest, nameAFileInASubfolderWithHyphens) {
  std::filesystem::create_directories(folder / "applications" / "kde");
  std::ofstream(folder / "applications" / "kde" / "paint.desktop")
      << "[Desktop Entry]\nType=Application\nName=Paint\nExec=paint\nStartupWMClass=Paint\n";
  EXPECT_EQ(identify("Paint").bundleID, "kde-paint");
}

TEST_F(ApplicationNamesTest, followTheUsersOwnFileOfAnIdEvenWhereItHidesTheApplication) {
  install("paint", "Exec=paint\nStartupWMClass=Paint");
  const TemporaryFolder user;
  std::filesystem::create_directories(user / "applications");
  std::ofstream(user / "applications" / "paint.desktop")
      << "[Desktop Entry]\nType=Application\nName=Mine\nExec=paint\nNoDisplay=true\n";
  ApplicationNames names({user.path().string(), folder.path().string()});
  names.refresh();
  EXPECT_EQ(names.identify({.className = "Paint"}, RunningProgram{}).bundleID, "x11.Paint");
}

TEST(LaunchingDesktopFile, countsOnlyForTheProcessThatWasLaunched) {
  using namespace std::string_literals;
  const std::string environment =
      "HOME=/h\0GIO_LAUNCHED_DESKTOP_FILE=/a/x.desktop\0GIO_LAUNCHED_DESKTOP_FILE_PID=71\0"s;
  EXPECT_EQ(launchingDesktopFile(environment, 71), "/a/x.desktop");
  EXPECT_EQ(launchingDesktopFile(environment, 72), "") << "a child inherits the variables";
  EXPECT_EQ(launchingDesktopFile("GIO_LAUNCHED_DESKTOP_FILE=/a/x.desktop", 71), "");
  EXPECT_EQ(launchingDesktopFile("", 71), "");
}

TEST_F(ApplicationNamesTest, fallBackToTheClassThenToTheProgram) {
  EXPECT_EQ(identify("Nobody", {.name = "tool"}), (ApplicationIdentity{"x11.Nobody", "Nobody"}));
  EXPECT_EQ(identify("", {.name = "tool"}), (ApplicationIdentity{"x11.tool", "tool"}));
  EXPECT_EQ(identify("").bundleID, "x11.unknown");
}

TEST_F(ApplicationNamesTest, neverComeFromAHiddenEntryOrATerminalProgram) {
  install("python3.11", "Exec=/usr/bin/python3.11\nTerminal=true\nNoDisplay=true");
  install("hidden", "Exec=hidden\nStartupWMClass=Hidden\nNoDisplay=true");
  install("htop", "Exec=htop\nTerminal=true");
  EXPECT_EQ(identify("Hidden", {.name = "hidden"}).bundleID, "x11.Hidden");
  EXPECT_EQ(identify("Htop", {.name = "htop"}).bundleID, "x11.Htop");
  EXPECT_EQ(identify("Tk", {.name = "python3.11"}).bundleID, "x11.Tk");
}

TEST_F(ApplicationNamesTest, distinguishTwoPythonPrograms) {
  install("counter", "Exec=python3 /opt/counter.py");
  const auto counter = programOf("python3.11", {"python3", "-u", "/opt/counter.py", "7"});
  const auto clock = programOf("python3.11", {"python3", "/opt/clock.py"});
  EXPECT_EQ(identify("Tk", counter).bundleID, "counter");
  EXPECT_EQ(identify("Tk", clock), (ApplicationIdentity{"x11.clock.py", "Tk"}));
}

TEST_F(ApplicationNamesTest, areReadAgainAfterAChange) {
  install("first", "Exec=first");
  ApplicationNames names({folder.path().string()});
  names.refresh();
  install("second", "Exec=second");
  std::filesystem::last_write_time(folder / "applications",
                                   std::filesystem::file_time_type::clock::now() + std::chrono::seconds(10));
  names.refresh();
  EXPECT_EQ(names.identify({.className = "second"}, 0).bundleID, "second");
}

TEST(RunningProgram, isTheScriptOfAnInterpreter) {
  EXPECT_EQ(programOf("perl", {"perl", "-w", "/usr/bin/report"}).name, "report");
  EXPECT_EQ(programOf("node", {"node"}).name, "");
  EXPECT_EQ(programOf("bash", {}).name, "");
  EXPECT_EQ(programOf("pythonista", {"pythonista", "x"}).name, "pythonista");
  EXPECT_FALSE(programOf("xterm", {"xterm", "-e", "sh"}).isScript);
}

}  // namespace
}  // namespace quorl::test
