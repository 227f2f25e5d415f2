// SPDX-License-Identifier: GPL-3.0-or-later
#include <cmath>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/SessionFixture.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class DispatchTest : public SessionFixture {
 protected:
  DispatchTest() : client_(connectAuthenticated()) {}

  void start(std::uint32_t streamID) { client_.send(message::StartStream{streamNumber(streamID)}); }
  static InputEvent pointer(PointerPhase phase, std::uint32_t streamID = 1, float x = 0.5F, float y = 0.5F) {
    return inputEvent::Pointer{.streamID = streamID,
                               .phase = phase,
                               .button = PointerButton::left,
                               .x = x,
                               .y = y,
                               .clickCount = 1,
                               .pressure = 0,
                               .modifiers = {}};
  }
  static InputEvent key(std::uint16_t keyCode, bool down) {
    return inputEvent::Key{.keyCode = keyCode, .down = down, .modifiers = {}};
  }
  const std::vector<SyntheticEvent>& posted() const { return platform_.events->posted; }

  FakeClient client_;
};

// Rows that the connection answers itself

TEST_F(DispatchTest, answersAHelloAfterAuthenticationAndStaysOpen) {
  client_.hello();
  EXPECT_EQ(client_.last<message::Error>()->_0, (WireError{"auth.order", "already authenticated"}));
  client_.received.clear();
  client_.requestPairing("123456");
  EXPECT_EQ(client_.last<message::Error>()->_0, (WireError{"auth.order", "already authenticated"}));
  EXPECT_FALSE(client_.peer->isClosedByHost());
}

TEST_F(DispatchTest, echoesAProbeUnchangedAndNotesTheTime) {
  simulation_.advance(std::chrono::seconds(5));
  client_.send(message::EchoRequest{EchoProbe{7, 1'234'567, bytesOf("padding")}});
  EXPECT_EQ(client_.last<message::EchoReply>()->_0, (EchoProbe{7, 1'234'567, bytesOf("padding")}));
  EXPECT_EQ(connection_->summary().lastProbe, simulation_.date());
}

TEST_F(DispatchTest, endsOnBye) {
  client_.send(message::Bye{});
  EXPECT_TRUE(client_.peer->isClosedByHost());
  EXPECT_EQ(closes_, 1);
}

TEST_F(DispatchTest, answersWhatCanBeStreamed) {
  platform_.screen->content->windows = {{.windowID = 3,
                                         .pid = 10,
                                         .title = "Editor",
                                         .bundleID = "org.example.editor",
                                         .appName = "Editor",
                                         .frame = {{0, 0}, {400, 300}},
                                         .isOnScreen = true}};
  client_.send(message::RequestHostState{});
  const auto state = client_.last<message::HostState>();
  ASSERT_TRUE(state);
  ASSERT_EQ(state->_0.windows.size(), 1U);
  EXPECT_EQ(state->_0.windows[0].title, "Editor");
}

TEST_F(DispatchTest, answersTheClipboard) {
  platform_.pasteboard->content = {{PasteboardType::text, bytesOf("copied")}};
  client_.send(message::RequestClipboard{});
  const auto answer = client_.last<message::Clipboard>();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->_0, (ClipboardPayload{clipboardContent::Text{"copied"}}));
}

TEST_F(DispatchTest, sendsNothingForAnEmptyClipboardAndAnswersTheNextQuestion) {
  client_.send(message::RequestClipboard{});
  EXPECT_THAT(client_.names(), IsEmpty());
  platform_.pasteboard->content = {{PasteboardType::text, bytesOf("later")}};
  client_.send(message::RequestClipboard{});
  EXPECT_THAT(client_.names(), ElementsAre("clipboard"));
}

TEST_F(DispatchTest, appliesAClientsClipboard) {
  client_.send(message::Clipboard{{clipboardContent::Text{"from the tablet"}}});
  EXPECT_EQ(platform_.pasteboard->content,
            (FakePasteboard::Content{{PasteboardType::text, bytesOf("from the tablet")}}));
  EXPECT_THAT(client_.names(), IsEmpty());
}

