// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Link/PictureGate.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostCore/Session/FileDesk.h>
#include <QuorlHostCore/Session/FrameReader.h>
#include <QuorlHostCore/Session/HandshakeMachine.h>
#include <QuorlHostCore/Session/HostHandshakeAuthority.h>
#include <QuorlHostCore/Session/InputRouter.h>
#include <QuorlHostCore/Session/MessageRouter.h>
#include <QuorlHostCore/Session/QuestionDesk.h>
#include <QuorlHostCore/Session/RepeatedState.h>
#include <QuorlHostCore/Session/SendPath.h>
#include <QuorlHostCore/Session/StateKey.h>
#include <QuorlHostCore/Session/StreamTable.h>
#include <QuorlHostCore/Session/VideoChannel.h>
#include <QuorlHostCore/Shared/ClientSummary.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Protocol/Frames.h>

namespace quorl {

struct HostServices;

/// One accepted session: its socket, the dispatch of each frame, sending with back-pressure, and the
/// teardown. `FrameReader` cuts what is received into frames, `HandshakeMachine` decides the handshake,
/// `routeMessage` and `InputRouter` handle what follows it, `SendPath` orders what is sent, and
/// `VideoChannel` sends by UDP.
///
/// *Queue*: "quorl.conn", one per connection. The sink's operations, `start`, `close` and the descriptions
/// may be called from any thread.
/// *Blocking*: descriptions and `isBackpressured` wait for the queue; everything else only posts. The queue
/// waits for the stores.
/// *Ownership*: made with std::make_shared and held by the server; owns its socket, its datagram channel and
/// its streams. Services hold it weakly, as a sink.
/// *Lifetime*: from accept until the teardown has called `onClose`. Later sends are dropped.
class ClientConnection final : public StreamOutputSink,
                               private RoutedSession,
                               public std::enable_shared_from_this<ClientConnection> {
 public:
  static constexpr std::size_t receiveMaximum = 524'288;  // bytes per receive
  static constexpr std::size_t backpressureThreshold = SendPath::backpressureThreshold;
  /// Receiving pauses while a peer that is not authenticated leaves more than this unread.
  static constexpr std::size_t unauthenticatedBacklog = 1'048'576;
  static constexpr std::size_t frameOverhead = SendPath::frameOverhead;

  using Callback = std::function<void(ClientConnection&)>;

  ClientConnection(std::unique_ptr<NetworkConnection> connection, std::shared_ptr<HostServices> services);

  /// Both run on the connection's queue and must not wait for the server's queue. Set before `start`.
  void onClose(Callback callback);
  void onAuthenticated(Callback callback);

  void start();
  /// Sends `bye` and tears down.
  void close();

  /// "name (host)", one of them alone if only one is known, or "connecting…".
  std::string displayDescription() const;
  ClientSummary summary() const;
  const SerialQueue& queue() const { return queue_; }
  AuthState authState() const;
  /// Bytes accepted for the client that the transport has not taken yet.
  std::size_t outstandingBytes() const;

  /// Sends state that is encoded once for all clients. While this client does not keep up, a newer frame with
  /// the same key replaces it. On a slow link a content that this client has is left out. Any thread.
  void sendState(OutgoingFrame frame, const std::optional<StateKey>& key, RepeatedState::Version content = 0);

  // StreamOutputSink
  void sendControl(ControlMessage message) override;
  void sendVideo(std::uint32_t streamID, VideoPacketFlags flags, std::uint64_t ptsMicros, SharedBytes data,
                 Droppable droppable) override;
  void sendFrame(OutgoingFrame frame, Droppable droppable) override;
  std::optional<PictureBudget> admitPicture(PictureRequest request) override;
  FileTurn admitFile(std::function<void()> whenOpen) override {
    return gate_->admitFile(std::move(whenOpen));
  }
  DeliveredRate deliveredRate() const override { return gate_->deliveredRate(); }
  bool isBackpressured() const override;

 private:
  // RoutedSession
  const std::shared_ptr<HostServices>& services() override { return services_; }
  StreamTable& streams() override QUORL_NO_ANALYSIS { return streams_; }
  InputRouter& input() override QUORL_NO_ANALYSIS { return input_; }
  FileDesk& files() override QUORL_NO_ANALYSIS { return files_; }
  std::weak_ptr<StreamOutputSink> sink() override { return weak_from_this(); }
  bool isClosed() const override QUORL_NO_ANALYSIS { return closed_; }
  void reply(ControlMessage message) override;
  void answer(Question question, Answerer answerer) override;
  void noteProbe() override;
  void openVideoChannel(std::uint16_t udpPort) override;
  void end() override;

  void connectionStateChanged(NetworkConnection::State state, const PortError& error);
  void armReceive() QUORL_REQUIRES(queue_);
  void received(ByteView bytes, bool isComplete, const std::optional<PortError>& error)
      QUORL_REQUIRES(queue_);
  void proceed(FrameReader::Next next) QUORL_REQUIRES(queue_);
  bool mayReceive() const QUORL_REQUIRES(queue_);
  void dispatch(Frame& frame) QUORL_REQUIRES(queue_);
  void dispatchControl(Frame& frame) QUORL_REQUIRES(queue_);
  void forget(Frame& frame) QUORL_REQUIRES(queue_);
  void receiveAgain() QUORL_REQUIRES(queue_);
  void dispatchHandshake(const Frame& frame) QUORL_REQUIRES(queue_);
  void refuseUndecodable() QUORL_REQUIRES(queue_);
  void dispatchInput(const Frame& frame) QUORL_REQUIRES(queue_);
  void carryOut(HandshakeMachine::Actions actions) QUORL_REQUIRES(queue_);
  void closeLater(std::chrono::milliseconds delay) QUORL_REQUIRES(queue_);
  void authenticated() QUORL_REQUIRES(queue_);
  void pushInitialState() QUORL_REQUIRES(queue_);
  void makeAnswer(Question question, Answerer answerer) QUORL_REQUIRES(queue_);
  void post(OutgoingFrame frame, Droppable droppable, Purpose purpose, std::optional<StateKey> key);
  void sendNow(OutgoingFrame frame, Purpose purpose, const std::optional<StateKey>& key)
      QUORL_REQUIRES(queue_);
  void repairStreams() QUORL_REQUIRES(queue_);
  void transportProgressed(const std::optional<PortError>& error) QUORL_REQUIRES(queue_);
  void sendAllAgents() QUORL_REQUIRES(queue_);
  void teardown(InputRouter::WaitingText text = InputRouter::WaitingText::drop) QUORL_REQUIRES(queue_);
  std::string hostText() const;

  const SerialQueue queue_;
  const std::shared_ptr<HostServices> services_;
  const std::shared_ptr<NetworkConnection> connection_;
  const std::shared_ptr<PictureGate> gate_;
  const Date connectedAt_;

  std::shared_ptr<SendPath> path_ QUORL_GUARDED_BY(queue_);
  VideoChannel udpVideo_ QUORL_GUARDED_BY(queue_);
  FrameReader reader_ QUORL_GUARDED_BY(queue_);
  HostHandshakeAuthority authority_ QUORL_GUARDED_BY(queue_);
  HandshakeMachine handshake_ QUORL_GUARDED_BY(queue_);
  StreamTable streams_ QUORL_GUARDED_BY(queue_);
  InputRouter input_ QUORL_GUARDED_BY(queue_);
  FileDesk files_ QUORL_GUARDED_BY(queue_);
  std::optional<Date> lastProbeAt_ QUORL_GUARDED_BY(queue_);
  QuestionDesk questions_ QUORL_GUARDED_BY(queue_);
  // Streams that need a key frame because a picture of theirs was dropped.
  std::set<std::uint32_t> brokenStreams_ QUORL_GUARDED_BY(queue_);
  RepeatedState hostState_ QUORL_GUARDED_BY(queue_);
  bool closed_ QUORL_GUARDED_BY(queue_) = false;
  // Of the client's text, once closed.
  InputRouter::WaitingText waitingText_ QUORL_GUARDED_BY(queue_) = InputRouter::WaitingText::drop;
  Timer closing_ QUORL_GUARDED_BY(queue_);
  Callback onClose_ QUORL_GUARDED_BY(queue_);
  Callback onAuthenticated_ QUORL_GUARDED_BY(queue_);
};

/// "host:port", with brackets around an IPv6 address; "unknown" for none.
std::string printed(const std::optional<HostPort>& endpoint);

}  // namespace quorl
