// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include <quorl-viewer/Recording/StreamRecorder.h>

namespace quorl::viewer {

/// Copies what a link receives to a recorder that may join in mid-stream: the newest formats are remembered,
/// and pictures begin with a key frame, which the caller requests.
///
/// *Queue*: any thread. *Ownership*: shares the recorder.
class RecordingTap {
 public:
  using Stream = std::uint32_t;

  /// Null ends the recording of any stream.
  void record(Stream stream, std::shared_ptr<StreamRecorder> recorder);

  /// The stream whose formats are remembered from now on. Before it starts.
  void watch(Stream stream);

  void take(Stream stream, const client::VideoEvent& event);
  /// Copied only while it is recorded.
  void take(Stream stream, const client::EncodedPicture& picture);
  void take(const client::SoundEvent& event);

 private:
  std::mutex mutex_;
  Stream known_ = 0;  // the stream of the two below
  std::optional<StreamStarted> started_;
  std::optional<client::DecoderConfig> config_;
  std::optional<AudioConfig> sound_;
  Stream recorded_ = 0;
  std::shared_ptr<StreamRecorder> recorder_;
};

}  // namespace quorl::viewer
