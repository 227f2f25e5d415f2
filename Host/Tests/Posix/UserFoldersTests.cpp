// SPDX-License-Identifier: GPL-3.0-or-later
#include <map>

#include <gtest/gtest.h>

#include <QuorlHostPosix/UserFolders.h>

namespace quorl::test {
namespace {

UserFolders foldersWith(std::map<std::string, std::string> variables,
                        const std::string& passwordFileHome = "/home/pw") {
  const Environment environment = [&](const char* name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    if (found == variables.end()) return std::nullopt;
    return found->second;
  };
  return userFolders(environment, passwordFileHome);
}

TEST(UserFolders, takeHomeFromTheEnvironmentBeforeThePasswordFile) {
  EXPECT_EQ(foldersWith({{"HOME", "/h"}}), (UserFolders{"/h", "/h/.local/share", "/h/.config"}));
  EXPECT_EQ(foldersWith({}), (UserFolders{"/home/pw", "/home/pw/.local/share", "/home/pw/.config"}));
  EXPECT_EQ(foldersWith({{"HOME", ""}}).home, "/home/pw");
  EXPECT_EQ(foldersWith({{"HOME", "relative"}}).home, "/home/pw");
}

TEST(UserFolders, followTheDesktopsVariablesIfTheyAreAbsolute) {
  const auto folders = foldersWith({{"HOME", "/h"}, {"XDG_DATA_HOME", "/data"}, {"XDG_CONFIG_HOME", "here"}});
  EXPECT_EQ(folders, (UserFolders{"/h", "/data", "/h/.config"}));
}

TEST(UserFolders, areTheRootWithoutAnyHome) {
  EXPECT_EQ(foldersWith({}, ""), (UserFolders{"/", "/.local/share", "/.config"}));
  EXPECT_EQ(foldersWith({{"HOME", "/h//"}}).data, "/h/.local/share");
}

}  // namespace
}  // namespace quorl::test
