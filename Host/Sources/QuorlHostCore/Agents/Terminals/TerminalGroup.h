// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/TerminalScripting.h>

namespace quorl {

/// Several kinds of terminal applications as one. A tab is looked up in the member that had it in the last
/// map, or in all members if none had it. A failure of one member hides no result of another. If two members
/// claim a tab, the first one gets it.
///
/// *Queue*: any thread, several at a time; the lock is not held while a member answers.
/// *Blocking*: as its members.
/// *Ownership*: shares its members.
class TerminalGroup final : public TerminalScripting {
 public:
  using Members = std::vector<std::shared_ptr<TerminalScripting>>;

  explicit TerminalGroup(Members members);

  std::map<std::string, TerminalKind> mapTerminals(const Report& report) override;
  std::optional<std::string> readContents(const std::string& tty, TerminalKind kind,
                                          const Report& report) override;
  void sendText(const std::string& tty, TerminalKind kind, const std::string& text, TextSubmission submission,
                const Report& report) override;
  void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) override;

 private:
  Members membersFor(const std::string& tty);

  const Members members_;
  std::mutex lock_;
  std::map<std::string, std::shared_ptr<TerminalScripting>> owners_;  // by terminal device
};

}  // namespace quorl
