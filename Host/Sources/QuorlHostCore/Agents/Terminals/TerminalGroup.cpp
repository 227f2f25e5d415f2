// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/TerminalGroup.h>

#include <utility>

namespace quorl {

TerminalGroup::TerminalGroup(Members members) : members_(std::move(members)) {}

std::map<std::string, TerminalKind> TerminalGroup::mapTerminals(const Report& report) {
  std::map<std::string, TerminalKind> terminals;
  std::map<std::string, std::shared_ptr<TerminalScripting>> owners;
  for (const auto& member : members_)
    for (const auto& [tty, kind] : member->mapTerminals(report))
      if (owners.try_emplace(tty, member).second) terminals[tty] = kind;
  const std::lock_guard lock(lock_);
  owners_ = std::move(owners);
  return terminals;
}

TerminalGroup::Members TerminalGroup::membersFor(const std::string& tty) {
  const std::lock_guard lock(lock_);
  const auto owner = owners_.find(tty);
  return owner == owners_.end() ? members_ : Members{owner->second};
}

std::optional<std::string> TerminalGroup::readContents(const std::string& tty, TerminalKind kind,
                                                       const Report& report) {
  bool isGone = true;
  for (const auto& member : membersFor(tty)) {
    std::optional<std::string> contents = member->readContents(tty, kind, report);
    if (contents && !contents->empty()) return contents;
    if (!contents) isGone = false;
  }
  if (!isGone) return std::nullopt;
  return std::string();
}

// A member ignores terminals that are not its own, so at most one of them types.
void TerminalGroup::sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                             TextSubmission submission, const Report& report) {
  for (const auto& member : membersFor(tty)) member->sendText(tty, kind, text, submission, report);
}

void TerminalGroup::sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) {
  for (const auto& member : membersFor(tty)) member->sendRaw(tty, kind, bytes, report);
}

}  // namespace quorl
