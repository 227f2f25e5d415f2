// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <LaunchAgent.h>
#include <QuorlHostLinux/Applications/DesktopFile.h>
#include <QuorlHostPosix/PosixFileStore.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

const UserFolders folders{"/Users/ann", "/Users/ann/.local/share", "/Users/ann/.config"};

TEST(StartAtLogin, writesThePropertyListInXML) {
  const auto file = launchdPropertyList(folders, "/Applications/Quorl & Co/quorl_host");
  EXPECT_EQ(file.path, "/Users/ann/Library/LaunchAgents/dev.vek.quorl.host.plist");
  EXPECT_EQ(file.contents,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n"
            "<dict>\n"
            "\t<key>KeepAlive</key>\n"
            "\t<false/>\n"
            "\t<key>Label</key>\n"
            "\t<string>dev.vek.quorl.host</string>\n"
            "\t<key>ProcessType</key>\n"
            "\t<string>Interactive</string>\n"
            "\t<key>ProgramArguments</key>\n"
            "\t<array>\n"
            "\t\t<string>/Applications/Quorl &amp; Co/quorl_host</string>\n"
            "\t</array>\n"
            "\t<key>RunAtLoad</key>\n"
            "\t<true/>\n"
            "</dict>\n"
            "</plist>\n");
}

TEST(StartAtLogin, writesADesktopFileForTheAutostartFolder) {
  const auto file = autostartEntry(folders, "/opt/quorl/quorl_host");
  EXPECT_EQ(file.path, "/Users/ann/.config/autostart/dev.vek.quorl.host.desktop");
  EXPECT_EQ(file.contents,
            "[Desktop Entry]\nType=Application\nName=Quorl Host\nExec=\"/opt/quorl/quorl_host\"\n"
            "Terminal=false\nX-GNOME-Autostart-enabled=true\n");
}

TEST(StartAtLogin, quotesAnyExecutablePathSoThatADesktopReadsItBack) {
  for (const std::string& path :
       {std::string("/a b/c\"d"), std::string("/x\\y/$HOME/`id`"), std::string("/ü/z")}) {
    const auto entry = parseDesktopFile(autostartEntry(folders, path).contents);
    ASSERT_TRUE(entry) << path;
    EXPECT_EQ(entry->arguments, std::vector<std::string>{path});
  }
}

TEST(StartAtLogin, resolvesARelativeCommandInTheCurrentDirectory) {
  EXPECT_EQ(executablePathFrom("/usr/bin/quorl_host", "x", "/tmp"), "/usr/bin/quorl_host");
  EXPECT_EQ(executablePathFrom("", "/opt/quorl_host", "/tmp"), "/opt/quorl_host");
  EXPECT_EQ(executablePathFrom("", "bin/quorl_host", "/tmp"), "/tmp/bin/quorl_host");
}

class LaunchAgentTest : public ::testing::Test {
 protected:
  LaunchAgentTest() { file.path = folder.file("config/autostart/dev.vek.quorl.host.desktop"); }

  TemporaryFolder folder;
  StartAtLoginFile file{"", "contents\n"};
  std::shared_ptr<PosixFileStore> files = std::make_shared<PosixFileStore>();
};

TEST_F(LaunchAgentTest, installsIntoFoldersThatItMakesAndUninstalls) {
  LaunchAgent agent(files, file);
  EXPECT_FALSE(agent.installed());
  agent.install();
  EXPECT_TRUE(agent.installed());
  EXPECT_EQ(files->read(file.path, 100), bytesOf("contents\n"));
  agent.uninstall();
  EXPECT_FALSE(agent.installed());
  agent.uninstall();  // a missing file is no failure
  EXPECT_FALSE(agent.installed());
}

TEST_F(LaunchAgentTest, isInstalledByAnyFileAtItsPathAndReplacesIt) {
  fs::create_directories(fs::path(file.path).parent_path());
  std::ofstream(file.path) << "something else";
  LaunchAgent agent(files, file);
  EXPECT_TRUE(agent.installed());
  agent.install();
  EXPECT_EQ(files->read(file.path, 100), bytesOf("contents\n"));
}

TEST_F(LaunchAgentTest, onlyLogsAFailure) {
  std::ofstream(folder / "config") << "a file in the way";
  LaunchAgent agent(files, file);
  agent.install();
  EXPECT_FALSE(agent.installed());
}

TEST_F(LaunchAgentTest, namesThisExecutableByItsAbsolutePath) {
  const std::string self = fs::read_symlink("/proc/self/exe");
  EXPECT_NE(currentStartAtLoginFile("quorl_host").contents.find("Exec=\"" + self + "\"\n"),
            std::string::npos);
}

}  // namespace
}  // namespace quorl::test
