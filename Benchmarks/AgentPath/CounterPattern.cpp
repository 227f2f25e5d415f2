// SPDX-License-Identifier: GPL-3.0-or-later
#include "CounterPattern.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fstream>
#include <vector>

namespace quorl::bench {

namespace {

constexpr std::size_t writeSize = 65'536;

volatile sig_atomic_t isInterrupted = 0;
std::int64_t interruptedAt = 0;

void noteInterrupt(int) {
  if (isInterrupted != 0) return;
  interruptedAt = std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
  isInterrupted = 1;
}

bool writeAll(std::span<const char> bytes) {
  while (!bytes.empty()) {
    const auto count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (count <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

CounterPattern::CounterPattern() {
  line_.fill('0');
  line_.back() = '\n';
}

void CounterPattern::count() {
  for (std::size_t digit = lineSize - 1; digit-- > 0;) {
    char& value = line_[digit];
    if (value == 'f') {
      value = '0';
      continue;
    }
    value = value == '9' ? 'a' : static_cast<char>(value + 1);
    return;
  }
}

void CounterPattern::fill(std::span<char> bytes) {
  for (std::size_t at = 0; at + lineSize <= bytes.size(); at += lineSize) {
    std::memcpy(bytes.data() + at, line_.data(), lineSize);
    count();
  }
  position_ += bytes.size();
}

bool CounterPattern::matches(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const auto from = position_ % lineSize;
    const auto size = std::min(bytes.size(), lineSize - from);
    if (std::memcmp(bytes.data(), line_.data() + from, size) != 0) return false;
    position_ += size;
    bytes = bytes.subspan(size);
    if (position_ % lineSize == 0) count();
  }
  return true;
}

int generate(std::uint64_t size) {
  CounterPattern pattern;
  std::vector<char> buffer(writeSize);
  while (size > 0) {
    pattern.fill(buffer);
    const auto part = std::min<std::uint64_t>(size, buffer.size());
    if (!writeAll(std::span(buffer).first(part))) return 1;
    size -= part;
  }
  return 0;
}

int generateUntilInterrupted(const char* path) {
  struct sigaction action{};
  action.sa_handler = noteInterrupt;
  ::sigaction(SIGINT, &action, nullptr);
  CounterPattern pattern;
  std::vector<char> buffer(4096);
  while (isInterrupted == 0) {
    pattern.fill(buffer);
    if (!writeAll(buffer) && isInterrupted == 0) return 1;
  }
  std::ofstream(path) << interruptedAt << '\n';
  return 0;
}

}  // namespace quorl::bench
