// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Users/PasswdDirectory.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <Linux/System/PrivateBus.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PasswdDirectoryTest : public testing::Test {
 protected:
  PasswdDirectoryTest() {
    std::filesystem::create_directories(home());
    std::filesystem::create_directories(folder.path() / "icons");
  }

  std::filesystem::path home() const { return folder.path() / "home"; }
  PasswdDirectory::Sources sources() {
    PasswdDirectory::Sources made;
    made.loginDefs = folder.file("login.defs");
    made.accountIcons = folder.file("icons");
    made.entries = [this] { return entries; };
    made.find = [this](const std::string& name) -> std::optional<PasswdEntry> {
      const auto found = std::ranges::find(entries, name, &PasswdEntry::name);
      return found != entries.end() ? std::optional(*found) : std::nullopt;
    };
    return made;
  }
  // The contents that are offered, all of them refused.
  std::vector<std::string> offered(const std::string& user = "anna") {
    std::vector<std::string> contents;
    PasswdDirectory(sources()).offerPictures(user, [&](ByteView file) {
      contents.emplace_back(textViewOf(file));
      return false;
    });
    return contents;
  }
  void write(const std::filesystem::path& path, const std::string& content) const {
    std::ofstream(path, std::ios::binary) << content;
  }

  TemporaryFolder folder;
  std::vector<PasswdEntry> entries{{"anna", 1000, "Anna A.", home().string(), "/bin/sh"},
                                   {"root", 0, "root", "/root", "/bin/bash"}};
};

TEST_F(PasswdDirectoryTest, listsTheAccountsOfTheSystemsRange) {
  EXPECT_EQ(PasswdDirectory(sources()).firstLoginUID(), 1000U);
  EXPECT_THAT(PasswdDirectory(sources()).entries(), ElementsAre(UserEntry{1000, "anna", "Anna A."}));
  write(folder.path() / "login.defs", "UID_MIN 2000\n");
  EXPECT_EQ(PasswdDirectory(sources()).firstLoginUID(), 2000U);
  EXPECT_THAT(PasswdDirectory(sources()).entries(), IsEmpty());
}

TEST_F(PasswdDirectoryTest, offersThePicturesOfAnAccountInOrder) {
  write(home() / ".face", "first");
  write(home() / ".face.icon", "second");
  write(folder.path() / "icons" / "anna", "third");
  EXPECT_THAT(offered(), ElementsAre("first", "second", "third"));
  int calls = 0;
  PasswdDirectory(sources()).offerPictures("anna", [&](ByteView) { return ++calls == 2; });
  EXPECT_EQ(calls, 2);
}

TEST_F(PasswdDirectoryTest, offersOnlyRegularFilesOfABoundedSize) {
  ASSERT_EQ(::mkfifo((home() / ".face").c_str(), 0600), 0);
  std::filesystem::create_symlink("/dev/zero", home() / ".face.icon");
  std::filesystem::create_directory(folder.path() / "icons" / "anna");
  EXPECT_THAT(offered(), IsEmpty());
  std::filesystem::remove(home() / ".face");
  write(home() / ".face", "x");
  std::filesystem::resize_file(home() / ".face", PasswdDirectory::pictureMaximum + 1);
  EXPECT_THAT(offered(), IsEmpty());
  std::filesystem::resize_file(home() / ".face", 0);
  EXPECT_THAT(offered(), IsEmpty());
  std::filesystem::remove(home() / ".face.icon");
  std::filesystem::create_symlink(home() / ".face.icon", home() / ".face.icon");
  EXPECT_THAT(offered(), IsEmpty());
}

TEST_F(PasswdDirectoryTest, followsALinkToAPicture) {
  write(home() / "me.png", "picture");
  std::filesystem::create_symlink("me.png", home() / ".face");
  EXPECT_THAT(offered(), ElementsAre("picture"));
}

TEST_F(PasswdDirectoryTest, staysInTheFolderOfTheAccountIcons) {
  write(folder.path() / "secret", "secret");
  EXPECT_THAT(offered("../secret"), IsEmpty());
  EXPECT_THAT(offered("nobody"), IsEmpty());
}

TEST_F(PasswdDirectoryTest, asksTheAccountsServiceForAnIcon) {
  PrivateBus bus;
  ServiceMock accounts("org.freedesktop.Accounts", "/org/freedesktop/Accounts", "org.freedesktop.Accounts");
  ASSERT_TRUE(accounts.isRunning());
  write(folder.path() / "icon", "by the service");
  accounts.addMethod("FindUserByName", "s", "o", "ret = dbus.ObjectPath('/user/1000')");
  accounts.addMethod("Prepare", "s", "",
                     "self.AddObject('/user/1000', 'org.freedesktop.Accounts.User', "
                     "{'IconFile': dbus.String(args[0])}, [])");
  ASSERT_THAT(outputOf({"busctl", "--system", "call", "org.freedesktop.Accounts", "/org/freedesktop/Accounts",
                        "org.freedesktop.Accounts", "Prepare", "s", folder.file("icon")}),
              testing::Not(testing::HasSubstr("rror")));
  EXPECT_THAT(offered(), ElementsAre("by the service"));
}

TEST(PasswdDirectory, readsTheDatabaseOfThisSystem) {
  const auto sources = PasswdDirectory::Sources::ofThisSystem();
  const auto root = sources.find("root");
  ASSERT_TRUE(root);
  EXPECT_EQ(root->uid, 0U);
  const auto all = sources.entries();
  EXPECT_NE(std::ranges::find(all, "root", &PasswdEntry::name), all.end());
  EXPECT_FALSE(sources.find("no-such-user-here"));
}

}  // namespace
}  // namespace quorl::test
