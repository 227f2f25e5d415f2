// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/Applications/DesktopFile.h>

namespace quorl::test {
namespace {

std::optional<std::vector<std::string>> argumentsOf(const std::string& exec) {
  const auto file = parseDesktopFile("[Desktop Entry]\nType=Application\nExec=" + exec + "\n");
  if (!file || file->arguments.empty()) return std::nullopt;
  return file->arguments;
}

using Arguments = std::vector<std::string>;

TEST(DesktopFile, dropsFieldCodesAndKeepsDoubledPercents) {
  EXPECT_EQ(argumentsOf("firefox %u"), (Arguments{"firefox"}));
  EXPECT_EQ(argumentsOf("viewer --file=%f --scale 50%% %i %c %k"),
            (Arguments{"viewer", "--file=", "--scale", "50%"}));
}

TEST(DesktopFile, resolvesQuotesAndBothLevelsOfEscapes) {
  EXPECT_EQ(argumentsOf("\"my program\" \"a b\" c"), (Arguments{"my program", "a b", "c"}));
  // In the file "\\\\" is two backslashes of the value, which a quoted argument reads as one.
  EXPECT_EQ(argumentsOf("run \"a\\\\\\\\b\" \"\\\\$HOME\""), (Arguments{"run", "a\\b", "$HOME"}));
  EXPECT_EQ(argumentsOf("run \"\""), (Arguments{"run", ""}));
  EXPECT_EQ(argumentsOf("a\\sb"), (Arguments{"a", "b"}));
}

TEST(DesktopFile, expandsNothingLikeAShell) {
  EXPECT_EQ(argumentsOf("run $(id) `id` ; rm"), (Arguments{"run", "$(id)", "`id`", ";", "rm"}));
}

TEST(DesktopFile, refusesBrokenCommandLines) {
  EXPECT_FALSE(argumentsOf("\"open"));
  EXPECT_FALSE(argumentsOf("run %"));
  EXPECT_FALSE(argumentsOf("run %q"));
  EXPECT_FALSE(argumentsOf(""));
  EXPECT_FALSE(argumentsOf("\"\" x"));
}

TEST(DesktopFile, readsOnlyTheMainGroup) {
  const auto file = parseDesktopFile(
      "# a comment\n[Desktop Action New]\nExec=wrong\n[Desktop Entry]\nType=Application\nName=X\nName[de]=Y\n"
      "Exec = right \nPath=/tmp\nIcon=x-icon\nTerminal=true\nNoDisplay=true\nStartupWMClass=Class\n"
      "Categories=System;TerminalEmulator;\n[Other]\nExec=wrong\n");
  EXPECT_EQ(file, (DesktopFile{.name = "X",
                               .windowClass = "Class",
                               .arguments = {"right"},
                               .workingDirectory = "/tmp",
                               .icon = "x-icon",
                               .needsTerminal = true,
                               .isHidden = true,
                               .isTerminalEmulator = true}));
}

TEST(DesktopFile, refusesLinksAndDeletedEntries) {
  EXPECT_FALSE(parseDesktopFile("[Desktop Entry]\nType=Link\nURL=http://x\nExec=x\n"));
  EXPECT_FALSE(parseDesktopFile("[Desktop Entry]\nType=Application\nHidden=true\nExec=x\n"));
  EXPECT_FALSE(parseDesktopFile(""));
}

TEST(DesktopFileCandidates, mayBeInSubfolders) {
  EXPECT_EQ(desktopFileCandidates("org.gnome.Calculator"), (Arguments{"org.gnome.Calculator.desktop"}));
  EXPECT_EQ(desktopFileCandidates("kde-a-b"),
            (Arguments{"kde-a-b.desktop", "kde/a-b.desktop", "kde/a/b.desktop"}));
}

TEST(DesktopFileCandidates, neverLeaveTheFolder) {
  EXPECT_TRUE(desktopFileCandidates("../evil").empty());
  EXPECT_TRUE(desktopFileCandidates("a/b").empty());
  EXPECT_TRUE(desktopFileCandidates("").empty());
  EXPECT_TRUE(desktopFileCandidates(std::string("a\0b", 3)).empty());
  for (const auto& candidate : desktopFileCandidates("a-..-..-b")) {
    EXPECT_EQ(candidate.find("/../"), std::string::npos) << candidate;
  }
}

}  // namespace
}  // namespace quorl::test
