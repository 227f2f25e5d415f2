// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <variant>

#include <quorl-client/Hosts/HostBook.h>
#include <quorl-client/Video/VideoReceiver.h>
#include <quorl-viewer/Link/LinkListener.h>
#include <quorl-viewer/Link/LinkStreams.h>
#include <quorl-viewer/Link/ResumeWatch.h>

namespace quorl::viewer {

/// What a window asks of a link. Streams are wanted until they are stopped: each connection starts them
/// again, and turns the sound on again. Messages and input of a time without a connection are dropped.
namespace linkCommand {

struct StartStream {
  StreamKey stream = 0;
  WantedStream wanted;
};
struct StopStream {
  StreamKey stream = 0;
};
struct UpdateStream {
  StreamKey stream = 0;
  StreamConfig config;
};
struct ResizeView {
  StreamKey stream = 0;
  PointSize view;
};
struct SetHidden {
  StreamKey stream = 0;
  bool isHidden = false;
};
/// For a decoder that lost its references; at most one request per half second leaves.
struct RequestKeyframe {
  StreamKey stream = 0;
};
/// Of all streams, because a connection has one. Without datagrams for three seconds the link returns to TCP.
struct SetTransport {
  client::VideoTransport transport = client::VideoTransport::tcp;
};
struct SetSound {
  bool isWanted = false;
};
/// Any message but those with a command of their own. Numbers of streams in it are keys. A clipboard above
/// 64 KiB takes a session of its own, so that no input waits for it. The answers to echo requests are
/// reported if their numbers begin with `firstEcho`; the numbers below are the link's own.
struct Send {
  static constexpr std::uint32_t firstEcho = 0x8000'0000;

  ControlMessage message;
};
/// The number of its stream is a key.
struct Input {
  InputEvent event;
};
/// Round trips once a second.
struct SetMeasuring {
  bool isWanted = false;
};
struct ReconnectNow {};
/// No further attempt until `ReconnectNow`; also ends a connection.
struct Cancel {};

}  // namespace linkCommand

using LinkCommand =
    std::variant<linkCommand::StartStream, linkCommand::StopStream, linkCommand::UpdateStream,
                 linkCommand::ResizeView, linkCommand::SetHidden, linkCommand::RequestKeyframe,
                 linkCommand::SetTransport, linkCommand::SetSound, linkCommand::Send, linkCommand::Input,
                 linkCommand::SetMeasuring, linkCommand::ReconnectNow, linkCommand::Cancel>;

struct LinkSettings {
  client::PairedHost host;
  DeviceInfo device;
  Clock::duration connectPatience = std::chrono::seconds(10);
  ResumeWatch::SleptTime sleptTime = ResumeWatch::systemSleptTime;
};

class LinkInbox;

/// A window's connection to a host, on a thread of its own: connects, keeps the wanted streams running, and
/// connects again after a break. An idle link wakes up for its heartbeats only.
///
/// *Queue*: `post` on any thread, never blocking. The listener is called on the link's thread. *Ownership*:
/// the window's; borrows the listener. *Lifetime*: the destructor says goodbye to the host and returns within
/// about a second; afterwards the listener is not called.
class HostLink {
 public:
  /// Begins to connect at once.
  HostLink(LinkSettings settings, LinkListener& listener);
  ~HostLink();
  HostLink(const HostLink&) = delete;
  HostLink& operator=(const HostLink&) = delete;

  /// Does nothing after `end`.
  void post(LinkCommand command);
  /// What the destructor does first, for an owner that is still called by the listener's thread meanwhile.
  void end();

  /// How often the thread has waited since it was connected, for tests of idleness.
  std::uint64_t waits() const { return waits_; }

 private:
  const std::unique_ptr<LinkInbox> inbox_;
  std::atomic<std::uint64_t> waits_ = 0;
  std::thread thread_;
};

}  // namespace quorl::viewer