TEST_F(DispatchTest, startsAndStopsSoundForAClient) {
  client_.send(message::AudioControl{true});
  EXPECT_EQ(platform_.sound->running(), 1U);
  EXPECT_EQ(client_.last<message::AudioControl>(), message::AudioControl{true});
  client_.send(message::AudioControl{false});
  EXPECT_EQ(platform_.sound->running(), 0U);
  EXPECT_EQ(client_.last<message::AudioControl>(), message::AudioControl{false});
}

TEST_F(DispatchTest, theEndOfASessionEndsItsSound) {
  client_.send(message::AudioControl{true});
  ASSERT_EQ(platform_.sound->running(), 1U);
  client_.send(message::Bye{});
  EXPECT_EQ(platform_.sound->running(), 0U);
}

TEST_F(DispatchTest, ignoresSoundAndClipboardWhereThePlatformHasNone) {
  services_->audio = nullptr;
  services_->clipboard = nullptr;
  client_.send(message::AudioControl{true});
  client_.send(message::RequestClipboard{});
  client_.send(message::Clipboard{{clipboardContent::Text{"lost"}}});
  EXPECT_THAT(client_.names(), IsEmpty());
  EXPECT_FALSE(client_.peer->isClosedByHost());
}

TEST_F(DispatchTest, answersEmptyListsForMissingServices) {
  client_.send(message::RequestAgentList{});
  client_.send(message::RequestServiceList{});
  client_.send(message::RequestUserList{});
  EXPECT_THAT(client_.names(), ElementsAre("agentList", "serviceList", "userList"));
  EXPECT_TRUE(client_.last<message::AgentList>()->_0.empty());
}

TEST_F(DispatchTest, ignoresMessagesThatOnlyAHostSends) {
  const std::vector<ControlMessage> messages{message::HelloAck{},
                                             message::PairResponse{},
                                             message::HostState{},
                                             message::Metrics{},
                                             message::NetworkStatus{},
                                             message::EchoReply{},
                                             message::StreamStarted{},
                                             message::FitState{},
                                             message::AudioConfig{},
                                             message::AgentList{},
                                             message::AgentEvent{agentEvent::Removed{}},
                                             message::ServiceList{},
                                             message::AgentCatalog{},
                                             message::ExternalAgentList{},
                                             message::GUIAgentBundles{},
                                             message::FileAccept{},
                                             message::DirectoryListing{},
                                             message::SessionClosed{},
                                             message::UserList{},
                                             message::UserSwitchResult{},
                                             message::CredentialResult{},
                                             message::Error{}};
  for (const ControlMessage& message : messages) {
    client_.send(message);
    EXPECT_THAT(client_.received, IsEmpty()) << caseName(message);
    EXPECT_FALSE(client_.peer->isClosedByHost()) << caseName(message);
  }
}

TEST_F(DispatchTest, doesNothingOnAFileAcceptFromAClient) {
  client_.send(message::FileAccept{FileAccept{UUID{{1}}, true}});
  EXPECT_THAT(client_.received, IsEmpty());
}

TEST_F(DispatchTest, sendsNothingForAnEmptyClipboard) {
  client_.send(message::RequestClipboard{});
  EXPECT_THAT(client_.received, IsEmpty());
}

// Applications

TEST_F(DispatchTest, opensAnApplicationOnTheMainThread) {
  platform_.workspace->installed["org.example.editor"] = "/apps/editor";
  client_.send(message::LaunchApp{LaunchApp{"org.example.editor", false}});
  client_.send(message::LaunchApp{LaunchApp{"/other/application", true}});
  client_.send(message::LaunchApp{LaunchApp{"org.example.unknown", false}});
  EXPECT_THAT(platform_.workspace->opened, IsEmpty()) << "not on the connection's queue";
  platform_.mainThread->runPending();
  EXPECT_THAT(platform_.workspace->opened, ElementsAre("/apps/editor", "/other/application"));
  EXPECT_THAT(client_.received, IsEmpty());
}

// Streams

TEST_F(DispatchTest, startsAStreamWithItsClientAsTheSink) {
  start(1);
  ASSERT_EQ(streams_.size(), 1U);
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start"));
  EXPECT_EQ(streams_[0]->request.streamID, 1U);
  streams_[0]->sink.lock()->sendControl(message::FitState{.streamID = 1, .fitted = true});
  client_.settle();
  EXPECT_THAT(client_.names(), ElementsAre("fitState"));
}

