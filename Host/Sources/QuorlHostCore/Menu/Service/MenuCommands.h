// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Menu/Model/MenuMessages.h>
#include <QuorlHostCore/Menu/Service/MenuReader.h>

namespace quorl {

/// Carries out what the person at the machine asks for, one after the other.
///
/// *Queue*: "quorl.menu.commands"; `run` from any thread.
/// *Blocking*: none; a slow disk delays only later commands.
class MenuCommands {
 public:
  MenuCommands(Scheduler& scheduler, MenuSources sources);

  /// `done` is called on the queue after the command. Actions that are not commands do nothing.
  void run(const MenuAction& action, std::function<void()> done) const;

  /// Stores the host's identity, so that the next start is not the first one.
  void storeIdentity() const;

 private:
  const SerialQueue queue_;
  const std::shared_ptr<const MenuSources> sources_;
};

}  // namespace quorl
