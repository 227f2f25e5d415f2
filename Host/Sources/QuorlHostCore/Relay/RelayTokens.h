// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Trust/TrustStore.h>

namespace quorl {

/// The texts that authorize a request: the token of each trusted device as stored, and in a form for URLs
/// (RFC 4648, section 5, without padding).
///
/// *Queue*: any; it is immutable. *Ownership*: a value.
class RelayTokens {
 public:
  RelayTokens() = default;
  explicit RelayTokens(const std::vector<TrustedDevice>& devices);

  bool isEmpty() const { return texts_.empty(); }
  /// The time does not depend on where `text` and a token differ.
  bool contains(std::string_view text) const;

 private:
  std::vector<std::string> texts_;
};

}  // namespace quorl
