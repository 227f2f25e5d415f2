// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Link/FileShare.h>

namespace quorl::test {
namespace {

using std::chrono::milliseconds;

constexpr MonotonicTime start{std::chrono::seconds(1)};
constexpr double fiveMegabits = 625'000;

TEST(FileShare, sendsPiecesOfTwentyMillisecondsOfTheLink) {
  const FileShare share;
  EXPECT_EQ(share.pieceAt(start, {.rate = fiveMegabits}), 12'500U);
  EXPECT_EQ(share.pieceAt(start, {.rate = 1e9}), FileShare::largestPiece);
  EXPECT_EQ(share.pieceAt(start, {.rate = 1'000}), FileShare::smallestPiece);
  EXPECT_EQ(share.pieceAt(start, {.rate = 0}), FileShare::firstPiece);
}

TEST(FileShare, waitsWhileTheLinkIsFull) {
  const FileShare share;
  EXPECT_EQ(share.pieceAt(start, {.rate = 1e6, .isOpen = false}), 0U);
  EXPECT_EQ(share.pieceAt(start, {.rate = 1e9, .underWay = FileShare::mostUnderWay + 1}), 0U);
  EXPECT_GT(share.pieceAt(start, {.rate = 1e9, .underWay = FileShare::mostUnderWay}), 0U);
}

// Bytes that a file gets in ten seconds if the gate is always open.
double rateBesidePictures(double linkRate, double wanted) {
  FileShare share;
  const FileShare::Link link{.rate = linkRate, .wantedByPictures = wanted};
  double sent = 0;
  for (MonotonicTime now = start; now < start + std::chrono::seconds(10); now += milliseconds(1))
    if (const auto piece = share.pieceAt(now, link)) {
      share.admitted(now, piece, link);
      sent += static_cast<double>(piece);
    }
  return sent / 10;
}

TEST(FileShare, getsAQuarterOfALinkThatPicturesFill) {
  EXPECT_NEAR(rateBesidePictures(fiveMegabits, 3e6), fiveMegabits / 4, fiveMegabits / 50);
}

TEST(FileShare, getsWhatPicturesLeave) {
  EXPECT_NEAR(rateBesidePictures(10e6, 2e6), 7e6, 2e5);
}

TEST(FileShare, hasTheLinkToItselfWithoutPictures) {
  FileShare share;
  const FileShare::Link link{.rate = fiveMegabits};
  for (int piece = 0; piece < 10; ++piece) {
    EXPECT_GT(share.pieceAt(start, link), 0U);
    share.admitted(start, 12'500, link);
  }
  EXPECT_FALSE(share.wait(start));
}

TEST(FileShare, knowsWhenItsNextPieceMayGo) {
  FileShare share;
  const FileShare::Link link{.rate = fiveMegabits, .wantedByPictures = 3e6};
  share.admitted(start, 12'500, link);
  share.admitted(start, 12'500, link);
  const auto wait = share.wait(start);
  ASSERT_TRUE(wait);
  EXPECT_EQ(share.pieceAt(start + *wait - milliseconds(1), link), 0U);
  EXPECT_GT(share.pieceAt(start + *wait, link), 0U);
}

TEST(FileShare, isActiveForASecondAfterAPiece) {
  FileShare share;
  EXPECT_FALSE(share.isActive(start));
  share.admitted(start, 4'096, {});
  EXPECT_TRUE(share.isActive(start + milliseconds(999)));
  EXPECT_FALSE(share.isActive(start + milliseconds(1'000)));
}

}  // namespace
}  // namespace quorl::test
