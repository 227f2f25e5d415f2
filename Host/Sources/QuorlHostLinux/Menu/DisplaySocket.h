// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// The number of a display of this machine, as DISPLAY names it (":1", "unix:1.0"). Absent for a display of
/// another machine.
std::optional<unsigned> localDisplayNumber(std::string_view display);

/// The socket on which the X server of a display listens (X(7), "DISPLAY NAMES"), and a watch for a server
/// that appears.
///
/// *Queue*: one thread, but `accepts`, which any thread may call.
/// *Blocking*: none.
class DisplaySocket {
 public:
  /// `folder`: the folder of all these sockets.
  explicit DisplaySocket(std::string display, std::string folder = "/tmp/.X11-unix");

  /// Whether a server accepts connections. Assumed of a display of another machine.
  bool accepts() const;

  /// Readable when something was created beside the socket; -1 where nothing can be watched.
  int descriptor() const { return watch_.get(); }
  /// Reads what happened. True if the socket may be new.
  bool readEvents();

 private:
  void watchFolder();

  const std::string folder_;
  std::string name_;  // of the socket in the folder; empty for a display of another machine
  Descriptor watch_;
  bool watchesFolder_ = false;
};

}  // namespace quorl
