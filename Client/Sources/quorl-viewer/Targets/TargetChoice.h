// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <quorl-viewer/Settings/ViewerAddress.h>
#include <quorl-viewer/Targets/TargetRows.h>

namespace quorl::viewer {

/// Decides which target of the host is watched. A window is known by its title, because its number changes
/// with each start of its program: a window that is not there yet is watched when it appears.
///
/// *Queue*: pure; one thread at a time.
class TargetChoice {
 public:
  /// For a window that the host does not have.
  enum class Missing : std::uint8_t { waits, showsMainDisplay };

  /// Chosen by its number, from the list. Watched at once.
  void choose(const StreamTarget& target);
  /// Chosen without a number. What `target` returns then is watched at once.
  void want(const ViewTarget& wanted, Missing missing = Missing::waits);
  /// The host's list has come. True if `target` is another now and has to be watched.
  bool update(const std::vector<TargetRow>& rows);
  /// The target ended. A window is watched again when the host has another of its title.
  void ended();

  /// Nothing while a window is waited for.
  const std::optional<StreamTarget>& target() const { return target_; }
  /// The title of the window that is waited for.
  std::optional<std::string> waitsFor() const;
  /// To be remembered.
  const ViewTarget& wanted() const { return wanted_; }

 private:
  std::optional<StreamTarget> target_ = streamTarget::Unified{};
  ViewTarget wanted_ = viewTarget::MainDisplay{};
  std::optional<StreamTarget> ended_;  // still in the host's list
  Missing missing_ = Missing::waits;
};

}  // namespace quorl::viewer
