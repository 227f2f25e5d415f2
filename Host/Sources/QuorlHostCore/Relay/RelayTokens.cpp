// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Relay/RelayTokens.h>

#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/Foundation/Base64.h>

namespace quorl {

// An empty text would let everyone in.
RelayTokens::RelayTokens(const std::vector<TrustedDevice>& devices) {
  texts_.reserve(2 * devices.size());
  for (const TrustedDevice& device : devices) {
    texts_.push_back(device.tokenBase64);
    texts_.push_back(base64ForURL(device.tokenBase64));
  }
  std::erase_if(texts_, [](const std::string& text) { return text.empty(); });
}

bool RelayTokens::contains(std::string_view text) const {
  bool found = false;
  for (const std::string& known : texts_) found |= Pairing::constantTimeEquals(viewOf(known), viewOf(text));
  return found;
}

}  // namespace quorl
