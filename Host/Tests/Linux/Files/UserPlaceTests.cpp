// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include <QuorlHostCore/Files/FileArea.h>
#include <QuorlHostLinux/Files/HomeUserFiles.h>
#include <QuorlUnix/Descriptor.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

class UserPlaceTest : public testing::Test {
 protected:
  UserPlaceTest() { fs::create_directories(folder_ / "home"); }

  std::string home(const std::string& name = {}) const {
    return name.empty() ? folder_.file("home") : folder_.file("home/" + name);
  }
  std::string contentOf(const std::string& path) {
    const auto place = files_.find(path);
    if (!place) return "not found: " + place.error().description;
    const auto file = (*place)->openForReading();
    if (!file) return "not opened: " + file.error().description;
    Bytes bytes(100);
    bytes.resize((*file)->read(0, bytes).value_or(0));
    return textOf(bytes);
  }

  TemporaryFolder folder_;
  HomeUserFiles files_{{folder_.file("home"), folder_.file("home/.config"), folder_.file("temporary")}};
};

TEST_F(UserPlaceTest, readsAFileAndItsFacts) {
  folder_.write("home/a.txt", "hello");
  const auto place = files_.find(home("a.txt"));
  ASSERT_TRUE(place);
  EXPECT_EQ((*place)->canonicalPath(), home("a.txt"));
  EXPECT_EQ((*place)->kind(), UserPlace::Kind::file);
  EXPECT_EQ((*place)->facts().byteCount, 5U);
  EXPECT_GT((*place)->facts().modified.secondsSince1970, 1e9);
  EXPECT_TRUE((*place)->isReadable());
  EXPECT_EQ(contentOf(home("a.txt")), "hello");
}

TEST_F(UserPlaceTest, namesThePlaceThatALinkLeadsTo) {
  folder_.write("home/real/a.txt", "hello");
  fs::create_symlink("real", home("link"));
  const auto place = files_.find(home("link/../link/a.txt"));
  ASSERT_TRUE(place);
  EXPECT_EQ((*place)->canonicalPath(), home("real/a.txt"));
}

TEST_F(UserPlaceTest, aPipeIsFoundAtOnceAndNeverOpened) {
  ASSERT_EQ(::mkfifo(home("pipe").c_str(), 0600), 0);
  const auto place = files_.find(home("pipe"));
  ASSERT_TRUE(place);
  EXPECT_EQ((*place)->kind(), UserPlace::Kind::other);
  EXPECT_FALSE((*place)->openForReading());
}

TEST_F(UserPlaceTest, devicesAndSocketsAreNotOpened) {
  const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  home("socket").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(contentOf(home("socket")), "not opened: Not a regular file");
  EXPECT_EQ(contentOf("/dev/null"), "not opened: Not a regular file");
  EXPECT_EQ(contentOf("/dev/tty0").find("hello"), std::string::npos);
}

TEST_F(UserPlaceTest, aLinkThatIsChangedAfterTheCheckLeadsToTheCheckedFile) {
  folder_.write("home/inside", "inside");
  folder_.write("outside", "secret");
  fs::create_symlink("inside", home("link"));
  const auto place = files_.find(home("link"));
  ASSERT_TRUE(place);
  fs::remove(home("link"));
  fs::create_symlink(folder_.file("outside"), home("link"));
  const auto file = (*place)->openForReading();
  ASSERT_TRUE(file);
  Bytes bytes(6);
  ASSERT_EQ((*file)->read(0, bytes), 6U);
  EXPECT_EQ(textOf(bytes), "inside");
}

TEST_F(UserPlaceTest, aDanglingLinkIsNotFoundAndItsTargetDecides) {
  fs::create_symlink("/etc/missing/thing", home("out"));
  fs::create_symlink("nothing", home("in"));
  fs::create_symlink("loop", home("loop"));
  EXPECT_FALSE(files_.find(home("out")));
  EXPECT_EQ(files_.canonicalPath(home("out")), "/etc/missing/thing");
  EXPECT_EQ(files_.canonicalPath(home("in")), home("nothing"));
  EXPECT_FALSE(files_.find(home("loop")));
  EXPECT_EQ(files_.canonicalPath(home("loop")), home("loop"));
}

TEST_F(UserPlaceTest, canonicalPathsKeepPartsThatDoNotExist) {
  fs::create_symlink("/etc", home("etc"));
  EXPECT_EQ(files_.canonicalPath(home("a/b/c")), home("a/b/c"));
  EXPECT_EQ(files_.canonicalPath(home("a/./b/../c/")), home("a/c"));
  EXPECT_EQ(files_.canonicalPath(home("etc/missing/x")), "/etc/missing/x");
  EXPECT_EQ(files_.canonicalPath(home("missing/../../../../../../../..")), "/");
  EXPECT_EQ(files_.canonicalPath("/"), "/");
}

