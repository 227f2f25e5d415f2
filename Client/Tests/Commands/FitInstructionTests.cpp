// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/FitInstruction.h>
#include <quorl-client/Commands/StreamOptions.h>

#include <vector>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

TEST(FitInstruction, readsEachInstruction) {
  EXPECT_EQ(parseFitInstruction("fit on"), FitInstruction(fitInstruction::Fit{true}));
  EXPECT_EQ(parseFitInstruction("  fit \t off\r"), FitInstruction(fitInstruction::Fit{false}));
  EXPECT_EQ(parseFitInstruction("scale 0.5"), FitInstruction(fitInstruction::Scale{0.5}));
  EXPECT_EQ(parseFitInstruction("scale 1"), FitInstruction(fitInstruction::Scale{1}));
  EXPECT_EQ(parseFitInstruction("view 1024x768"), FitInstruction(fitInstruction::View{{1024, 768}}));
  EXPECT_EQ(parseFitInstruction("quit"), FitInstruction(fitInstruction::Quit{}));
  EXPECT_EQ(parseFitInstruction(" \r"), FitInstruction(fitInstruction::Nothing{}));
}

TEST(FitInstruction, refusesEverythingElseAndNamesTheRightForms) {
  for (const char* line : {"fit", "fit maybe", "fit on now", "scale", "scale 0", "scale 1.5", "scale nan",
                           "scale -1", "view 5", "view 0x4", "view 4x", "view infx3", "quit now", "zoom"}) {
    const auto result = parseFitInstruction(line);
    ASSERT_FALSE(result) << line;
    EXPECT_NE(result.error().find("scale S"), std::string::npos);
  }
}

TEST(FitInstruction, printsControlCharactersOfALineEscaped) {
  const auto result = parseFitInstruction("\x1b[2J");
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().find('\x1b'), std::string::npos);
}

TEST(ParseView, takesTwoPositiveSides) {
  EXPECT_EQ(parseView("1024x768"), (PointSize{1024, 768}));
  EXPECT_EQ(parseView("1.5x1"), (PointSize{1.5, 1}));
  for (const char* text :
       {"", "x", "10", "10x", "x10", "0x10", "10x-1", "10x10x10", "1e9x1", "nanx1", " 1x1"})
    EXPECT_FALSE(parseView(text)) << text;
}

}  // namespace
}  // namespace quorl::client
