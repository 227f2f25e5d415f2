// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>

#include <quorl-viewer/Link/LinkListener.h>
#include <quorl-viewer/Link/LinkStreams.h>

namespace quorl::viewer {

/// Sorts what arrives from the host to the streams and the listener. The host may be hostile or broken: what
/// no host sends is dropped and counted, and lists and texts are cut to sizes that a window can show.
///
/// *Queue*: the link's. *Ownership*: the link's; borrows the streams and the listener.
class HostFrames {
 public:
  /// Of a control message other than a clipboard. A decoded message of tiny list elements takes ten times its
  /// size.
  static constexpr std::size_t maxMessage = 8U << 20;
  static constexpr std::size_t maxListed = 4'096;
  static constexpr std::size_t maxText = 1'024;

  HostFrames(LinkListener& listener, LinkStreams& streams) : listener_(listener), streams_(streams) {}

  /// Whether the payload of a control frame should be decoded.
  static bool isAcceptable(const Frame& frame);

  /// Frames other than control messages.
  void take(const Frame& frame, Clock::time_point now);
  void take(ControlMessage message, std::size_t encodedSize);
  void disconnected() { hasSound_ = false; }

  void ignore() { ++ignoredFrames_; }
  std::uint64_t ignoredFrames() const { return ignoredFrames_; }

 private:
  void takeSound(const Frame& frame, Clock::time_point now);
  void takeSoundConfig(AudioConfig config);

  LinkListener& listener_;
  LinkStreams& streams_;
  bool hasSound_ = false;  // a configuration has arrived
  std::uint64_t ignoredFrames_ = 0;
};

}  // namespace quorl::viewer
