// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostMac/Agents/AppleScriptBuilder.h>
#include <QuorlHostMac/Agents/AppleScriptTerminals.h>

namespace quorl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Scripts = std::vector<std::string>;

constexpr const char* tty = "/dev/ttys003";
constexpr TerminalKind terminalApp = TerminalKind::terminalApp;
constexpr TerminalKind iterm = TerminalKind::iterm;

const std::string bringToFront =
    "tell application \"Terminal\"\n"
    "  activate\n"
    "  repeat with w in windows\n"
    "    repeat with t in tabs of w\n"
    "      if (tty of t) is \"/dev/ttys003\" then\n"
    "        set selected tab of w to t\n"
    "        set index of w to 1\n"
    "        return \"ok\"\n"
    "      end if\n"
    "    end repeat\n"
    "  end repeat\n"
    "end tell\n"
    "return \"\"";

std::string writeInITerm(const std::string& whatAndHow) {
  return "tell application \"iTerm2\"\n"
         "  repeat with w in windows\n"
         "    repeat with t in tabs of w\n"
         "      repeat with s in sessions of t\n"
         "        if (tty of s) is \"/dev/ttys003\" then\n"
         "          tell s to write text " +
         whatAndHow +
         "\n"
         "          return \"ok\"\n"
         "        end if\n"
         "      end repeat\n"
         "    end repeat\n"
         "  end repeat\n"
         "end tell\n"
         "return \"\"";
}

std::string runInTerminal(const std::string& text) {
  return "tell application \"Terminal\"\n"
         "  repeat with w in windows\n"
         "    repeat with t in tabs of w\n"
         "      if (tty of t) is \"/dev/ttys003\" then\n"
         "        do script \"" +
         text +
         "\" in t\n"
         "        return \"ok\"\n"
         "      end if\n"
         "    end repeat\n"
         "  end repeat\n"
         "end tell\n"
         "return \"\"";
}

TEST(AppleScript, listsTheTTYsOfBothApplications) {
  EXPECT_EQ(AppleScriptBuilder::listTTYs(terminalApp),
            "tell application \"Terminal\"\n"
            "  set r to \"\"\n"
            "  repeat with w in windows\n"
            "  repeat with t in tabs of w\n"
            "    set r to r & (tty of t) & linefeed\n"
            "  end repeat\n"
            "end repeat\n"
            "  return r\n"
            "end tell");
  EXPECT_EQ(AppleScriptBuilder::listTTYs(iterm),
            "tell application \"iTerm2\"\n"
            "  set r to \"\"\n"
            "  repeat with w in windows\n"
            "  repeat with t in tabs of w\n"
            "    repeat with s in sessions of t\n"
            "      set r to r & (tty of s) & linefeed\n"
            "    end repeat\n"
            "  end repeat\n"
            "end repeat\n"
            "  return r\n"
            "end tell");
}

TEST(AppleScript, readsATab) {
  EXPECT_EQ(AppleScriptBuilder::readContents(tty, iterm),
            "tell application \"iTerm2\"\n"
            "  repeat with w in windows\n"
            "    repeat with t in tabs of w\n"
            "      repeat with s in sessions of t\n"
            "        if (tty of s) is \"/dev/ttys003\" then return (contents of s)\n"
            "      end repeat\n"
            "    end repeat\n"
            "  end repeat\n"
            "end tell\n"
            "return \"\"");
  EXPECT_EQ(AppleScriptBuilder::readContents(tty, terminalApp),
            "tell application \"Terminal\"\n"
            "  repeat with w in windows\n"
            "    repeat with t in tabs of w\n"
            "      if (tty of t) is \"/dev/ttys003\" then return (contents of t)\n"
            "    end repeat\n"
            "  end repeat\n"
            "end tell\n"
            "return \"\"");
}

TEST(AppleScript, escapesBackslashesThenQuotes) {
  EXPECT_EQ(AppleScriptBuilder::escaped(R"(a"b\c\")"), R"(a\"b\\c\\\")");
  EXPECT_NE(AppleScriptBuilder::readContents("x\" then \\", iterm).find(R"(is "x\" then \\" then)"),
            std::string::npos);
}

