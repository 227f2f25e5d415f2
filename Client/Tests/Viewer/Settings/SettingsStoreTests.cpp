// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

#include <quorl-viewer/Settings/SettingsStore.h>

namespace quorl::viewer {
namespace {

class SettingsStoreTest : public ::testing::Test {
 protected:
  void write(const std::string& text) const {
    std::filesystem::create_directories(store.path(host).parent_path());
    std::ofstream(store.path(host)) << text;
  }
  static std::string read(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static unsigned modeOf(const std::filesystem::path& path) {
    struct stat status{};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0U;
  }

  test::TemporaryFolder folder;
  SettingsStore store{folder.path() / "quorl"};
  UUID host = UUID::random();
};

TEST_F(SettingsStoreTest, hasDefaultsWithoutAFile) {
  EXPECT_EQ(store.load(host), HostSettings{});
}

TEST_F(SettingsStoreTest, keepsEveryFieldInAFileForItsOwnerOnly) {
  HostSettings settings;
  settings.target = "window/a%20b";
  settings.monitor = "DP-1";
  settings.isFullScreen = true;
  settings.isMuted = true;
  settings.scale = ScaleChoice::fixed;
  settings.scaleFactor = 1.5;
  settings.keyboard = KeyboardChoice::text;
  settings.grab = GrabChoice::whenFocused;
  settings.pointer = PointerChoice::atHost;
  settings.sendsClipboard = false;
  settings.takesClipboard = false;
  settings.sendsPrimary = true;
  settings.window = PointRect{{-10, 20}, {800, 600}};
  ASSERT_TRUE(store.save(host, settings));
  EXPECT_EQ(store.load(host), settings);
  EXPECT_EQ(modeOf(store.path(host)), 0600U);
  EXPECT_EQ(modeOf(store.path(host).parent_path()), 0700U);
  EXPECT_EQ(store.load(UUID::random()), HostSettings{});
}

TEST_F(SettingsStoreTest, keepsADamagedFileAside) {
  write(R"({"isMuted": tr)");
  EXPECT_EQ(store.load(host), HostSettings{});
  EXPECT_FALSE(std::filesystem::exists(store.path(host)));
  EXPECT_EQ(read(store.path(host).string() + ".damaged"), R"({"isMuted": tr)");
}

TEST_F(SettingsStoreTest, takesNoFileThatIsTooLargeAndWaitsForNoFIFO) {
  write("{\"x\":\"" + std::string(70'000, 'a') + "\"}");
  EXPECT_EQ(store.load(host), HostSettings{});
  std::filesystem::remove(store.path(host));
  ASSERT_EQ(::mkfifo(store.path(host).c_str(), 0600), 0);
  EXPECT_EQ(store.load(host), HostSettings{});
}

TEST_F(SettingsStoreTest, keepsKeysOfANewerVersion) {
  write(R"({"isMuted":true,"colour":{"a":[1,"]}"]},"later": null, "name":"\u00e9"})");
  auto settings = store.load(host);
  EXPECT_TRUE(settings.isMuted);
  settings.isFullScreen = true;
  ASSERT_TRUE(store.save(host, settings));
  ASSERT_TRUE(store.save(host, settings));
  EXPECT_EQ(store.load(host), settings);
  const auto text = read(store.path(host));
  EXPECT_NE(text.find(R"("colour": {"a":[1,"]}"]})"), std::string::npos) << text;
  EXPECT_NE(text.find(R"("later": null)"), std::string::npos) << text;
  EXPECT_EQ(text.find("isMuted"), text.rfind("isMuted")) << text;
}

TEST_F(SettingsStoreTest, replacesValuesThatCannotBe) {
  write(R"({"scaleFactor":1e9,"target":"file/etc","window":[[0,0],[0,5]],"isMuted":true})");
  HostSettings expected;
  expected.isMuted = true;
  EXPECT_EQ(store.load(host), expected);
}

TEST_F(SettingsStoreTest, reportsAFolderThatCannotBeMade) {
  std::ofstream(folder.path() / "file") << "x";
  const SettingsStore blocked(folder.path() / "file");
  const auto saved = blocked.save(host, {});
  ASSERT_FALSE(saved);
  EXPECT_NE(saved.error().what.find("cannot be written"), std::string::npos);
}

}  // namespace
}  // namespace quorl::viewer
