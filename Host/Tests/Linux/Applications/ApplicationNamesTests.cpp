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
    return names.identify(windowClass, program);
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
  EXPECT_EQ(names.identify("second", 0).bundleID, "second");
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
