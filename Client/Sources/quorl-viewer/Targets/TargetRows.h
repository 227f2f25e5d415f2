// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QuorlKit/Models/Models.h>

namespace quorl::viewer {

/// Something that can be watched, as a list shows it. Texts are printable and short.
struct TargetRow {
  enum class Kind : std::uint8_t { display, window, application };

  Kind kind = Kind::display;
  StreamTarget target;
  std::string title;
  std::string detail;    // the application of a window, the size of a display; may be empty
  std::string bundleID;  // whose icon it has; may be empty

  bool operator==(const TargetRow&) const = default;
};

/// The targets of a host: the main display, the other displays, then windows and applications by name.
/// Windows that are not on the screen come last. Applications without a window are left out.
std::vector<TargetRow> targetRows(const HostState& state);

/// A title of the host as a list shows it: printable and short.
std::string shortTitle(const std::string& title);

/// The row of a target. Nothing if it is gone.
const TargetRow* findRow(const std::vector<TargetRow>& rows, const StreamTarget& target);

}  // namespace quorl::viewer
