// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlKit/Models/AgentCatalogModels.h>
#include <QuorlKit/Models/AgentModels.h>
#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {
namespace {

TEST(AgentTool, decodesAnUnknownTextToOther) {
  EXPECT_EQ(decodeRecord<AgentTool>(viewOf("\"gemini\"")), AgentTool::other);
  EXPECT_EQ(decodeRecord<AgentTool>(viewOf("\"\"")), AgentTool::other);
  EXPECT_EQ(decodeRecord<AgentTool>(viewOf("\"codex\"")), AgentTool::codex);
  EXPECT_FALSE(decodeRecord<AgentTool>(viewOf("1")));
}

TEST(AgentTool, listsItsFourCasesInOrder) {
  std::vector<std::string_view> texts;
  for (const auto& [tool, text] : rawValues<AgentTool>) texts.push_back(text);
  EXPECT_EQ(texts, (std::vector<std::string_view>{"claude", "codex", "opencode", "other"}));
}

TEST(AgentTool, hasALabelForEveryCase) {
  EXPECT_EQ(label(AgentTool::claude), "Claude Code");
  EXPECT_EQ(label(AgentTool::codex), "Codex");
  EXPECT_EQ(label(AgentTool::opencode), "OpenCode");
  EXPECT_EQ(label(AgentTool::other), "Agent");
}

TEST(AgentTool, isInferredFromACommandLineInOrder) {
  EXPECT_EQ(inferAgentTool("/usr/bin/CLAUDE --resume"), AgentTool::claude);
  EXPECT_EQ(inferAgentTool("npx @openai/Codex"), AgentTool::codex);
  EXPECT_EQ(inferAgentTool("claude via opencode"), AgentTool::opencode);
  EXPECT_EQ(inferAgentTool("codex claude"), AgentTool::claude);
}

TEST(AgentTool, isNothingForACommandThatNamesNoTool) {
  EXPECT_EQ(inferAgentTool("vim"), std::nullopt);
  EXPECT_EQ(inferAgentTool(""), std::nullopt);
}

TEST(AgentStatus, failsToDecodeAnUnknownText) {
  EXPECT_FALSE(decodeRecord<AgentStatus>(viewOf("\"sleeping\"")));
  EXPECT_EQ(decodeRecord<AgentStatus>(viewOf("\"waitingInput\"")), AgentStatus::waitingInput);
}

TEST(ShortLabel, isShellForABlankOrEmptyCommand) {
  EXPECT_EQ(AgentSpawnConfig::shortLabel(""), "Shell");
  EXPECT_EQ(AgentSpawnConfig::shortLabel("   "), "Shell");
  EXPECT_EQ(AgentSpawnConfig::shortLabel(" \t\n\u00A0\u2003"), "Shell");
}

TEST(ShortLabel, isTheProgramAfterAssignmentsAndEnv) {
  EXPECT_EQ(AgentSpawnConfig::shortLabel("FOO=1 BAR=2 /usr/local/bin/claude --resume x"), "claude");
  EXPECT_EQ(AgentSpawnConfig::shortLabel("env FOO=1 aider"), "aider");
  EXPECT_EQ(AgentSpawnConfig::shortLabel("  npm   run dev\n"), "npm");
  EXPECT_EQ(AgentSpawnConfig::shortLabel("/opt/tool/"), "tool");
}

TEST(ShortLabel, stopsDroppingAtAnOption) {
  EXPECT_EQ(AgentSpawnConfig::shortLabel("--flag=1 run"), "--flag=1");
}

TEST(ShortLabel, isTheWholeLineAfterAShellWord) {
  EXPECT_EQ(AgentSpawnConfig::shortLabel("sudo make install"), "sudo make install");
  for (const std::string_view word :
       {"for", "while", "until", "if", "do", "case", "function", "{", "(", "sudo"})
    EXPECT_EQ(AgentSpawnConfig::shortLabel(std::string(word) + " x"), std::string(word) + " x");
}

TEST(ShortLabel, isTheWholeLineIfItHasOnlyAssignments) {
  EXPECT_EQ(AgentSpawnConfig::shortLabel("A=1 env B=2"), "A=1 env B=2");
}

TEST(ShortLabel, keepsALineOf32CharactersAndCutsOneOf33) {
  const std::string line32 = "sudo " + std::string(27, 'x');
  EXPECT_EQ(AgentSpawnConfig::shortLabel(line32), line32);
  EXPECT_EQ(AgentSpawnConfig::shortLabel(line32 + "y"), "sudo " + std::string(26, 'x') + "…");
}

TEST(ShortLabel, cutsAProgramNameAt40CharactersWithoutAnEllipsis) {
  EXPECT_EQ(AgentSpawnConfig::shortLabel("/bin/" + std::string(50, 'p')), std::string(40, 'p'));
}

TEST(ShortLabel, countsUserPerceivedCharacters) {
  // A family of four joined with zero-width joiners, 25 bytes, is one character.
  const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466";
  std::string line = "sudo ";
  for (int count = 0; count < 27; ++count) line += family;
  EXPECT_EQ(AgentSpawnConfig::shortLabel(line), line);
  std::string cut = "sudo ";
  for (int count = 0; count < 26; ++count) cut += family;
  EXPECT_EQ(AgentSpawnConfig::shortLabel(line + family), cut + "…");
}

TEST(ExternalAgent, isNamedByTheLastComponentOfItsDirectory) {
  const auto nameOf = [](std::optional<std::string> cwd) {
    return ExternalAgent{.cwd = std::move(cwd)}.projectName();
  };
  EXPECT_EQ(nameOf("/Users/a/proj/"), "proj");
  EXPECT_EQ(nameOf("/Users/a/proj"), "proj");
  EXPECT_EQ(nameOf("proj"), "proj");
  EXPECT_EQ(nameOf("/"), std::nullopt);
  EXPECT_EQ(nameOf("//"), std::nullopt);
  EXPECT_EQ(nameOf(""), std::nullopt);
  EXPECT_EQ(nameOf(std::nullopt), std::nullopt);
}

TEST(ServiceDescriptor, isIdentifiedByProcessAndPort) {
  EXPECT_EQ((ServiceDescriptor{3000, "node", 12, std::nullopt, true}.id()), "node:3000");
}

TEST(CustomService, usesItsURLBeforeItsPort) {
  EXPECT_EQ((CustomService{.port = 3000, .urlString = " \thttp://x:1/ "}.fullURLString()), "http://x:1/");
  EXPECT_EQ((CustomService{.port = 3000, .urlString = " \t"}.fullURLString()), "http://localhost:3000/");
  EXPECT_EQ((CustomService{.port = 80}.fullURLString()), "http://localhost:80/");
  EXPECT_EQ(CustomService{}.fullURLString(), "");
}

TEST(CustomService, makesAURLFromUserInput) {
  const auto url = CustomService::normalizeURLInput;
  EXPECT_EQ(url(" \t "), "");
  EXPECT_EQ(url("3000"), "http://localhost:3000/");
  EXPECT_EQ(url(" 03000 "), "http://localhost:3000/");
  EXPECT_EQ(url("+80"), "http://localhost:80/");
  EXPECT_EQ(url("0"), "http://localhost:0/");
  EXPECT_EQ(url("65535"), "http://localhost:65535/");
  EXPECT_EQ(url("70000"), "http://70000");
  EXPECT_EQ(url("+"), "http://+");
  EXPECT_EQ(url("++80"), "http://++80");
  EXPECT_EQ(url("-1"), "http://-1");
  EXPECT_EQ(url("desk.local:8080/x"), "http://desk.local:8080/x");
  EXPECT_EQ(url("  https://desk.local/ "), "https://desk.local/");
}

TEST(AgentCommand, hasTheShapeOfATaggedUnion) {
  EXPECT_EQ(textOf(*encodeRecord(AgentCommand(agentCommand::Spawn{{"x", "ls", "~", {}}}))),
            R"({"spawn":{"_0":{"displayName":"x","command":"ls","workingDirectory":"~","env":{}}}})");
  const auto command = decodeRecord<AgentCommand>(
      viewOf(R"({"write":{"id":"1A2B3C4D-0000-4000-8000-00000000ABCD","data":"G1s="}})"));
  ASSERT_TRUE(command);
  EXPECT_EQ(std::get<agentCommand::Write>(*command).data, (Bytes{0x1B, '['}));
  EXPECT_EQ(caseName(*command), "write");
}

TEST(AgentCommand, readsEveryCase) {
  const std::string id = R"("id":"1A2B3C4D-0000-4000-8000-00000000ABCD")";
  const std::array<std::string, 8> forms{
      R"({"spawn":{"_0":{"displayName":"x","command":"ls","workingDirectory":"~","env":{"A":"b"}}}})",
      R"({"adoptClaudeSession":{"sessionID":"s","projectPath":"/p"}})",
      "{\"kill\":{" + id + "}}",
      "{\"prompt\":{" + id + R"(,"text":"t"}})",
      "{\"write\":{" + id + R"(,"data":"AA=="}})",
      "{\"subscribe\":{" + id + "}}",
      "{\"unsubscribe\":{" + id + "}}",
      "{\"resizePTY\":{" + id + R"(,"cols":80,"rows":24}})"};
  for (std::size_t index = 0; index < forms.size(); ++index) {
    const auto command = decodeRecord<AgentCommand>(viewOf(forms[index]));
    ASSERT_TRUE(command) << forms[index];
    EXPECT_EQ(command->index(), index);
    EXPECT_EQ(textOf(*encodeRecord(*command)), forms[index]);
  }
}

TEST(AgentEvent, readsEveryCase) {
  const std::array<std::string_view, 3> forms{
      R"({"updated":{"_0":{"id":"1A2B3C4D-0000-4000-8000-00000000ABCD","kind":"guiApp","name":"n","detail":"d","status":"idle"}}})",
      R"({"removed":{"id":"1A2B3C4D-0000-4000-8000-00000000ABCD"}})",
      R"({"attention":{"id":"1A2B3C4D-0000-4000-8000-00000000ABCD","title":"t","body":"b"}})"};
  for (std::size_t index = 0; index < forms.size(); ++index) {
    const auto event = decodeRecord<AgentEvent>(viewOf(forms[index]));
    ASSERT_TRUE(event) << forms[index];
    EXPECT_EQ(event->index(), index);
    EXPECT_EQ(textOf(*encodeRecord(*event)), forms[index]);
  }
}

}  // namespace
}  // namespace quorl
