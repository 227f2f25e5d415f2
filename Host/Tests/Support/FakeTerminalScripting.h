// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/TerminalScripting.h>

namespace quorl::test {

/// Tabs set by a test. Typed text is recorded and changes no tab.
class FakeTerminalScripting final : public TerminalScripting {
 public:
  struct Typed {
    std::string tty;
    TerminalKind kind;
    std::string text;
    std::optional<TextSubmission> submission;  // absent for raw bytes

    bool operator==(const Typed&) const = default;
  };

  std::map<std::string, TerminalKind> terminals;
  std::map<std::string, std::string> contents;  // tabs not listed are gone
  std::optional<Failure> failure;               // the error of every call

  std::vector<Typed> typed;
  int calls = 0;

  std::map<std::string, TerminalKind> mapTerminals(const Report& report) override {
    return fails(report) ? std::map<std::string, TerminalKind>{} : terminals;
  }
  std::optional<std::string> readContents(const std::string& tty, TerminalKind,
                                          const Report& report) override {
    if (fails(report)) return std::nullopt;
    const auto found = contents.find(tty);
    return found == contents.end() ? std::string() : found->second;
  }
  void sendText(const std::string& tty, TerminalKind kind, const std::string& text, TextSubmission submission,
                const Report& report) override {
    if (!fails(report)) typed.push_back({tty, kind, text, submission});
  }
  void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) override {
    if (!fails(report)) typed.push_back({tty, kind, textOf(bytes), std::nullopt});
  }

 private:
  bool fails(const Report& report) {
    ++calls;
    if (failure) report(*failure);
    return failure.has_value();
  }
};

}  // namespace quorl::test
