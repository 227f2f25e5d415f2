// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

#include <QuorlHostCore/Ports/NetworkInterfaces.h>

namespace quorl {

/// A Mac names its wired and wireless adapters en0, en1 and so on.
inline InterfaceAddress::Kind macInterfaceKind(std::string_view name) {
  return name.starts_with("en") ? InterfaceAddress::Kind::lan : InterfaceAddress::Kind::other;
}

}  // namespace quorl
