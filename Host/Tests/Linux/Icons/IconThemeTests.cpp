// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <QuorlHostLinux/Icons/IconTheme.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

class IconThemeTest : public ::testing::Test {
 protected:
  void put(const std::string& path, const std::string& text = "") const {
    fs::create_directories((folder / path).parent_path());
    std::ofstream(folder / path) << text;
  }
  void addTheme(const std::string& name, const std::string& lines) const {
    put("icons/" + name + "/index.theme", "[Icon Theme]\nName=" + name + "\n" + lines);
  }
  std::string find(const std::string& name, int side = 48) const {
    const IconTheme theme({folder.file("icons"), folder.file("more")}, {folder.file("pixmaps")});
    const auto path = theme.find(name, side);
    return path ? fs::path(*path).lexically_relative(folder.path()).string() : "";
  }

  TemporaryFolder folder;
};

constexpr const char* threeSizes =
    "Directories=16,48,256\n[16]\nSize=16\nType=Fixed\n[48]\nSize=48\n[256]\nSize=256\nType=Fixed\n";

TEST_F(IconThemeTest, findsTheSizeThatNeedNotBeEnlarged) {
  addTheme("hicolor", threeSizes);
  for (const char* size : {"16", "48", "256"}) put("icons/hicolor/" + std::string(size) + "/paint.png");
  EXPECT_EQ(find("paint", 48), "icons/hicolor/48/paint.png");
  EXPECT_EQ(find("paint", 46), "icons/hicolor/48/paint.png") << "the default threshold is 2";
  EXPECT_EQ(find("paint", 64), "icons/hicolor/256/paint.png");
  EXPECT_EQ(find("paint", 512), "icons/hicolor/256/paint.png");
  EXPECT_EQ(find("paint", 8), "icons/hicolor/16/paint.png");
}

TEST_F(IconThemeTest, looksForOneThemeInEveryFolder) {
  addTheme("hicolor", threeSizes);
  put("more/hicolor/48/paint.png");
  EXPECT_EQ(find("paint"), "more/hicolor/48/paint.png");
}

TEST_F(IconThemeTest, prefersHicolorThenItsParentsThenTheOtherThemes) {
  addTheme("hicolor", threeSizes);
  addTheme("Adwaita", std::string("Inherits=Base\n") + threeSizes);
  addTheme("Base", threeSizes);
  addTheme("AAA", threeSizes);
  for (const char* theme : {"hicolor", "Adwaita", "Base", "AAA"})
    put("icons/" + std::string(theme) + "/48/all.png");
  put("icons/Base/48/base.png");
  put("icons/AAA/48/base.png");
  put("icons/AAA/48/other.png");
  EXPECT_EQ(find("all"), "icons/hicolor/48/all.png");
  EXPECT_EQ(find("base"), "icons/Base/48/base.png");
  EXPECT_EQ(find("other"), "icons/AAA/48/other.png");
}

TEST_F(IconThemeTest, endsWhereThemesInheritEachOther) {
  addTheme("A", std::string("Inherits=B\n") + threeSizes);
  addTheme("B", std::string("Inherits=A,B\n") + threeSizes);
  EXPECT_EQ(find("none"), "");
}

TEST_F(IconThemeTest, takesAnIconOfNoThemeLast) {
  put("pixmaps/old.png");
  EXPECT_EQ(find("old"), "pixmaps/old.png");
  EXPECT_EQ(find("old.xpm"), "pixmaps/old.png") << "old desktop files name a file";
}

TEST_F(IconThemeTest, takesAnAbsolutePathOfAPngFile) {
  put("elsewhere/x.png");
  put("elsewhere/x.svg");
  EXPECT_EQ(find(folder.file("elsewhere/x.png")), "elsewhere/x.png");
  EXPECT_EQ(find(folder.file("elsewhere/x.svg")), "");
  EXPECT_EQ(find(folder.file("elsewhere")), "");
}

TEST_F(IconThemeTest, neverLeavesItsFolders) {
  addTheme("hicolor", "Directories=../..,/,48\n[../..]\nSize=48\n[/]\nSize=48\n[48]\nSize=48\n");
  put("secret.png");
  put("icons/hicolor/48/x.png");
  for (const char* name : {"secret", "../../../secret", "../secret", ".", "..", "", ".secret"})
    EXPECT_EQ(find(name), "") << name;
  EXPECT_EQ(find(std::string("x\0y", 3)), "");
  EXPECT_EQ(find(std::string(300, 'x')), "");
}

TEST(IconThemeIndex, describesTheSizesOfEachDirectory) {
  const auto index = parseIconThemeIndex(
      "# comment\n[Icon Theme]\nDirectories = a, b ,c,d,missing\nScaledDirectories=e\nInherits=X,../Y\n"
      "[a]\nSize=48\n[b]\nSize=32\nType=Fixed\n[c]\nSize=64\nType=Scalable\nMinSize=8\nMaxSize=512\n"
      "[d]\nSize=many\n[e]\nSize=24\nScale=2\nType=Fixed\n");
  EXPECT_EQ(index.directories, (std::vector<IconThemeIndex::Directory>{
                                   {"a", 46, 50}, {"b", 32, 32}, {"c", 8, 512}, {"e", 48, 48}}));
  EXPECT_EQ(index.parents, (std::vector<std::string>{"X"}));
}

TEST(IconThemeIndex, isEmptyForOtherTexts) {
  EXPECT_TRUE(parseIconThemeIndex("").directories.empty());
  EXPECT_TRUE(parseIconThemeIndex("Directories=a\n[a]\nSize=48\n").directories.empty());
  EXPECT_TRUE(
      parseIconThemeIndex(std::string("[Icon Theme]\nDirectories=a\n[a]\nSize=-4\nScale=99999999999999"))
          .directories.empty());
}

}  // namespace
}  // namespace quorl::test
