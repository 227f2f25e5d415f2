// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

namespace quorl::bench {

/// A network namespace without a name. The kernel removes it, and its devices, with the last process and
/// descriptor that use it.
class NetworkSpace {
 public:
  NetworkSpace();
  NetworkSpace(const NetworkSpace&) = delete;
  NetworkSpace& operator=(const NetworkSpace&) = delete;
  ~NetworkSpace();

  /// Runs the work on a thread inside the namespace and waits for it. Sockets opened and processes started
  /// there belong to the namespace, wherever they are used later. Rethrows exceptions.
  void run(const std::function<void()>& work) const;
  /// Runs a shell command inside the namespace. Throws if it fails.
  void command(const std::string& line) const;
  /// A path that the `ip` command accepts as a namespace.
  std::string path() const;

 private:
  int descriptor_ = -1;
};

}  // namespace quorl::bench
