// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostFrames.h>
#include <quorl-viewer/Link/HostLink.h>

#include <atomic>

#include <gtest/gtest.h>

#include "../../Support/FakeHost.h"
#include "RecordingListener.h"

namespace quorl::viewer {
namespace {

using client::ExitCode;
using client::test::FakeHost;
using client::test::HostBehaviour;
using client::test::SampleVideo;
using test::LinkRecord;
using test::RecordingListener;
using State = LinkStatus::State;
using namespace std::chrono_literals;

const DeviceInfo device{"Test viewer", "Model", "1.0", *UUID::parse("00000000-0000-4000-8000-000000000002")};
const StreamConfig config{2048, 60, VideoCodec::h264, 0.8, true};

const SampleVideo& sample() {
  static const SampleVideo video = SampleVideo::encode(VideoCodec::h264, "testsrc2=size=320x240:rate=30", 12);
  return video;
}

class HostLinkTest : public testing::Test {
 protected:
  void connect(HostBehaviour behaviour) {
    host_ = std::make_unique<FakeHost>(std::move(behaviour));
    connectTo(host_->pairedHost());
  }
  void connectTo(const client::PairedHost& host) {
    link_ = std::make_unique<HostLink>(
        LinkSettings{
            .host = host, .device = device, .sleptTime = [this] { return Clock::duration(slept_.load()); }},
        listener_);
  }
  bool reaches(State state) {
    return listener_.waitUntil([&](const LinkRecord& record) { return record.state() == state; });
  }
  bool receives(StreamKey stream, std::size_t pictures) {
    return listener_.waitUntil([&](const LinkRecord& record) {
      const auto found = record.pictures.find(stream);
      return found != record.pictures.end() && found->second.size() >= pictures;
    });
  }
  void start(StreamKey stream, bool isHidden = false) {
    link_->post(linkCommand::StartStream{
        stream, {streamTarget::Window{stream}, config, PointSize{800, 600}, isHidden}});
  }

  RecordingListener listener_;
  std::atomic<std::chrono::seconds> slept_{0s};
  std::unique_ptr<FakeHost> host_;
  std::unique_ptr<HostLink> link_;  // ends before the host
};

TEST_F(HostLinkTest, connectsAndReportsTheHost) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return !record.hosts.empty(); }));
  EXPECT_EQ(listener_.record().hosts[0], host_->device());
  EXPECT_EQ(listener_.record().statuses[0].state, State::connecting);
}

TEST_F(HostLinkTest, deliversTwoStreamsAtTheSameTime) {
  connect({.video = &sample()});
  start(7);
  start(9);
  ASSERT_TRUE(receives(7, 12));
  ASSERT_TRUE(receives(9, 12));
  auto record = listener_.record();
  for (const StreamKey key : {7U, 9U}) {
    ASSERT_EQ(record.configs[key].size(), 1U);
    EXPECT_EQ(record.configs[key][0].record, sample().config);
    EXPECT_EQ(record.started[key].at(0).pixelWidth, 320);
    for (std::size_t index = 0; index < 12; ++index)
      EXPECT_TRUE(record.pictures[key][index].data == sample().pictures[index].data) << index;
  }
}

