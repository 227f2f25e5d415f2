// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <QuorlKit/Foundation/Date.h>

namespace quorl {

/// One client as the host's own windows list it.
struct ClientSummary {
  std::string name;
  std::string endpoint;
  Date since;
  std::optional<Date> lastProbe;

  bool operator==(const ClientSummary&) const = default;
};

}  // namespace quorl
