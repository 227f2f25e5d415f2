// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace quorl {

/// Registers a DNS-SD service (RFC 6763) in the default domain, with no TXT record. The platform changes a
/// name that is taken. Without a responder on the machine nothing happens; when one appears or comes back,
/// the service is registered again. Failures are not reported.
///
/// *Queue*: any thread. There are no callbacks.
/// *Blocking*: none, destruction of a registration included.
/// *Ownership*: the registration belongs to the caller.
/// *Lifetime*: destruction of a registration withdraws the service. Registrations may outlive the advertiser.
class ServiceAdvertiser {
 public:
  /// Keeps the service registered.
  class Registration {
   public:
    virtual ~Registration() = default;
  };

  virtual ~ServiceAdvertiser() = default;
  virtual std::unique_ptr<Registration> advertise(const std::string& name, const std::string& type,
                                                  std::uint16_t port) = 0;
};

}  // namespace quorl
