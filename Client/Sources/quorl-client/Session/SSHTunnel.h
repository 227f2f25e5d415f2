// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Base/Waiter.h>
#include <quorl-client/Session/SSHFailure.h>

namespace quorl::client {

/// The arguments of ssh(1) for a tunnel to the host's session port, after the program's name.
/// `configuration`: what "ssh -G" printed. Options that the person has configured are left alone.
std::vector<std::string> sshTunnelArguments(const HostAddress& address, Questions questions,
                                            std::string_view configuration);

/// Variables ("NAME=value") that every ssh of this process gets from now on, before those of the environment,
/// and no other program. *Queue*: before the first thread.
void setSSHVariables(std::vector<std::string> variables);
const std::vector<std::string>& sshVariables();

/// A running "ssh -W": its standard input and output are one end of a socket pair, whose other end is the
/// connection to the host. ssh asks its questions itself, on the terminal or with SSH_ASKPASS.
///
/// *Queue*: one thread. *Blocking*: `start`, at most until the deadline; `failure`, at most a second.
/// *Lifetime*: the destructor ends ssh and reaps it, within about a second.
class SSHTunnel {
 public:
  static Outcome<std::unique_ptr<SSHTunnel>> start(const HostAddress& address, Questions questions,
                                                   Waiter& waiter, Deadline deadline);
  ~SSHTunnel();
  SSHTunnel(const SSHTunnel&) = delete;
  SSHTunnel& operator=(const SSHTunnel&) = delete;

  /// The connection to the host, non-blocking. The caller closes it before the tunnel is destroyed.
  Descriptor takeSocket() { return std::move(socket_); }

  /// Readable when ssh has written to its standard error; -1 after its end.
  int errors() const { return errors_.get(); }
  void readErrors();
  /// Passes lines of standard error on to this process's, until `stopShowing`. A line waits for a moment,
  /// because the last ones become part of the error if ssh ends.
  std::optional<Deadline> nextLineDue() const;
  void showDueLines(Clock::time_point now);
  void stopShowing() { unshown_.clear(), shows_ = false; }

  /// After the end of the connection: why ssh ended. Nothing if the host closed the connection.
  std::optional<ClientError> failure();

  pid_t process() const { return process_; }

 private:
  struct Line {
    std::string text;
    Clock::time_point arrival;
  };

  SSHTunnel(HostAddress address, Questions questions) : address_(std::move(address)), questions_(questions) {}
  Outcome<void> launch(const std::vector<std::string>& arguments);
  bool waitForExit(Clock::duration patience);
  void takeLine(std::string line);

  const HostAddress address_;
  const Questions questions_;
  Descriptor socket_;
  Descriptor errors_;
  Descriptor processDescriptor_;
  pid_t process_ = -1;
  std::optional<int> status_;  // once reaped

  std::string partialLine_;
  std::deque<std::string> lastLines_;
  std::deque<Line> unshown_;
  bool shows_ = true;
};

}  // namespace quorl::client
