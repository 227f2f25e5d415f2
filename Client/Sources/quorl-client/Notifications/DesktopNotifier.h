// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

struct sd_bus;

namespace quorl::client {

/// Shows desktop notifications (org.freedesktop.Notifications on the session bus). Without a session bus or a
/// notification service it does nothing; it never starts a bus.
///
/// *Queue*: one thread. *Blocking*: up to two seconds if the service does not answer. *Ownership*: the
/// command's.
class DesktopNotifier {
 public:
  DesktopNotifier();

  bool isConnected() const { return bus_ != nullptr; }
  /// Whether the service accepted it.
  bool show(const std::string& title, const std::string& body);

 private:
  struct Closer {
    void operator()(sd_bus* bus) const;
  };
  bool understandsMarkup();

  std::unique_ptr<sd_bus, Closer> bus_;
};

}  // namespace quorl::client
