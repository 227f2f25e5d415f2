// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/X11AccessibleWindow.h>

#include <cmath>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

constexpr std::chrono::milliseconds changeLimit{300};
constexpr std::chrono::milliseconds showLimit{1'000};

constexpr AccessibilityStatus done = 0;
constexpr AccessibilityStatus badValue = XCB_VALUE;
constexpr AccessibilityStatus badWindow = XCB_WINDOW;
constexpr AccessibilityStatus notImplemented = XCB_IMPLEMENTATION;

// Coordinates of the protocol have 16 bits.
constexpr double farthest = 32'767;

std::optional<int> pixelOf(double value, double least) {
  if (!(value >= least && value <= farthest)) return std::nullopt;
  return static_cast<int>(std::lround(value));
}

/// Waits until the server has carried out the requests.
void confirm(X11Connection& connection) {
  const XcbReply<xcb_get_input_focus_reply_t> carriedOut(
      xcb_get_input_focus_reply(connection.xcb(), xcb_get_input_focus(connection.xcb()), nullptr));
}

}  // namespace

std::optional<PointRect> X11AccessibleWindow::frame() {
  const auto answer = session_->ask(
      [session = session_.get(), window = window_](X11Connection& connection) -> std::optional<PointRect> {
        const auto place = findPlace(connection, window);
        if (!place) return std::nullopt;
        return pointsOf(place->visible, originOf(session->monitors(connection)));
      });
  return answer.value_or(std::nullopt);
}

std::optional<std::string> X11AccessibleWindow::title() {
  const auto answer =
      session_->ask([window = window_](X11Connection& connection) { return readTitle(connection, window); });
  return answer.value_or(std::nullopt);
}

std::optional<bool> X11AccessibleWindow::isMinimized() {
  const auto answer = session_->ask([window = window_](X11Connection& connection) -> std::optional<bool> {
    WindowRequests requests(connection);
    const auto view = look(connection, requests, window);
    if (!view) return std::nullopt;
    return view->isMinimized;
  });
  return answer.value_or(std::nullopt);
}

AccessibilityStatus X11AccessibleWindow::setSize(PointSize size) {
  const auto width = pixelOf(size.width, 1);
  const auto height = pixelOf(size.height, 1);
  if (!width || !height) return badValue;
  const PixelSize wanted{*width, *height};
  const auto isReached = [wanted](const View& view) {
    return view.place.visible.width == wanted.width && view.place.visible.height == wanted.height;
  };
  const auto before = view();
  if (!before) return noAnswer;
  if (!*before) return badWindow;
  if (!isReached(**before)) {
    if (const auto status = release(**before); status != done) return status;
    const auto status =
        change([window = window_, wanted](WindowRequests& requests,
                                          const View& view) { requests.resize(window, view.place, wanted); },
               isReached, changeLimit);
    if (status != done) return status;
  }
  return restore(session_->formerStates().requested(window_, wanted));
}

AccessibilityStatus X11AccessibleWindow::setPosition(PointXY position) {
  const auto x = pixelOf(position.x, -farthest);
  const auto y = pixelOf(position.y, -farthest);
  if (!x || !y) return badValue;
  const auto origin = session_->ask([session = session_.get()](X11Connection& connection) {
    return originOf(session->monitors(connection));
  });
  const auto before = view();
  if (!origin || !before) return noAnswer;
  if (!*before) return badWindow;
  const RootPosition wanted{*x + origin->x, *y + origin->y};
  const auto isReached = [wanted](const View& view) {
    return view.place.visible.x == wanted.x && view.place.visible.y == wanted.y;
  };
  if (!isReached(**before)) {
    if (const auto status = release(**before); status != done) return status;
    const auto status =
        change([window = window_, wanted](WindowRequests& requests,
                                          const View& view) { requests.move(window, view.place, wanted); },
               isReached, changeLimit);
    if (status != done) return status;
  }
  return restore(session_->formerStates().requested(window_, wanted));
}

AccessibilityStatus X11AccessibleWindow::setMinimized(bool minimized) {
  if (!minimized) return bringForward();
  const auto hasManager =
      session_->ask([](X11Connection& connection) { return hasWindowManager(connection); });
  if (!hasManager) return noAnswer;
  if (!*hasManager) return notImplemented;
  return change([window = window_](WindowRequests& requests, const View&) { requests.minimize(window); },
                [](const View& view) { return view.isMinimized; }, changeLimit);
}

AccessibilityStatus X11AccessibleWindow::bringForward() {
  const auto shown =
      change([window = window_](WindowRequests& requests, const View&) { requests.bringForward(window); },
             [](const View& view) { return view.place.isViewable && !view.isMinimized; }, showLimit);
  if (shown != done) return shown;
  // Some windows never become active, because their programs want no keyboard.
  return change([](WindowRequests&, const View&) {}, [](const View& view) { return view.isActive; },
                changeLimit);
}

AccessibilityStatus X11AccessibleWindow::release(const View& view) {
  if (!view.constrained.any()) return done;
  session_->formerStates().ended(window_, view.place.visible, view.constrained);
  // The state changes before the decoration and the size do, so reaching it is not the end of the wait.
  return change([window = window_](WindowRequests& requests, const View&) { requests.release(window); },
                [](const View&) { return false; }, changeLimit);
}

AccessibilityStatus X11AccessibleWindow::restore(const std::optional<ConstrainedState>& state) {
  if (!state) return done;
  return change([window = window_, state = *state](WindowRequests& requests,
                                                   const View&) { requests.constrain(window, state); },
                [state = *state](const View& view) { return view.constrained == state; }, changeLimit);
}

std::optional<std::optional<X11AccessibleWindow::View>> X11AccessibleWindow::view() {
  return session_->ask([window = window_](X11Connection& connection) {
    WindowRequests requests(connection);
    return look(connection, requests, window);
  });
}

std::optional<X11AccessibleWindow::View> X11AccessibleWindow::look(X11Connection& connection,
                                                                   WindowRequests& requests,
                                                                   std::uint32_t window) {
  const auto place = findPlace(connection, window);
  if (!place) return std::nullopt;
  return View{.place = *place,
              .constrained = requests.constrainedState(window),
              .isMinimized = requests.isMinimized(window),
              .isActive = requests.activeWindow() == window};
}

AccessibilityStatus X11AccessibleWindow::change(Change change, const Goal& goal,
                                                std::chrono::milliseconds limit) {
  std::uint64_t seen = session_->eventCount();
  auto view = session_->ask([change = std::move(change), window = window_](X11Connection& connection) {
    WindowRequests requests(connection);
    requests.watch(window);
    auto before = look(connection, requests, window);
    if (before) change(requests, *before);
    confirm(connection);
    return before;
  });
  ChangeWait wait(std::chrono::steady_clock::now(), limit);
  for (;;) {
    const auto now = this->view();
    if (!view || !now) return noAnswer;
    if (!*view || !*now) return badWindow;
    const auto compared = goal(**now)       ? ChangeWait::Seen::wanted
                          : **now == **view ? ChangeWait::Seen::unchanged
                                            : ChangeWait::Seen::otherwise;
    if (wait.isOver(compared, std::chrono::steady_clock::now())) break;
    view = now;
    session_->waitForEvent(seen, wait.end());
    seen = session_->eventCount();
  }
  session_->ask([window = window_](X11Connection& connection) {
    WindowRequests(connection).unwatch(window);
    return true;
  });
  return done;
}

}  // namespace quorl
