// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/Discovery.h>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include <QuorlKit/WireProtocol.h>
#include <fmt/format.h>

namespace quorl::client {
namespace {

// The D-Bus interface of the Avahi daemon: org.freedesktop.Avahi.Server and .ServiceBrowser.
constexpr const char* avahi = "org.freedesktop.Avahi";
constexpr const char* server = "org.freedesktop.Avahi.Server";
constexpr const char* browser = "org.freedesktop.Avahi.ServiceBrowser";
constexpr std::int32_t unspecified = -1;

struct Browse {
  sd_bus* bus = nullptr;
  std::vector<DiscoveredHost> hosts;
  int resolving = 0;
  bool toldAll = false;
  bool failed = false;

  Browse() = default;
  Browse(const Browse&) = delete;
  Browse& operator=(const Browse&) = delete;
  ~Browse() { sd_bus_flush_close_unref(bus); }

  bool isDone() const { return failed || (toldAll && resolving == 0); }
};

int onResolved(sd_bus_message* reply, void* data, sd_bus_error*) {
  auto& browse = *static_cast<Browse*>(data);
  --browse.resolving;
  if (sd_bus_message_is_method_error(reply, nullptr) != 0) return 0;
  std::int32_t interface = 0;
  std::int32_t protocol = 0;
  std::int32_t addressProtocol = 0;
  const char* name = nullptr;
  const char* type = nullptr;
  const char* domain = nullptr;
  const char* host = nullptr;
  const char* address = nullptr;
  std::uint16_t port = 0;
  if (sd_bus_message_read(reply, "iissssisq", &interface, &protocol, &name, &type, &domain, &host,
                          &addressProtocol, &address, &port) < 0)
    return 0;
  DiscoveredHost found{name, host, address, port};
  if (std::ranges::find(browse.hosts, found) == browse.hosts.end()) browse.hosts.push_back(std::move(found));
  return 0;
}

int onItemNew(sd_bus_message* signal, void* data, sd_bus_error*) {
  auto& browse = *static_cast<Browse*>(data);
  std::int32_t interface = 0;
  std::int32_t protocol = 0;
  const char* name = nullptr;
  const char* type = nullptr;
  const char* domain = nullptr;
  if (sd_bus_message_read(signal, "iisss", &interface, &protocol, &name, &type, &domain) < 0) return 0;
  if (std::string_view(type) != WireProtocol::bonjourType) return 0;
  const int status =
      sd_bus_call_method_async(browse.bus, nullptr, avahi, "/", server, "ResolveService", onResolved, data,
                               "iisssiu", interface, protocol, name, type, domain, unspecified, 0U);
  if (status >= 0) ++browse.resolving;
  return 0;
}

int onAllForNow(sd_bus_message*, void* data, sd_bus_error*) {
  static_cast<Browse*>(data)->toldAll = true;
  return 0;
}

int onFailure(sd_bus_message*, void* data, sd_bus_error*) {
  static_cast<Browse*>(data)->failed = true;
  return 0;
}

std::unexpected<ClientError> noDaemon(std::string_view why) {
  return failed(ExitCode::failure, fmt::format("the mDNS daemon cannot be queried: {}", why),
                "Install and start avahi-daemon, or give the host's address: quorl_client pair 10.0.0.2");
}

// Watches signals before the browser exists, so that its first ones are not missed.
int begin(Browse& browse) {
  int status =
      sd_bus_match_signal(browse.bus, nullptr, avahi, nullptr, browser, "ItemNew", onItemNew, &browse);
  if (status >= 0)
    status =
        sd_bus_match_signal(browse.bus, nullptr, avahi, nullptr, browser, "AllForNow", onAllForNow, &browse);
  if (status >= 0)
    status = sd_bus_match_signal(browse.bus, nullptr, avahi, nullptr, browser, "Failure", onFailure, &browse);
  return status;
}

}  // namespace

Outcome<std::vector<DiscoveredHost>> discoverHosts(Waiter& waiter, Deadline deadline) {
  Browse browse;
  if (const int status = sd_bus_open_system(&browse.bus); status < 0) return noDaemon(std::strerror(-status));
  sd_bus_set_method_call_timeout(browse.bus, 3'000'000);
  if (const int status = begin(browse); status < 0) return noDaemon(std::strerror(-status));
  sd_bus_error error = SD_BUS_ERROR_NULL;
  const std::string type(WireProtocol::bonjourType);
  if (sd_bus_call_method(browse.bus, avahi, "/", server, "ServiceBrowserNew", &error, nullptr, "iissu",
                         unspecified, unspecified, type.c_str(), "", 0U) < 0) {
    const std::string why = error.message != nullptr ? error.message : "no answer";
    sd_bus_error_free(&error);
    return noDaemon(why);
  }
  while (!browse.isDone()) {
    const int status = sd_bus_process(browse.bus, nullptr);
    if (status < 0) return noDaemon(std::strerror(-status));
    if (status > 0) continue;
    pollfd descriptor{sd_bus_get_fd(browse.bus), static_cast<short>(sd_bus_get_events(browse.bus)), 0};
    const auto ready = waiter.wait({&descriptor, 1}, deadline);
    if (!ready) return std::unexpected(ready.error());
    if (*ready == Waiter::Ready::deadline) break;
  }
  if (browse.failed) return noDaemon("browsing failed");
  return std::move(browse.hosts);
}

}  // namespace quorl::client
