// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>

#include <QuorlHostCore/Network/TailscaleStatus.h>
#include <QuorlHostCore/Network/ZeroTierStatus.h>
#include <QuorlKit/Foundation/UTF8.h>

// The tools print names and addresses that other machines of the overlay choose.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  const ByteView bytes(data, size);
  if (const auto status = TailscaleStatus::parse(bytes)) {
    if (status->dnsName && (status->dnsName->empty() || !isValidUTF8(*status->dnsName))) std::abort();
    bool mayBeFirst = true;
    for (const std::string& address : status->addresses) {
      const bool isFirst = address.starts_with("100.");
      if (isFirst && !mayBeFirst) std::abort();
      mayBeFirst = isFirst;
      if (!isValidUTF8(address)) std::abort();
    }
  }
  (void)ZeroTierStatus::isOnline(bytes);
  for (const std::string& address : ZeroTierStatus::addresses(bytes))
    if (address.contains('/') || !isValidUTF8(address)) std::abort();
  return 0;
}
