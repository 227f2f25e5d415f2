// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostLinux/Pictures/DirtyRegion.h>
#include <QuorlHostLinux/Pictures/FrameConverter.h>

namespace quorl {

/// The pictures of one stream, which are reused. Each records what changed since it was last filled, so that
/// only these parts are written again.
///
/// *Queue*: one thread; a picture handed out may be released on any thread, where `onAwaited` may then run.
/// *Ownership*: a picture's memory lives until both the pool and its last user are done with it.
class PicturePool {
 public:
  PicturePool(PixelSize size, int count, std::function<void()> onAwaited);
  ~PicturePool();
  PicturePool(const PicturePool&) = delete;
  PicturePool& operator=(const PicturePool&) = delete;

  /// Notes that these rectangles of the picture have changed.
  void invalidate(const DirtyRegion& rects);

  bool hasFree() const;
  /// Makes the next release of a picture call `onAwaited`, once. Returns false when one is free already.
  bool awaitFree();

  using Fill = std::function<void(const DirtyRegion& rects, const PlanesView& planes)>;
  /// Fills the free picture with the least to write. Nothing when none is free.
  std::shared_ptr<const PictureBuffer> fill(const Fill& fill);

 private:
  struct Picture;
  struct Shared;

  std::shared_ptr<Shared> shared_;
  std::vector<DirtyRegion> stale_;  // of each picture
};

}  // namespace quorl
