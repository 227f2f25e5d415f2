// SPDX-License-Identifier: GPL-3.0-or-later
#include <filesystem>
#include <fstream>

#include <QuorlHostLinux/X11/Windows/X11RunningApplications.h>

#include "TestWindows.h"

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t red = 0xFFFF0000;
constexpr std::uint32_t blue = 0xFF0000FF;

// Without a window manager: openbox gives an icon of its own to windows that have none.
class RunningApplicationsTest : public UnmanagedWindowFixture {
 protected:
  RunningApplicationsTest() {
    fs::create_directories(data / "applications");
    fs::create_directories(data / "pixmaps");
  }
  static std::vector<std::uint32_t> square(std::uint32_t side, std::uint32_t color) {
    std::vector<std::uint32_t> icon{side, side};
    icon.resize(2 + std::size_t{side} * side, color);
    return icon;
  }
  void installIcon(const std::string& id, std::uint32_t color) {
    std::ofstream(data / "applications" / (id + ".desktop"))
        << "[Desktop Entry]\nType=Application\nName=x\nExec=x\nIcon=" << id << "\n";
    const auto bytes = encodePNG({{64, 64}, std::vector<std::uint32_t>(std::size_t{64} * 64, color)});
    std::ofstream(data / "pixmaps" / (id + ".png"), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes->data()), static_cast<std::streamsize>(bytes->size()));
  }
  std::optional<IconImage> icon(const std::string& id, int side = 48) {
    const auto png = applications.iconPNG(id, ownPid(), side);
    return png ? decodePNG(*png) : std::nullopt;
  }

  TemporaryFolder data;
  X11RunningApplications applications{
      session, ApplicationIcons({data.path().string()}, IconTheme({}, {data.file("pixmaps")}))};
};

TEST_F(RunningApplicationsTest, areTheProcessesThatATaskBarShows) {
  const auto window = makeWindow({50, 60, 200, 150}, "regular");
  const auto terminal = server.start({"xterm", "-T", "terminal", "-e", "cat"});
  ASSERT_TRUE(waitFor("terminal"));
  EXPECT_EQ(applications.regularApplications(), (std::set<std::int32_t>{ownPid(), terminal.pid()}));
  setAtoms(client, window, "_NET_WM_STATE", {"_NET_WM_STATE_SKIP_TASKBAR"});
  EXPECT_TRUE(eventuallyHolds(
      [&] { return applications.regularApplications() == std::set<std::int32_t>{terminal.pid()}; }));
}

TEST_F(RunningApplicationsTest, haveTheIconOfTheirWindow) {
  const auto window = makeWindow({50, 60, 200, 150}, "icon");
  auto icons = square(16, red);
  const auto large = square(128, blue);
  icons.insert(icons.end(), large.begin(), large.end());
  setNumbers(client, window, "_NET_WM_ICON", icons);
  const auto found = icon("none");
  ASSERT_TRUE(found);
  EXPECT_EQ(*found, (IconImage{{48, 48}, std::vector<std::uint32_t>(std::size_t{48} * 48, blue)}));
  EXPECT_EQ(icon("none", 16)->pixels.front(), red);
}

TEST_F(RunningApplicationsTest, haveTheIconOfTheThemeBeforeThatOfTheWindow) {
  const auto window = makeWindow({50, 60, 200, 150}, "icon");
  installIcon("paint", blue);
  EXPECT_FALSE(icon("unknown"));
  ASSERT_TRUE(icon("paint"));
  EXPECT_EQ(icon("paint")->pixels.front(), blue);
  setNumbers(client, window, "_NET_WM_ICON", square(16, red));
  EXPECT_EQ(icon("paint")->pixels.front(), blue);
  ASSERT_TRUE(icon("unknown"));
  EXPECT_EQ(icon("unknown")->size, (PixelSize{48, 48}));
  EXPECT_EQ(icon("unknown")->pixels.front(), red);
}

TEST_F(RunningApplicationsTest, haveNoIconFromAnAbsurdOrTruncatedProperty) {
  const auto window = makeWindow({50, 60, 200, 150}, "icon");
  for (const auto& bad : std::vector<std::vector<std::uint32_t>>{
           {}, {48}, {48, 48}, {0xFFFFFFFF, 0xFFFFFFFF, 1, 2}, {0, 0}, {65'536, 65'536, 0}}) {
    setNumbers(client, window, "_NET_WM_ICON", bad);
    EXPECT_FALSE(icon("none"));
  }
  setText(client, window, "_NET_WM_ICON", std::string(100'000, 'x'));
  EXPECT_FALSE(icon("none"));
}

TEST_F(RunningApplicationsTest, haveTheirIconDespiteAHugeProperty) {
  const auto window = makeWindow({50, 60, 200, 150}, "icon");
  std::vector<std::uint32_t> icons;
  for (int count = 0; count < 3; ++count) {
    const auto large = square(1024, red);
    icons.insert(icons.end(), large.begin(), large.end());
  }
  setNumbers(client, window, "_NET_WM_ICON", icons);
  ASSERT_TRUE(icon("none"));
  EXPECT_EQ(icon("none")->pixels.front(), red);
}

TEST_F(RunningApplicationsTest, haveNoIconOfASizeThatCannotBe) {
  makeWindow({50, 60, 200, 150}, "icon");
  installIcon("paint", blue);
  for (const int side : {0, -1, 1'025}) EXPECT_FALSE(applications.iconPNG("paint", ownPid(), side)) << side;
}

TEST_F(RunningApplicationsTest, areNoneWithoutADisplay) {
  X11RunningApplications without(
      std::make_shared<WindowSession>([] { return std::nullopt; }),
      ApplicationIcons({data.path().string()}, IconTheme({}, {data.file("pixmaps")})));
  installIcon("paint", blue);
  EXPECT_TRUE(without.regularApplications().empty());
  EXPECT_TRUE(without.iconPNG("paint", 1, 48)) << "the theme needs no display";
}

}  // namespace
}  // namespace quorl::test