TEST_F(HostLinkTest, sendsInputWithTheNumberThatTheStreamHasOnTheWire) {
  connect({});
  start(1000);
  link_->post(
      linkCommand::Input{inputEvent::Pointer{.streamID = 1000, .phase = PointerPhase::down, .x = 0.5F}});
  link_->post(linkCommand::Input{inputEvent::Pointer{.streamID = 4, .phase = PointerPhase::down}});
  link_->post(linkCommand::Input{inputEvent::Key{.keyCode = 36, .down = true}});
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return host.messagesOf<message::StartStream>().size() == 1; }));
  // Commands of the time before the connection are dropped, so these are sent again.
  link_->post(
      linkCommand::Input{inputEvent::Pointer{.streamID = 1000, .phase = PointerPhase::down, .x = 0.5F}});
  link_->post(linkCommand::Input{inputEvent::Pointer{.streamID = 4, .phase = PointerPhase::down}});
  link_->post(linkCommand::Input{inputEvent::Key{.keyCode = 37, .down = true}});
  ASSERT_TRUE(host_->waitUntil([](const FakeHost& host) {
    const auto inputs = host.inputs();
    return !inputs.empty() && inputs.back() == InputEvent(inputEvent::Key{.keyCode = 37, .down = true});
  }));
  const auto id = host_->messagesOf<message::StartStream>()[0]._0.streamID;
  const auto inputs = host_->inputs();
  const auto* pressed = std::get_if<inputEvent::Pointer>(&inputs[inputs.size() - 2].value);
  ASSERT_NE(pressed, nullptr);
  EXPECT_EQ(pressed->streamID, id);
}

TEST_F(HostLinkTest, restoresStreamsHiddenStateAndSoundAfterABreak) {
  connect({.video = &sample()});
  start(7);
  start(9, true);
  link_->post(linkCommand::SetSound{true});
  ASSERT_TRUE(receives(7, 1));
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return !host.messagesOf<message::AudioControl>().empty(); }));
  host_->disconnectAll();
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.hosts.size() == 2; }));
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return host.messagesOf<message::StartStream>().size() == 4; }));
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return host.messagesOf<message::AudioControl>().size() == 2; }));
  const auto starts = host_->messagesOf<message::StartStream>();
  for (std::size_t index = 0; index < 2; ++index) {
    EXPECT_EQ(starts[index + 2]._0.target, starts[index]._0.target);
    EXPECT_EQ(starts[index + 2]._0.config, starts[index]._0.config);
    EXPECT_EQ(starts[index + 2]._0.clientPointWidth, 800);
  }
  EXPECT_EQ(starts[3]._0.config.maxFPS, 1);
  auto record = listener_.record();
  EXPECT_TRUE(record.has(State::waiting));
  EXPECT_EQ(record.ends[7], std::vector{StreamEnd::interrupted});
  EXPECT_EQ(record.pictures[9].size(), 0U);
}

TEST_F(HostLinkTest, stopsWhenItsPairingWasRemoved) {
  host_ = std::make_unique<FakeHost>(HostBehaviour{});
  const auto paired = host_->pairedHost();
  host_->forgetClients();
  connectTo(paired);
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) {
    return record.has(State::connecting) && record.state() == State::stopped;
  }));
  const auto reason = listener_.record().statuses.back().reason;
  ASSERT_TRUE(reason);
  EXPECT_EQ(reason->code, ExitCode::refused);
  EXPECT_NE(reason->advice.find("pair again"), std::string::npos);
  EXPECT_EQ(host_->connections(), 1);
}

TEST_F(HostLinkTest, waitsForAHostThatIsNotThereUntilItIsCancelled) {
  auto paired = FakeHost({}).pairedHost();
  connectTo(paired);
  ASSERT_TRUE(reaches(State::waiting));
  EXPECT_EQ(listener_.record().statuses.back().reason->code, ExitCode::unreachable);
  link_->post(linkCommand::Cancel{});
  ASSERT_TRUE(reaches(State::stopped));
  EXPECT_FALSE(listener_.record().statuses.back().reason);
}

TEST_F(HostLinkTest, connectsAtOnceOnRequest) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  link_->post(linkCommand::Cancel{});
  ASSERT_TRUE(reaches(State::stopped));
  link_->post(linkCommand::ReconnectNow{});
  ASSERT_TRUE(reaches(State::connected));
  EXPECT_EQ(host_->connections(), 2);
}

TEST_F(HostLinkTest, endsAnAttemptAtASilentHostWhenItIsDestroyed) {
  connect({.isSilent = true});
  ASSERT_TRUE(reaches(State::connecting));
  link_.reset();
  EXPECT_EQ(listener_.record().state(), State::connecting);
}

