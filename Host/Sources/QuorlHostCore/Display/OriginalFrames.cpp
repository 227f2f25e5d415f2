// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/OriginalFrames.h>

namespace quorl {

PointRect OriginalFrames::Window::hold(const PointRect& current) {
  ++holders_;
  if (!frame_) frame_ = current;
  return *frame_;
}

bool OriginalFrames::Window::release() {
  if (--holders_ > 0) return false;
  frame_.reset();
  return true;
}

std::shared_ptr<OriginalFrames::Window> OriginalFrames::of(std::uint32_t windowID) {
  std::lock_guard lock(mutex_);
  std::erase_if(windows_, [](const auto& entry) { return entry.second.expired(); });
  if (auto known = windows_[windowID].lock()) return known;
  auto made = std::make_shared<Window>();
  windows_[windowID] = made;
  return made;
}

}  // namespace quorl
