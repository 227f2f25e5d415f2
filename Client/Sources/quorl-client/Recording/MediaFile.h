// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>

#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Video/VideoReceiver.h>

namespace quorl::client {

/// A file of the ISO base media format (ISO/IEC 14496-12) with encoded pictures, encoded sound or both. It is
/// written as "NAME.part" and renamed in `finish`; without that no file is left.
///
/// *Queue*: one at a time. *Blocking*: on the disk. *Ownership*: the caller's.
class MediaFile {
 public:
  enum class Kind : std::uint8_t { mp4, m4a };

  MediaFile(std::filesystem::path path, Kind kind);
  MediaFile(const MediaFile&) = delete;
  MediaFile& operator=(const MediaFile&) = delete;
  ~MediaFile();

  /// Tracks are added before `begin`, at most one of each. Errors are reported by `begin`.
  void addPictures(const DecoderConfig& config, PixelSize size);
  void addSound(const AudioConfig& config);
  bool hasSound() const;
  Outcome<void> begin();

  /// Times are relative to the start of the file, and do not decrease within a track.
  struct Piece {
    ByteView data;
    std::chrono::nanoseconds begin{};
    std::chrono::nanoseconds end{};
    bool isKey = true;
  };
  Outcome<void> writePicture(const Piece& piece);
  Outcome<void> writeSound(const Piece& piece);

  Outcome<void> finish();

 private:
  struct File;
  std::unexpected<ClientError> cannotBeWritten(const std::string& why) const;
  Outcome<void> write(int track, const Piece& piece);

  std::filesystem::path path_;
  std::filesystem::path temporary_;
  std::unique_ptr<File> file_;
};

}  // namespace quorl::client
