// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Log/Log.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

// The output of `write` on standard error.
template <class Write>
std::string standardErrorOf(Write write) {
  testing::internal::CaptureStderr();
  write();
  return testing::internal::GetCapturedStderr();
}

TEST(Log, leavesNoTraceOfAVerboseLineUnlessVerbose) {
  LogRecorder log;
  EXPECT_EQ(standardErrorOf([] { Log::server.v("quiet"); }), "");
  EXPECT_TRUE(log.lines().empty());
  Log::verbose = true;
  EXPECT_EQ(standardErrorOf([] { Log::server.v("loud"); }), "[quorl] loud\n");
  Log::verbose = false;
  EXPECT_TRUE(log.has(LogLevel::debug, "server", "loud"));
}

TEST(Log, writesAnEventToStandardErrorEvenWithoutASystemLog) {
  Log::setSink(nullptr);
  EXPECT_EQ(standardErrorOf([] { Log::auth.event("somebody came"); }), "[quorl] somebody came\n");
}

TEST(Log, writesAnEventAtInfoLevel) {
  LogRecorder log;
  standardErrorOf([] { Log::auth.event("somebody came"); });
  EXPECT_TRUE(log.has(LogLevel::info, "auth", "somebody came"));
}

TEST(Log, writesOrdinaryLinesToTheSystemLogOnly) {
  LogRecorder log;
  EXPECT_EQ(standardErrorOf([] {
              Log::app.info("a");
              Log::file.debug("b");
              Log::relay.error("c");
            }),
            "");
  EXPECT_TRUE(log.has(LogLevel::info, "app", "a"));
  EXPECT_TRUE(log.has(LogLevel::debug, "file", "b"));
  EXPECT_TRUE(log.has(LogLevel::error, "relay", "c"));
}

TEST(Log, namesEachCategoryAfterItsLogger) {
  const std::vector<std::pair<Logger, std::string_view>> loggers{
      {Log::server, "server"}, {Log::auth, "auth"},           {Log::stream, "stream"}, {Log::input, "input"},
      {Log::agent, "agent"},   {Log::relay, "relay"},         {Log::audio, "audio"},   {Log::file, "file"},
      {Log::app, "app"},       {Log::clipboard, "clipboard"},
  };
  for (const auto& [logger, category] : loggers) EXPECT_EQ(logger.category(), category);
}

TEST(Log, escapesWhatCouldForgeALineOrDriveATerminal) {
  EXPECT_EQ(Log::escaped("a\n[quorl] forged"), "a\\n[quorl] forged");
  EXPECT_EQ(Log::escaped("\x1b[31mred\x07\t\r\x7f"), "\\x1B[31mred\\x07\\t\\r\\x7F");
  EXPECT_EQ(Log::escaped(std::string_view("nul\0end", 7)), "nul\\x00end");
  EXPECT_EQ(Log::escaped("\xC2\x9B"
                         "1m"),
            "\\xC2\\x9B1m")
      << "C1 control sequence introducer";
  EXPECT_EQ(Log::escaped("\xE2\x80\xA8"), "\\xE2\\x80\\xA8") << "line separator";
  EXPECT_EQ(Log::escaped("bad \xFF\xC3"), "bad \\xFF\\xC3");
  EXPECT_EQ(Log::escaped("Größe → 大きさ"), "Größe → 大きさ");
}

TEST(Log, escapesInEveryKindOfLine) {
  LogRecorder log;
  EXPECT_EQ(standardErrorOf([] { Log::auth.event("a\nb"); }), "[quorl] a\\nb\n");
  Log::auth.error("c\nd");
  EXPECT_TRUE(log.has(LogLevel::error, "auth", "c\\nd"));
}

}  // namespace
}  // namespace quorl::test
