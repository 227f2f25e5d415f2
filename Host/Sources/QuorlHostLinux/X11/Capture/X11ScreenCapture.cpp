// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/X11ScreenCapture.h>

#include <algorithm>

#include <fmt/format.h>

#include <QuorlHostLinux/Applications/ApplicationNames.h>
#include <QuorlHostLinux/X11/Capture/CaptureEngine.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

namespace {

/// In pixels. Larger pictures are refused: no encoder takes them, and they cost memory.
constexpr int largestSide = 16'384;

std::expected<void, PortError> checked(const CaptureSettings& settings) {
  const auto isGood = [](int side) { return side >= 2 && side <= largestSide && side % 2 == 0; };
  if (isGood(settings.size.width) && isGood(settings.size.height)) return {};
  return std::unexpected(PortError{
      fmt::format("pictures of {} x {} cannot be made", settings.size.width, settings.size.height)});
}

class X11CaptureStream final : public CaptureStream {
 public:
  X11CaptureStream(std::shared_ptr<CaptureEngine> engine, const CaptureFilter& filter,
                   const CaptureSettings& settings, std::shared_ptr<StreamCallbacks> callbacks)
      : engine_(std::move(engine)),
        id_(engine_->makeID()),
        filter_(filter),
        settings_(settings),
        callbacks_(std::move(callbacks)),
        requests_(engine_->makeRequests()) {}
  ~X11CaptureStream() override { end(); }
  X11CaptureStream(const X11CaptureStream&) = delete;
  X11CaptureStream& operator=(const X11CaptureStream&) = delete;

  void start(Completion completion) override {
    engine_->add(id_, filter_, settings_, callbacks_, requests_, std::move(completion));
  }
  void updateSettings(const CaptureSettings& settings, Completion completion) override {
    if (auto good = checked(settings); !good) {
      return callbacks_->complete(std::move(completion), std::unexpected(good.error()));
    }
    engine_->update(id_, settings, callbacks_, std::move(completion));
  }
  void requestPicture() override { requests_->add(); }
  void stop() override { end(); }

 private:
  void end() {
    callbacks_->silence();
    engine_->remove(id_);
  }

  std::shared_ptr<CaptureEngine> engine_;
  std::uint64_t id_;
  CaptureFilter filter_;
  CaptureSettings settings_;
  std::shared_ptr<StreamCallbacks> callbacks_;
  std::shared_ptr<PictureRequests> requests_;
};

}  // namespace

/// Answers queries about content and geometry, on a thread and a connection of its own.
class X11ScreenCapture::Contents final : public X11Loop::Client {
 public:
  explicit Contents(X11DisplayName displayName) {
    loop_ = std::make_unique<X11Loop>(std::move(displayName), "quorl-contents", *this);
  }

  void answer(ContentAnswer answer) {
    loop_->post([this, answer = std::move(answer)]() mutable { answer(read()); });
  }

  void measure(const CaptureFilter& filter, GeometryAnswer answer) {
    loop_->post([this, filter, answer = std::move(answer)]() mutable { answer(geometryOf(filter)); });
  }

 private:
  void connected(X11Connection& /*connection*/) override {}
  void handle(const void* /*event*/) override {}
  std::optional<SteadyTime> turn() override { return std::nullopt; }
  void lost() override {}

  ShareableContent read() {
    ShareableContent content;
    const auto connection = loop_->connection();
    if (!connection) return content;
    const auto monitors = readMonitors(**connection);
    content.displays = displaysOf(monitors);
    names_.refresh();
    for (const auto& window : readWindows(**connection)) {
      if (window.kind == WindowKind::desktop) continue;
      const auto identity = names_.identify({.className = window.windowClass.name,
                                             .instanceName = window.windowClass.instance,
                                             .applicationID = window.applicationID},
                                            window.pid);
      content.windows.push_back({.windowID = window.window,
                                 .pid = window.pid,
                                 .title = window.title,
                                 .bundleID = identity.bundleID,
                                 .appName = identity.name,
                                 .frame = pointsOf(window.place.visible, originOf(monitors)),
                                 .isOnScreen = window.isOnScreen(),
                                 .layer = layerOf(window.kind)});
      // Of several processes of one application (two terminals) the one that is furthest in front.
      const bool isKnown = std::ranges::any_of(
          content.applications, [&](const auto& known) { return known.bundleID == identity.bundleID; });
      if (window.isRegular() && window.pid > 0 && !isKnown) {
        content.applications.push_back({identity.bundleID, identity.name, window.pid});
      }
    }
    return content;
  }

  std::expected<FilterGeometry, PortError> geometryOf(const CaptureFilter& filter) {
    const auto connection = loop_->connection();
    if (!connection) return std::unexpected(connection.error());
    if (const auto* window = std::get_if<WindowFilter>(&filter)) {
      const auto place = findPlace(**connection, window->windowID);
      if (!place) return std::unexpected(PortError{fmt::format("there is no window {}", window->windowID)});
      return FilterGeometry{pointsOf(place->visible, {}).size, 1.0};
    }
    const auto* application = std::get_if<ApplicationFilter>(&filter);
    const auto displayID =
        application != nullptr ? application->displayID : std::get<DisplayFilter>(filter).displayID;
    const auto displays = displaysOf(readMonitors(**connection));
    const auto display = std::ranges::find(displays, displayID, &ShareableDisplay::displayID);
    if (display == displays.end())
      return std::unexpected(PortError{fmt::format("there is no display {}", displayID)});
    PixelRect windows;
    if (application != nullptr)
      for (const auto& window : readOrdinaryWindows(**connection, application->pid))
        if (window.isOnScreen()) windows = windows.unionWith(window.place.visible);
    return FilterGeometry{windows.isEmpty() ? display->bounds.size : pointsOf(windows, {}).size,
                          display->pixelScale};
  }

  ApplicationNames names_;
  std::unique_ptr<X11Loop> loop_;
};

X11ScreenCapture::X11ScreenCapture(X11DisplayName displayName)
    : contents_(std::make_unique<Contents>(displayName)),
      engine_(std::make_shared<CaptureEngine>(std::move(displayName))) {}

X11ScreenCapture::~X11ScreenCapture() = default;

void X11ScreenCapture::shareableContent(ContentAnswer answer) {
  contents_->answer(std::move(answer));
}

void X11ScreenCapture::geometry(const CaptureFilter& filter, GeometryAnswer answer) {
  contents_->measure(filter, std::move(answer));
}

std::expected<std::unique_ptr<CaptureStream>, PortError> X11ScreenCapture::makeStream(
    const CaptureFilter& filter, const CaptureSettings& settings, SerialQueue queue,
    CaptureStream::Handlers handlers) {
  if (auto good = checked(settings); !good) return std::unexpected(good.error());
  return std::make_unique<X11CaptureStream>(
      engine_, filter, settings, std::make_shared<StreamCallbacks>(std::move(queue), std::move(handlers)));
}

std::uint64_t X11ScreenCapture::captureWakeups() const {
  return engine_->wakeups();
}

std::uint64_t X11ScreenCapture::captureGrabs() const {
  return engine_->grabs();
}

}  // namespace quorl
