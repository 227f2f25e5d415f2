// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CaptureEngine.h>

#include <algorithm>
#include <utility>

#include <xcb/xcb.h>

namespace quorl {

namespace {

/// Some programs turn displays off while they rearrange them. A display that is back within this time was not
/// removed.
constexpr std::chrono::milliseconds returnTime{1'000};

/// A window that was just brought back is mapped within this time.
constexpr std::chrono::milliseconds mapTime{2'000};

bool isSame(const CaptureFilter& a, const CaptureFilter& b) {
  if (a.index() != b.index()) return false;
  if (const auto* display = std::get_if<DisplayFilter>(&a)) {
    return display->displayID == std::get<DisplayFilter>(b).displayID;
  }
  if (const auto* window = std::get_if<WindowFilter>(&a)) {
    return window->windowID == std::get<WindowFilter>(b).windowID;
  }
  const auto& application = std::get<ApplicationFilter>(a);
  const auto& other = std::get<ApplicationFilter>(b);
  return application.displayID == other.displayID && application.pid == other.pid;
}

std::optional<SteadyTime> earlier(std::optional<SteadyTime> a, std::optional<SteadyTime> b) {
  if (!a) return b;
  return b ? std::min(*a, *b) : a;
}

/// Where a display is, in global points; empty for other filters.
PointRect placeOf(const CaptureFilter& filter, const std::vector<Monitor>& monitors) {
  const auto* wanted = std::get_if<DisplayFilter>(&filter);
  if (wanted == nullptr) return {};
  for (const auto& display : displaysOf(monitors))
    if (display.displayID == wanted->displayID) return display.bounds;
  return {};
}

}  // namespace

CaptureEngine::CaptureEngine(X11DisplayName displayName) {
  loop_ = std::make_unique<X11Loop>(std::move(displayName), "quorl-capture", *this);
}

// The loop is the last member and ends first. It is not reset: its thread uses the pointer to the end.
CaptureEngine::~CaptureEngine() = default;

void CaptureEngine::add(std::uint64_t id, const CaptureFilter& filter, const CaptureSettings& settings,
                        std::shared_ptr<StreamCallbacks> callbacks, std::shared_ptr<PictureRequests> requests,
                        CaptureStream::Completion completion) {
  loop_->post([this, id, filter, settings, callbacks = std::move(callbacks), requests = std::move(requests),
               completion = std::move(completion)]() mutable {
    auto shown = shownFor(filter);
    if (!shown) return callbacks->complete(std::move(completion), std::unexpected(shown.error()));
    auto& outlets = (*shown)->outlets;
    outlets.push_back(std::make_unique<CaptureOutlet>(id, settings, std::move(callbacks), std::move(requests),
                                                      loop_->waker()));
    const SteadyTime now = std::chrono::steady_clock::now();
    (*shown)->starts.push_back({outlets.back().get(), std::move(completion), now + mapTime});
    answerStarts(**shown, now);
    selectCursor();
  });
}

std::shared_ptr<PictureRequests> CaptureEngine::makeRequests() const {
  return std::make_shared<PictureRequests>(loop_->waker());
}

void CaptureEngine::update(std::uint64_t id, const CaptureSettings& settings,
                           std::shared_ptr<StreamCallbacks> callbacks, CaptureStream::Completion completion) {
  loop_->post([this, id, settings, callbacks = std::move(callbacks),
               completion = std::move(completion)]() mutable {
    CaptureOutlet* outlet = find(id);
    if (outlet == nullptr) {
      return callbacks->complete(std::move(completion), std::unexpected(PortError{"the capture has ended"}));
    }
    outlet->setSettings(settings);
    selectCursor();
    callbacks->complete(std::move(completion), {});
  });
}

void CaptureEngine::remove(std::uint64_t id) {
  loop_->post([this, id] {
    for (auto& shown : shown_) {
      std::erase_if(shown->starts, [id](const auto& start) { return start.outlet->id() == id; });
      std::erase_if(shown->outlets, [id](const auto& outlet) { return outlet->id() == id; });
    }
    dropUnused();
  });
}

void CaptureEngine::connected(X11Connection& connection) {
  connection_ = &connection;
  isCursorSelected_ = false;
  selectMonitorEvents(connection);
}

void CaptureEngine::handle(const void* event) {
  if (isMonitorEvent(event, *connection_)) {
    monitorsMayHaveChanged_ = true;
    return;
  }
  if (cursor_.handle(event, *connection_)) return;
  if (const auto scene = scene_.lock()) scene->windows.handle(event);
  for (auto& shown : shown_) {
    if (auto handled = shown->source->handle(event); !handled) end(*shown, handled.error());
  }
  dropUnused();
}

void CaptureEngine::monitorsChanged() {
  const auto monitors = readMonitors(*connection_);
  for (auto& shown : shown_) {
    if (auto kept = shown->source->monitorsChanged(monitors); !kept) {
      if (!shown->lost) shown->lost = {kept.error(), std::chrono::steady_clock::now() + returnTime};
      continue;
    }
    shown->lost.reset();
    const PointRect place = placeOf(shown->filter, monitors);
    if (std::exchange(shown->place, place) == place) continue;
    for (auto& outlet : shown->outlets) outlet->callbacks().placed(place);
  }
}

std::optional<SteadyTime> CaptureEngine::turn() {
  if (shown_.empty()) return std::nullopt;
  if (std::exchange(monitorsMayHaveChanged_, false)) monitorsChanged();
  const SteadyTime now = std::chrono::steady_clock::now();
  settle(now);
  fetch(now);
  std::optional<SteadyTime> next;
  for (auto& shown : shown_) next = earlier(next, turnOf(*shown, now));
  dropUnused();
  return next;
}

void CaptureEngine::settle(SteadyTime now) {
  for (auto& shown : shown_) {
    auto settled = shown->source->settle();
    // When the server has gone, the loop reports that.
    if (!settled && connection_->isAlive()) end(*shown, settled.error());
    if (settled) answerStarts(*shown, now);
  }
  dropUnused();
}

std::optional<SteadyTime> CaptureEngine::answerStarts(Shown& shown, SteadyTime now) {
  std::optional<SteadyTime> next;
  auto starts = std::exchange(shown.starts, {});
  for (auto& start : starts) {
    CaptureOutlet* outlet = start.outlet;
    if (shown.source->isShowing()) {
      outlet->callbacks().complete(std::move(start.completion), {});
      if (!shown.place.isEmpty()) outlet->callbacks().placed(shown.place);
    } else if (start.end <= now) {
      outlet->callbacks().complete(
          std::move(start.completion),
          std::unexpected(PortError{.description = "the window is not shown on the screen"}));
      std::erase_if(shown.outlets, [outlet](const auto& each) { return each.get() == outlet; });
    } else {
      next = earlier(next, start.end);
      shown.starts.push_back(std::move(start));
    }
  }
  return next;
}

std::optional<SteadyTime> CaptureEngine::turnOf(Shown& shown, SteadyTime now) {
  if (shown.lost) {
    if (shown.lost->end > now) return shown.lost->end;
    end(shown, shown.lost->error);
    return std::nullopt;
  }
  if (!shown.source->isShowing()) return answerStarts(shown, now);
  if (auto served = serve(shown, now); !served) {
    // When the server has gone, the loop reports that.
    if (connection_->isAlive()) end(shown, served.error());
    return std::nullopt;
  }
  return nextTurn(shown, now);
}

void CaptureEngine::lost() {
  for (auto& shown : shown_) end(*shown, {.description = "the display has gone"});
  shown_.clear();
  cursor_ = {};
  connection_ = nullptr;
}

std::shared_ptr<Scene> CaptureEngine::scene() {
  auto scene = scene_.lock();
  if (!scene) scene_ = scene = std::make_shared<Scene>(*connection_);
  return scene;
}

std::expected<std::unique_ptr<CaptureSource>, PortError> CaptureEngine::makeSource(
    X11Connection& connection, const CaptureFilter& filter) {
  if (const auto* display = std::get_if<DisplayFilter>(&filter)) {
    return makeDisplaySource(connection, display->displayID);
  }
  const auto shared = scene();
  if (!connection.extensions().composite.present || !shared->formats.isPresent()) {
    return std::unexpected(PortError{"the display cannot show a window alone (no COMPOSITE or no RENDER)"});
  }
  if (const auto* window = std::get_if<WindowFilter>(&filter)) {
    return makeWindowSource(connection, shared, window->windowID);
  }
  return makeApplicationSource(connection, shared, std::get<ApplicationFilter>(filter));
}

std::expected<CaptureEngine::Shown*, PortError> CaptureEngine::shownFor(const CaptureFilter& filter) {
  const auto connection = loop_->connection();
  if (!connection) return std::unexpected(connection.error());
  for (auto& shown : shown_) {
    if (isSame(shown->filter, filter)) return shown.get();
  }
  const auto& extensions = (*connection)->extensions();
  if (!extensions.damage.present || !extensions.xfixes.present) {
    return std::unexpected(PortError{"the display cannot be captured (no DAMAGE or no XFIXES)"});
  }
  auto source = makeSource(**connection, filter);
  if (!source) return std::unexpected(source.error());
  shown_.push_back(std::make_unique<Shown>(Shown{.filter = filter,
                                                 .source = std::move(*source),
                                                 .outlets = {},
                                                 .place = placeOf(filter, readMonitors(**connection))}));
  return shown_.back().get();
}

CaptureOutlet* CaptureEngine::find(std::uint64_t id) {
  for (auto& shown : shown_) {
    for (auto& outlet : shown->outlets) {
      if (outlet->id() == id) return outlet.get();
    }
  }
  return nullptr;
}

// All requests leave before the first wait: the pointer's position costs no round trip of its own. Outlets
// that take no picture now learn of a moved pointer too, so that they draw it later.
void CaptureEngine::fetch(SteadyTime now) {
  for (auto& shown : shown_) {
    shown->open.clear();
    if (shown->lost || !shown->source->isShowing()) continue;
    for (auto& outlet : shown->outlets) {
      if (outlet->isOpen(now)) shown->open.push_back(outlet.get());
    }
  }
  const bool isCursorNeeded = isCursorSelected_ && std::ranges::any_of(shown_, [this](const auto& each) {
                                return needsCursor(*each);
                              });
  if (isCursorNeeded) cursor_.request(*connection_);
  for (auto& shown : shown_) {
    if (shown->open.empty() || !shown->source->isDirty()) continue;
    ++grabs_;
    const DirtyRegion changed = shown->source->refresh();
    for (auto& outlet : shown->outlets) outlet->sourceChanged(changed);
  }
  cursor_.receive(*connection_);
  for (auto& shown : shown_) {
    if (!shown->source->isShowing()) continue;
    for (auto& outlet : shown->outlets) outlet->cursorChanged(cursor_, shown->source->area());
  }
}

bool CaptureEngine::needsCursor(const Shown& shown) const {
  const bool isDirty = shown.source->isDirty() || cursor_.mayHaveChanged();
  return std::ranges::any_of(shown.open, [isDirty](const auto* outlet) {
    return outlet->showsCursor() && (isDirty || outlet->hasPending());
  });
}

std::expected<void, PortError> CaptureEngine::serve(Shown& shown, SteadyTime now) {
  if (shown.open.empty()) return {};
  const PixelRect area = shown.source->area();
  SharedImage& image = shown.source->image();
  const auto deliverTo = [&](bool showingCursor) {
    for (auto* outlet : shown.open) {
      if (outlet->showsCursor() == showingCursor && outlet->hasPending()) outlet->deliver(image, now);
    }
  };
  deliverTo(false);
  const auto awaitsCursor = [](const auto* outlet) { return outlet->showsCursor() && outlet->hasPending(); };
  if (std::ranges::any_of(shown.open, awaitsCursor)) {
    image.awaitRows(cursor_.bounds().y + cursor_.bounds().height - area.y);
    cursor_.putOn(image.pixels(), image.stride(), area);
    deliverTo(true);
    cursor_.takeOff();
  }
  return shown.source->finish();
}

std::optional<SteadyTime> CaptureEngine::nextTurn(const Shown& shown, SteadyTime now) const {
  std::optional<SteadyTime> next;
  for (const auto& outlet : shown.outlets) {
    const bool isWaiting = outlet->hasPending() || shown.source->isDirty() ||
                           (outlet->showsCursor() && cursor_.mayHaveChanged());
    // An outlet whose interval has ended waits for a request or a free picture. Both wake the loop.
    if (!isWaiting || outlet->nextTurn() <= now) continue;
    if (!next || outlet->nextTurn() < *next) next = outlet->nextTurn();
  }
  return next;
}

void CaptureEngine::selectCursor() {
  const bool isWanted = std::ranges::any_of(shown_, [](const auto& shown) {
    return std::ranges::any_of(shown->outlets, [](const auto& outlet) { return outlet->showsCursor(); });
  });
  if (isWanted == isCursorSelected_ || connection_ == nullptr) return;
  isCursorSelected_ = isWanted;
  if (isWanted) {
    cursor_.select(*connection_);
  } else {
    cursor_.unselect(*connection_);
  }
}

void CaptureEngine::end(Shown& shown, const PortError& error) {
  for (auto& start : shown.starts) {
    CaptureOutlet* outlet = start.outlet;
    outlet->callbacks().complete(std::move(start.completion), std::unexpected(error));
    std::erase_if(shown.outlets, [outlet](const auto& each) { return each.get() == outlet; });
  }
  shown.starts.clear();
  for (auto& outlet : shown.outlets) outlet->callbacks().stopped(error);
  shown.outlets.clear();
}

void CaptureEngine::dropUnused() {
  std::erase_if(shown_, [](const auto& shown) { return shown->outlets.empty(); });
  selectCursor();
}

}  // namespace quorl
