// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostCore/Menu/Model/LineBuffer.h>
#include <QuorlHostCore/Menu/Model/MenuMessages.h>
#include <QuorlUnix/Descriptor.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

namespace quorl::test {

/// The menu program, with a host that the test plays.
class Menu {
 public:
  explicit Menu(const XServer& desktop, const std::vector<std::string>& options = {},
                std::vector<std::string> environment = {}) {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    host_ = Descriptor(ends[0]);
    const Descriptor other(ends[1]);
    ::fcntl(host_.get(), F_SETFL, O_NONBLOCK);
    // The shell moves the passed descriptor to standard input.
    std::string command = "exec " QUORL_HOST_MENU_PROGRAM " 0<&7";
    for (const auto& option : options) command += " " + option;
    environment.push_back("DISPLAY=" + desktop.display());
    program_.emplace(
        std::vector<std::string>{"sh", "-c", command},
        HelperProgram::Options{.environment = std::move(environment), .passedDescriptor = other.get()});
  }

  bool receives(const MenuAction& action) {
    return eventually(
        [&] {
          read();
          return std::ranges::count(actions_, action) > 0;
        },
        std::chrono::seconds(30));
  }
  bool receivedAlready(const MenuAction& action) {
    read();
    return std::ranges::count(actions_, action) > 0;
  }
  void forget() { actions_.clear(); }
  void say(const MenuMessage& message) {
    const std::string line = menuLine(message);
    EXPECT_EQ(::send(host_.get(), line.data(), line.size(), MSG_NOSIGNAL), static_cast<ssize_t>(line.size()));
  }
  void show() {
    MenuSnapshot snapshot;
    snapshot.popover.emplace();
    snapshot.popover->title = "Quorl · workbench";
    snapshot.popover->pin = "314159";
    say(menuMessage::Snapshot{snapshot});
  }
  HelperProgram& program() { return *program_; }

 private:
  void read() {
    char buffer[4096];
    for (;;) {
      const ssize_t count = ::recv(host_.get(), buffer, sizeof buffer, 0);
      if (count <= 0) break;
      input_.append({buffer, static_cast<std::size_t>(count)});
    }
    while (const auto line = input_.next()) actions_.push_back(parseMenuAction(*line).value());
  }

  Descriptor host_;
  LineBuffer input_;
  std::vector<MenuAction> actions_;
  std::optional<HelperProgram> program_;
};

}  // namespace quorl::test
