// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>
#include <quorl-client/Commands/IconFolder.h>

#include "../Support/SampleState.h"

namespace quorl::client {
namespace {

using quorl::test::TemporaryFolder;
using test::samplePNG;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(IconFileName, keepsAnOrdinaryIdentifier) {
  EXPECT_EQ(iconFileName("org.gnome.Calculator"), "org.gnome.Calculator");
  EXPECT_EQ(iconFileName("x11.XTerm_2-a"), "x11.XTerm_2-a");
}

TEST(IconFileName, neverLeavesTheFolder) {
  EXPECT_EQ(iconFileName("../../etc/passwd"), "_.._.._etc_passwd");
  EXPECT_EQ(iconFileName("/etc/passwd"), "_etc_passwd");
  EXPECT_EQ(iconFileName(".."), "_..");
  EXPECT_EQ(iconFileName("."), "_.");
  EXPECT_EQ(iconFileName(""), "_");
}

TEST(IconFileName, isNeitherHiddenNorAnOption) {
  EXPECT_EQ(iconFileName(".hidden"), "_.hidden");
  EXPECT_EQ(iconFileName("-rf"), "_-rf");
}

TEST(IconFileName, hasNoControlCharactersAndNoOtherAlphabets) {
  EXPECT_EQ(iconFileName(std::string("a\0b\n\x1b[", 6)), "a_b___");
  EXPECT_EQ(iconFileName("é"), "__");
  EXPECT_EQ(iconFileName("a b:c\\d*?"), "a_b_c_d__");
}

TEST(IconFileName, isCut) {
  EXPECT_EQ(iconFileName(std::string(100'000, 'a')).size(), 100U);
}

class IconFolderTest : public testing::Test {
 protected:
  static RunningAppInfo app(std::string bundleID, std::optional<Bytes> icon) {
    return {std::move(bundleID), "Name", 1, 1, std::move(icon)};
  }
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / "icons"))
      names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
  }
  std::string content(const std::string& name) const {
    std::stringstream text;
    text << std::ifstream(folder_ / "icons" / name, std::ios::binary).rdbuf();
    return text.str();
  }
  IconFolder open() {
    auto opened = IconFolder::open(folder_ / "icons");
    EXPECT_TRUE(opened.has_value());
    return std::move(*opened);
  }

  TemporaryFolder folder_;
  HostState state_;
};

TEST_F(IconFolderTest, savesEachIconAsItIs) {
  auto folder = open();
  state_.apps = {app("org.a", samplePNG(1)), app("org.b", samplePNG(2)), app("org.c", std::nullopt)};
  ASSERT_TRUE(folder.save(state_));
  EXPECT_THAT(files(), ElementsAre("org.a.png", "org.b.png"));
  EXPECT_EQ(content("org.b.png"), textOf(samplePNG(2)));
  EXPECT_EQ(folder.savedIcons(), 2U);
}

TEST_F(IconFolderTest, skipsWhatIsNoPNGFile) {
  auto folder = open();
  state_.apps = {app("a", bytesOf("#!/bin/sh\n")), app("b", Bytes()), app("c", bytesOf("\x89PNG"))};
  ASSERT_TRUE(folder.save(state_));
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(IconFolderTest, numbersNamesThatWouldBeTheSame) {
  auto folder = open();
  state_.apps = {app("a/b", samplePNG(1)), app("a:b", samplePNG(2)), app("A_B", samplePNG(3)),
                 app("C", samplePNG(4)), app("c", samplePNG(5))};
  ASSERT_TRUE(folder.save(state_));
  EXPECT_THAT(files(), ElementsAre("A_B-3.png", "C.png", "a_b-2.png", "a_b.png", "c-2.png"));
}

TEST_F(IconFolderTest, savesAnIconOnceAndAddsLaterOnes) {
  auto folder = open();
  state_.apps = {app("a", samplePNG(1)), app("b", std::nullopt)};
  ASSERT_TRUE(folder.save(state_));
  std::filesystem::remove(folder_ / "icons/a.png");
  state_.apps[1].iconPNG = samplePNG(2);
  ASSERT_TRUE(folder.save(state_));
  EXPECT_THAT(files(), ElementsAre("b.png"));
}

TEST_F(IconFolderTest, replacesALinkInsteadOfFollowingIt) {
  auto folder = open();
  const auto outside = folder_.write("outside", "precious");
  std::filesystem::create_symlink(outside, folder_ / "icons/a.png");
  state_.apps = {app("a", samplePNG(1))};
  ASSERT_TRUE(folder.save(state_));
  EXPECT_FALSE(std::filesystem::is_symlink(folder_ / "icons/a.png"));
  std::stringstream text;
  text << std::ifstream(outside).rdbuf();
  EXPECT_EQ(text.str(), "precious");
}

TEST_F(IconFolderTest, reportsAFolderThatCannotBeMade) {
  const auto file = folder_.write("file", "");
  EXPECT_FALSE(IconFolder::open(file).has_value());
  EXPECT_FALSE(IconFolder::open(std::filesystem::path(file) / "below").has_value());
}

}  // namespace
}  // namespace quorl::client
