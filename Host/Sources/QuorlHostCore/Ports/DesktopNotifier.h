// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace quorl {

/// Shows short notes to the person at the machine.
///
/// *Queue*: any thread.
/// *Blocking*: none. A desktop that shows no notifications drops them.
/// *Lifetime*: a note that has not been sent at destruction is dropped.
class DesktopNotifier {
 public:
  virtual ~DesktopNotifier() = default;
  virtual void notify(const std::string& title, const std::string& text) = 0;
};

}  // namespace quorl
