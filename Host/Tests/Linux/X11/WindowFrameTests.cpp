// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Windows/WindowFrame.h>

namespace quorl::test {
namespace {

constexpr PixelRect client{101, 120, 200, 150};
constexpr PixelRect frame{100, 100, 202, 171};  // 1 pixel around, a title bar of 20
constexpr FrameExtents decoration{1, 1, 20, 1};

TEST(WindowOutline, isTheFrameOfTheWindowManager) {
  const auto outline = outlineOf(
      {.client = client, .frame = frame, .isFramed = true, .isViewable = true, .decoration = decoration});
  EXPECT_EQ(outline, (WindowOutline{frame, decoration, {}}));
}

TEST(WindowOutline, isTheFrameWhereTheWindowManagerReportsNoDecoration) {
  const auto outline = outlineOf({.client = client, .frame = frame, .isFramed = true, .isViewable = true});
  EXPECT_EQ(outline, (WindowOutline{frame, decoration, {}}));
}

TEST(WindowOutline, leavesOutInvisibleBordersOfTheFrame) {
  const PixelRect wide{90, 90, 222, 191};
  const auto outline = outlineOf(
      {.client = client, .frame = wide, .isFramed = true, .isViewable = true, .decoration = decoration});
  EXPECT_EQ(outline.visible, frame);
  EXPECT_EQ(outline.padding, decoration);
}

TEST(WindowOutline, leavesOutTheShadowThatAProgramDraws) {
  const FrameExtents shadow{10, 12, 8, 14};
  const auto outline = outlineOf({.client = client, .frame = client, .isViewable = true, .shadow = shadow});
  EXPECT_EQ(outline.visible, (PixelRect{111, 128, 178, 128}));
  EXPECT_EQ(outline.padding, (FrameExtents{-10, -12, -8, -14}));
  EXPECT_EQ(outline.frameOffset, (PixelSize{10, 8}));
}

TEST(WindowOutline, leavesOutAFrameAroundAShadow) {
  const auto outline = outlineOf({.client = client,
                                  .frame = frame,
                                  .isFramed = true,
                                  .isViewable = true,
                                  .decoration = decoration,
                                  .shadow = FrameExtents{10, 10, 10, 10}});
  EXPECT_EQ(outline.visible, (PixelRect{111, 130, 180, 130}));
  EXPECT_EQ(outline.padding, (FrameExtents{-10, -10, -10, -10}));
  EXPECT_EQ(outline.frameOffset, (PixelSize{11, 30}));
}

TEST(WindowOutline, keepsTheFrameOfAProgramThatReportsNoShadow) {
  const auto outline = outlineOf({.client = client,
                                  .frame = frame,
                                  .isFramed = true,
                                  .isViewable = true,
                                  .decoration = decoration,
                                  .shadow = FrameExtents{}});
  EXPECT_EQ(outline, (WindowOutline{frame, decoration, {}}));
}

TEST(WindowOutline, isTheTitleBarOfAShadedWindow) {
  const PixelRect titleBar{100, 100, 202, 20};
  const auto outline = outlineOf(
      {.client = client, .frame = titleBar, .isFramed = true, .isViewable = true, .decoration = decoration});
  EXPECT_EQ(outline.visible, titleBar);
}

TEST(WindowOutline, keepsTheSizeOfAMinimisedWindowWhoseFrameIsAnimated) {
  const PixelRect shrinking{100, 100, 20, 20};
  const auto outline = outlineOf({.client = client,
                                  .frame = shrinking,
                                  .isFramed = true,
                                  .isViewable = false,
                                  .decoration = decoration});
  EXPECT_EQ(outline.visible, frame);
}

TEST(WindowOutline, includesTheBorderOfAWindowWithoutAFrame) {
  const PixelRect withBorder{96, 115, 210, 160};
  const auto outline = outlineOf({.client = client, .frame = withBorder, .isViewable = true});
  EXPECT_EQ(outline.visible, withBorder);
  EXPECT_EQ(outline.padding, (FrameExtents{5, 5, 5, 5}));
}

TEST(WindowOutline, ignoresAShadowAsLargeAsTheWindow) {
  const auto outline = outlineOf(
      {.client = client, .frame = client, .isViewable = true, .shadow = FrameExtents{100, 100, 0, 0}});
  EXPECT_EQ(outline.visible, client);
  EXPECT_EQ(outline.padding, FrameExtents{});
}

TEST(WindowOutline, isTheFrameWhenTheReportedDecorationIsElsewhere) {
  const auto outline = outlineOf({.client = {5'000, 0, 10, 10},
                                  .frame = frame,
                                  .isFramed = true,
                                  .isViewable = true,
                                  .decoration = FrameExtents{}});
  EXPECT_EQ(outline.visible, frame);
}

TEST(FrameExtents, areFourSaneNumbers) {
  EXPECT_EQ(frameExtentsOf({1, 2, 3, 4}), (FrameExtents{1, 2, 3, 4}));
  EXPECT_EQ(frameExtentsOf({}), std::nullopt);
  EXPECT_EQ(frameExtentsOf({1, 2, 3}), std::nullopt);
  EXPECT_EQ(frameExtentsOf({1, 2, 3, 4, 5}), std::nullopt);
  EXPECT_EQ(frameExtentsOf({1, 2, 3, 1'001}), std::nullopt);
  EXPECT_EQ(frameExtentsOf({0xFFFFFFFF, 0, 0, 0}), std::nullopt);
}

}  // namespace
}  // namespace quorl::test
