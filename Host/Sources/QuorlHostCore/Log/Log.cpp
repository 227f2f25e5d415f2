// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Log/Log.h>

#include <cstdio>

#include <fmt/format.h>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

std::shared_ptr<LogSink>& currentSink() {
  static std::shared_ptr<LogSink> sink;
  return sink;
}

void writeToSystemLog(LogLevel level, std::string_view category, std::string_view line) {
  if (const auto& sink = currentSink()) sink->write(level, category, line);
}

// One write for the whole line: standard error is unbuffered, so the line is not split.
void mirrorToStandardError(std::string_view line) {
  const std::string whole = fmt::format("[quorl] {}\n", line);
  std::fwrite(whole.data(), 1, whole.size(), stderr);
}

bool isControl(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence.front());
  if (sequence.size() == 1) return first < 0x20 || first == 0x7F;
  if (sequence.size() == 2) return first == 0xC2 && static_cast<unsigned char>(sequence[1]) < 0xA0;
  return sequence == "\u2028" || sequence == "\u2029";
}

void appendEscaped(std::string& out, std::string_view sequence) {
  if (sequence == "\n") {
    out += "\\n";
  } else if (sequence == "\t") {
    out += "\\t";
  } else if (sequence == "\r") {
    out += "\\r";
  } else {
    for (const char byte : sequence) out += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
  }
}

}  // namespace

namespace Log {

void setSink(std::shared_ptr<LogSink> sink) {
  currentSink() = std::move(sink);
}

std::string escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const std::size_t valid = utf8SequenceLength(text);
    const std::string_view sequence = text.substr(0, valid == 0 ? 1 : valid);
    if (valid == 0 || isControl(sequence)) {
      appendEscaped(out, sequence);
    } else {
      out += sequence;
    }
    text.remove_prefix(sequence.size());
  }
  return out;
}

}  // namespace Log

void Logger::event(std::string_view text) const {
  const std::string line = Log::escaped(text);
  writeToSystemLog(LogLevel::info, category_, line);
  mirrorToStandardError(line);
}

void Logger::v(std::string_view text) const {
  if (!Log::verbose) return;
  const std::string line = Log::escaped(text);
  writeToSystemLog(LogLevel::debug, category_, line);
  mirrorToStandardError(line);
}

void Logger::debug(std::string_view text) const {
  writeToSystemLog(LogLevel::debug, category_, Log::escaped(text));
}

void Logger::info(std::string_view text) const {
  writeToSystemLog(LogLevel::info, category_, Log::escaped(text));
}

void Logger::error(std::string_view text) const {
  writeToSystemLog(LogLevel::error, category_, Log::escaped(text));
}

}  // namespace quorl
