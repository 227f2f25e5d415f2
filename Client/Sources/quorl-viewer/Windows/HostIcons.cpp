// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/HostIcons.h>

#include <algorithm>

#include <QBuffer>
#include <QImageReader>

namespace quorl::viewer {

namespace {

constexpr int largestSide = 512;
constexpr int keptSide = 64;  // twice what a list shows
constexpr std::size_t mostIcons = 500;
constexpr int mostRequests = 5;

QIcon decoded(const Bytes& png) {
  QBuffer buffer;
  buffer.setData(reinterpret_cast<const char*>(png.data()), static_cast<qsizetype>(png.size()));
  QImageReader reader(&buffer, "PNG");
  // The size is read from the header, before any memory is taken for pixels.
  const QSize size = reader.size();
  if (!size.isValid() || size.width() > largestSide || size.height() > largestSide) return {};
  QImage image = reader.read();
  if (image.isNull()) return {};
  if (image.width() > keptSide || image.height() > keptSide)
    image = image.scaled(keptSide, keptSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
  return QPixmap::fromImage(image);
}

}  // namespace

bool HostIcons::take(const HostState& state) {
  bool hasNew = false;
  for (const auto& app : state.apps) {
    if (!app.iconPNG || icons_.contains(app.bundleID) || icons_.size() >= mostIcons) continue;
    hasNew = !(icons_[app.bundleID] = decoded(*app.iconPNG)).isNull() || hasNew;
  }
  return hasNew;
}

bool HostIcons::shouldAskAgain(const HostState& state) {
  const bool isComplete =
      std::ranges::all_of(state.apps, [](const RunningAppInfo& app) { return app.iconPNG.has_value(); });
  return !isComplete && asked_++ < mostRequests;
}

QIcon HostIcons::icon(const std::string& bundleID) const {
  const auto found = icons_.find(bundleID);
  return found == icons_.end() ? QIcon() : found->second;
}

}  // namespace quorl::viewer
