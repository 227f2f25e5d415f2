// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/RecordCoding.h>

#include <gtest/gtest.h>

namespace quorl::diskRecords {

struct Device {
  UUID deviceID;
  std::string name;
  Bytes token;
  Date lastSeen;

  bool operator==(const Device&) const = default;
};
BOOST_DESCRIBE_STRUCT(Device, (), (deviceID, name, token, lastSeen))

struct Settings {
  bool allowsControl = true;
  std::int64_t limit = 8;
  std::optional<std::string> note;

  bool operator==(const Settings&) const = default;
};
BOOST_DESCRIBE_STRUCT(Settings, (), (allowsControl, limit, note))

}  // namespace quorl::diskRecords

namespace quorl {

template <>
inline constexpr std::array defaultedFields<diskRecords::Settings> = {std::string_view("allowsControl"),
                                                                      std::string_view("limit")};

namespace {

using diskRecords::Device;
using diskRecords::Settings;

const std::vector<Device> devices{
    {*UUID::parse("00112233-4455-6677-8899-AABBCCDDEEFF"), "Pad", {1, 2}, {1.5}}};

TEST(RecordCoding, writesFilesWithSortedKeysAndIndentation) {
  EXPECT_EQ(textOf(*encodeRecord(devices, JsonStyle::prettySorted)),
            "[\n  {\n    \"deviceID\" : \"00112233-4455-6677-8899-AABBCCDDEEFF\",\n    \"lastSeen\" : 1.5,\n"
            "    \"name\" : \"Pad\",\n    \"token\" : \"AQI=\"\n  }\n]");
}

TEST(RecordCoding, readsAListOfRecordsBackInEitherStyle) {
  for (const JsonStyle style : {JsonStyle::compact, JsonStyle::prettySorted})
    EXPECT_EQ(decodeRecord<std::vector<Device>>(*encodeRecord(devices, style)), devices);
}

TEST(RecordCoding, leavesDefaultedFieldsAsInitialisedWhenMissingOrNull) {
  EXPECT_EQ(decodeRecord<Settings>(viewOf("{}")), Settings{});
  EXPECT_EQ(decodeRecord<Settings>(viewOf(R"({"limit":null,"allowsControl":null,"note":null})")), Settings{});
  EXPECT_EQ(decodeRecord<Settings>(viewOf(R"({"limit":3})")), (Settings{true, 3, std::nullopt}));
  EXPECT_FALSE(decodeRecord<Settings>(viewOf(R"({"limit":"3"})")));
}

TEST(RecordCoding, leavesOutEmptyOptionalFields) {
  EXPECT_EQ(textOf(*encodeRecord(Settings{})), R"({"allowsControl":true,"limit":8})");
}

TEST(RecordCoding, readsAndWritesDictionariesAndListsOfText) {
  const std::map<std::string, std::string> dictionary{{"b", "2"}, {"a", "1"}};
  EXPECT_EQ(textOf(*encodeRecord(dictionary)), R"({"a":"1","b":"2"})");
  EXPECT_EQ((decodeRecord<std::map<std::string, std::string>>(viewOf(R"({"b":"0","a":"1","b":"2"})"))),
            dictionary);
  const std::vector<std::string> list{"x", "y"};
  EXPECT_EQ(decodeRecord<std::vector<std::string>>(*encodeRecord(list)), list);
}

TEST(RecordCoding, acceptsOnlyTwoPairsAsARectangle) {
  EXPECT_EQ(decodeRecord<PointRect>(viewOf("[[1,2],[3,4.5]]")), (PointRect{{1, 2}, {3, 4.5}}));
  for (const std::string_view json :
       {"[]", "[[1,2]]", "[[1,2],[3]]", "[[1],[3,4]]", "[[1,2,3],[3,4]]", "[[1,2],[3,4],[]]", "[1,2,3,4]",
        "[[1,2],[3,4]", "[[1,2],[3,\"4\"]]", "{}", "[[1,2],[3,null]]"})
    EXPECT_FALSE(decodeRecord<PointRect>(viewOf(json))) << json;
}

TEST(RecordCoding, namesTheMissingKey) {
  EXPECT_EQ(decodeRecord<Device>(viewOf(R"({"name":""})")).error().text, "missing key \"deviceID\"");
}

}  // namespace
}  // namespace quorl
