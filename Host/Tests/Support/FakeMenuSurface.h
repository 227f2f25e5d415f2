// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QuorlHostCore/Menu/Model/MenuMessages.h>
#include <QuorlHostCore/Ports/DesktopNotifier.h>
#include <QuorlHostCore/Ports/LoginItem.h>
#include <QuorlHostCore/Ports/MenuSurface.h>

namespace quorl::test {

/// A menu program that a test plays. Records what it is sent.
class FakeMenuSurface : public MenuSurface {
 public:
  void open(SerialQueue queue, Handlers handlers) override {
    queue_ = std::move(queue);
    handlers_ = std::move(handlers);
  }
  bool isDisplayReachable() override {
    ++probes;
    return hasDisplay;
  }
  void startProgram() override { ++starts; }
  void send(std::string line) override {
    line.pop_back();
    messages.push_back(parseMenuMessage(line).value());
  }
  void close() override { isClosed = true; }

  void say(const MenuAction& action) {
    std::string line = menuLine(action);
    line.pop_back();
    sayLine(std::move(line));
  }
  void sayLine(std::string line) {
    queue_->async([handlers = handlers_, line = std::move(line)] { handlers.received(line); });
  }
  void end() {
    queue_->async([handlers = handlers_] { handlers.ended("exit status 1"); });
  }
  void displayAppears() {
    hasDisplay = true;
    queue_->async([handlers = handlers_] { handlers.displayAppeared(); });
  }

  std::size_t snapshots() const {
    return static_cast<std::size_t>(std::ranges::count_if(messages, [](const auto& message) {
      return std::holds_alternative<menuMessage::Snapshot>(message);
    }));
  }
  /// The newest content of each window.
  std::optional<PopoverSnapshot> popover() const {
    std::optional<PopoverSnapshot> newest;
    for (const auto& message : messages)
      if (const auto* snapshot = std::get_if<menuMessage::Snapshot>(&message))
        if (snapshot->_0.popover) newest = snapshot->_0.popover;
    return newest;
  }
  std::optional<SetupSnapshot> setup() const {
    std::optional<SetupSnapshot> newest;
    for (const auto& message : messages)
      if (const auto* snapshot = std::get_if<menuMessage::Snapshot>(&message))
        if (snapshot->_0.setup) newest = snapshot->_0.setup;
    return newest;
  }
  template <class Message>
  bool wasSent() const {
    return std::ranges::any_of(messages,
                               [](const auto& message) { return std::holds_alternative<Message>(message); });
  }

  bool hasDisplay = true;
  int probes = 0;
  int starts = 0;
  bool isClosed = false;
  std::vector<MenuMessage> messages;

 private:
  std::optional<SerialQueue> queue_;
  Handlers handlers_;
};

class FakeLoginItem : public LoginItem {
 public:
  bool installed() const override { return isInstalled; }
  void install() override { isInstalled = true; }
  void uninstall() override { isInstalled = false; }

  bool isInstalled = false;
};

class FakeNotifier : public DesktopNotifier {
 public:
  void notify(const std::string& title, const std::string& text) override { notes.emplace_back(title, text); }

  std::vector<std::pair<std::string, std::string>> notes;
};

}  // namespace quorl::test