TEST_F(DispatchTest, refusesANinthStreamAndReplacesOneOfEight) {
  for (std::uint32_t streamID = 1; streamID <= 8; ++streamID) start(streamID);
  EXPECT_THAT(client_.received, IsEmpty());
  start(9);
  EXPECT_EQ(client_.last<message::Error>()->_0,
            (WireError{"stream.limit", "too many concurrent streams (max 8)"}));
  EXPECT_EQ(streams_.size(), 8U);
  client_.received.clear();
  start(3);
  EXPECT_THAT(client_.received, IsEmpty());
  ASSERT_EQ(streams_.size(), 9U);
  EXPECT_THAT(streams_[2]->calls, ElementsAre("start", "stop"));
  EXPECT_THAT(streams_[8]->calls, ElementsAre("start"));
}

TEST_F(DispatchTest, acceptsAnotherStreamAfterOneWasStopped) {
  for (std::uint32_t streamID = 1; streamID <= 8; ++streamID) start(streamID);
  client_.send(message::StopStream{.streamID = 4});
  start(9);
  EXPECT_THAT(client_.received, IsEmpty());
  EXPECT_THAT(streams_[3]->calls, ElementsAre("start", "stop"));
  EXPECT_EQ(streams_.size(), 9U);
}

TEST_F(DispatchTest, hasOneLimitPerConnection) {
  for (std::uint32_t streamID = 1; streamID <= 8; ++streamID) start(streamID);
  const auto first = connection_;
  FakeClient second = connectAuthenticated();
  second.send(message::StartStream{streamNumber(1)});
  EXPECT_EQ(streams_.size(), 9U);
}

TEST_F(DispatchTest, passesEachStreamMessageToItsStream) {
  start(1);
  start(2);
  streams_[1]->calls.clear();
  StreamConfig config;
  config.maxFPS = 24;
  client_.send(message::UpdateStream{UpdateStream{2, config}});
  client_.send(message::RequestKeyframe{.streamID = 2});
  client_.send(message::ScreenInfo{.streamID = 2, .pointsWide = 1180, .pointsHigh = 820});
  client_.send(message::FitToScreen{.streamID = 2, .enabled = false});
  client_.send(message::WindowScale{.streamID = 2, .scale = 0.5});
  client_.send(message::StopStream{.streamID = 2});
  EXPECT_THAT(streams_[1]->calls,
              ElementsAre("update 24", "keyframe", "aspect 1180 820", "fit false", "scale 0.5", "stop"));
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start"));
}

TEST_F(DispatchTest, doesNothingForAStreamItDoesNotKnow) {
  client_.send(message::UpdateStream{UpdateStream{5, {}}});
  client_.send(message::RequestKeyframe{.streamID = 5});
  client_.send(message::ScreenInfo{.streamID = 5, .pointsWide = 1, .pointsHigh = 1});
  client_.send(message::FitToScreen{.streamID = 5, .enabled = true});
  client_.send(message::WindowScale{.streamID = 5, .scale = 1});
  client_.send(message::StopStream{.streamID = 5});
  EXPECT_THAT(client_.received, IsEmpty());
  EXPECT_TRUE(streams_.empty());
}

// Input

TEST_F(DispatchTest, mapsAPositionInThePictureToAPointOfTheDesktop) {
  start(1);
  client_.input(pointer(PointerPhase::moved, 1, 0.25F, 0.5F));
  ASSERT_EQ(posted().size(), 1U);
  EXPECT_EQ(std::get<MouseEvent>(posted()[0]).location, (PointXY{200, 350}));
}

TEST_F(DispatchTest, keepsTheRightAndLowerEdgeInsideTheContentRectangle) {
  start(1);
  const PointRect rect = streams_[0]->contentRect;
  client_.input(pointer(PointerPhase::moved, 1, 1.0F, 1.0F));
  client_.input(pointer(PointerPhase::moved, 1, 0.0F, 0.0F));
  ASSERT_EQ(posted().size(), 2U);
  const PointXY corner = std::get<MouseEvent>(posted()[0]).location;
  EXPECT_TRUE(rect.contains(corner)) << corner.x << ", " << corner.y;
  EXPECT_EQ(std::floor(corner.x), rect.maxX() - 1);
  EXPECT_EQ(std::floor(corner.y), rect.maxY() - 1);
  EXPECT_EQ(std::get<MouseEvent>(posted()[1]).location, rect.origin);
}

