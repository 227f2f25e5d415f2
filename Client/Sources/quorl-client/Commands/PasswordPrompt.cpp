// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/PasswordPrompt.h>

#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

namespace quorl::client {
namespace {

constexpr auto timeToType = std::chrono::minutes(5);
constexpr std::size_t longestPassword = 4'096;

/// Turns the echo of a terminal off during its lifetime. Does nothing for other input.
class EchoOff {
 public:
  explicit EchoOff(int terminal) : terminal_(terminal) {
    if (::tcgetattr(terminal_, &before_) != 0) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    // The line feed that the person types still moves the cursor.
    silent.c_lflag |= ECHONL;
    isOff_ = ::tcsetattr(terminal_, TCSAFLUSH, &silent) == 0;
  }
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;
  ~EchoOff() {
    if (isOff_) ::tcsetattr(terminal_, TCSAFLUSH, &before_);
  }

 private:
  const int terminal_;
  termios before_{};
  bool isOff_ = false;
};

/// The characters read so far. The memory is reserved at once, so that no copy is left by growing.
class TypedLine {
 public:
  TypedLine() { text_.reserve(longestPassword); }
  ~TypedLine() { overwrite(text_); }
  bool add(char character) {
    if (text_.size() == longestPassword) return false;
    text_ += character;
    return true;
  }
  SecretText secret() const {
    return SecretText(text_.ends_with('\r') ? std::string_view(text_).substr(0, text_.size() - 1) : text_);
  }
  bool isEmpty() const { return text_.empty(); }

 private:
  std::string text_;
};

Outcome<SecretText> readSecretLine(CommandContext& context) {
  TypedLine line;
  const auto deadline = within(timeToType);
  for (;;) {
    pollfd descriptor{context.inputDescriptor, POLLIN, 0};
    const auto ready = context.waiter.wait({&descriptor, 1}, deadline);
    if (!ready) return std::unexpected(ready.error());
    if (*ready == Waiter::Ready::deadline) return failed(ExitCode::timedOut, "no password was typed");
    char character = 0;
    const auto count = ::read(context.inputDescriptor, &character, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0 && line.isEmpty()) return failed(ExitCode::usage, "no password was given");
    if (count <= 0 || character == '\n') return line.secret();
    if (!line.add(character)) return failed(ExitCode::usage, "the password is too long");
  }
}

}  // namespace

Outcome<SecretText> askPassword(CommandContext& context, std::string_view prompt) {
  if (context.inputDescriptor < 0)
    return failed(ExitCode::usage, "there is no terminal to ask for the password",
                  "Pass it on standard input.");
  const EchoOff silence(context.inputDescriptor);
  context.output.note(prompt);
  auto slowNotice = std::exchange(context.waiter.onSlow, nullptr);
  auto password = readSecretLine(context);
  context.waiter.onSlow = std::move(slowNotice);
  return password;
}

}  // namespace quorl::client
