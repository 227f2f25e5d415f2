// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Discovery/ProcessDiscovery.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Registry/StableUUID.h>
#include <Support/FakeProcessTable.h>

namespace quorl {
namespace {

using test::FakeProcessTable;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

std::optional<std::string> classify(std::string_view command,
                                    std::optional<std::string_view> execPath = std::nullopt) {
  return ProcessDiscovery::classify(command, execPath);
}

TEST(Classification, findsACodexScriptRunByItsInterpreter) {
  EXPECT_EQ(classify("node /opt/x/bin/codex --full-auto", "/usr/bin/node"), "Codex");
}

TEST(Classification, findsAPythonModule) {
  EXPECT_EQ(classify("python3 -m aider", "/usr/bin/python3"), "Aider");
  EXPECT_EQ(classify("python3.11 -m LLM chat", "/usr/bin/python3.11"), "LLM");
  EXPECT_EQ(classify("python3 -m", "/usr/bin/python3"), std::nullopt);
  EXPECT_EQ(classify("ruby -m llm", "/usr/bin/ruby"), std::nullopt);
}

TEST(Classification, ignoresAProcessInAnApplicationBundle) {
  EXPECT_EQ(classify("/Applications/Claude.app/Contents/MacOS/Claude"), std::nullopt);
  EXPECT_EQ(classify("codex", "/Applications/Codex.app/Contents/MacOS/codex"), std::nullopt);
}

TEST(Classification, doesNotTakeAFileNameForClaude) {
  EXPECT_EQ(classify("zsh -c cat my-claude-notes.txt", "/bin/zsh"), std::nullopt);
  EXPECT_EQ(classify("vim claude", "/usr/bin/vim"), std::nullopt);
}

TEST(Classification, matchesAWordOnItsOwn) {
  EXPECT_EQ(classify("vim codex", "/usr/bin/vim"), "Codex");
  EXPECT_EQ(classify("vim /tmp/codex.log", "/usr/bin/vim"), "Codex");
  EXPECT_EQ(classify("vim my-codex-tool", "/usr/bin/vim"), std::nullopt);
  EXPECT_EQ(classify("vim codex2", "/usr/bin/vim"), std::nullopt);
  EXPECT_EQ(classify("vim codex2 codex", "/usr/bin/vim"), "Codex");
  EXPECT_EQ(classify("vim \u00e9codex", "/usr/bin/vim"), std::nullopt)
      << "a letter of any script is a word character";
  EXPECT_EQ(classify("vim codex\u00b7", "/usr/bin/vim"), "Codex");
  EXPECT_EQ(classify("sh ./cursor-agent", "/bin/sh"), "Cursor Agent");
}

TEST(Classification, triesTheWordsInTheirOrder) {
  EXPECT_EQ(classify("vim ollama aider", "/usr/bin/vim"), "Aider");
}

TEST(Classification, recognisesEveryProgramInTheTable) {
  const std::map<std::string, std::string> names{{"claude", "Claude"},
                                                 {"codex", "Codex"},
                                                 {"opencode", "OpenCode"},
                                                 {"aider", "Aider"},
                                                 {"ollama", "Ollama"},
                                                 {"goose", "Goose"},
                                                 {"hermes", "Hermes"},
                                                 {"openclaw", "OpenClaw"},
                                                 {"cursor-agent", "Cursor Agent"},
                                                 {"llm", "LLM"},
                                                 {"gpt", "GPT"}};
  for (const auto& [program, name] : names) EXPECT_EQ(classify(program + " -x"), name);
  for (const auto& module : {"codex", "opencode", "aider", "goose", "hermes", "llm", "gpt"})
    EXPECT_EQ(classify(std::string("python -m ") + module, "/usr/bin/python"), names.at(module));
  EXPECT_EQ(classify("python -m claude", "/usr/bin/python"), std::nullopt);
}

TEST(Classification, acceptsALoginShellsDashAndAnyCase) {
  EXPECT_EQ(classify("-claude"), "Claude");
  EXPECT_EQ(classify("/usr/local/bin/Claude --resume x"), "Claude");
}

TEST(Classification, keepsTheHostOut) {
  EXPECT_EQ(classify("/opt/QUORL/bin/codex"), std::nullopt);
  EXPECT_EQ(classify("claude --dir /home/ada/quorl"), std::nullopt);
}

TEST(Classification, usesTheFirstTokenWithoutAnExecutable) {
  EXPECT_EQ(classify(" \t claude", "  "), "Claude");
  EXPECT_EQ(classify(" \t "), std::nullopt);
  EXPECT_EQ(classify("claude", "/usr/bin/node"), std::nullopt);
}

class ProcessScan : public testing::Test {
 protected:
  std::shared_ptr<FakeProcessTable> processes = std::make_shared<FakeProcessTable>();
  ProcessDiscovery discovery{processes};

