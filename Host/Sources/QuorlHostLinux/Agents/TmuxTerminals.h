// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/TerminalScripting.h>

namespace quorl {

/// The panes of the user's tmux servers, each server by the socket it listens on. A pane takes any bytes, so
/// all are of the kind `iterm`. While no server runs, nothing is started: the socket folder is only looked
/// at.
///
/// Each call of the tool is bounded in time; a server that did not answer is left alone for a while, so that
/// one that hangs does not hold up the others at every look.
///
/// *Queue*: any, also several at once; the lock is not held while a server answers.
class TmuxTerminals final : public TerminalScripting {
 public:
  struct Settings {
    std::string program;       // absolute; empty where there is none
    std::string socketFolder;  // one socket a server
    std::chrono::milliseconds limit = std::chrono::seconds(1);
    std::chrono::milliseconds rest = std::chrono::seconds(30);

    /// The program in PATH or in the usual folders, and the folder that tmux itself uses.
    static Settings ofThisUser();
  };

  /// What a text holds at most: more than this cannot be compared with a later look anyhow.
  static constexpr std::size_t lineLimit = 512;

  explicit TmuxTerminals(Settings settings);

  std::map<std::string, TerminalKind> mapTerminals(const Report& report) override;
  std::optional<std::string> readContents(const std::string& tty, TerminalKind kind,
                                          const Report& report) override;
  void sendText(const std::string& tty, TerminalKind kind, const std::string& text, TextSubmission submission,
                const Report& report) override;
  void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) override;

 private:
  struct Pane {
    std::string socket;
    std::string id;  // "%3"; tmux gives no number twice
  };
  using Panes = std::map<std::string, Pane>;  // by terminal device
  enum class Lookup : std::uint8_t { known, fresh };
  enum class Answer : std::uint8_t { done, paneGone, failed };

  std::vector<std::string> liveSockets();
  bool isResting(const std::string& socket);
  void refresh(const Report& report);
  std::optional<Pane> paneOf(const std::string& tty, Lookup lookup, const Report& report);
  Answer ask(const std::string& socket, std::vector<std::string> command, std::string& output,
             const Report& report);
  Answer type(const Pane& pane, ByteView bytes, const Report& report);

  const Settings settings_;
  std::mutex lock_;
  Panes panes_;
  std::map<std::string, std::chrono::steady_clock::time_point> restingUntil_;
};

}  // namespace quorl
