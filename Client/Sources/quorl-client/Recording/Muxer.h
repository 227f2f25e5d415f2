// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include <QuorlKit/Foundation/Geometry.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Video/VideoReceiver.h>

namespace quorl::client {

/// Writes the pictures of a stream to an MP4 file (ISO/IEC 14496-14) without encoding them again. The file is
/// written as "NAME.part" and renamed in `finish`; a muxer destroyed before that leaves no file.
///
/// *Queue*: one at a time. *Blocking*: on the disk. *Ownership*: the command's.
class Muxer {
 public:
  static Outcome<std::unique_ptr<Muxer>> create(const std::filesystem::path& path,
                                                const DecoderConfig& config, PixelSize size);
  ~Muxer();

  /// Pictures before the first key frame are skipped; presentation times are relative to it.
  Outcome<void> write(EncodedPicture picture);
  /// `shown`: the time since the first picture arrived. It gives the last picture its duration.
  Outcome<void> finish(Clock::duration shown);

  std::uint64_t pictures() const { return pictures_; }

 private:
  struct File;
  explicit Muxer(std::filesystem::path path);
  Outcome<void> writePending(std::int64_t durationMicros);

  std::filesystem::path path_;
  std::filesystem::path temporary_;
  std::unique_ptr<File> file_;
  // The last picture: its duration is known when the next one arrives.
  std::optional<EncodedPicture> pending_;
  std::int64_t pendingTime_ = 0;
  std::uint64_t firstPts_ = 0;
  std::uint64_t pictures_ = 0;
};

}  // namespace quorl::client
