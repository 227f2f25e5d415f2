// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/Output.h>

#include <unistd.h>

#include <cerrno>

namespace quorl::client {
namespace {

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const auto count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Carriage return, then erase the line (ECMA-48, EL).
constexpr std::string_view eraseLine = "\r\x1b[K";

}  // namespace

StandardOutput::StandardOutput() : hasTerminal_(::isatty(STDERR_FILENO) == 1) {}

void StandardOutput::line(std::string_view text) {
  clearProgress();
  if (!writeAll(STDOUT_FILENO, std::string(text) + '\n')) isIntact_ = false;
}

void StandardOutput::bytes(std::string_view data) {
  clearProgress();
  if (!writeAll(STDOUT_FILENO, data)) isIntact_ = false;
}

bool StandardOutput::isTerminal() const {
  return ::isatty(STDOUT_FILENO) == 1;
}

void StandardOutput::note(std::string_view text) {
  clearProgress();
  writeAll(STDERR_FILENO, std::string(text) + '\n');
}

void StandardOutput::progress(std::string_view text) {
  if (!hasTerminal_) return;
  writeAll(STDERR_FILENO, std::string(eraseLine) + std::string(text));
  showsProgress_ = true;
}

void StandardOutput::clearProgress() {
  if (showsProgress_) writeAll(STDERR_FILENO, eraseLine);
  showsProgress_ = false;
}

}  // namespace quorl::client
