// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include <QuorlHostLinux/X11/Windows/WindowFrame.h>
#include <QuorlHostLinux/X11/Windows/WindowRequests.h>

namespace quorl {

/// The states that a change of size or position has ended, such as maximised. A window that is then asked to
/// take its former frame again gets its former state too. Keeps the newest 64 windows.
///
/// *Queue*: any thread. *Blocking*: none.
class FormerStates {
 public:
  /// `visible`: the window's frame in that state.
  void ended(std::uint32_t window, const PixelRect& visible, const ConstrainedState& state);

  /// Notes the request. Returns the state once size and corner are those of the former frame, and forgets it.
  std::optional<ConstrainedState> requested(std::uint32_t window, PixelSize size);
  std::optional<ConstrainedState> requested(std::uint32_t window, RootPosition corner);

 private:
  struct Entry {
    std::uint32_t window;
    PixelRect visible;
    ConstrainedState state;
    bool isSize = false;    // the last size asked for is the former one
    bool isCorner = false;  // likewise
  };

  Entry* find(std::uint32_t window);
  std::optional<ConstrainedState> takeIfComplete(std::uint32_t window);

  std::mutex mutex_;
  std::deque<Entry> entries_;  // under mutex_; oldest first
};

}  // namespace quorl
