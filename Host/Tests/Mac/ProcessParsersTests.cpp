// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Agents/ProcessParsers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(ProcessParsers, readsRowsOfThreeFields) {
  const std::string output =
      "    1 ??       /sbin/launchd\n"
      "  501 ttys004  -zsh\n"
      "  777 ttys005  node  /opt/x   --flag \n"
      "  778 ttys005\n"
      "  abc ttys005  x\n"
      "\n"
      "  9999999999 ttys005  x\n"
      "  900 ttys006  last";
  using Row = ProcessParsers::PSRow;
  EXPECT_THAT(ProcessParsers::parseProcesses(viewOf(output)),
              ElementsAre(Row{1, "??", "/sbin/launchd"}, Row{501, "ttys004", "-zsh"},
                          Row{777, "ttys005", "node  /opt/x   --flag "}, Row{900, "ttys006", "last"}));
}

TEST(ProcessParsers, readsExecutables) {
  EXPECT_THAT(
      ProcessParsers::parseExecutables(viewOf("  1 /sbin/launchd\n 22  /Applications/A b.app/c\nx y\n 5\n")),
      ElementsAre(Pair(1, "/sbin/launchd"), Pair(22, "/Applications/A b.app/c")));
}

TEST(ProcessParsers, readsWorkingDirectories) {
  EXPECT_THAT(ProcessParsers::parseWorkingDirectories(
                  viewOf("n/nobody\np12\nfcwd\nn/home/ada\np13\nfcwd\nn/tmp/a b\npx\nn/lost\n")),
              ElementsAre(Pair(12, "/home/ada"), Pair(13, "/tmp/a b")));
}

TEST(ProcessParsers, takesNothingFromOutputThatIsNotText) {
  EXPECT_THAT(ProcessParsers::parseProcesses(viewOf("1 ?? a\xff\n")), IsEmpty());
  EXPECT_THAT(ProcessParsers::parseExecutables(viewOf("1 a\xff\n")), IsEmpty());
  EXPECT_THAT(ProcessParsers::parseWorkingDirectories(viewOf("p1\nn\xff\n")), IsEmpty());
}

}  // namespace
}  // namespace quorl
