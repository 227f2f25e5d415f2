// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Pictures/PicturePool.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace quorl {

namespace {

/// The alignment of rows, for SIMD code.
constexpr std::size_t alignment = 64;

std::size_t aligned(std::size_t value) {
  return (value + alignment - 1) / alignment * alignment;
}

struct FreeAligned {
  void operator()(std::uint8_t* memory) const { std::free(memory); }
};

}  // namespace

struct PicturePool::Picture final : PictureBuffer {
  explicit Picture(PixelSize pictureSize) {
    size = pictureSize;
    lumaStride = chromaStride = aligned(static_cast<std::size_t>(size.width));
    const std::size_t lumaLength = lumaStride * static_cast<std::size_t>(size.height);
    memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(alignment, aligned(lumaLength / 2 * 3))));
    if (!memory) throw std::bad_alloc();
    luma = memory.get();
    chroma = memory.get() + lumaLength;
  }
  PlanesView planes() const {
    return {memory.get(), lumaStride, memory.get() + (chroma - luma), chromaStride};
  }

  std::unique_ptr<std::uint8_t, FreeAligned> memory;
  std::atomic<bool> isFree{true};
};

struct PicturePool::Shared {
  std::vector<std::unique_ptr<Picture>> pictures;
  std::atomic<bool> isAwaited{false};
  std::function<void()> onAwaited;
};

PicturePool::PicturePool(PixelSize size, int count, std::function<void()> onAwaited)
    : shared_(std::make_shared<Shared>()), stale_(static_cast<std::size_t>(std::max(count, 1))) {
  for (auto& stale : stale_) {
    shared_->pictures.push_back(std::make_unique<Picture>(size));
    stale.add({0, 0, size.width, size.height});
  }
  shared_->onAwaited = std::move(onAwaited);
}

PicturePool::~PicturePool() = default;

void PicturePool::invalidate(const DirtyRegion& rects) {
  for (auto& stale : stale_) stale.add(rects);
}

bool PicturePool::hasFree() const {
  return std::ranges::any_of(shared_->pictures, [](const auto& picture) { return picture->isFree.load(); });
}

bool PicturePool::awaitFree() {
  shared_->isAwaited = true;
  // A picture released before the line above called no one.
  return !hasFree();
}

std::shared_ptr<const PictureBuffer> PicturePool::fill(const Fill& fill) {
  const auto& pictures = shared_->pictures;
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    if (!pictures[i]->isFree) continue;
    if (!best || stale_[i].area() < stale_[*best].area()) best = i;
  }
  if (!best) return nullptr;
  Picture& picture = *pictures[*best];
  fill(stale_[*best], picture.planes());
  stale_[*best].clear();
  picture.isFree = false;
  return {&picture, [shared = shared_](Picture* released) {
            released->isFree = true;
            if (shared->isAwaited.exchange(false)) shared->onAwaited();
          }};
}

}  // namespace quorl
