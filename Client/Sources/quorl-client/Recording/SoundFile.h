// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>

#include <quorl-client/Sound/SoundTimeline.h>

namespace quorl::client {

/// Sound that is saved: in a file "NAME.wav" decoded, as linear PCM of 16 bits, or in a file "NAME.m4a" as
/// received. It starts with the first packet; pauses become silence. The file is written as "NAME.part" and
/// renamed in `finish`; without that no file is left.
///
/// *Queue*: one at a time. *Blocking*: on the disk. *Ownership*: the command's.
class SoundFile {
 public:
  /// Whether the name ends in ".wav" or ".m4a".
  static bool canBe(const std::filesystem::path& path);
  static Outcome<std::unique_ptr<SoundFile>> create(const std::filesystem::path& path,
                                                    const AudioConfig& config);

  virtual ~SoundFile() = default;
  /// `length`: of each packet.
  virtual Outcome<void> write(const PlacedSound& sound, Clock::duration length) = 0;
  virtual Outcome<void> finish() = 0;
};

}  // namespace quorl::client
