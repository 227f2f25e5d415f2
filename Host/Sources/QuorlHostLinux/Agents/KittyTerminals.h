// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <QuorlHostLinux/Agents/LocalExchange.h>
#include <QuorlHostLinux/Agents/RestList.h>
#include <QuorlHostLinux/Agents/TerminalMount.h>

namespace quorl {

/// The windows of the user's kitty instances. The remote-control socket identifies an instance. A window
/// takes any bytes, so all are of the kind `iterm`.
///
/// The environments of kitty's child processes name the sockets. A child has its environment only once its
/// kitty answers; a command line or a folder of sockets would not show that. The device of a window is that
/// of its process, which must descend from the listening process: process numbers of another namespace mean
/// other processes.
///
/// Each exchange is bounded in time and size. An instance that did not answer is skipped for a while. A
/// refusal is reported once per instance.
///
/// *Queue*: any, also several at once; the lock is not held while an instance answers.
class KittyTerminals final : public TerminalScripting {
 public:
  struct Settings {
    /// The processes on terminals whose parents may be kitty. While there are none, nothing else is read.
    std::function<std::vector<std::int32_t>()> children;
    std::chrono::milliseconds limit = std::chrono::seconds(1);
    std::chrono::milliseconds rest = std::chrono::seconds(30);
    std::size_t answerLimit = 1024 * 1024;  // above it, only the screen of a window is read
  };

  explicit KittyTerminals(Settings settings);

  std::map<std::string, TerminalKind> mapTerminals(const Report& report) override;
  std::optional<std::string> readContents(const std::string& tty, TerminalKind kind,
                                          const Report& report) override;
  void sendText(const std::string& tty, TerminalKind kind, const std::string& text, TextSubmission submission,
                const Report& report) override;
  void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) override;

 private:
  struct Window {
    std::string socket;
    pid_t server = 0;
    std::int64_t id = 0;
    pid_t child = 0;
    bool hasLongHistory = false;
  };
  using Windows = std::map<std::string, Window>;  // by terminal device
  enum class Lookup : std::uint8_t { known, fresh };
  enum class Answer : std::uint8_t { done, gone, tooLong, failed };
  struct Asked {
    Answer answer = Answer::failed;
    pid_t server = 0;
    std::string data;
  };

  std::set<std::string> socketsOf(const Windows& known) const;
  Windows windowsOn(const std::string& socket, const Windows& known, const Report& report);
  void refresh(const Report& report);
  std::optional<Window> windowOf(const std::string& tty, Lookup lookup, const Report& report);
  Asked ask(const std::string& socket, pid_t server, const std::string& request, const Report& report);
  Asked askText(const std::string& tty, Window& window, const Report& report);
  void complain(const std::string& socket, std::string_view what, const Report& report);

  const Settings settings_;
  const TerminalMount mount_{"/proc"};
  RestList rests_;
  std::mutex lock_;
  Windows windows_;
  std::set<std::string> complainedOf_;
};

}  // namespace quorl
