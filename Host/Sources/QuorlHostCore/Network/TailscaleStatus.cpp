// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/TailscaleStatus.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include <QuorlHostCore/Network/OverlayText.h>

namespace quorl {

namespace {

// The object "Self".
void readSelf(JsonReader& reader, TailscaleStatus& status) {
  OverlayText::object(reader, [&](const std::string& key) {
    if (key == "DNSName") {
      status.dnsName = OverlayText::text(reader);
    } else if (key == "HostName") {
      status.hostName = OverlayText::text(reader);
    } else if (key == "TailscaleIPs") {
      status.addresses = OverlayText::texts(reader).value_or(std::vector<std::string>());
    } else {
      (void)reader.skipValue();
    }
  });
}

std::vector<std::string> withIPv4First(std::vector<std::string> addresses) {
  std::vector<std::string> sorted;
  std::vector<std::string> others;
  for (std::string& address : addresses)
    (address.starts_with("100.") ? sorted : others).push_back(std::move(address));
  std::ranges::move(others, std::back_inserter(sorted));
  return sorted;
}

}  // namespace

std::optional<TailscaleStatus> TailscaleStatus::parse(ByteView output) {
  TailscaleStatus status;
  JsonReader reader(output);
  const bool isObject = OverlayText::object(reader, [&](const std::string& key) {
    if (key == "BackendState") {
      status.backendState = OverlayText::text(reader).value_or("NoState");
    } else if (key == "Self") {
      readSelf(reader, status);
    } else {
      (void)reader.skipValue();
    }
  });
  if (!isObject || !reader.finish()) return std::nullopt;
  if (status.dnsName && status.dnsName->ends_with('.')) status.dnsName->pop_back();
  if (status.dnsName && status.dnsName->empty()) status.dnsName.reset();
  status.addresses = withIPv4First(std::move(status.addresses));
  return status;
}

std::optional<std::string> TailscaleStatus::shortName() const {
  return dnsName ? dnsName->substr(0, dnsName->find('.')) : hostName;
}

}  // namespace quorl
