// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Targets/TargetRows.h>

#include <algorithm>
#include <set>
#include <tuple>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>

namespace quorl::viewer {

namespace {

constexpr std::size_t longestTitle = 200;

}  // namespace

// Cuts between characters: bytes 10xxxxxx continue one.
std::string shortTitle(const std::string& title) {
  std::string result = client::printable(title);
  if (result.size() <= longestTitle) return result;
  std::size_t end = longestTitle;
  while (end > 0 && (static_cast<unsigned char>(result[end]) & 0xC0U) == 0x80U) --end;
  return result.substr(0, end) + "…";
}

namespace {

TargetRow rowOf(const DisplayInfo& display) {
  TargetRow row;
  row.kind = TargetRow::Kind::display;
  row.target = display.isMain ? StreamTarget(streamTarget::Unified{})
                              : StreamTarget(streamTarget::Display{display.id});
  row.title = display.isMain ? "Main display" : shortTitle(display.name.empty() ? "Display" : display.name);
  row.detail = fmt::format("{} x {}", display.pixelWidth, display.pixelHeight);
  return row;
}

TargetRow rowOf(const WindowInfo& window) {
  TargetRow row;
  row.kind = TargetRow::Kind::window;
  row.target = streamTarget::Window{window.id};
  row.title = shortTitle(window.title.empty() ? window.appName : window.title);
  if (!window.title.empty()) row.detail = shortTitle(window.appName);
  row.bundleID = window.appBundleID.value_or("");
  return row;
}

TargetRow rowOf(const RunningAppInfo& app) {
  TargetRow row;
  row.kind = TargetRow::Kind::application;
  row.target = streamTarget::App{app.bundleID};
  row.title = shortTitle(app.name.empty() ? app.bundleID : app.name);
  row.bundleID = app.bundleID;
  return row;
}

}  // namespace

std::vector<TargetRow> targetRows(const HostState& state) {
  std::vector<TargetRow> rows;
  for (const auto& display : state.displays)
    if (display.isMain) rows.push_back(rowOf(display));
  if (rows.empty()) rows.push_back({.target = streamTarget::Unified{}, .title = "Main display"});
  rows.resize(1);
  for (const auto& display : state.displays)
    if (!display.isMain) rows.push_back(rowOf(display));

  std::vector<const WindowInfo*> windows;
  std::set<std::string> withWindow;
  for (const auto& window : state.windows) {
    windows.push_back(&window);
    if (window.appBundleID) withWindow.insert(*window.appBundleID);
  }
  std::ranges::sort(windows, [](const WindowInfo* left, const WindowInfo* right) {
    return std::tie(right->isOnScreen, left->appName, left->id) <
           std::tie(left->isOnScreen, right->appName, right->id);
  });
  for (const auto* window : windows) rows.push_back(rowOf(*window));

  std::vector<TargetRow> applications;
  for (const auto& app : state.apps)
    if (withWindow.contains(app.bundleID)) applications.push_back(rowOf(app));
  std::ranges::sort(applications, [](const TargetRow& left, const TargetRow& right) {
    return std::tie(left.title, left.bundleID) < std::tie(right.title, right.bundleID);
  });
  rows.insert(rows.end(), applications.begin(), applications.end());
  return rows;
}

const TargetRow* findRow(const std::vector<TargetRow>& rows, const StreamTarget& target) {
  const auto found = std::ranges::find(rows, target, &TargetRow::target);
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace quorl::viewer
