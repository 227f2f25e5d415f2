// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

enum class PasteboardType : std::uint8_t {
  text,  // UTF-8
  png,   // ISO/IEC 15948
  tiff,  // TIFF 6.0
};

enum class PasteboardFailure : std::uint8_t {
  absent,      // there is no content in this form
  tooLarge,    // more bytes than the caller's limit
  unreadable,  // the owner did not answer in time, broke off, or was replaced meanwhile
};

/// The clipboard of this login session.
///
/// *Queue*: any thread; calls may overlap. Answers and the change handler are called on any thread, also
/// during the call itself, and must not block.
/// *Blocking*: never. The program that owns the content may be slow; the adapter limits how long it waits.
/// *Ownership*: shared.
/// *Lifetime*: no call may run during the destruction. Each answer is called once, except for answers that
/// are pending at the destruction, which are destroyed.
class Pasteboard {
 public:
  using ChangeHandler = std::function<void()>;
  using ReadAnswer = std::move_only_function<void(std::expected<Bytes, PasteboardFailure>)>;
  using CountAnswer = std::move_only_function<void(std::int64_t)>;

  virtual ~Pasteboard() = default;

  /// Calls `handler` after every change of the count. False where the platform has no notification: the
  /// caller compares the count from time to time.
  virtual bool setChangeHandler(ChangeHandler handler) = 0;

  /// Changes whenever the content does, also by `replace`.
  virtual std::int64_t changeCount() = 0;

  /// The content in this form, at most `limit` bytes.
  virtual void read(PasteboardType type, std::size_t limit, ReadAnswer answer) = 0;

  /// Makes this the only content. The answer is the change count that belongs to it.
  virtual void replace(PasteboardType type, Bytes content, CountAnswer answer) = 0;
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
