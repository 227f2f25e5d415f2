// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Targets/TargetChoice.h>

#include <algorithm>
#include <utility>

#include <quorl-client/Base/Printable.h>

namespace quorl::viewer {

namespace {

bool isWindow(const std::optional<StreamTarget>& target) {
  return target && std::holds_alternative<streamTarget::Window>(*target);
}

ViewTarget withoutNumber(const StreamTarget& target) {
  if (const auto* display = std::get_if<streamTarget::Display>(&target))
    return viewTarget::Display{display->id};
  if (const auto* app = std::get_if<streamTarget::App>(&target)) return viewTarget::App{app->bundleID};
  return viewTarget::MainDisplay{};
}

}  // namespace

void TargetChoice::choose(const StreamTarget& target) {
  target_ = target;
  ended_.reset();
  missing_ = Missing::waits;
  // The title of a window follows with the next list.
  wanted_ = isWindow(target_) ? ViewTarget(viewTarget::Window{}) : withoutNumber(target);
}

void TargetChoice::want(const ViewTarget& wanted, Missing missing) {
  wanted_ = wanted;
  ended_.reset();
  missing_ = missing;
  if (const auto* display = std::get_if<viewTarget::Display>(&wanted))
    target_ = streamTarget::Display{display->id};
  else if (const auto* app = std::get_if<viewTarget::App>(&wanted))
    target_ = streamTarget::App{app->bundleID};
  else if (std::holds_alternative<viewTarget::Window>(wanted))
    target_.reset();
  else
    target_ = streamTarget::Unified{};
}

bool TargetChoice::update(const std::vector<TargetRow>& rows) {
  auto* window = std::get_if<viewTarget::Window>(&wanted_);
  if (window == nullptr) return false;
  if (const auto* row = isWindow(target_) ? findRow(rows, *target_) : nullptr) {
    // Programs rename their windows, browsers with every page.
    window->title = row->title;
    return false;
  }
  if (ended_ && findRow(rows, *ended_) == nullptr) ended_.reset();
  // Rows of windows on the screen come first.
  const auto title = shortTitle(window->title);
  const auto found = std::ranges::find_if(rows, [&](const TargetRow& row) {
    return row.kind == TargetRow::Kind::window && row.title == title && row.target != ended_;
  });
  if (found != rows.end() && !title.empty()) {
    target_ = found->target;
    ended_.reset();
    missing_ = Missing::waits;
    return true;
  }
  if (target_ || missing_ == Missing::waits) return false;
  choose(streamTarget::Unified{});
  return true;
}

void TargetChoice::ended() {
  const auto* window = std::get_if<viewTarget::Window>(&wanted_);
  if (window != nullptr && !window->title.empty()) ended_ = std::exchange(target_, std::nullopt);
}

std::optional<std::string> TargetChoice::waitsFor() const {
  const auto* window = std::get_if<viewTarget::Window>(&wanted_);
  if (target_ || window == nullptr) return std::nullopt;
  return shortTitle(window->title);
}

}  // namespace quorl::viewer
