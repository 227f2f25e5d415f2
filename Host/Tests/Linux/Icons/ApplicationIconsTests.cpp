// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <QuorlHostLinux/Icons/ApplicationIcons.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

class ApplicationIconsTest : public ::testing::Test {
 protected:
  ApplicationIconsTest() {
    fs::create_directories(folder / "applications");
    fs::create_directories(folder / "pixmaps");
  }
  void install(const std::string& id, const std::string& icon) const {
    std::ofstream(folder / "applications" / (id + ".desktop"))
        << "[Desktop Entry]\nType=Application\nName=x\nExec=x\nIcon=" << icon << "\n";
  }
  void write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(folder / "pixmaps" / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  std::optional<IconImage> find(const std::string& id) const {
    const std::vector<std::string> data{folder.path().string()};
    return ApplicationIcons(data, IconTheme({}, {folder.file("pixmaps")})).find(id, 48);
  }

  IconImage image{{2, 1}, {0xFF112233, 0xFF445566}};
  TemporaryFolder folder;
};

TEST_F(ApplicationIconsTest, areFoundByTheDesktopFile) {
  install("org.example.Paint", "paint");
  write("paint.png", *encodePNG(image));
  EXPECT_EQ(find("org.example.Paint"), image);
}

TEST_F(ApplicationIconsTest, areAbsentForUnknownApplicationsAndMissingOrBrokenFiles) {
  install("missing", "nowhere");
  install("broken", "broken");
  write("broken.png", Bytes(100, 7));
  install("none", "");
  install("text", folder.file("applications/text.desktop"));
  for (const char* id : {"missing", "broken", "none", "text", "unknown", "../x", ""})
    EXPECT_FALSE(find(id)) << id;
}

TEST_F(ApplicationIconsTest, areNeverReadFromAPipeOrAHugeFile) {
  install("pipe", "pipe");
  ASSERT_EQ(::mkfifo(folder.file("pixmaps/pipe.png").c_str(), 0600), 0);
  EXPECT_FALSE(find("pipe"));
  install("huge", "huge");
  Bytes huge = *encodePNG(image);
  huge.resize(4'194'305);
  write("huge.png", huge);
  EXPECT_FALSE(find("huge"));
  huge.pop_back();
  write("huge.png", huge);
  EXPECT_TRUE(find("huge")) << "the limit is 4 MiB";
}

}  // namespace
}  // namespace quorl::test
