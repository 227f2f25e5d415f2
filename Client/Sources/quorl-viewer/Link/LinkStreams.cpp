// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/LinkStreams.h>

#include <algorithm>
#include <ranges>
#include <utility>

namespace quorl::viewer {
namespace {

StreamConfig configFor(const WantedStream& wanted) {
  auto config = wanted.config;
  if (wanted.isHidden) config.maxFPS = LinkStreams::hiddenRate;
  return config;
}

}  // namespace

void LinkStreams::start(StreamKey key, WantedStream wanted, Clock::time_point now) {
  if (const auto found = streams_.find(key); found != streams_.end()) {
    if (isConnected_) send_(ControlMessage(message::StopStream{found->second.wireID}));
    retire(found->second);
    streams_.erase(found);
  }
  auto& stream = streams_[key];
  stream.wanted = std::move(wanted);
  if (isConnected_) request(stream, now);
}

void LinkStreams::request(Stream& stream, Clock::time_point now) {
  retire(stream);
  stream.wireID = ++lastWireID_;
  stream.feed = client::VideoFeed(stream.wireID);
  stream.hasStarted = false;
  stream.isNew = true;
  stream.requestedAt = now;
  StartStream start;
  start.streamID = stream.wireID;
  start.target = stream.wanted.target;
  start.config = configFor(stream.wanted);
  if (stream.wanted.view) {
    start.clientPointWidth = stream.wanted.view->width;
    start.clientPointHeight = stream.wanted.view->height;
  }
  send_(ControlMessage(message::StartStream{std::move(start)}));
}

void LinkStreams::stop(StreamKey key) {
  const auto found = streams_.find(key);
  if (found == streams_.end()) return;
  if (isConnected_) send_(ControlMessage(message::StopStream{found->second.wireID}));
  retire(found->second);
  streams_.erase(found);
  listener_.onStreamEnded(key, StreamEnd::stopped);
}

void LinkStreams::update(StreamKey key, const StreamConfig& config) {
  const auto found = streams_.find(key);
  if (found == streams_.end()) return;
  found->second.wanted.config = config;
  if (isConnected_)
    send_(ControlMessage(message::UpdateStream{{found->second.wireID, configFor(found->second.wanted)}}));
}

void LinkStreams::resize(StreamKey key, PointSize view) {
  const auto found = streams_.find(key);
  if (found == streams_.end() || found->second.wanted.view == view) return;
  found->second.wanted.view = view;
  if (isConnected_) send_(ControlMessage(message::ScreenInfo{found->second.wireID, view.width, view.height}));
}

void LinkStreams::setHidden(StreamKey key, bool isHidden, Clock::time_point now) {
  const auto found = streams_.find(key);
  if (found == streams_.end() || found->second.wanted.isHidden == isHidden) return;
  auto& stream = found->second;
  stream.wanted.isHidden = isHidden;
  if (!isConnected_) return;
  send_(ControlMessage(message::UpdateStream{{stream.wireID, configFor(stream.wanted)}}));
  if (isHidden) return;
  // The pictures that were dropped are references of the next ones.
  stream.feed.lose();
  askForKeyframe(stream, now);
}

void LinkStreams::requestKeyframe(StreamKey key, Clock::time_point now) {
  const auto found = streams_.find(key);
  if (found != streams_.end() && isConnected_) askForKeyframe(found->second, now);
}

void LinkStreams::askForKeyframe(Stream& stream, Clock::time_point now) {
  if (stream.feed.asksForKeyframe(now)) send_(ControlMessage(message::RequestKeyframe{stream.wireID}));
}

void LinkStreams::connected(Clock::time_point now) {
  isConnected_ = true;
  for (auto& [key, stream] : streams_) request(stream, now);
}

void LinkStreams::disconnected() {
  if (!std::exchange(isConnected_, false)) return;
  for (auto& [key, stream] : streams_) listener_.onStreamEnded(key, StreamEnd::interrupted);
}

std::optional<std::uint32_t> LinkStreams::wireID(StreamKey key) const {
  const auto found = streams_.find(key);
  if (found == streams_.end() || found->second.wireID == 0) return std::nullopt;
  return found->second.wireID;
}

std::optional<StreamKey> LinkStreams::keyOf(std::uint32_t wireID) const {
  if (wireID == 0) return std::nullopt;
  const auto found =
      std::ranges::find_if(streams_, [&](const auto& entry) { return entry.second.wireID == wireID; });
  return found != streams_.end() ? std::optional(found->first) : std::nullopt;
}

void LinkStreams::take(VideoPacket packet, Clock::time_point now) {
  const auto key = keyOf(packet.streamID);
  if (!key || !isConnected_) return;
  auto& stream = streams_[*key];
  if (stream.wanted.isHidden && !packet.flags.contains(VideoPacketFlags::codecConfig)) {
    ++past_.droppedPictures;
    past_.videoBytes += packet.data.size();
    return;
  }
  stream.feed.take(std::move(packet), now);
  deliver(*key, stream);
}

void LinkStreams::deliver(StreamKey key, Stream& stream) {
  while (auto event = stream.feed.next()) {
    if (const auto* started = std::get_if<StreamStarted>(&*event)) {
      stream.hasStarted = true;
      listener_.onStreamStarted(key, *started);
    } else if (auto* config = std::get_if<client::DecoderConfig>(&*event)) {
      listener_.onDecoderConfig(key, std::move(*config));
    } else if (auto* picture = std::get_if<client::EncodedPicture>(&*event)) {
      listener_.onPicture(key, std::move(*picture));
    }
  }
  if (stream.hasStarted && stream.feed.hasConfig()) stream.isNew = false;
}

bool LinkStreams::take(const ControlMessage& control) {
  if (const auto* started = std::get_if<message::StreamStarted>(&control)) {
    if (const auto key = keyOf(started->_0.streamID); key && isConnected_) {
      auto& stream = streams_[*key];
      stream.feed.take(started->_0);
      deliver(*key, stream);
    }
    return true;
  }
  const auto* error = std::get_if<message::Error>(&control);
  if (error == nullptr || !error->_0.code.starts_with("stream.")) return false;
  takeError(error->_0);
  return true;
}

void LinkStreams::takeError(const WireError& error) {
  auto key = std::optional<StreamKey>();
  if (const auto named = client::streamNamedBy(error)) {
    // A late error of a stream that was stopped names none of these.
    key = keyOf(*named);
  } else {
    // A refusal answers the newest request.
    const auto newest = std::ranges::max_element(
        streams_, {}, [](const auto& entry) { return entry.second.hasStarted ? 0 : entry.second.wireID; });
    if (newest != streams_.end() && !newest->second.hasStarted) key = newest->first;
  }
  if (key) fail(*key, client::streamFailure(error));
}

void LinkStreams::fail(StreamKey key, const client::ClientError& error) {
  retire(streams_[key]);
  streams_.erase(key);
  listener_.onStreamFailed(key, error);
}

void LinkStreams::retire(const Stream& stream) {
  past_.videoBytes += stream.feed.videoBytes();
  past_.keyframeRequests += stream.feed.keyframeRequests();
  past_.droppedPictures += stream.feed.droppedPictures();
}

void LinkStreams::addTo(LinkCounters& counters) const {
  counters.videoBytes += past_.videoBytes;
  counters.keyframeRequests += past_.keyframeRequests;
  counters.droppedPictures += past_.droppedPictures;
  for (const auto& stream : streams_ | std::views::values) {
    counters.videoBytes += stream.feed.videoBytes();
    counters.keyframeRequests += stream.feed.keyframeRequests();
    counters.droppedPictures += stream.feed.droppedPictures();
  }
}

void LinkStreams::lose(Clock::time_point now) {
  for (auto& stream : streams_ | std::views::values) {
    if (stream.wanted.isHidden) continue;
    stream.feed.lose();
    askForKeyframe(stream, now);
  }
}

std::optional<Clock::time_point> LinkStreams::due() const {
  if (!isConnected_) return std::nullopt;
  std::optional<Clock::time_point> due;
  const auto consider = [&](Clock::time_point time) { due = due ? std::min(*due, time) : time; };
  for (const auto& stream : streams_ | std::views::values) {
    if (stream.isNew) consider(stream.requestedAt + startPatience);
    if (const auto tick = stream.feed.nextTick(); tick && !stream.wanted.isHidden) consider(*tick);
  }
  return due;
}

void LinkStreams::tick(Clock::time_point now) {
  if (!isConnected_) return;
  std::optional<StreamKey> late;
  for (auto& [key, stream] : streams_) {
    if (const auto tick = stream.feed.nextTick(); tick && now >= *tick && !stream.wanted.isHidden)
      askForKeyframe(stream, now);
    if (stream.isNew && now >= stream.requestedAt + startPatience) late = key;
  }
  if (!late) return;
  send_(ControlMessage(message::StopStream{streams_[*late].wireID}));
  fail(*late, {client::ExitCode::timedOut, "the host did not begin to send pictures",
               "A minimised or hidden window sends none. Choose another target, or try again."});
}

}  // namespace quorl::viewer
