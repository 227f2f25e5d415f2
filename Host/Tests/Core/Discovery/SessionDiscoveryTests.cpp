// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Agents/Discovery/ClaudeCodeDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/CodexDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/ProjectPath.h>
#include <Support/FakeSessionFiles.h>

namespace quorl {
namespace {

using test::FakeSessionFiles;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string projects = "/home/ada/.claude/projects/";
const std::string codexSessions = "/home/ada/.codex/sessions/";

std::string uuid(int n) {
  std::string text = "00000000-0000-4000-8000-000000000000";
  text.replace(36 - 3, 3, std::to_string(100 + n));
  return text;
}

std::string summaryLine(const std::string& text) {
  return fmt::format("{{\"type\":\"summary\",\"summary\":\"{}\"}}\n", text);
}

std::string codexLine(const std::string& payload) {
  return fmt::format("{{\"type\":\"session_meta\",\"payload\":{}}}\n", payload);
}

class ProjectPaths : public testing::Test {
 protected:
  FakeSessionFiles files;
  int lookups = 0;

  std::string decode(std::string_view name) {
    return decodeProjectPath(
        name, {.exists =
                   [this](const std::string& path) {
                     ++lookups;
                     return files.exists(path);
                   },
               .isDirectory = [this](const std::string& path) { return files.isDirectory(path); }});
  }
};

TEST_F(ProjectPaths, followTheFoldersThatAreThere) {
  files.makeDirectory("/Users/a/my-app");
  EXPECT_EQ(decode("-Users-a-my-app"), "/Users/a/my-app");
}

TEST_F(ProjectPaths, takeEachDashForASlashWhenNothingIsThere) {
  EXPECT_EQ(decode("-Users-a-my-app"), "/Users/a/my/app");
  EXPECT_EQ(decode("no-leading-dash"), "/no/leading/dash");
  EXPECT_EQ(decode(""), "/");
  EXPECT_EQ(decode("-a--b"), "/a//b");
}

TEST_F(ProjectPaths, areGivenUpAmongLinksThatLeadRoundInACircle) {
  // As with the links "a -> ." and "a-a -> .": every name of "a" and "-" is a folder.
  std::string name;
  for (int i = 0; i < 60; ++i) name += "-a";
  int looks = 0;
  const auto isThere = [&looks](const std::string& path) {
    ++looks;
    return path.find('b') == std::string::npos && path.find("a-a-a") == std::string::npos;
  };
  const std::string path = decodeProjectPath(
      name + "-b", {.exists = isThere, .isDirectory = [](const std::string&) { return true; }});
  EXPECT_LE(looks, 10'000);
  EXPECT_TRUE(path.ends_with("/a/a/b")) << path;
}

TEST_F(ProjectPaths, preferShorterNamesAndComeBackFromADeadEnd) {
  files.makeDirectory("/a/b");
  files.makeDirectory("/a-b/c");
  EXPECT_EQ(decode("-a-b-c"), "/a-b/c");
  files.makeDirectory("/a/b/c");
  EXPECT_EQ(decode("-a-b-c"), "/a/b/c");
}

TEST_F(ProjectPaths, mayEndInAFileButNotPassThroughOne) {
  files.write("/a/b", "");
  EXPECT_EQ(decode("-a-b"), "/a/b");
  EXPECT_EQ(decode("-a-b-c"), "/a/b/c") << "the fallback";
}

TEST_F(ProjectPaths, areFollowedThroughSixtyThreeFolders) {
  std::string folder;
  for (int i = 0; i < 63; ++i) folder += "/d";
  std::string name = folder;
  std::ranges::replace(name, '/', '-');
  files.makeDirectory(folder + "/my-app");
  EXPECT_EQ(decode(name + "-my-app"), folder + "/my-app");
  files.makeDirectory(folder + "/d/my-app");
  EXPECT_EQ(decode(name + "-d-my-app"), folder + "/d/my/app") << "one too deep";
}

TEST_F(ProjectPaths, stayBoundedForAHostileName) {
  EXPECT_EQ(decode(std::string(255, '-')), std::string(255, '/'));
  EXPECT_LT(lookups, 64 * 256);
  files.makeDirectory("/x/x/x/x");
  lookups = 0;
  std::string name;
  for (int i = 0; i < 120; ++i) name += "-x";
  decode(name);
  EXPECT_LT(lookups, 64 * 256);
}

class ClaudeSessions : public testing::Test {
 protected:
  std::shared_ptr<FakeSessionFiles> files = std::make_shared<FakeSessionFiles>();
  ClaudeCodeDiscovery discovery{files};
};

TEST_F(ClaudeSessions, areEmptyWithoutTheFolder) {
  EXPECT_THAT(discovery.scan(200, 40), IsEmpty());
  EXPECT_EQ(discovery.preview(uuid(1), "/a"), std::nullopt);
}

TEST_F(ClaudeSessions, comeNewestFirstWithAPreviewForTheFirst) {
  files->makeDirectory("/srv/my-app");
  files->write(projects + "-srv-my-app/" + uuid(1) + ".jsonl", summaryLine("old"), Date{100});
  files->write(projects + "-gone-app/" + uuid(2) + ".jsonl", summaryLine("new"), Date{300});
  files->write(projects + "-srv-my-app/" + uuid(3) + ".jsonl", summaryLine("middle"), Date{200});
  using Session = DiscoveredClaudeSession;
  EXPECT_THAT(discovery.scan(200, 2), ElementsAre(Session{uuid(2), "/gone/app", Date{300}, "new"},
                                                  Session{uuid(3), "/srv/my-app", Date{200}, "middle"},
                                                  Session{uuid(1), "/srv/my-app", Date{100}, std::nullopt}));
  EXPECT_EQ(discovery.scan(1, 40).size(), 1U);
  EXPECT_THAT(discovery.scan(0, 40), IsEmpty());
}

TEST_F(ClaudeSessions, ignoreWhatIsNoSessionFile) {
  files->write(projects + "-a/notes.jsonl", summaryLine("x"));
  files->write(projects + "-a/" + uuid(1) + ".json", summaryLine("x"));
  files->write(projects + uuid(2) + ".jsonl", summaryLine("beside the folders"));
  files->makeDirectory(projects + "-a/" + uuid(3) + ".jsonl");
  files->makeOther(projects + "-a/" + uuid(4) + ".jsonl");
  files->write(projects + ".hidden/" + uuid(5) + ".jsonl", summaryLine("x"));
  EXPECT_THAT(discovery.scan(200, 40), IsEmpty());
}

TEST_F(ClaudeSessions, areReadAgainOnlyWhenTheyChanged) {
  const std::string path = projects + "-a/" + uuid(1) + ".jsonl";
  files->write(path, summaryLine("one"), Date{1});
  EXPECT_EQ(discovery.scan(200, 40).front().preview, "one");
  EXPECT_EQ(discovery.scan(200, 40).front().preview, "one");
  EXPECT_EQ(files->reads, 1);
  files->write(path, summaryLine("two"), Date{1});
  EXPECT_EQ(discovery.scan(200, 40).front().preview, "two") << "replaced by a file of the same size and date";
  EXPECT_EQ(files->reads, 2);
}

TEST_F(ClaudeSessions, thatCannotBeReadHaveNoPreviewUntilTheyCan) {
  const std::string path = projects + "-a/" + uuid(1) + ".jsonl";
  files->write(path, summaryLine("one"));
  files->lock(path);
  EXPECT_EQ(discovery.scan(200, 40).front().preview, std::nullopt);
  EXPECT_EQ(discovery.scan(200, 40).front().preview, std::nullopt);
  EXPECT_EQ(files->reads, 2) << "a failure is not remembered";
}

TEST_F(ClaudeSessions, previewOneByItsIdentifierAlone) {
  files->write(projects + "-b/" + uuid(1) + ".jsonl", summaryLine("found"));
  files->write("/home/ada/.claude/secret.jsonl", summaryLine("secret"));
  EXPECT_EQ(discovery.preview(uuid(1), "/somewhere/else"), "found");
  EXPECT_EQ(discovery.preview(uuid(2), "/b"), std::nullopt);
  EXPECT_EQ(discovery.preview("../../secret", "/b"), std::nullopt);
}

TEST_F(ClaudeSessions, readATranscriptOfExactlyTheWindowFromItsStart) {
  const std::string first = R"({"type":"user","message":{"content":"first"}})"
                            "\n";
  const std::string filler(Transcript::windowSize - first.size(), ' ');
  files->write(projects + "-a/" + uuid(1) + ".jsonl", first + filler);
  EXPECT_EQ(discovery.preview(uuid(1), ""), "first");
  files->write(projects + "-a/" + uuid(1) + ".jsonl", first + filler + " ");
  EXPECT_EQ(discovery.preview(uuid(1), ""), std::nullopt) << "the window has moved by one byte";
}

TEST_F(ClaudeSessions, haveNoPreviewWhereTheWindowCutsACharacter) {
  const std::string tail = std::string("\n") + summaryLine("late");
  const std::string filler(Transcript::windowSize - tail.size() - 1, ' ');
  files->write(projects + "-a/" + uuid(1) + ".jsonl", std::string("\u00e9") + filler + tail);
  EXPECT_EQ(discovery.preview(uuid(1), ""), std::nullopt);
  files->write(projects + "-a/" + uuid(1) + ".jsonl", std::string("\u00e9 ") + filler + tail);
  EXPECT_EQ(discovery.preview(uuid(1), ""), "late") << "one byte further it begins behind the character";
}

class CodexSessions : public testing::Test {
 protected:
  std::shared_ptr<FakeSessionFiles> files = std::make_shared<FakeSessionFiles>();
  CodexDiscovery discovery{files};

  std::vector<std::string> identifiers(std::size_t limit = 200) {
    std::vector<std::string> found;
    for (const DiscoveredAgentSession& session : discovery.scan(limit)) found.push_back(session.sessionID);
    return found;
  }
};

TEST_F(CodexSessions, areEmptyWithoutTheFolder) {
  EXPECT_THAT(discovery.scan(200), IsEmpty());
}

TEST_F(CodexSessions, areFoundInFoldersOfAnyDepthNewestFirst) {
  files->write(codexSessions + "2025/01/02/a.jsonl", codexLine(R"({"id":"one","cwd":"/p"})"), Date{1});
  files->write(codexSessions + "b.jsonl", codexLine(R"({"id":"two","cwd":"/q"})"), Date{2});
  files->write(codexSessions + ".hidden/c.jsonl", codexLine(R"({"id":"three","cwd":"/q"})"), Date{3});
  files->write(codexSessions + "d.json", codexLine(R"({"id":"four","cwd":"/q"})"), Date{3});
  using Session = DiscoveredAgentSession;
  EXPECT_THAT(discovery.scan(200),
              ElementsAre(Session{AgentTool::codex, "two", "/q", Date{2}, std::nullopt},
                          Session{AgentTool::codex, "one", "/p", Date{1}, std::nullopt}));
}

TEST_F(CodexSessions, withoutAPayloadAreIgnoredAndDoNotCount) {
  files->write(codexSessions + "new.jsonl",
               std::string("{\"type\":\"x\"}\n") + codexLine(R"({"id":"late","cwd":"/p"})"), Date{9});
  files->write(codexSessions + "old.jsonl", codexLine(R"({"id":"one","cwd":"/p"})"), Date{1});
  EXPECT_THAT(identifiers(1), ElementsAre("one"));
}

TEST_F(CodexSessions, readEachFileOnceAndNoneBeyondTheLimit) {
  for (int i = 0; i < 10; ++i)
    files->write(codexSessions + std::to_string(i) + ".jsonl",
                 codexLine(fmt::format("{{\"id\":\"{}\",\"cwd\":\"/p\"}}", i)), Date{100.0 - i});
  EXPECT_THAT(identifiers(3), ElementsAre("0", "1", "2"));
  EXPECT_EQ(files->reads, 3);
  EXPECT_THAT(identifiers(3), ElementsAre("0", "1", "2"));
  EXPECT_EQ(files->reads, 3);
  files->remove(codexSessions + "0.jsonl");
  EXPECT_THAT(identifiers(3), ElementsAre("1", "2", "3"));
  EXPECT_EQ(files->reads, 4);
}

TEST_F(CodexSessions, areReadNoFurtherThanTheWindow) {
  const std::string padding(Transcript::windowSize, ' ');
  files->write(codexSessions + "a.jsonl", padding + codexLine(R"({"id":"one","cwd":"/p"})"));
  EXPECT_EQ(discovery.sessionMeta(codexSessions + "a.jsonl"), std::nullopt);
  files->write(codexSessions + "a.jsonl", codexLine(R"({"id":"one","cwd":"/p"})") + padding);
  EXPECT_EQ(discovery.sessionMeta(codexSessions + "a.jsonl"), (Transcript::CodexMeta{"one", "/p"}));
  EXPECT_EQ(discovery.sessionMeta(codexSessions + "missing.jsonl"), std::nullopt);
}

std::optional<Transcript::CodexMeta> metaOf(const std::string& text) {
  return Transcript::codexMeta(viewOf(text));
}

TEST(CodexMeta, fallsBackToTheIdentifierWhenTheSessionIdentifierIsNoText) {
  EXPECT_EQ(metaOf(codexLine(R"({"session_id":7,"id":"b","cwd":"/p"})")), (Transcript::CodexMeta{"b", "/p"}));
  EXPECT_EQ(metaOf(codexLine(R"({"session_id":"a","id":"b","cwd":"/p"})")),
            (Transcript::CodexMeta{"a", "/p"}));
  EXPECT_EQ(metaOf(codexLine(R"({"session_id":"","id":"b","cwd":"/p"})")), std::nullopt);
}

TEST(CodexMeta, cutsFieldsToWhatNamesAndPathsCanHave) {
  const std::string id = "é" + std::string(30'000, 'i');
  const std::string directory = "/" + std::string(30'000, 'd');
  const auto meta = metaOf(codexLine(R"({"id":")" + id + R"(","cwd":")" + directory + R"("})"));
  ASSERT_TRUE(meta);
  EXPECT_EQ(meta->sessionID, id.substr(0, 255));
  EXPECT_EQ(meta->workingDirectory, directory.substr(0, 4095));
  const auto odd = metaOf(codexLine(R"({"cwd":"/","id":"x)" + std::string(127, 'i') + id + R"("})"));
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->sessionID.size(), 255U);
  std::string accents = "a";
  for (int i = 0; i < 10'000; ++i) accents += "\u0301";
  const auto preview = Transcript::preview(viewOf(R"({"type":"summary","summary":")" + accents + R"("})"));
  ASSERT_TRUE(preview);
  EXPECT_LE(preview->size(), Transcript::previewSize + 3) << "one character as its writer likes it";
}

TEST(CodexMeta, needsBothTextsAndAWholeFirstLine) {
  EXPECT_EQ(metaOf(""), std::nullopt);
  EXPECT_EQ(metaOf("\n"), std::nullopt);
  EXPECT_EQ(metaOf(codexLine(R"({"id":"b"})")), std::nullopt);
  EXPECT_EQ(metaOf(codexLine(R"({"id":"b","cwd":""})")), std::nullopt);
  EXPECT_EQ(metaOf(codexLine(R"({"id":"b","cwd":["/p"]})")), std::nullopt);
  EXPECT_EQ(metaOf(codexLine(R"(["id"])")), std::nullopt);
  EXPECT_EQ(metaOf(R"(["payload",{"id":"b","cwd":"/p"}])"), std::nullopt);
  EXPECT_EQ(metaOf(R"({"payload":{"id":"b","cwd":"/p"})"), std::nullopt);
  EXPECT_EQ(metaOf(R"({"payload":{"id":"b","cwd":"/p"}} x)"), std::nullopt);
  EXPECT_EQ(metaOf(R"({"payload":{"id":"b","cwd":"/p"}})"), (Transcript::CodexMeta{"b", "/p"}))
      << "no line end";
}

std::optional<std::string> previewOf(const std::string& text) {
  return Transcript::preview(viewOf(text));
}

std::string userLine(const std::string& content) {
  return fmt::format("{{\"type\":\"user\",\"message\":{{\"role\":\"user\",\"content\":{}}}}}\n", content);
}

TEST(TranscriptPreview, isTheLastSummary) {
  EXPECT_EQ(previewOf(summaryLine("one") + userLine("\"hello\"") + summaryLine("two") + summaryLine("")),
            "two");
}

TEST(TranscriptPreview, isElseTheFirstUserText) {
  EXPECT_EQ(previewOf(userLine("\"\"") + userLine("\"hello\"") + userLine("\"again\"")), "hello");
  EXPECT_EQ(previewOf(R"({"type":"assistant","message":{"content":"no"}})"), std::nullopt);
  EXPECT_EQ(previewOf(R"({"message":{"content":"keys in any order"},"type":"user"})"), "keys in any order");
}

TEST(TranscriptPreview, usesTheFirstTextElementWithText) {
  EXPECT_EQ(previewOf(userLine(R"([{"type":"image","text":"no"},"x",{"text":"","type":"text"},)"
                               R"({"text":"yes","type":"text"},{"type":"text","text":"late"}])")),
            "yes");
  EXPECT_EQ(previewOf(userLine("[]") + userLine("{\"text\":\"no\"}") + userLine("3")), std::nullopt);
}

TEST(TranscriptPreview, passesOverLinesThatAreNoObjects) {
  EXPECT_EQ(previewOf(std::string("cut off\"}\n\n[1]\n7\n") + summaryLine("x") +
                      R"({"type":"summary","summary":"y")"),
            "x");
  EXPECT_EQ(previewOf("{\"type\":\"summary\",\"summary\":\"x\"} {}\n"), std::nullopt);
}

TEST(TranscriptPreview, cutsASummaryOf161Characters) {
  EXPECT_EQ(previewOf(summaryLine(std::string(160, 'a'))), std::string(160, 'a'));
  EXPECT_EQ(previewOf(summaryLine(std::string(161, 'a'))), std::string(160, 'a') + "\u2026");
  std::string flags;
  for (int i = 0; i < 161; ++i) flags += "\U0001F1E9\U0001F1EA";
  const std::optional<std::string> cut = previewOf(summaryLine(flags));
  ASSERT_TRUE(cut);
  EXPECT_EQ(cut->size(), 160U * 8 + 3) << "characters as a person counts them";
}

TEST(TranscriptPreview, isOneTrimmedLine) {
  EXPECT_EQ(previewOf(summaryLine(R"( \n\tone\ntwo\r\nthree\n)")), "one two three");
  EXPECT_EQ(previewOf(summaryLine(R"( \n\t)") + userLine("\"text\"")), std::nullopt)
      << "the summary counts, and is blank";
}

TEST(TranscriptPreview, isAbsentForBytesThatAreNotText) {
  EXPECT_EQ(previewOf(std::string("\xff\n") + summaryLine("x")), std::nullopt);
  EXPECT_EQ(previewOf(""), std::nullopt);
  EXPECT_EQ(previewOf(std::string(Transcript::windowSize, '\0')), std::nullopt);
}

TEST(TranscriptPreview, survivesDeepNesting) {
  EXPECT_EQ(previewOf(std::string(60000, '[') + "\n" + summaryLine("x")), "x");
  EXPECT_EQ(previewOf(std::string("{\"message\":") + std::string(60000, '{') + "\n" + summaryLine("x")), "x");
}

}  // namespace
}  // namespace quorl