TEST_F(DispatchTest, raisesOnlyForADownAScrollAndAPinch) {
  start(1);
  streams_[0]->calls.clear();
  client_.input(pointer(PointerPhase::moved));
  client_.input(pointer(PointerPhase::hover));
  client_.input(pointer(PointerPhase::up));
  EXPECT_THAT(streams_[0]->calls, IsEmpty());
  client_.input(pointer(PointerPhase::down));
  client_.input(inputEvent::Scroll{.streamID = 1, .deltaY = 2});
  client_.input(inputEvent::Magnify{.streamID = 1, .magnification = 0.5F});
  EXPECT_THAT(streams_[0]->calls, ElementsAre("raise", "raise", "raise"));
}

TEST_F(DispatchTest, postsAClickAfterTheWindowIsRaised) {
  start(1);
  streams_[0]->isRaised = true;
  client_.input(pointer(PointerPhase::down));
  client_.input(pointer(PointerPhase::up));
  client_.input(key(12, true));
  EXPECT_THAT(posted(), IsEmpty());
  streams_[0]->isRaised = false;
  streams_[0]->hold.reset();
  client_.settle();
  ASSERT_EQ(posted().size(), 3U);
  EXPECT_EQ(std::get<MouseEvent>(posted()[0]).type, MouseEventType::leftDown);
  EXPECT_EQ(std::get<MouseEvent>(posted()[1]).type, MouseEventType::leftUp);
  EXPECT_EQ(std::get<KeyboardEvent>(posted()[2]).keyCode, 12);
}

TEST_F(DispatchTest, releasesWhatAClientHoldsThatLeavesWhileItsInputWaits) {
  start(1);
  client_.input(key(12, true));
  streams_[0]->isRaised = true;
  client_.input(pointer(PointerPhase::down));
  client_.peer->fail("Connection reset by peer");
  client_.settle();
  ASSERT_FALSE(posted().empty());
  const auto* last = std::get_if<KeyboardEvent>(&posted().back());
  ASSERT_NE(last, nullptr);
  EXPECT_FALSE(last->down);
}

TEST_F(DispatchTest, raisesTheLastStreamPointedAtForAKeyGoingDown) {
  start(1);
  start(2);
  client_.input(pointer(PointerPhase::moved, 2));
  client_.input(key(0, true));
  client_.input(key(0, false));
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start"));
  EXPECT_THAT(streams_[1]->calls, ElementsAre("start", "raise"));
}

TEST_F(DispatchTest, injectsAKeyWithoutEarlierPointerInputAndRaisesNothing) {
  start(1);
  client_.input(key(12, true));
  ASSERT_EQ(posted().size(), 1U);
  EXPECT_EQ(std::get<KeyboardEvent>(posted()[0]).keyCode, 12);
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start"));
}

TEST_F(DispatchTest, injectsAKeyAfterTheStreamPointedAtHasEnded) {
  start(1);
  client_.input(pointer(PointerPhase::moved));
  client_.send(message::StopStream{.streamID = 1});
  client_.input(key(12, true));
  EXPECT_EQ(posted().size(), 2U);
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start", "stop"));
}

TEST_F(DispatchTest, dropsInputForAnEmptyContentRectangleAndRemembersTheOtherStream) {
  start(1);
  start(2);
  streams_[1]->contentRect = {};
  client_.input(pointer(PointerPhase::moved, 1));
  client_.input(pointer(PointerPhase::down, 2));
  EXPECT_EQ(posted().size(), 1U);
  client_.input(key(12, true));
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start", "raise"));
  EXPECT_THAT(streams_[1]->calls, ElementsAre("start"));
}

TEST_F(DispatchTest, dropsInputForAnUnknownStreamAndUndecodableInput) {
  client_.input(pointer(PointerPhase::down, 4));
  client_.peer->writeFrame(FrameType::input, bytesOf("\x09"));
  client_.peer->writeFrame(FrameType::input, {});
  client_.settle();
  EXPECT_TRUE(posted().empty());
  EXPECT_THAT(client_.received, IsEmpty());
}

