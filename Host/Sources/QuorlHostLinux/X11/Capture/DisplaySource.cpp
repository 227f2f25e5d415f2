// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CaptureSource.h>

#include <algorithm>

#include <fmt/format.h>

namespace quorl {

namespace {

class DisplaySource final : public CaptureSource {
 public:
  DisplaySource(X11Connection& connection, std::uint32_t displayID)
      : connection_(connection), displayID_(displayID), mirror_(connection, connection.root()) {}

  std::expected<void, PortError> open() {
    const auto monitor = find(readMonitors(connection_));
    if (!monitor) return std::unexpected(PortError{fmt::format("there is no display {}", displayID_)});
    return show(*monitor);
  }

  std::expected<void, PortError> handle(const void* event) override {
    mirror_.handle(event);
    return {};
  }

  std::expected<void, PortError> monitorsChanged(const std::vector<Monitor>& monitors) override {
    const auto monitor = find(monitors);
    if (!monitor) return std::unexpected(PortError{"the display was removed"});
    return *monitor == monitor_ ? std::expected<void, PortError>{} : show(*monitor);
  }

  bool isDirty() const override { return mirror_.isDirty(); }
  DirtyRegion refresh() override { return mirror_.refresh(); }
  std::expected<void, PortError> finish() override { return mirror_.finish(); }
  PixelRect area() const override { return monitor_.bounds; }
  SharedImage& image() override { return mirror_.image(); }

 private:
  std::optional<Monitor> find(const std::vector<Monitor>& monitors) const {
    const auto found = std::ranges::find(monitors, displayID_,
                                         [](const auto& monitor) { return displayIDOf(monitor.name); });
    if (found == monitors.end()) return std::nullopt;
    return *found;
  }

  std::expected<void, PortError> show(Monitor monitor) {
    // A monitor may reach beyond the root, where no pixels can be read.
    const PixelSize root = connection_.rootSize();
    monitor.bounds = monitor.bounds.intersectionWith(PixelRect::of(root));
    if (monitor.bounds.isEmpty()) return std::unexpected(PortError{"the display shows nothing"});
    monitor_ = std::move(monitor);
    return mirror_.show(connection_.root(), monitor_.bounds);
  }

  X11Connection& connection_;
  std::uint32_t displayID_;
  Monitor monitor_;
  DamageMirror mirror_;
};

}  // namespace

std::expected<std::unique_ptr<CaptureSource>, PortError> makeDisplaySource(X11Connection& connection,
                                                                           std::uint32_t displayID) {
  auto source = std::make_unique<DisplaySource>(connection, displayID);
  if (auto opened = source->open(); !opened) return std::unexpected(opened.error());
  return source;
}

}  // namespace quorl
