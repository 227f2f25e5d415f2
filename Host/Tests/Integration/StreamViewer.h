// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <Integration/RawClient.h>
#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <quorl-client/Video/Decoder.h>

namespace quorl::test {

/// A paired client that watches one stream: its announcements in their order, and its decoded pictures.
class StreamViewer {
 public:
  using Event = std::variant<StreamStarted, message::FitState, WireError>;

  explicit StreamViewer(std::uint16_t port) : client_(port) {}

  RawClient& client() { return client_; }
  void start(const StreamTarget& target, PointSize view = {});
  void stop();
  void send(const InputEvent& event);
  void fitToScreen(bool enabled);
  void updateLongestSide(std::int64_t pixels);

  /// The next announcement of the stream; pictures before it are decoded and dropped. Absent when none comes
  /// in time.
  std::optional<Event> nextEvent();
  /// The next start of a stream; absent when the stream fails instead.
  std::optional<StreamStarted> nextStarted();
  /// The next change of the fit.
  std::optional<bool> nextFit();
  /// The error that ends the stream.
  std::optional<WireError> nextError();
  /// Decodes pictures until one satisfies the condition. Announcements meanwhile are dropped.
  bool showsPicture(const std::function<bool(const client::DecodedPicture&)>& condition);

  static constexpr std::uint32_t streamID = 3;

 private:
  std::optional<Event> eventIn(const Frame& frame);
  std::vector<client::DecodedPicture> picturesIn(const Frame& frame);

  RawClient client_;
  client::Decoder decoder_;
};

}  // namespace quorl::test
