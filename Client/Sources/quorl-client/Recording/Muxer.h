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

// Writes the pictures of a stream to an MP4 file (ISO/IEC 14496-14) as they are, without encoding again. The
// file grows beside its final name and takes it in `finish`; a muxer dropped before that leaves no file.
// Queue: one at a time. Ownership: the command's.
class Muxer {
 public:
  static Outcome<std::unique_ptr<Muxer>> create(const std::filesystem::path& path,
                                                const DecoderConfig& config, PixelSize size);
  ~Muxer();

  // Pictures before the first key frame are left out; presentation times become relative to it.
  Outcome<void> write(EncodedPicture picture);
  // `shown`: since the arrival of the first picture, so that the last one is held as long as it was seen.
  Outcome<void> finish(Clock::duration shown);

  std::uint64_t pictures() const { return pictures_; }

 private:
  struct File;
  explicit Muxer(std::filesystem::path path);
  Outcome<void> writePending(std::int64_t durationMicros);

  std::filesystem::path path_;
  std::filesystem::path temporary_;
  std::unique_ptr<File> file_;
  // A picture's duration is known when the next one comes.
  std::optional<EncodedPicture> pending_;
  std::int64_t pendingTime_ = 0;
  std::uint64_t firstPts_ = 0;
  std::uint64_t pictures_ = 0;
};

}  // namespace quorl::client
