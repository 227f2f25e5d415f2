// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeLoginSessions.h>

namespace quorl::test {

void FakeConsole::handTo(std::optional<std::string> newUser) {
  user = std::move(newUser);
  for (const auto& observer : observers_) observer();
}

void FakeLoginSessions::observeConsoleUser(std::function<void()> changed) {
  console_->observers_.push_back(std::move(changed));
}

}  // namespace quorl::test
