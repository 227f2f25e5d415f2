// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <QuorlHostLinux/Agents/RestList.h>
#include <QuorlHostLinux/Agents/TerminalMount.h>

namespace quorl {

/// The panes of the user's tmux servers. The socket identifies a server. A pane takes any bytes, so all are
/// of the kind `iterm`. While no server runs, only the socket folder is read and no program is started.
///
/// Each call of the tool is bounded in time. A server that did not answer is skipped for a while. Its panes
/// are not offered meanwhile, and have not gone.
///
/// *Queue*: any, also several at once; the lock is not held while a server answers.
class TmuxTerminals final : public TerminalScripting {
 public:
  struct Settings {
    std::string program;       // absolute; empty where there is none
    std::string socketFolder;  // one socket per server
    std::chrono::milliseconds limit = std::chrono::seconds(1);
    std::chrono::milliseconds rest = std::chrono::seconds(30);

    /// The program in PATH or in the usual folders, and the folder that tmux itself uses.
    static Settings ofThisUser();
  };

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
    std::string id;           // "%3"; tmux reuses no number
    bool isReachable = true;  // its server has listed it when asked last
  };
  struct Sockets {
    std::vector<std::string> answering;
    std::set<std::string> silent;  // of servers that exist and cannot be asked now
  };
  using Panes = std::map<std::string, Pane>;  // by terminal device
  enum class Lookup : std::uint8_t { known, fresh };
  enum class Answer : std::uint8_t { done, paneGone, failed };

  Sockets liveSockets();
  void refresh(const Report& report);
  std::optional<Pane> paneOf(const std::string& tty, Lookup lookup, const Report& report);
  Answer ask(const std::string& socket, std::vector<std::string> command, std::string& output,
             const Report& report);
  Answer type(const Pane& pane, ByteView bytes, const Report& report);

  const Settings settings_;
  const TerminalMount mount_{"/proc"};
  RestList rests_;
  std::mutex lock_;
  Panes panes_;
};

}  // namespace quorl
