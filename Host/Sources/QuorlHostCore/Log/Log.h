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
/// *Queue*: `write` is called from any thread, also from several at once. *Lifetime*: until the process ends.
class LogSink {
 public:
  virtual ~LogSink() = default;
  /// `text` is one line without control characters, valid UTF-8, no line feed at its end.
  virtual void write(LogLevel level, std::string_view category, std::string_view text) = 0;
};

/// The lines of one concern. Texts of peers, windows and files may go in as they are: control characters and
/// bytes that are no UTF-8 are escaped here. Nothing secret may go in.
///
/// *Queue*: any thread. *Ownership*: none, a constant.
class Logger {
 public:
  constexpr explicit Logger(std::string_view category) : category_(category) {}

  /// For the rare lines that a person who follows a session wants to see: also on standard error, always.
  void event(std::string_view text) const;
  /// Only with `Log::verbose`: to the system log at debug level and to standard error.
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

/// Set once at start, before any thread exists.
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

/// Where lines go besides standard error; without a sink they go nowhere. Set at start, before any thread
/// exists, and by tests.
void setSink(std::shared_ptr<LogSink> sink);

/// One printable line: control characters (C0, DEL, C1, U+2028 and U+2029) become
/// escapes, bytes that are no UTF-8 become "\xHH".
std::string escaped(std::string_view text);

}  // namespace Log

}  // namespace quorl