  std::vector<std::int32_t> foundPIDs(const std::set<std::string>& ttys = {},
                                      const std::set<std::int32_t>& pids = {}) {
    std::vector<std::int32_t> found;
    for (const ExternalAgent& agent : discovery.scan(ttys, pids)) found.push_back(agent.pid);
    return found;
  }
};

TEST_F(ProcessScan, neverListsAProcessWithoutATerminal) {
  processes->rows = {{.pid = 5, .tty = "??", .command = "claude", .executablePath = "/bin/claude"},
                     {.pid = 6, .tty = "?", .command = "claude", .executablePath = "/bin/claude"},
                     {.pid = 7, .tty = " \t", .command = "claude", .executablePath = "/bin/claude"}};
  EXPECT_THAT(foundPIDs(), IsEmpty());
}

TEST_F(ProcessScan, describesAnAgentAsFound) {
  processes->rows = {{.pid = 42, .tty = "pts/3", .command = "codex resume", .executablePath = "/bin/codex"}};
  const ExternalAgent expected{.id = ProcessDiscovery::stableID(42, "/dev/pts/3"),
                               .pid = 42,
                               .command = "codex resume",
                               .name = "Codex",
                               .tty = "/dev/pts/3",
                               .terminal = TerminalKind::unknown,
                               .adoptable = false,
                               .cwd = std::nullopt};
  EXPECT_THAT(discovery.scan({}, {}), ElementsAre(expected));
}

TEST_F(ProcessScan, keepsTheTablesOrderAndLeavesOutWhatIsExcluded) {
  for (const std::int32_t pid : {9, 3, 5, 7, 1})
    processes->rows.push_back({.pid = pid, .tty = "/dev/pts/" + std::to_string(pid), .command = "llm"});
  EXPECT_THAT(foundPIDs({"/dev/pts/5"}, {7}), ElementsAre(9, 3)) << "1 is the host itself";
}

TEST_F(ProcessScan, emitsOneProcessOnce) {
  processes->rows = {{.pid = 5, .tty = "pts/1", .command = "gpt"},
                     {.pid = 5, .tty = "pts/1", .command = "gpt"}};
  EXPECT_THAT(foundPIDs(), ElementsAre(5));
}

TEST_F(ProcessScan, recognisesALinkedProgramByTheSystemsNameForIt) {
  processes->rows = {
      {.pid = 5,
       .tty = "pts/1",
       .command = "claude",
       .executablePath = "/opt/versions/2.1",
       .name = "claude"},
      {.pid = 6, .tty = "pts/1", .command = "claude", .executablePath = "/opt/X.app/y", .name = "claude"},
      {.pid = 7, .tty = "pts/1", .command = "vim claude", .executablePath = "/usr/bin/vim", .name = "vim"}};
  EXPECT_THAT(foundPIDs(), ElementsAre(5));
}

TEST_F(ProcessScan, asksForNoDirectoriesWithoutProcesses) {
  processes->directories = {{3, "/a"}, {4, "/b"}};
  EXPECT_THAT(discovery.cwdByPID({}), IsEmpty());
  EXPECT_EQ(processes->directoryScans, 0);
  EXPECT_THAT(discovery.cwdByPID({4, 9}), ElementsAre(Pair(4, "/b")));
}

// Literal values from: printf %s 'quorl-external:42:/dev/pts/3' | md5sum
TEST(StableIdentity, isTheDigestOfProcessAndTerminal) {
  EXPECT_EQ(ProcessDiscovery::stableID(42, "/dev/pts/3").text(), "A3CD9912-62E4-4691-9ACF-4ABAB577A178");
  EXPECT_EQ(ProcessDiscovery::stableID(-1, std::nullopt).text(), "6A48CC2F-D227-F578-8F5C-99C37CCA08EF");
}

TEST(StableIdentity, ofATextIsTwoHashesOfItsBytes) {
  EXPECT_EQ(stableUUID("").text(), "CBF29CE4-8422-2325-9E37-79B97F4A7C15");
  EXPECT_EQ(stableUUID("a").text(), "AF63DC4C-8601-EC8C-D249-4C6C09815DAE");
  EXPECT_EQ(stableUUID("codex:0199-abc").text(), "8E3EBD99-5EC0-2C72-4B0C-7D951759A458");
  EXPECT_EQ(stableUUID("é").text(), "0AC21707-B718-1E01-E3D8-19DBD72739F5");
}

}  // namespace
}  // namespace quorl
