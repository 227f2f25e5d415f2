// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <variant>
#include <vector>

#include <quorl-client/Recording/StreamRecording.h>

namespace quorl::viewer {

/// A recording that has ended. Its file is complete.
struct Recorded {
  enum class End : std::uint8_t {
    stopped,
    formatChanged,  // a file has one format
    tooSlow         // the disk did not follow
  };

  std::filesystem::path path;
  std::uint64_t pictures = 0;
  bool hasSound = false;
  End end = End::stopped;
};

/// Writes a stream to an MP4 file while it is watched, on a thread of its own, so that a slow disk delays no
/// picture. A disk that is more than `mostWaiting` behind ends the recording.
///
/// *Queue*: `take` and `stop` on any thread, never blocking. `ended` is called once, on the recorder's
/// thread. *Ownership*: shared by the window and the link. *Lifetime*: destruction finishes the file; not on
/// the recorder's thread.
class StreamRecorder {
 public:
  using Ended = std::function<void(const client::Outcome<Recorded>&)>;
  static constexpr std::size_t mostWaiting = std::size_t{64} << 20;  // bytes

  StreamRecorder(std::filesystem::path path, Ended ended);
  ~StreamRecorder();
  StreamRecorder(const StreamRecorder&) = delete;
  StreamRecorder& operator=(const StreamRecorder&) = delete;

  /// In the order of the stream: what started, the configuration, then pictures from a key frame on.
  void take(client::VideoEvent event);
  void take(client::SoundEvent event);
  void stop();

 private:
  using Event = std::variant<client::VideoEvent, client::SoundEvent>;

  void add(Event event, std::size_t size);
  void run();
  client::Outcome<Recorded::End> write();
  client::Outcome<void> writeOne(Event event, Recorded::End& end);

  const std::filesystem::path path_;
  const Ended ended_;
  client::StreamRecording recording_;  // on the thread

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> waiting_;
  std::size_t waitingSize_ = 0;
  bool isTooSlow_ = false;
  bool isStopped_ = false;
  std::thread thread_;
};

}  // namespace quorl::viewer
