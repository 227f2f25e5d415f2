// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Ports/ServiceAdvertiser.h>

namespace quorl {

/// DNS-SD (RFC 6763) through the D-Bus interface of the Avahi daemon, org.freedesktop.Avahi.
///
/// *Queue*: any thread; the work runs on a thread of the adapter.
/// *Lifetime*: registrations may outlive it.
class AvahiAdvertiser final : public ServiceAdvertiser {
 public:
  AvahiAdvertiser();
  ~AvahiAdvertiser() override;
  std::unique_ptr<Registration> advertise(const std::string& name, const std::string& type,
                                          std::uint16_t port) override;

 private:
  class Registrar;
  class Handle;
  std::shared_ptr<Registrar> registrar_;
};

/// The name as an instance label: at most 63 bytes of UTF-8 (RFC 6763, 4.1.1), cut between characters.
std::string serviceInstanceLabel(const std::string& name);

}  // namespace quorl