TEST(AppleScript, sendsATextWithAQuoteAndABackslashUnchanged) {
  const std::string text = R"(say "hi\there")";
  EXPECT_THAT(AppleScriptBuilder::sendText(tty, iterm, text, TextSubmission::submit),
              ElementsAre(writeInITerm(R"("say \"hi\\there\"" newline yes)")));
  EXPECT_THAT(AppleScriptBuilder::sendText(tty, iterm, text, TextSubmission::type),
              ElementsAre(writeInITerm(R"("say \"hi\\there\"" newline no)")));
  EXPECT_THAT(AppleScriptBuilder::sendText(tty, terminalApp, text, TextSubmission::submit),
              ElementsAre(runInTerminal(R"(say \"hi\\there\")")));
}

TEST(AppleScript, typesIntoTerminalByKeyStrokes) {
  EXPECT_THAT(AppleScriptBuilder::sendText(tty, terminalApp, "a\"b", TextSubmission::type),
              ElementsAre(bringToFront, R"(tell application "System Events" to keystroke "a\"b")"));
}

TEST(AppleScript, sendsControlCToTheTabInFront) {
  const Bytes controlC{3};
  EXPECT_THAT(
      AppleScriptBuilder::sendRaw(tty, terminalApp, controlC),
      ElementsAre(bringToFront, "tell application \"System Events\" to keystroke \"c\" using control down"));
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, iterm, controlC),
              ElementsAre(writeInITerm("((ASCII character 3)) newline no")));
}

TEST(AppleScript, knowsTheKeysOfControlCharacters) {
  const std::map<std::uint8_t, std::string> events{{3, "keystroke \"c\" using control down"},
                                                   {4, "keystroke \"d\" using control down"},
                                                   {9, "key code 48"},
                                                   {10, "key code 36"},
                                                   {13, "key code 36"},
                                                   {26, "keystroke \"z\" using control down"},
                                                   {27, "key code 53"}};
  for (int byte = 0; byte < 32; ++byte) {
    const Bytes bytes{static_cast<std::uint8_t>(byte)};
    const auto event = events.find(bytes.front());
    const Scripts expected =
        event == events.end()
            ? Scripts{}
            : Scripts{bringToFront, "tell application \"System Events\" to " + event->second};
    EXPECT_EQ(AppleScriptBuilder::sendRaw(tty, terminalApp, bytes), expected) << byte;
  }
}

TEST(AppleScript, dropsBytesThatTerminalCannotTakeAndITermCan) {
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, terminalApp, viewOf("ls\n")), IsEmpty());
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, terminalApp, viewOf("\r\n")), IsEmpty());
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, terminalApp, viewOf("a\x1b[A")), IsEmpty());
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, terminalApp, viewOf("\xc3")), IsEmpty());
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, iterm, viewOf("ls\n")),
              ElementsAre(writeInITerm(
                  "((ASCII character 108) & (ASCII character 115) & (ASCII character 10)) newline no")));
}

TEST(AppleScript, runsPlainTextInTerminalAsALine) {
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, terminalApp, viewOf("a")), ElementsAre(runInTerminal("a")));
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, terminalApp, viewOf("é\x7f")),
              ElementsAre(runInTerminal("é\x7f")));
}

TEST(AppleScript, hasNothingForAnUnknownTerminalOrNoBytes) {
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, TerminalKind::unknown, viewOf("a")), IsEmpty());
  EXPECT_THAT(AppleScriptBuilder::sendRaw(tty, iterm, {}), IsEmpty());
  EXPECT_THAT(AppleScriptBuilder::sendText(tty, TerminalKind::unknown, "a", TextSubmission::submit),
              IsEmpty());
}

TEST(AppleScript, decodesWhatAScriptPrints) {
  EXPECT_EQ(AppleScriptBuilder::decodeOutput(viewOf("a\nb\n\n")), "a\nb\n");
  EXPECT_EQ(AppleScriptBuilder::decodeOutput(viewOf("a\xff")), "");
  EXPECT_THAT(AppleScriptBuilder::parseTTYs("  /dev/ttys001 \nmissing value\n\n/dev/ttys002"),
              ElementsAre("/dev/ttys001", "/dev/ttys002"));
}