TEST_F(UserPlaceTest, aPathWithANULOrTooLongLeadsNowhere) {
  folder_.write("home/a", "hello");
  EXPECT_FALSE(files_.find(home("a") + std::string("\0x", 2)));
  EXPECT_EQ(files_.canonicalPath(home("a") + std::string("\0x", 2)), "");
  EXPECT_FALSE(files_.find(home(std::string(5'000, 'x'))));
  EXPECT_EQ(files_.canonicalPath("/" + std::string(5'000, '/')), "");
}

TEST_F(UserPlaceTest, aRemovedFileHasNoPlace) {
  folder_.write("home/a", "hello");
  const auto place = files_.find(home("a"));
  ASSERT_TRUE(place);
  fs::remove(home("a"));
  EXPECT_FALSE(files_.find(home("a")));
  EXPECT_EQ((*place)->canonicalPath(), home("a"));
}

TEST_F(UserPlaceTest, listsHiddenEntriesLinksAndNamesThatAreNotUTF8) {
  folder_.write("home/.hidden", "");
  folder_.write("home/\xFF", "");
  fs::create_symlink("/etc", home("link"));
  fs::create_directory(home("folder"));
  const auto place = files_.find(home());
  ASSERT_TRUE(place);
  const auto entries = (*place)->entries(2'000);
  ASSERT_TRUE(entries);
  std::set<std::string> names;
  for (const auto& entry : *entries) {
    names.insert(entry.name);
    EXPECT_EQ(entry.isDirectory, entry.name == "folder");
    EXPECT_EQ(entry.isLink, entry.name == "link");
  }
  EXPECT_EQ(names, (std::set<std::string>{".hidden", "\xFF", "link", "folder"}));
}

TEST_F(UserPlaceTest, readsNoMoreEntriesThanAsked) {
  for (int number = 0; number < 50; ++number) folder_.write("home/" + std::to_string(number), "");
  EXPECT_EQ((*files_.find(home()))->entries(20)->size(), 20U);
}

TEST_F(UserPlaceTest, aFileIsNoFolder) {
  folder_.write("home/a", "");
  const auto entries = (*files_.find(home("a")))->entries(10);
  ASSERT_FALSE(entries);
  EXPECT_EQ(entries.error().description, "Not a directory");
}

TEST_F(UserPlaceTest, theAreaDeniesLinksThatLeadOut) {
  folder_.write("outside/secret", "secret");
  folder_.write("home/a", "hello");
  fs::create_symlink(folder_.file("outside"), home("out"));
  const FileArea area(std::make_shared<HomeUserFiles>(
      HomeUserFiles::Places{home(), home(".config"), folder_.file("temporary")}));
  EXPECT_TRUE(area.find(home("a")));
  for (const std::string& path :
       {home("out/secret"), home("out"), home("out/missing"), home("../outside/secret"),
        std::string("/proc/self/root") + folder_.file("outside/secret")}) {
    const auto found = area.find(path);
    ASSERT_FALSE(found) << path;
    EXPECT_EQ(found.error().why, FileArea::Refusal::denied) << path;
  }
}

TEST(DownloadFolder, isReadFromTheUsersConfiguration) {
  const std::string home = "/home/anna";
  EXPECT_EQ(downloadFolderIn("XDG_DOWNLOAD_DIR=\"$HOME/Geladenes\"\n", home), "/home/anna/Geladenes");
  EXPECT_EQ(downloadFolderIn("# XDG_DOWNLOAD_DIR=\"/x\"\n  XDG_DOWNLOAD_DIR=\"/data/in\"", home), "/data/in");
  EXPECT_EQ(downloadFolderIn("XDG_DOWNLOAD_DIR=\"$HOME/a \\\"b\\\"/\"", home), "/home/anna/a \"b\"");
  EXPECT_EQ(downloadFolderIn("XDG_DOWNLOAD_DIR=\"/a\"\nXDG_DOWNLOAD_DIR=\"/b\"\n", home), "/b");
}

TEST(DownloadFolder, isMissingWhereNoneIsConfigured) {
  const std::string home = "/home/anna";
  EXPECT_EQ(downloadFolderIn("", home), std::nullopt);
  EXPECT_EQ(downloadFolderIn("XDG_DESKTOP_DIR=\"$HOME/Desktop\"\n", home), std::nullopt);
  EXPECT_EQ(downloadFolderIn("XDG_DOWNLOAD_DIR=\"$HOME/\"\n", home), std::nullopt);
  EXPECT_EQ(downloadFolderIn("XDG_DOWNLOAD_DIR=\"$HOME\"\n", home), std::nullopt);
  EXPECT_EQ(downloadFolderIn("XDG_DOWNLOAD_DIR=\"relative\"\n", home), std::nullopt);
  EXPECT_EQ(downloadFolderIn("XDG_DOWNLOAD_DIR=\"/open\n", home), std::nullopt);
}

TEST_F(UserPlaceTest, theConfiguredDownloadsFolderIsRead) {
  EXPECT_EQ(files_.downloadsDirectory(), std::nullopt);
  folder_.write("home/.config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/In\"\n");
  EXPECT_EQ(files_.downloadsDirectory(), home("In"));
}

TEST_F(UserPlaceTest, knowsTheHomeFoldersOfUsers) {
  EXPECT_EQ(files_.homeDirectoryOf("root"), "/root");
  EXPECT_EQ(files_.homeDirectoryOf("no such user"), std::nullopt);
}

}  // namespace
}  // namespace quorl::test
