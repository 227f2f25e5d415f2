// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Displays/DisplayFactsReader.h>

namespace quorl::test {
namespace {

TEST(KnownDisplays, areTheMonitorsThenTheConnectedOutputsThatShowNothing) {
  const std::vector<Monitor> monitors{{"eDP-1", {1920, 0, 1280, 800}, false},
                                      {"DP-2", {0, 0, 1920, 1080}, true}};
  const std::vector<ConnectedOutput> outputs{
      {"eDP-1", "", {1280, 800}}, {"DP-2", "Desk Monitor", {1920, 1080}}, {"HDMI-1", "", {3840, 2160}}};
  const auto displays = knownDisplays(monitors, outputs);
  ASSERT_EQ(displays.size(), 3U);
  EXPECT_EQ(displays[0].id, displayIDOf("eDP-1"));
  EXPECT_TRUE(displays[0].isActive);
  EXPECT_EQ(displays[0].facts.name, "eDP-1");
  EXPECT_TRUE(displays[0].facts.isBuiltIn);
  EXPECT_FALSE(displays[0].facts.isMain);
  EXPECT_EQ(displays[0].facts.bounds, (PointRect{{1920, 0}, {1280, 800}}));
  EXPECT_EQ(displays[1].facts.name, "Desk Monitor");
  EXPECT_FALSE(displays[1].facts.isBuiltIn);
  EXPECT_TRUE(displays[1].facts.isMain);
  ASSERT_TRUE(displays[1].facts.mode);
  EXPECT_EQ(displays[1].facts.mode->pixelWidth, 1920);
  EXPECT_EQ(displays[1].facts.mode->pixelHeight, 1080);
  EXPECT_EQ(displays[1].facts.mode->pointWidth, 1920);
  EXPECT_EQ(displays[2].id, displayIDOf("HDMI-1"));
  EXPECT_FALSE(displays[2].isActive);
  EXPECT_EQ(displays[2].facts.bounds.size, (PointSize{3840, 2160}));
}

TEST(KnownDisplays, haveNoModeWhenTheSizeIsUnknown) {
  const auto displays = knownDisplays({}, {{"DP-1", "", {}}});
  ASSERT_EQ(displays.size(), 1U);
  EXPECT_FALSE(displays[0].facts.mode);
}

TEST(BuiltInOutput, hasTheNameOfAnInternalConnector) {
  for (const char* name : {"eDP-1", "eDP", "LVDS-1", "DSI-1"}) EXPECT_TRUE(isBuiltInOutput(name)) << name;
  for (const char* name : {"DP-1", "HDMI-1", "VGA-1", "screen", ""})
    EXPECT_FALSE(isBuiltInOutput(name)) << name;
}

Bytes edidWith(std::size_t descriptor, const std::string& name) {
  Bytes edid(128);
  for (std::size_t at = 1; at < 7; ++at) edid[at] = 0xFF;
  edid[descriptor + 3] = 0xFC;
  for (std::size_t at = 0; at < name.size(); ++at)
    edid[descriptor + 5 + at] = static_cast<std::uint8_t>(name[at]);
  return edid;
}

TEST(MonitorName, isReadFromItsDescriptor) {
  EXPECT_EQ(monitorNameOf(edidWith(72, "Desk 27\n     ")), "Desk 27");
  EXPECT_EQ(monitorNameOf(edidWith(108, "ThirteenChars")), "ThirteenChars");
}

TEST(MonitorName, isEmptyForDamagedData) {
  EXPECT_EQ(monitorNameOf({}), "");
  Bytes edid = edidWith(54, "Desk\n");
  EXPECT_EQ(monitorNameOf(ByteView(edid).first(127)), "");
  edid[0] = 1;
  EXPECT_EQ(monitorNameOf(edid), "");
  EXPECT_EQ(monitorNameOf(Bytes(128, 0xFF)), "");
}

}  // namespace
}  // namespace quorl::test
