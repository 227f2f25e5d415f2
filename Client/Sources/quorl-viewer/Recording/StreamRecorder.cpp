// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Recording/StreamRecorder.h>

#include <chrono>
#include <utility>

namespace quorl::viewer {

namespace {

using client::Clock;
using client::Outcome;

// The file waits so long for sound; nothing else happens by time.
constexpr auto tickPause = std::chrono::milliseconds(250);

std::size_t sizeOf(const client::VideoEvent& event) {
  const auto* picture = std::get_if<client::EncodedPicture>(&event);
  return picture == nullptr ? 0 : picture->data.size();
}

std::size_t sizeOf(const client::SoundEvent& event) {
  const auto* packet = std::get_if<client::SoundPacket>(&event);
  return packet == nullptr ? 0 : packet->data.size();
}

}  // namespace

StreamRecorder::StreamRecorder(std::filesystem::path path, Ended ended)
    : path_(std::move(path)),
      ended_(std::move(ended)),
      recording_(path_, client::StreamRecording::Sound::wanted),
      thread_([this] { run(); }) {}

StreamRecorder::~StreamRecorder() {
  stop();
  thread_.join();
}

void StreamRecorder::take(client::VideoEvent event) {
  const auto size = sizeOf(event);
  add(std::move(event), size);
}

void StreamRecorder::take(client::SoundEvent event) {
  const auto size = sizeOf(event);
  add(std::move(event), size);
}

void StreamRecorder::add(Event event, std::size_t size) {
  const std::lock_guard lock(mutex_);
  if (isStopped_ || isTooSlow_) return;
  if (waitingSize_ + size > mostWaiting)
    isTooSlow_ = true;
  else
    waiting_.push_back(std::move(event));
  waitingSize_ += size;
  changed_.notify_one();
}

void StreamRecorder::stop() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  changed_.notify_one();
}

void StreamRecorder::run() {
  const auto end = write();
  if (!end) return ended_(std::unexpected(end.error()));
  const auto pictures = recording_.finish();
  if (!pictures) return ended_(std::unexpected(pictures.error()));
  ended_(Recorded{path_, *pictures, recording_.hasSound(), *end});
}

// Until the end; what came before it is written.
Outcome<Recorded::End> StreamRecorder::write() {
  auto end = Recorded::End::stopped;
  for (bool isOver = false; !isOver;) {
    std::vector<Event> events;
    {
      std::unique_lock lock(mutex_);
      const auto isDue = [this] { return !waiting_.empty() || isStopped_ || isTooSlow_; };
      changed_.wait_for(lock, tickPause, isDue);
      events.swap(waiting_);
      waitingSize_ = 0;
      isOver = isStopped_ || isTooSlow_;
      if (isTooSlow_) end = Recorded::End::tooSlow;
    }
    for (auto& event : events) {
      if (auto written = writeOne(std::move(event), end); !written) return std::unexpected(written.error());
      if (end == Recorded::End::formatChanged) return end;
    }
    if (auto ticked = recording_.tick(Clock::now()); !ticked) return std::unexpected(ticked.error());
  }
  return end;
}

Outcome<void> StreamRecorder::writeOne(Event event, Recorded::End& end) {
  if (auto* sound = std::get_if<client::SoundEvent>(&event)) return recording_.take(std::move(*sound));
  const auto verdict = recording_.take(std::get<client::VideoEvent>(std::move(event)));
  if (!verdict) return std::unexpected(verdict.error());
  if (*verdict == client::StreamRecording::Verdict::formatChanged) end = Recorded::End::formatChanged;
  return {};
}

}  // namespace quorl::viewer
