// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace quorl {

/// Registers a DNS-SD service (RFC 6763) in the default domain, with no TXT record. A name that is taken is
/// changed by the platform; without a responder on the machine nothing happens, and when one appears or comes
/// back the service is registered again. Never fails and never blocks its caller.
class ServiceAdvertiser {
 public:
  /// The service is registered for as long as this lives.
  class Registration {
   public:
    virtual ~Registration() = default;
  };

  virtual ~ServiceAdvertiser() = default;
  virtual std::unique_ptr<Registration> advertise(const std::string& name, const std::string& type,
                                                  std::uint16_t port) = 0;
};

}  // namespace quorl
