// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quorl {

/// An IPv4 address of this machine.
struct InterfaceAddress {
  enum class Kind : std::uint8_t {
    lan,    // of a wired or wireless network adapter
    other,  // of the loopback, a tunnel, a bridge, a container
  };

  std::string interface;  // its system name
  std::array<std::uint8_t, 4> address{};
  Kind kind = Kind::other;

  bool operator==(const InterfaceAddress&) const = default;
};

/// The machine's network interfaces.
///
/// *Queue*: any thread. The change handler is called on any thread and must not block.
/// *Blocking*: `addresses` reads from the kernel; callers use `Scheduler::blocking`.
/// *Ownership*: returns copies; keeps the handler until it is replaced.
/// *Lifetime*: after `setChangeHandler` has returned, the handler from before is not called any more. So it
/// must not be called from within a handler.
class NetworkInterfaces {
 public:
  using ChangeHandler = std::function<void()>;

  virtual ~NetworkInterfaces() = default;

  /// The IPv4 addresses of the interfaces that are connected, in the system's order. Empty if they cannot be
  /// read.
  virtual std::vector<InterfaceAddress> addresses() = 0;

  /// Calls `handler` after changes of interfaces and addresses, also after some that change nothing in
  /// `addresses`. An empty handler ends the notifications. Returns whether the platform has notifications.
  virtual bool setChangeHandler(ChangeHandler handler) = 0;
};

}  // namespace quorl