TEST_F(HostLinkTest, isStalledWhileTheHostDoesNotAnswer) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  host_->freeze(true);
  ASSERT_TRUE(reaches(State::stalled));
  host_->freeze(false);
  ASSERT_TRUE(reaches(State::connected));
  EXPECT_EQ(host_->connections(), 1);
}

TEST_F(HostLinkTest, wakesUpForItsHeartbeatsOnly) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  ASSERT_TRUE(host_->waitUntil([](const FakeHost& host) { return host.pings() == 1; }));
  const auto before = link_->waits();
  ASSERT_TRUE(host_->waitUntil([](const FakeHost& host) { return host.pings() == 2; }));
  // One wait ends with the pong, the next one with the heartbeat. The one after it may have begun.
  EXPECT_LE(link_->waits() - before, 3U);
}

TEST_F(HostLinkTest, asksTheHostAtOnceAfterTheComputerHasSlept) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  slept_ = 3600s;
  // Anything that wakes the thread; the kernel does so after a sleep.
  link_->post(linkCommand::SetHidden{1, true});
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.roundTrips.size() == 1; }));
  EXPECT_EQ(host_->pings(), 1);
}

TEST_F(HostLinkTest, measuresRoundTripsAndCountsBytes) {
  connect({.video = &sample()});
  start(7);
  ASSERT_TRUE(receives(7, 5));
  link_->post(linkCommand::SetMeasuring{true});
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.roundTrips.size() >= 2; }));
  const auto counters = listener_.record().counters;
  EXPECT_GT(counters.videoBytes, 0U);
  EXPECT_GT(counters.receivedBytes, counters.videoBytes);
  EXPECT_EQ(counters.connections, 1U);
}

TEST_F(HostLinkTest, sendsALargeClipboardOverASecondSession) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  const ClipboardContent content = clipboardContent::Image{Bytes(2 << 20, 0x51)};
  link_->post(linkCommand::Send{ControlMessage(message::Clipboard{{content}})});
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.clipboards.size() == 1; }));
  EXPECT_FALSE(listener_.record().clipboards[0]);
  ASSERT_EQ(host_->messagesOf<message::Clipboard>().size(), 1U);
  EXPECT_EQ(host_->messagesOf<message::Clipboard>()[0]._0.content, content);
  EXPECT_EQ(host_->connections(), 2);
  EXPECT_EQ(host_->mostConnections(), 2);
}

TEST_F(HostLinkTest, sendsASmallClipboardInOrderWithTheInput) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  link_->post(linkCommand::Send{ControlMessage(message::Clipboard{{clipboardContent::Text{"é"}}})});
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return host.messagesOf<message::Clipboard>().size() == 1; }));
  EXPECT_EQ(host_->connections(), 1);
}

TEST_F(HostLinkTest, leavesWhenTheHostClosesTheSession) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  host_->push(ControlMessage(message::SessionClosed{"another user \x1b[2J"}));
  ASSERT_TRUE(reaches(State::stopped));
  const auto reason = listener_.record().statuses.back().reason;
  ASSERT_TRUE(reason);
  EXPECT_NE(reason->what.find("another user \\x1b[2J"), std::string::npos);
}

