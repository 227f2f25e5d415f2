// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <quorl-client/Session/Session.h>
#include <quorl-client/Session/Sockets.h>
#include <quorl-client/Video/DatagramVideo.h>
#include <quorl-viewer/Link/BulkSender.h>
#include <quorl-viewer/Link/HostFrames.h>
#include <quorl-viewer/Link/HostLink.h>
#include <quorl-viewer/Link/LinkMachine.h>
#include <quorl-viewer/Link/NetworkWatch.h>
#include <quorl-viewer/Link/Outbox.h>
#include <quorl-viewer/Link/ResumeWatch.h>

namespace quorl::viewer {

/// What reaches the link's thread from others. `wake` is readable while something is there.
class LinkInbox {
 public:
  struct Contents {
    std::vector<LinkCommand> commands;
    std::vector<std::optional<client::ClientError>> clipboardResults;
    bool ends = false;
  };

  LinkInbox();
  void post(LinkCommand command);
  void postClipboardResult(std::optional<client::ClientError> error);
  void end();
  Contents take();
  int descriptor() const { return wake_.get(); }

 private:
  void change(const std::function<void()>& change);

  Descriptor wake_;
  std::mutex lock_;
  Contents contents_;
};

/// The thread of a HostLink.
///
/// *Queue*: its own, all of it. *Blocking*: `run`, until the inbox says so.
class LinkWorker {
 public:
  LinkWorker(LinkSettings settings, LinkListener& listener, LinkInbox& inbox,
             std::atomic<std::uint64_t>& waits);
  void run();

 private:
  void handleInbox();
  void handle(linkCommand::StartStream& command);
  void handle(linkCommand::StopStream& command);
  void handle(linkCommand::UpdateStream& command);
  void handle(linkCommand::ResizeView& command);
  void handle(linkCommand::SetHidden& command);
  void handle(linkCommand::RequestKeyframe& command);
  void handle(linkCommand::SetTransport& command);
  void handle(linkCommand::SetSound& command);
  void handle(linkCommand::Send& command);
  void handle(linkCommand::Input& command);
  void handle(linkCommand::SetMeasuring& command);
  void handle(linkCommand::ReconnectNow& command);
  void handle(linkCommand::Cancel& command);

  void apply(const LinkMachine::Actions& actions);
  void attempt();
  void begin(std::unique_ptr<client::Session> session);
  void disconnect();
  void waitForChange();
  void serve();
  void take(const Frame& frame, Clock::time_point now);
  void takePong(const Frame& frame, Clock::time_point now);
  bool takeEcho(const ControlMessage& message, Clock::time_point now);

  void send(const ControlMessage& message);
  void queue(OutgoingFrame frame);
  void flush(Clock::time_point now);
  void probe(Clock::time_point now);
  void measure(Clock::time_point now);
  void reportRoundTrip(Clock::duration time);

  void openDatagrams(Clock::time_point now);
  void closeDatagrams();
  void drainDatagrams(Clock::time_point now);
  void perform(client::DatagramVideo::Actions actions, Clock::time_point now);
  client::Deadline nextDeadline() const;
  LinkCounters counters() const;

  struct Pending {
    std::uint32_t number = 0;
    Clock::time_point sentAt;
  };

  const LinkSettings settings_;
  LinkListener& listener_;
  LinkInbox& inbox_;
  std::atomic<std::uint64_t>& waits_;

  client::Waiter waiter_;
  ResumeWatch resume_;
  NetworkWatch network_;
  LinkMachine machine_;
  LinkStreams streams_;
  HostFrames frames_;
  Outbox outbox_;
  bool ends_ = false;
  bool wantsAttempt_ = false;
  bool hasOverflowed_ = false;  // the outbox

  std::unique_ptr<client::Session> session_;
  std::uint64_t knownBytes_ = 0;  // received on this connection
  std::uint64_t pastBytes_ = 0;   // on earlier ones
  std::uint32_t connections_ = 0;

  bool wantsSound_ = false;
  bool measures_ = false;
  Clock::time_point measureAt_{};
  std::uint32_t lastNumber_ = 0;
  std::optional<Pending> ping_;
  std::optional<Pending> echo_;

  client::VideoTransport transport_ = client::VideoTransport::tcp;
  client::DatagramSocket datagramSocket_;
  std::optional<client::DatagramReader> datagramReader_;
  std::optional<client::DatagramVideo> datagramVideo_;
  std::optional<Clock::time_point> datagramsDueBy_;  // until the first one
  std::uint64_t pastLost_ = 0;

  // Last, so that its thread has ended before anything else.
  BulkSender bulk_;
};

}  // namespace quorl::viewer
