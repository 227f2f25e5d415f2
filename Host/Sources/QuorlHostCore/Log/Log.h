// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quorl {

enum class LogLevel : std::uint8_t { debug, info, error };

/// The system log.
///
/// *Queue*: any thread, several at a time.
/// *Lifetime*: until the process ends.
class LogSink {
 public:
  virtual ~LogSink() = default;
  /// `text` is one line of valid UTF-8 without control characters or a final line feed.
  virtual void write(LogLevel level, std::string_view category, std::string_view text) = 0;
};

/// The log lines of one category. Text from peers, windows and files may be passed as it is: control
/// characters and invalid UTF-8 are escaped here. Secrets must not be passed.
///
/// *Queue*: any thread.
/// *Ownership*: none; a constant.
class Logger {
 public:
  constexpr explicit Logger(std::string_view category) : category_(category) {}

  /// For the few lines that a person who follows a session wants to see. Also written to standard error,
  /// always.
  void event(std::string_view text) const;
  /// Only with `Log::verbose`: at debug level to the system log, and to standard error.
  void v(std::string_view text) const;

  void debug(std::string_view text) const;
  void info(std::string_view text) const;
  void error(std::string_view text) const;

  constexpr std::string_view category() const { return category_; }

 private:
  std::string_view category_;
};

namespace Log {

inline constexpr std::string_view subsystem = "dev.vek.quorl.host";

/// Set once at the start, before there are other threads.
inline bool verbose = false;

inline constexpr Logger server{"server"};
inline constexpr Logger auth{"auth"};
inline constexpr Logger stream{"stream"};
inline constexpr Logger input{"input"};
inline constexpr Logger agent{"agent"};
inline constexpr Logger relay{"relay"};
inline constexpr Logger clipboard{"clipboard"};
inline constexpr Logger audio{"audio"};
inline constexpr Logger file{"file"};
inline constexpr Logger app{"app"};

/// The destination of lines besides standard error; without it they are written nowhere else. Set at the
/// start, before there are other threads, and by tests.
void setSink(std::shared_ptr<LogSink> sink);

/// One printable line: control characters (C0, DEL, C1, U+2028 and U+2029) become escapes, and bytes that are
/// not UTF-8 become "\xHH".
std::string escaped(std::string_view text);

}  // namespace Log

}  // namespace quorl