TEST_F(HostLinkTest, survivesFramesThatNoHostSends) {
  connect({.video = &sample()});
  ASSERT_TRUE(reaches(State::connected));
  for (const auto type : {FrameType::video, FrameType::audio, FrameType::terminal, FrameType::file,
                          FrameType::pong, FrameType::input, FrameType::control})
    for (const std::size_t size : {0, 1, 12, 13, 100'000})
      host_->push(OutgoingFrame::raw(type, shareBytes(Bytes(size, 0xFF))));
  host_->push(ControlMessage(message::StreamStarted{{99, 64, 48, {}}}));
  host_->push(ControlMessage(message::Error{{"stream.capture", "stream 99: gone"}}));
  start(7);
  ASSERT_TRUE(receives(7, 3));
  EXPECT_EQ(host_->connections(), 1);
}

TEST_F(HostLinkTest, cutsTextsThatNoWindowCanShow) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  const std::string endless(5'000'000, 'x');
  const AgentDescriptor agent{.id = UUID::random(),
                              .name = endless,
                              .detail = {},
                              .bundleID = {},
                              .preview = "short",
                              .projectPath = {}};
  host_->push(ControlMessage(message::Error{{"agent.unknown", endless}}));
  host_->push(ControlMessage(message::AgentEvent{AgentEvent(agentEvent::Updated{agent})}));
  host_->push(ControlMessage(message::AgentEvent{AgentEvent(agentEvent::Attention{agent.id, "t", endless})}));
  // After the host's greetings.
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) {
    return !record.messages.empty() && std::holds_alternative<message::AgentEvent>(record.messages.back()) &&
           std::holds_alternative<agentEvent::Attention>(
               std::get<message::AgentEvent>(record.messages.back())._0);
  }));
  const auto messages = listener_.record().messages;
  ASSERT_GE(messages.size(), 3U);
  const auto last = messages.end();
  EXPECT_EQ(std::get<message::Error>(last[-3])._0.message.size(), 4'096U);
  const auto& updated = std::get<agentEvent::Updated>(std::get<message::AgentEvent>(last[-2])._0)._0;
  EXPECT_EQ(updated.name.size(), HostFrames::maxText);
  EXPECT_EQ(updated.preview, "short");
  const auto& attention = std::get<agentEvent::Attention>(std::get<message::AgentEvent>(last[-1])._0);
  EXPECT_EQ(attention.body.size(), HostFrames::maxText);
}

TEST_F(HostLinkTest, connectsAgainAfterBytesThatAreNoFrames) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  HostBehaviour broken;
  broken.greeting = Bytes(64, 0xEE);
  host_->setBehaviour(broken);
  host_->disconnectAll();
  ASSERT_TRUE(host_->waitUntil([](const FakeHost& host) { return host.connections() == 2; }));
  host_->setBehaviour({});
  ASSERT_TRUE(listener_.waitUntil([](const LinkRecord& record) { return record.hosts.size() == 2; }));
}

TEST_F(HostLinkTest, receivesDatagramsAndReturnsToTheConnection) {
  connect({.video = &sample()});
  link_->post(linkCommand::SetTransport{client::VideoTransport::udp});
  start(7);
  ASSERT_TRUE(receives(7, 5));
  const auto transports = host_->messagesOf<message::VideoTransport>();
  ASSERT_EQ(transports.size(), 1U);
  EXPECT_NE(transports[0].udpPort, 0);
  link_->post(linkCommand::SetTransport{client::VideoTransport::tcp});
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return host.messagesOf<message::VideoTransport>().size() == 2; }));
  EXPECT_EQ(host_->messagesOf<message::VideoTransport>()[1].udpPort, 0);
}

TEST_F(HostLinkTest, returnsToTheConnectionWhenNoDatagramArrives) {
  HostBehaviour behaviour{.video = &sample()};
  behaviour.losesDatagram = [](std::uint32_t, std::uint16_t) { return true; };
  connect(behaviour);
  link_->post(linkCommand::SetTransport{client::VideoTransport::udp});
  start(7);
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return host.messagesOf<message::VideoTransport>().size() == 2; }));
  EXPECT_EQ(host_->messagesOf<message::VideoTransport>()[1].udpPort, 0);
}

TEST_F(HostLinkTest, doesNotAnswerAFloodOfPingsWithoutLimit) {
  connect({});
  ASSERT_TRUE(reaches(State::connected));
  host_->push(OutgoingFrame::raw(FrameType::ping, shareBytes(Bytes(1 << 20))));
  host_->push(OutgoingFrame::raw(FrameType::ping, shareBytes(Bytes(8))));
  ASSERT_TRUE(host_->waitUntil([](const FakeHost& host) { return !host.pongs().empty(); }));
  EXPECT_EQ(host_->pongs()[0].size(), 8U);
}

}  // namespace
}  // namespace quorl::viewer