TEST_F(DispatchTest, reportsMissingInputPermissionOnceAndInjectsAfterAGrant) {
  start(1);
  platform_.permissions->input = false;
  client_.input(pointer(PointerPhase::down));
  client_.input(key(12, true));
  client_.send(message::InsertText{"text"});
  EXPECT_TRUE(posted().empty());
  EXPECT_THAT(streams_[0]->calls, ElementsAre("start"));
  const auto errors = client_.all<message::Error>();
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors[0]._0,
            (WireError{"perm.accessibility",
                       "Grant Accessibility to Quorl Host in System Settings > Privacy & Security"}));
  client_.received.clear();
  platform_.permissions->input = true;
  client_.input(key(12, true));
  EXPECT_EQ(posted().size(), 1U);
  platform_.permissions->input = false;
  client_.input(key(12, false));
  EXPECT_THAT(client_.received, IsEmpty());
}

TEST_F(DispatchTest, reportsMissingInputPermissionOncePerConnection) {
  platform_.permissions->input = false;
  client_.send(message::InsertText{"a"});
  const auto first = connection_;
  FakeClient second = connectAuthenticated();
  second.send(message::InsertText{"b"});
  EXPECT_EQ(second.lastError(), "perm.accessibility");
}

TEST_F(DispatchTest, typesInsertedText) {
  client_.send(message::InsertText{"hi"});
  ASSERT_EQ(posted().size(), 2U);
  EXPECT_EQ(std::get<KeyboardEvent>(posted()[0]).unicode, u"hi");
}

TEST_F(DispatchTest, releasesWhatAClientHeldWhenItsConnectionEnds) {
  start(1);
  client_.input(pointer(PointerPhase::down, 1, 0.25F, 0.5F));
  client_.input(key(56, true));
  client_.input(key(0, true));
  client_.input(key(0, false));
  platform_.events->posted.clear();
  client_.peer->fail("reset");
  client_.settle();
  ASSERT_EQ(posted().size(), 2U);
  const auto& mouse = std::get<MouseEvent>(posted()[0]);
  EXPECT_EQ(mouse.type, MouseEventType::leftUp);
  EXPECT_EQ(mouse.location, (PointXY{200, 350}));
  EXPECT_EQ(posted()[1],
            SyntheticEvent(KeyboardEvent{.keyCode = 56, .down = false, .flags = 0, .unicode = {}}));
}

TEST_F(DispatchTest, stopsTypingForAClientThatLeavesAndKeepsItsKeysInOrderUntilThen) {
  platform_.events->finishing = [](std::u16string_view) { return std::chrono::milliseconds(100); };
  client_.send(message::InsertText{std::string(100, 'x')});
  client_.input(key(7, true));
  ASSERT_EQ(posted().size(), 2U);
  client_.peer->fail("reset");
  client_.settle();
  simulation_.advance(std::chrono::seconds(10));
  ASSERT_EQ(posted().size(), 3U);
  EXPECT_FALSE(std::get<KeyboardEvent>(posted()[2]).down) << "the release of a key that never went down";
}

TEST_F(DispatchTest, typesTheRestOfATextAfterAnOrderlyEndAndReleasesTheKeysThen) {
  platform_.events->finishing = [ready = true](std::u16string_view) mutable -> Duration {
    return ready = !ready, ready ? Duration::zero() : Duration(std::chrono::milliseconds(100));
  };
  client_.send(message::InsertText{std::string(100, 'x')});
  client_.input(key(7, true));
  client_.send(message::Bye{});
  ASSERT_TRUE(client_.peer->isClosedByHost());
  connection_.reset();
  simulation_.advance(std::chrono::seconds(10));
  std::u16string typed;
  std::vector<bool> keys;
  for (const SyntheticEvent& event : posted()) {
    const auto& keyboard = std::get<KeyboardEvent>(event);
    if (keyboard.unicode.empty())
      keys.push_back(keyboard.down);
    else if (keyboard.down)
      typed += keyboard.unicode;
  }
  EXPECT_EQ(typed, std::u16string(100, u'x'));
  EXPECT_THAT(keys, ElementsAre(true, false));
}

