// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/SSHQuestions.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Session/SSHTunnel.h>

namespace quorl::viewer {
namespace {

constexpr auto marker = "QUORL_VIEWER_ASKS";

enum class Terminal { none, inForeground, inBackground };

// A process in the background that reads from its terminal is stopped (SIGTTIN).
Terminal terminal() {
  const Descriptor tty(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
  if (!tty.isOpen()) return Terminal::none;
  return ::tcgetpgrp(tty.get()) == ::getpgrp() ? Terminal::inForeground : Terminal::inBackground;
}

}  // namespace

void askThrough(const std::filesystem::path& program) {
  const auto place = terminal();
  if (std::getenv("SSH_ASKPASS") != nullptr || place == Terminal::inForeground) return;
  std::vector<std::string> variables{"SSH_ASKPASS=" + program.string(), std::string(marker) + "=1"};
  // ssh asks so only where it finds no terminal and an X display, and this may be a Wayland desktop.
  if (place == Terminal::inBackground || std::getenv("DISPLAY") == nullptr)
    variables.emplace_back("SSH_ASKPASS_REQUIRE=force");
  client::setSSHVariables(std::move(variables));
}

std::optional<SSHQuestion> askedBySSH(const char* argument) {
  using Kind = SSHQuestion::Kind;
  if (argument == nullptr || std::getenv(marker) == nullptr) return std::nullopt;
  const char* variable = std::getenv("SSH_ASKPASS_PROMPT");
  const std::string_view hint = variable != nullptr ? variable : "";
  SSHQuestion question{Kind::secret, argument};
  if (hint == "confirm")
    question.kind = Kind::consent;
  else if (hint == "none")
    question.kind = Kind::notice;
  else if (question.text.contains("(yes/no"))
    question.kind = Kind::yesOrNo;
  return question;
}

std::optional<std::string> answerTo(const SSHQuestion& question, bool isAccepted, const std::string& secret) {
  switch (question.kind) {
    case SSHQuestion::Kind::secret:
      return isAccepted ? std::optional(secret + "\n") : std::nullopt;
    case SSHQuestion::Kind::yesOrNo:
      return isAccepted ? "yes\n" : "no\n";
    case SSHQuestion::Kind::consent:
    case SSHQuestion::Kind::notice:
      return isAccepted ? std::optional(std::string()) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace quorl::viewer
