// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/VideoFeed.h>

#include <charconv>
#include <cmath>
#include <utility>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Video/DecoderConfig.h>

namespace quorl::client {
namespace {

constexpr std::size_t maxEarlyPictures = 64;
constexpr std::size_t maxEarlyBytes = 16U << 20;
// Above the largest picture of H.264 and HEVC (8192 by 4320 at their highest levels, 16384 on one side).
constexpr std::int64_t maxSide = 16'384;
constexpr std::size_t maxRecord = 65'536;

std::string adviceFor(const WireError& error) {
  if (error.code == "stream.content")
    return "The host is not allowed to capture its screen: check its permissions.";
  if (error.code == "stream.target") return "'quorl_client info' lists displays, windows and applications.";
  if (error.code == "stream.limit") return "Stop another stream of this session first.";
  return "Try again, or choose another target.";
}

bool isFinite(const PointRect& rect) {
  return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
         std::isfinite(rect.size.height);
}

}  // namespace

ClientError streamFailure(const WireError& error) {
  return {ExitCode::failure,
          fmt::format("the host cannot show it: {} ({})", printable(error.message), printable(error.code)),
          adviceFor(error)};
}

std::optional<std::uint32_t> streamNamedBy(const WireError& error) {
  constexpr std::string_view prefix = "stream ";
  if (!error.code.starts_with("stream.") || !error.message.starts_with(prefix)) return std::nullopt;
  std::uint32_t id = 0;
  const char* const begin = error.message.data() + prefix.size();
  const auto [end, status] = std::from_chars(begin, error.message.data() + error.message.size(), id);
  if (status != std::errc() || end == begin) return std::nullopt;
  return id;
}

void VideoFeed::take(VideoPacket packet, Clock::time_point now) {
  if (packet.streamID != streamID_) return;
  videoBytes_ += packet.data.size();
  if (packet.flags.contains(VideoPacketFlags::codecConfig)) return takeConfig(std::move(packet.data));
  deliver({packet.flags.contains(VideoPacketFlags::keyframe), packet.ptsMicros, std::move(packet.data), now});
}

void VideoFeed::takeConfig(Bytes record) {
  const auto codec = record.size() <= maxRecord ? codecOfConfigRecord(record) : std::nullopt;
  if (!codec) return;
  hasConfig_ = true;
  events_.emplace_back(DecoderConfig{std::move(record), *codec});
  for (auto& picture : early_) events_.emplace_back(std::move(picture));
  early_.clear();
  earlyBytes_ = 0;
}

void VideoFeed::deliver(EncodedPicture picture) {
  if (awaitsKeyframe_ && !picture.isKeyframe) {
    ++droppedPictures_;
    return;
  }
  if (picture.isKeyframe) awaitsKeyframe_ = false;
  if (hasConfig_) {
    events_.emplace_back(std::move(picture));
  } else if (early_.size() < maxEarlyPictures && earlyBytes_ + picture.data.size() <= maxEarlyBytes) {
    earlyBytes_ += picture.data.size();
    early_.push_back(std::move(picture));
  }
}

void VideoFeed::take(const StreamStarted& started) {
  const auto isSide = [](std::int64_t side) { return side > 0 && side <= maxSide; };
  if (started.streamID != streamID_ || !isSide(started.pixelWidth) || !isSide(started.pixelHeight) ||
      !isFinite(started.contentRect))
    return;
  events_.emplace_back(started);
}

std::optional<VideoEvent> VideoFeed::next() {
  if (events_.empty()) return std::nullopt;
  std::optional<VideoEvent> event(std::move(events_.front()));
  events_.pop_front();
  return event;
}

void VideoFeed::lose() {
  if (!std::exchange(awaitsKeyframe_, true)) lastRequest_.reset();
}

bool VideoFeed::asksForKeyframe(Clock::time_point now) {
  if (lastRequest_ && now < *lastRequest_ + repeatAfter) return false;
  lastRequest_ = now;
  ++keyframeRequests_;
  return true;
}

std::optional<Clock::time_point> VideoFeed::nextTick() const {
  if (!awaitsKeyframe_) return std::nullopt;
  return lastRequest_ ? *lastRequest_ + repeatAfter : Clock::time_point::min();
}

}  // namespace quorl::client
