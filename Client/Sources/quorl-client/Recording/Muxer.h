// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include <QuorlKit/Foundation/Geometry.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Recording/MediaFile.h>
#include <quorl-client/Video/VideoReceiver.h>

namespace quorl::client {

/// Writes the pictures of a stream, and sound if wanted, to an MP4 file (ISO/IEC 14496-14) without encoding
/// them again. A muxer destroyed before `finish` leaves no file.
///
/// *Queue*: one at a time. *Blocking*: on the disk. *Ownership*: the command's.
class Muxer {
 public:
  static Outcome<std::unique_ptr<Muxer>> create(const std::filesystem::path& path,
                                                const DecoderConfig& config, PixelSize size,
                                                const std::optional<AudioConfig>& sound = std::nullopt);

  /// Pictures before the first key frame are skipped; presentation times are relative to it.
  Outcome<void> write(EncodedPicture picture);
  bool hasSound() const { return file_.hasSound(); }
  /// A packet of sound that begins at a time after the first picture. Sound before that, and sound that
  /// overlaps what was written, is skipped.
  Outcome<void> writeSound(ByteView packet, Clock::duration begin, Clock::duration length);
  /// `shown`: the time since the first picture arrived. It gives the last picture its duration.
  Outcome<void> finish(Clock::duration shown);

  std::uint64_t pictures() const { return pictures_; }

 private:
  explicit Muxer(const std::filesystem::path& path) : file_(path, MediaFile::Kind::mp4) {}
  Outcome<void> writePending(std::int64_t durationMicros);

  MediaFile file_;
  // The last picture: its duration is known when the next one arrives.
  std::optional<EncodedPicture> pending_;
  std::int64_t pendingTime_ = 0;
  std::uint64_t firstPts_ = 0;
  std::uint64_t pictures_ = 0;
  Clock::duration soundEnd_{};
};

}  // namespace quorl::client
