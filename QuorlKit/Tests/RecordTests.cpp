// SPDX-License-Identifier: GPL-3.0-or-later
#include <unordered_set>

#include <gtest/gtest.h>

#include <QuorlKit/Foundation/RecordHash.h>
#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Models/NetworkModels.h>
#include <QuorlKit/Models/UserModels.h>
#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {
namespace {

template <class T>
std::expected<T, CodingError> decoded(std::string_view json) {
  return decodeRecord<T>(viewOf(json));
}

TEST(DirectoryListing, readsAMissingRequestedPathAsEmptyText) {
  const auto listing = decoded<DirectoryListing>(R"({"path":"/p","entries":[]})");
  ASSERT_TRUE(listing);
  EXPECT_EQ(*listing, (DirectoryListing{"/p", std::nullopt, {}, std::nullopt, ""}));
}

TEST(DirectoryListing, failsWithoutEntries) {
  EXPECT_FALSE(decoded<DirectoryListing>(R"({"path":"/p","requestedPath":"~"})"));
}

TEST(StreamTarget, hasItsFourForms) {
  const std::vector<std::pair<std::string_view, StreamTarget>> forms{
      {R"({"display":{"id":1}})", streamTarget::Display{1}},
      {R"({"unified":{}})", streamTarget::Unified{}},
      {R"({"window":{"id":77}})", streamTarget::Window{77}},
      {R"({"app":{"bundleID":"x.y.z"}})", streamTarget::App{"x.y.z"}}};
  for (const auto& [json, target] : forms) {
    EXPECT_EQ(textOf(*encodeRecord(target)), json);
    EXPECT_EQ(decoded<StreamTarget>(json), target);
  }
}

TEST(StreamTarget, failsWithTwoKnownKeys) {
  EXPECT_EQ(decoded<StreamTarget>(R"({"display":{"id":1},"window":{"id":2}})").error().text,
            "Invalid number of keys found, expected one.");
}

TEST(SystemCommand, hasItsFiveForms) {
  const std::vector<std::pair<std::string_view, SystemCommand>> forms{
      {R"({"caffeinate":{"on":true}})", systemCommand::Caffeinate{true}},
      {R"({"sleepDisplays":{}})", systemCommand::SleepDisplays{}},
      {R"({"wakeDisplays":{}})", systemCommand::WakeDisplays{}},
      {R"({"lockScreen":{}})", systemCommand::LockScreen{}},
      {R"({"setVolume":{"_0":0.5}})", systemCommand::SetVolume{0.5}}};
  for (const auto& [json, command] : forms) {
    EXPECT_EQ(textOf(*encodeRecord(command)), json);
    EXPECT_EQ(decoded<SystemCommand>(json), command);
  }
}

TEST(SystemCommand, failsWithTwoKnownKeys) {
  EXPECT_EQ(decoded<SystemCommand>(R"({"lockScreen":{},"caffeinate":{"on":true}})").error().text,
            "Invalid number of keys found, expected one.");
}

TEST(ClipboardContent, hasItsTwoForms) {
  const ClipboardContent image = clipboardContent::Image{{0x89, 0x50, 0x4E, 0x47}};
  EXPECT_EQ(textOf(*encodeRecord(image)), R"({"image":{"_0":"iVBORw=="}})");
  EXPECT_EQ(decoded<ClipboardContent>(R"({"image":{"_0":"iVBORw=="}})"), image);
  EXPECT_EQ(decoded<ClipboardContent>(R"({"text":{"_0":"..."}})"),
            ClipboardContent(clipboardContent::Text{"..."}));
}

TEST(RawText, isUnknownForEveryOtherText) {
  EXPECT_FALSE(decoded<VideoCodec>(R"("HEVC")"));
  EXPECT_FALSE(decoded<OverlayKind>(R"("")"));
  EXPECT_FALSE(decoded<OverlayHealth>(R"("offline")"));
  EXPECT_FALSE(decoded<UserSwitchStatus>(R"("ok")"));
  EXPECT_FALSE(decoded<VideoCodec>("0"));
}

TEST(RawText, isTheNameOfItsCase) {
  EXPECT_EQ(rawValue(VideoCodec::hevc), "hevc");
  EXPECT_EQ(rawValue(VideoCodec::h264), "h264");
  EXPECT_EQ(rawValue(OverlayKind::tailscale), "tailscale");
  EXPECT_EQ(rawValue(OverlayKind::zerotier), "zerotier");
  EXPECT_EQ(rawValue(OverlayKind::none), "none");
  EXPECT_EQ(rawValue(OverlayHealth::online), "online");
  EXPECT_EQ(rawValue(OverlayHealth::notReady), "notReady");
  EXPECT_EQ(rawValue(OverlayHealth::notInstalled), "notInstalled");
  std::vector<std::string_view> statuses;
  for (const auto& [status, text] : rawValues<UserSwitchStatus>) statuses.push_back(text);
  EXPECT_EQ(statuses, (std::vector<std::string_view>{"switched", "unlockAttempted", "unavailable",
                                                     "notPermitted", "failed"}));
}

TEST(WindowInfo, decodesWithoutABundleButNotWithoutAFrame) {
  EXPECT_TRUE(
      decoded<WindowInfo>(R"({"id":1,"title":"t","appName":"a","frame":[[0,0],[1,1]],"isOnScreen":true})"));
  EXPECT_FALSE(
      decoded<WindowInfo>(R"({"id":1,"title":"t","appBundleID":"b","appName":"a","isOnScreen":true})"));
}

TEST(LaunchApp, needsBothFields) {
  EXPECT_FALSE(decoded<LaunchApp>(R"({"identifier":"x"})"));
  EXPECT_FALSE(decoded<LaunchApp>(R"({"soloStream":true})"));
}

TEST(UserSwitchResult, needsTheSecureInputState) {
  EXPECT_FALSE(decoded<UserSwitchResult>(R"({"uid":1,"status":"switched"})"));
}

TEST(UserAccount, isActiveEvenIfNotReportedAsLoggedIn) {
  using State = UserAccount::SessionState;
  UserAccount account;
  EXPECT_EQ(account.sessionState(), State::signedOut);
  account.isLoggedIn = true;
  EXPECT_EQ(account.sessionState(), State::signedInBackground);
  account.isActive = true;
  EXPECT_EQ(account.sessionState(), State::active);
  account.isLoggedIn = false;
  EXPECT_EQ(account.sessionState(), State::active);
  EXPECT_EQ(rawValue(State::signedInBackground), "signedInBackground");
}

TEST(Records, useTheirNamingFieldAsIdentity) {
  EXPECT_EQ((RunningAppInfo{"b", "n", 1, 2, {}}.id()), "b");
  EXPECT_EQ((RemoteFileEntry{"n", "/p/n", false, 0, {}, {}}.id()), "/p/n");
  EXPECT_EQ((UserAccount{501, "u", "U", true, true, {}}.id()), 501U);
}

TEST(RecordHash, agreesWithEqualityAndDistinguishesFields) {
  const WindowInfo window{1, "t", "b", "a", {{0, 0}, {10, 10}}, true};
  WindowInfo moved = window;
  moved.frame.origin.x = 1;
  WindowInfo anonymous = window;
  anonymous.appBundleID.reset();
  EXPECT_EQ(RecordHash{}(window), RecordHash{}(WindowInfo(window)));
  const std::unordered_set<WindowInfo, RecordHash> set{window, moved, anonymous, window};
  EXPECT_EQ(set.size(), 3U);
  const HostState state{{{1, "d", 1, 1, 1, true}}, {window}, {{"b", "n", 1, 1, Bytes{1}}}, {}};
  HostState other = state;
  other.apps.front().iconPNG = Bytes{2};
  EXPECT_NE(RecordHash{}(state), RecordHash{}(other));
  EXPECT_NE(RecordHash{}(StreamTarget(streamTarget::Display{1})),
            RecordHash{}(StreamTarget(streamTarget::Window{1})));
}

TEST(RecordHash, countsPositiveAndNegativeZeroAsEqual) {
  const StreamConfig positive{.quality = 0.0};
  const StreamConfig negative{.quality = -0.0};
  ASSERT_EQ(positive, negative);
  EXPECT_EQ(RecordHash{}(positive), RecordHash{}(negative));
}

}  // namespace
}  // namespace quorl