TEST(AppleScript, knowsADenialByItsNumberOrItsWords) {
  EXPECT_TRUE(AppleScriptBuilder::isDenial("execution error: (-1743)"));
  EXPECT_TRUE(AppleScriptBuilder::isDenial("Not ALLOWED to send Apple events"));
  EXPECT_FALSE(AppleScriptBuilder::isDenial("execution error: (-1728)"));
}

class ScriptedTerminals : public testing::Test {
 protected:
  std::vector<std::string> running{"com.apple.Terminal", "com.googlecode.iterm2"};
  std::vector<std::string> scripts;
  std::function<AppleScriptTerminals::Outcome(const std::string&)> answer = [](const std::string&) {
    return AppleScriptTerminals::Outcome{};
  };
  std::vector<std::string> reported;  // "denied", or the description
  TerminalScripting::Report report = [this](const TerminalScripting::Failure& failure) {
    reported.push_back(failure.denied ? "denied" : failure.description);
  };
  AppleScriptTerminals terminals{[this](const std::string& script) {
                                   scripts.push_back(script);
                                   return answer(script);
                                 },
                                 [this] { return running; }};
};

TEST_F(ScriptedTerminals, askOnlyApplicationsThatRun) {
  running = {"com.apple.finder"};
  EXPECT_THAT(terminals.mapTerminals(report), IsEmpty());
  EXPECT_THAT(scripts, IsEmpty());
  running = {"com.googlecode.iterm2"};
  terminals.mapTerminals(report);
  EXPECT_THAT(scripts, ElementsAre(AppleScriptBuilder::listTTYs(iterm)));
}

TEST_F(ScriptedTerminals, giveATTYOfBothToITerm) {
  answer = [](const std::string& script) {
    const bool isITerm = script == AppleScriptBuilder::listTTYs(iterm);
    return AppleScriptTerminals::Outcome{.standardOutput =
                                             bytesOf(isITerm ? "/dev/b\n" : "/dev/a\n/dev/b\n")};
  };
  EXPECT_THAT(terminals.mapTerminals(report),
              ElementsAre(Pair("/dev/a", terminalApp), Pair("/dev/b", iterm)));
}

TEST_F(ScriptedTerminals, reportOneApplicationsDenialAndKeepTheOther) {
  answer = [](const std::string& script) -> AppleScriptTerminals::Outcome {
    if (script == AppleScriptBuilder::listTTYs(terminalApp))
      return {.exitStatus = 1, .standardError = bytesOf("Not allowed")};
    return {.standardOutput = bytesOf("/dev/b\n")};
  };
  EXPECT_THAT(terminals.mapTerminals(report), ElementsAre(Pair("/dev/b", iterm)));
  EXPECT_THAT(reported, ElementsAre("denied"));
}

TEST_F(ScriptedTerminals, reportWhyAScriptFailed) {
  answer = [](const std::string&) { return AppleScriptTerminals::Outcome{.launchFailure = "no such file"}; };
  EXPECT_EQ(terminals.readContents(tty, iterm, report), std::nullopt);
  answer = [](const std::string&) {
    return AppleScriptTerminals::Outcome{.exitStatus = 1, .standardError = bytesOf(" syntax error\n")};
  };
  EXPECT_EQ(terminals.readContents(tty, iterm, report), std::nullopt);
  answer = [](const std::string&) { return AppleScriptTerminals::Outcome{.exitStatus = 1}; };
  EXPECT_EQ(terminals.readContents(tty, iterm, report), std::nullopt);
  EXPECT_THAT(reported,
              ElementsAre("osascript launch failed: no such file", "osascript error: syntax error"));
}

TEST_F(ScriptedTerminals, runEachScriptOfACallWhateverTheFirstReturned) {
  answer = [](const std::string&) { return AppleScriptTerminals::Outcome{.exitStatus = 1}; };
  terminals.sendRaw(tty, terminalApp, Bytes{27}, report);
  EXPECT_EQ(scripts.size(), 2U);
  EXPECT_EQ(terminals.readContents(tty, TerminalKind::unknown, report), std::nullopt);
  EXPECT_EQ(scripts.size(), 2U);
}

}  // namespace
}  // namespace quorl
