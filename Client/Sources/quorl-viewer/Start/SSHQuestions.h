// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace quorl::viewer {

/// A question of ssh: a passphrase, a password, or whether the key of an unknown computer is right. ssh asks
/// by starting the program that SSH_ASKPASS names with the question as its argument and reads the answer from
/// the program's output (ssh(1)). The viewer is that program where there is no terminal.
struct SSHQuestion {
  enum class Kind {
    secret,   // one line, not shown while it is typed
    yesOrNo,  // the word "yes" or "no"
    consent,  // the exit status: 0 agrees
    notice,   // no answer; ssh ends the program
  };

  Kind kind = Kind::secret;
  std::string text;  // parts of it may come from a server

  bool operator==(const SSHQuestion&) const = default;
};

/// Makes every ssh that this process starts ask through `program`, unless a terminal, with this process in
/// its foreground, or another program is there for it. Other programs that this process starts learn nothing
/// of it. *Queue*: before the first thread.
void askThrough(const std::filesystem::path& program);

/// The question that this process was started to ask. `argument`: its first one, or null.
std::optional<SSHQuestion> askedBySSH(const char* argument);

/// What ssh reads, or nothing to end with a failure, which ssh takes for no answer.
std::optional<std::string> answerTo(const SSHQuestion& question, bool isAccepted, const std::string& secret);

}  // namespace quorl::viewer
