// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include <QuorlKit/Protocol/InputEvents.h>

#include <quorl-viewer/Pointer/ScrollAccumulator.h>
#include <quorl-viewer/Pointer/Viewport.h>

namespace quorl::viewer {

/// Which pointer is seen. The protocol has no message for its shape, so either side draws it.
enum class PointerDrawing : std::uint8_t {
  here,    // this computer's, which follows the hand at once; the stream comes without one
  atHost,  // the host's, in the picture, with its shape and its delay; this computer's is hidden over the
           // view
};
constexpr bool streamShowsPointer(PointerDrawing drawing) {
  return drawing == PointerDrawing::atHost;
}
constexpr bool viewHidesPointer(PointerDrawing drawing) {
  return drawing == PointerDrawing::atHost;
}

enum class ScrollPhase : std::uint8_t { none, begin, update, end, momentum };

struct WheelInput {
  PointXY position;    // in points of the window
  int unitsX = 0;      // 120 a notch, positive to the left
  int unitsY = 0;      // positive up
  double pixelsX = 0;  // of a touchpad; if there are any, the units do not count
  double pixelsY = 0;
  ScrollPhase phase = ScrollPhase::none;
  bool isTransposed = false;  // the toolkit has exchanged the axes, as Qt does while Alt is held
};

/// Decides what the host gets for the pointer over the view. An event goes in, what to send comes out.
///
/// Positions outside the picture send nothing, except while a button is held that went down in it: then the
/// nearest place in the picture counts. Motion that stays on a place is not sent again.
///
/// *Queue*: pure; one thread at a time.
class PointerMachine {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Events = std::vector<InputEvent>;
  struct Clicks {
    std::chrono::milliseconds longestPause{400};
    double largestDistance = 5;  // in points of the window
  };

  PointerMachine() = default;
  explicit PointerMachine(Clicks clicks) : clicks_(clicks) {}

  /// Where the picture is now. Kept until the next call.
  void setViewport(const Viewport& viewport) { viewport_ = viewport; }
  /// Another stream: the buttons that were held in the old one end with it at the host.
  void setStream(std::uint32_t streamID);

  Events move(PointXY position, WireModifiers modifiers);
  /// The picture has moved under a pointer that rests.
  Events stay(WireModifiers modifiers);
  Events press(PointerButton button, PointXY position, WireModifiers modifiers, Time now);
  Events release(PointerButton button, PointXY position, WireModifiers modifiers);
  Events wheel(const WheelInput& wheel, WireModifiers modifiers);
  /// `magnification`: by how much the size grows with this step; 0.1 is a tenth.
  Events pinch(PointXY position, double magnification, ScrollPhase phase);
  /// When the focus goes, the grab ends or the screen mode changes.
  Events releaseAll(WireModifiers modifiers);

  bool isDragging() const { return !held_.empty(); }

 private:
  struct LastPress {
    PointerButton button;
    PointXY position;
    Time time;
    std::uint8_t count;
  };

  std::uint8_t countClick(PointerButton button, PointXY position, Time now);
  inputEvent::Pointer eventAt(Viewport::Place place, PointerPhase phase, WireModifiers modifiers) const;

  Clicks clicks_;
  Viewport viewport_;
  std::uint32_t streamID_ = 0;
  std::vector<PointerButton> held_;       // in the order of their presses
  std::optional<Viewport::Place> place_;  // sent last
  std::optional<PointXY> position_;       // of the last motion
  std::optional<LastPress> lastPress_;
  bool hadMomentum_ = false;
  ScrollAccumulator horizontal_;
  ScrollAccumulator vertical_;
};

}  // namespace quorl::viewer
