// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

enum class PasteboardType : std::uint8_t {
  text,  // UTF-8
  png,   // ISO/IEC 15948
  tiff,  // TIFF 6.0
};

/// The clipboard of this login session.
///
/// *Queue*: any thread; calls may overlap. *Blocking*: `changeCount` returns a number that the adapter keeps.
/// The others may wait for the program that owns the content, within a limit of the adapter's; callers use
/// `Scheduler::blocking`. *Ownership*: shared. *Lifetime*: no call may run during the destruction.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  /// Changes whenever the content does, also by `replace`.
  virtual std::int64_t changeCount() = 0;

  /// The content in this form. Absent when the owner offers none, has more than `limit` bytes of it, or does
  /// not answer in time.
  virtual std::optional<Bytes> read(PasteboardType type, std::size_t limit) = 0;

  /// Makes this the only content. Returns the change count that belongs to it.
  virtual std::int64_t replace(PasteboardType type, Bytes content) = 0;
};

/// Conversion of pictures between file formats.
///
/// *Queue*: any thread. *Blocking*: computes for as long as the picture takes.
class ImageConverter {
 public:
  virtual ~ImageConverter() = default;

  /// Absent when the bytes are no TIFF that can be read.
  virtual std::optional<Bytes> pngFromTIFF(ByteView tiff) = 0;
};

}  // namespace quorl
