// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlKit/Foundation/Digest.h>
#include <quorl-client/Files/TransferText.h>

namespace quorl::client {
namespace {

TEST(ByteText, hasDecimalUnits) {
  EXPECT_EQ(byteText(0), "0 B");
  EXPECT_EQ(byteText(999), "999 B");
  EXPECT_EQ(byteText(1'000), "1.0 kB");
  EXPECT_EQ(byteText(1'500'000), "1.5 MB");
  EXPECT_EQ(byteText(999'960), "1.0 MB") << "never 1000.0 kB";
  EXPECT_EQ(byteText(2'147'483'648), "2.1 GB");
  EXPECT_EQ(byteText(1.8e19), "18.0 EB");
}

TEST(TimeText, hasMinutesAndHours) {
  EXPECT_EQ(timeText(Elapsed(0)), "0:00");
  EXPECT_EQ(timeText(Elapsed(6.2)), "0:07");
  EXPECT_EQ(timeText(Elapsed(754)), "12:34");
  EXPECT_EQ(timeText(Elapsed(7'205)), "2:00:05");
}

TEST(ProgressText, showsBarRateAndTimeLeft) {
  EXPECT_EQ(progressText("film.mkv", 500'000'000, 1'000'000'000, Elapsed(5)),
            "film.mkv                 [##########----------]  50 %  100.0 MB/s  0:05 left");
}

TEST(ProgressText, showsNoRateInTheFirstMoments) {
  EXPECT_EQ(progressText("a", 0, 100, Elapsed(0.1)), "a                        [--------------------]   0 %");
}

TEST(ProgressText, isCompleteForAnEmptyFileAndForOneThatGrew) {
  EXPECT_NE(progressText("a", 0, 0, Elapsed(0.1)).find("100 %"), std::string::npos);
  EXPECT_NE(progressText("a", 200, 100, Elapsed(0.1)).find("100 %"), std::string::npos);
}

TEST(ProgressText, fitsIntoALineForAnyFile) {
  const std::string text = progressText(std::string(300, 'n'), 1, 1'000'000'000'000'000, Elapsed(1'000));
  EXPECT_LE(text.size(), 79U) << text;
}

TEST(ResultText, hasSizeRateAndHash) {
  const auto digest = sha256({});
  EXPECT_EQ(resultText("a", 1'000'000, Elapsed(2), digest),
            "a: 1.0 MB in 2.0 s, 500.0 kB/s, SHA-256 "
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855 matches");
}

}  // namespace
}  // namespace quorl::client
