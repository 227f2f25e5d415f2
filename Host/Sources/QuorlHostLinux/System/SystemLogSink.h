// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

/// The journal (systemd.journal-fields(7)) if it is available, else syslog(3). The journal's entries carry
/// the fields QUORL_SUBSYSTEM and QUORL_CATEGORY.
///
/// *Queue*: any thread.
class SystemLogSink final : public LogSink {
 public:
  SystemLogSink();
  void write(LogLevel level, std::string_view category, std::string_view text) override;

 private:
  const bool hasJournal_;
};

}  // namespace quorl
