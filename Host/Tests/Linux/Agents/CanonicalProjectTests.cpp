// SPDX-License-Identifier: GPL-3.0-or-later
// Which session of a project is live, where the same folder has several paths on a real disk.
#include <algorithm>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <Core/Agents/AgentRegistryFixture.h>
#include <QuorlHostLinux/Agents/HomeSessionFiles.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

std::string sessionID(int number) {
  return "11111111-2222-4333-8444-00000000000" + std::to_string(number);
}

class CanonicalProjects : public AgentRegistryFixture {
 protected:
  CanonicalProjects() {
    platform.sessionFiles = std::make_shared<HomeSessionFiles>(home.path());
    registry = AgentRegistry::make(platform, {trust, entries, extrasStore, bridge});
  }
  /// `age`: of the session's file, in minutes.
  void addClaudeSession(int number, const std::string& project, int age) {
    std::string folder = project;
    std::ranges::replace(folder, '/', '-');
    setAge(home.write(".claude/projects/" + folder + "/" + sessionID(number) + ".jsonl", "{}"), age);
  }
  void addCodexSession(int number, const std::string& project, int age) {
    const std::string meta =
        R"({"payload":{"session_id":")" + sessionID(number) + R"(","cwd":")" + project + "\"}}\n";
    setAge(home.write(".codex/sessions/" + std::to_string(number) + ".jsonl", meta), age);
  }
  void addProcess(std::int32_t pid, const std::string& command, const std::string& directory) {
    addExternal(pid, command, "pts/7");
    processes->directories[pid] = directory;
  }
  /// The sessions that are not shown as exited, after a scan of the processes and one of the disk.
  std::set<std::string> live() {
    registry->start();
    scheduler.advance(30s);
    std::set<std::string> ids;
    for (const auto& row : list())
      if (row.status != AgentStatus::exited) ids.insert(row.detail.substr(8, sessionID(0).size()));
    return ids;
  }

  TemporaryFolder home;

 private:
  static void setAge(const std::string& file, int minutes) {
    fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::minutes(minutes));
  }
};

TEST_F(CanonicalProjects, areOneForASessionThatCameThroughALink) {
  fs::create_directories(home.file("work/app"));
  fs::create_directory_symlink("work", home.file("link"));
  addClaudeSession(1, home.file("link/app"), 1);
  addClaudeSession(2, home.file("work/app"), 2);
  addProcess(61, "claude", home.file("work/app"));
  EXPECT_EQ(live(), std::set{sessionID(1)}) << "the newest of the project, by whichever path";
  ASSERT_EQ(list().size(), 2U);
  EXPECT_EQ(list()[0].projectPath, home.file("link/app")) << "as found";
}

TEST_F(CanonicalProjects, areTwoForTwoFolders) {
  fs::create_directories(home.file("work/app"));
  fs::create_directories(home.file("play/app"));
  addClaudeSession(1, home.file("play/app"), 1);
  addClaudeSession(2, home.file("work/app"), 2);
  addProcess(61, "claude", home.file("work/app"));
  EXPECT_EQ(live(), std::set{sessionID(2)});
}

TEST_F(CanonicalProjects, areOneForTwoSpellingsOfAFolderThatIsGone) {
  addCodexSession(1, "/gone/./project//app", 1);
  addCodexSession(2, "/gone/project/app/", 2);
  addProcess(61, "codex", "/gone/project/app");
  EXPECT_EQ(live(), std::set{sessionID(1)});
}

TEST_F(CanonicalProjects, followTheLinkOfAProcessThatNamesItsSession) {
  fs::create_directories(home.file("work/app"));
  fs::create_directory_symlink("work/app", home.file("app"));
  addClaudeSession(1, home.file("app"), 1);
  addClaudeSession(2, home.file("work/app"), 2);
  addProcess(61, "claude --resume " + sessionID(2), home.file("work/app"));
  EXPECT_EQ(live(), std::set{sessionID(2)}) << "it claims the project";
}

}  // namespace
}  // namespace quorl::test
