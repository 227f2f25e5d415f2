// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <QuorlHostCore/Log/Log.h>

namespace quorl::test {

/// Records the lines of the system log during its lifetime.
///
/// *Queue*: the simulation's one thread.
class LogRecorder {
 public:
  struct Line {
    LogLevel level;
    std::string category;
    std::string text;

    bool operator==(const Line&) const = default;
  };

  LogRecorder() {
    struct Sink final : LogSink {
      explicit Sink(std::shared_ptr<std::vector<Line>> kept) : lines(std::move(kept)) {}
      void write(LogLevel level, std::string_view category, std::string_view text) override {
        lines->push_back({level, std::string(category), std::string(text)});
      }
      std::shared_ptr<std::vector<Line>> lines;
    };
    Log::setSink(std::make_shared<Sink>(lines_));
  }
  ~LogRecorder() { Log::setSink(nullptr); }

  const std::vector<Line>& lines() const { return *lines_; }
  std::size_t count(std::string_view text) const {
    return static_cast<std::size_t>(std::ranges::count(*lines_, text, &Line::text));
  }
  bool has(LogLevel level, std::string_view category, std::string_view text) const {
    return std::ranges::find(*lines_, Line{level, std::string(category), std::string(text)}) != lines_->end();
  }

 private:
  std::shared_ptr<std::vector<Line>> lines_ = std::make_shared<std::vector<Line>>();
};

}  // namespace quorl::test