TEST_F(DispatchTest, cutsATextOffThatWouldTakeLongAfterAnOrderlyEnd) {
  platform_.events->finishing = [](std::u16string_view) { return std::chrono::milliseconds(100); };
  client_.send(message::InsertText{std::string(InputInjector::maximumFarewell + 100, 'x')});
  ASSERT_EQ(posted().size(), 2U);
  client_.send(message::Bye{});
  simulation_.advance(std::chrono::seconds(3600));
  EXPECT_EQ(posted().size(), 2U);
}

TEST_F(DispatchTest, releasesAKeyThatIsPressedAfterTheEnd) {
  Bytes both = Frame{FrameType::control, *ControlCoder::encode(message::Bye{})}.encoded();
  const Bytes next = Frame{FrameType::input, key(56, true).encoded()}.encoded();
  both.insert(both.end(), next.begin(), next.end());
  client_.peer->write(both);
  client_.settle();
  ASSERT_EQ(posted().size(), 2U);
  EXPECT_FALSE(std::get<KeyboardEvent>(posted()[1]).down);
}

TEST_F(DispatchTest, releasesADragWhenItsStreamStops) {
  start(1);
  start(2);
  client_.input(pointer(PointerPhase::down, 1, 0.25F, 0.5F));
  client_.input(pointer(PointerPhase::moved, 1, 0.5F, 0.5F));
  client_.input(pointer(PointerPhase::moved, 2, 0.5F, 0.5F));
  client_.input(key(56, true));
  platform_.events->posted.clear();
  client_.send(message::StopStream{.streamID = 1});
  ASSERT_EQ(posted().size(), 1U);
  EXPECT_EQ(std::get<MouseEvent>(posted()[0]).type, MouseEventType::leftUp);
}

TEST_F(DispatchTest, releasesKeysAndCapsLockWhenTheStreamPointedAtLastStops) {
  start(1);
  client_.input(pointer(PointerPhase::moved, 1, 0.5F, 0.5F));
  client_.input(key(56, true));
  client_.input(inputEvent::Key{.keyCode = 0, .down = true, .modifiers = WireModifiers::capsLock});
  platform_.events->posted.clear();
  client_.send(message::StopStream{.streamID = 1});
  std::vector<std::uint16_t> keys;
  for (const SyntheticEvent& event : posted()) {
    EXPECT_FALSE(std::get<KeyboardEvent>(event).down);
    keys.push_back(std::get<KeyboardEvent>(event).keyCode);
  }
  EXPECT_THAT(keys, UnorderedElementsAre(0, 56, 0x39));
}

TEST_F(DispatchTest, releasesADragWhenItsStreamIsReplaced) {
  start(1);
  client_.input(pointer(PointerPhase::down, 1, 0.25F, 0.5F));
  platform_.events->posted.clear();
  start(1);
  ASSERT_EQ(posted().size(), 1U);
  EXPECT_EQ(std::get<MouseEvent>(posted()[0]).type, MouseEventType::leftUp);
}

// Datagrams

TEST_F(DispatchTest, onlyLogsAPortOfZeroWithoutAChannel) {
  Log::verbose = true;
  client_.send(message::VideoTransport{.udpPort = 0});
  Log::verbose = false;
  EXPECT_THAT(client_.received, IsEmpty());
  EXPECT_EQ(*platform_.network->liveDatagramSenders, 0U);
  EXPECT_TRUE(log_.has(LogLevel::debug, "stream", "video: using TCP transport"));
}

TEST_F(DispatchTest, opensTheDatagramChannelTowardsItsOwnPeerAndReplacesIt) {
  Log::verbose = true;
  client_.send(message::VideoTransport{.udpPort = 6000});
  client_.send(message::VideoTransport{.udpPort = 6001});
  Log::verbose = false;
  EXPECT_EQ(*platform_.network->liveDatagramSenders, 1U);
  EXPECT_TRUE(log_.has(LogLevel::debug, "stream", "video: UDP side channel -> 10.0.0.2:6001"));
  client_.send(message::VideoTransport{.udpPort = 0});
  EXPECT_EQ(*platform_.network->liveDatagramSenders, 0U);
}

}  // namespace
}  // namespace quorl::test
