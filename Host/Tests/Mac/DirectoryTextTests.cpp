// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Users/DirectoryText.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(DirectoryText, listsNamesAndIdentities) {
  EXPECT_THAT(DirectoryText::userList("_www                    70\n"
                                      "anna  501\n"
                                      "\n"
                                      "alone\n"
                                      "bad x1\n"
                                      "over 4294967296\n"
                                      "minus -2\n"
                                      "jane doe 502\n"
                                      "nobody 4294967294"),
              ElementsAre(UserEntry{70, "_www", ""}, UserEntry{501, "anna", ""}, UserEntry{502, "jane", ""},
                          UserEntry{4'294'967'294, "nobody", ""}));
  EXPECT_THAT(DirectoryText::userList(""), IsEmpty());
}

TEST(DirectoryText, readsAValueOnTheLineOfItsKey) {
  EXPECT_EQ(DirectoryText::value("RealName: Jane Doe \t\nOther: x\n", "RealName"), "Jane Doe");
  EXPECT_EQ(DirectoryText::value("RealName:  ", "RealName"), "");
}

TEST(DirectoryText, readsALongValueOnTheNextLine) {
  EXPECT_EQ(DirectoryText::value("RealName:\n Jane Doe\n", "RealName"), "Jane Doe");
  EXPECT_EQ(DirectoryText::value("RealName:\n\n\t Jane \n", "RealName"), "Jane");
  EXPECT_EQ(DirectoryText::value("RealName:\n", "RealName"), std::nullopt);
  EXPECT_EQ(DirectoryText::value("", "RealName"), std::nullopt);
  EXPECT_EQ(DirectoryText::value("No such key: RealName", "RealName"), std::nullopt);
}

TEST(DirectoryText, readsThePathOfAPicture) {
  EXPECT_EQ(DirectoryText::picturePath("Picture: \"/Library/User Pictures/Cat.heic\"\n"),
            "/Library/User Pictures/Cat.heic");
  EXPECT_EQ(DirectoryText::picturePath("Picture:\n '/a b' \n"), "/a b");
  EXPECT_EQ(DirectoryText::picturePath("nothing"), std::nullopt);
}

TEST(DirectoryText, readsHexadecimalDigits) {
  EXPECT_EQ(DirectoryText::dataFromHex("ffd8 FFe0\n0"), (Bytes{0xFF, 0xD8, 0xFF, 0xE0}));
  EXPECT_EQ(DirectoryText::dataFromHex("f"), std::nullopt);
  EXPECT_EQ(DirectoryText::dataFromHex("xyz-"), std::nullopt);
  EXPECT_EQ(DirectoryText::dataFromHex(""), std::nullopt);
}

TEST(DirectoryText, readsAPhotoWithoutItsLabels) {
  EXPECT_EQ(DirectoryText::jpegPhoto("JPEGPhoto:\n ffd8ff e0\n"), (Bytes{0xFF, 0xD8, 0xFF, 0xE0}));
  EXPECT_EQ(DirectoryText::jpegPhoto("JPEGPhoto: ff JPEGPhoto: d8"), (Bytes{0xFF, 0xD8}));
  EXPECT_EQ(DirectoryText::jpegPhoto("ffd8"), std::nullopt);
  EXPECT_EQ(DirectoryText::jpegPhoto("JPEGPhoto:"), std::nullopt);
}

}  // namespace
}  // namespace quorl
