// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <string>

#include <QIcon>

#include <QuorlKit/Models/Models.h>

namespace quorl::viewer {

/// The icons of the host's applications. A picture that is not a small PNG is left out.
///
/// *Queue*: the GUI thread. *Ownership*: a value.
class HostIcons {
 public:
  /// True if an icon is new.
  bool take(const HostState& state);
  /// The host draws icons after the first list that needs them, so it is asked again, a few times.
  bool shouldAskAgain(const HostState& state);
  /// A null icon if there is none.
  QIcon icon(const std::string& bundleID) const;

 private:
  std::map<std::string, QIcon> icons_;
  int asked_ = 0;
};

}  // namespace quorl::viewer
