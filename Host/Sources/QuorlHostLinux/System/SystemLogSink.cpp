// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/SystemLogSink.h>

#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <fmt/format.h>

namespace quorl {

namespace {

constexpr const char* identifier = "quorl-host";
constexpr const char* journalSocket = "/run/systemd/journal/socket";

int priorityOf(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return LOG_DEBUG;
    case LogLevel::info:
      return LOG_INFO;
    case LogLevel::error:
      return LOG_ERR;
  }
  return LOG_ERR;
}

iovec pieceOf(const std::string& field) {
  return {const_cast<char*>(field.data()), field.size()};
}

}  // namespace

SystemLogSink::SystemLogSink() : hasJournal_(::access(journalSocket, W_OK) == 0) {
  if (!hasJournal_) ::openlog(identifier, LOG_PID, LOG_USER);
}

void SystemLogSink::write(LogLevel level, std::string_view category, std::string_view text) {
  if (!hasJournal_) {
    const std::string line = fmt::format("[{}] {}", category, text);
    ::syslog(priorityOf(level), "%s", line.c_str());
    return;
  }
  const std::string fields[] = {
      fmt::format("MESSAGE={}", text), fmt::format("PRIORITY={}", priorityOf(level)),
      fmt::format("SYSLOG_IDENTIFIER={}", identifier), fmt::format("QUORL_SUBSYSTEM={}", Log::subsystem),
      fmt::format("QUORL_CATEGORY={}", category)};
  const iovec pieces[] = {pieceOf(fields[0]), pieceOf(fields[1]), pieceOf(fields[2]), pieceOf(fields[3]),
                          pieceOf(fields[4])};
  ::sd_journal_sendv(pieces, std::size(pieces));
}

}  // namespace quorl
