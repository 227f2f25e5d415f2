// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/Discovery.h>

#include <csignal>
#include <cstdlib>
#include <sstream>

#include <gtest/gtest.h>

#include "../Support/BusService.h"
#include "../Support/SampleVideo.h"

namespace quorl::client {
namespace {

// A private message bus that replaces the system bus during its lifetime.
class PrivateBus {
 public:
  PrivateBus() {
    std::istringstream output(
        test::outputOfTool("dbus-daemon --session --fork --print-address=1 --print-pid=1"));
    std::getline(output, address_);
    output >> process_;
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus() {
    ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    ::kill(process_, SIGTERM);
  }

  const std::string& address() const { return address_; }

 private:
  std::string address_;
  pid_t process_ = 0;
};

// The daemon's answers to the client's requests.
struct Announcement {
  std::string name;
  std::string type;
  std::string host;
  std::string address;
  std::uint16_t port = 0;
  bool resolves = true;
};

// The D-Bus interface of the mDNS daemon.
class FakeDaemon {
 public:
  FakeDaemon(const std::string& address, std::vector<Announcement> announcements, bool tellsAll = true)
      : announcements_(std::move(announcements)),
        tellsAll_(tellsAll),
        service_(address, {"org.freedesktop.Avahi", "/", "org.freedesktop.Avahi.Server"}, methods, this) {}

 private:
  static int onBrowse(sd_bus_message* call, void* data, sd_bus_error*) {
    auto& daemon = *static_cast<FakeDaemon*>(data);
    constexpr const char* path = "/Client0/ServiceBrowser0";
    constexpr const char* browser = "org.freedesktop.Avahi.ServiceBrowser";
    sd_bus_reply_method_return(call, "o", path);
    sd_bus* const bus = sd_bus_message_get_bus(call);
    for (const auto& announcement : daemon.announcements_)
      sd_bus_emit_signal(bus, path, browser, "ItemNew", "iisssu", 2, 0, announcement.name.c_str(),
                         announcement.type.c_str(), "local", 0U);
    if (daemon.tellsAll_) sd_bus_emit_signal(bus, path, browser, "AllForNow", "");
    return 1;
  }

  static int onResolve(sd_bus_message* call, void* data, sd_bus_error* error) {
    auto& daemon = *static_cast<FakeDaemon*>(data);
    std::int32_t interface = 0;
    std::int32_t protocol = 0;
    const char* name = nullptr;
    sd_bus_message_read(call, "iis", &interface, &protocol, &name);
    for (const auto& announcement : daemon.announcements_)
      if (announcement.name == name && announcement.resolves)
        return sd_bus_reply_method_return(call, "iissssisqaayu", interface, protocol, name,
                                          announcement.type.c_str(), "local", announcement.host.c_str(),
                                          protocol, announcement.address.c_str(), announcement.port, 0, 0U);
    return sd_bus_error_set(error, "org.freedesktop.Avahi.TimeoutError", "Timeout reached");
  }

  static constexpr sd_bus_vtable methods[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("ServiceBrowserNew", "iissu", "o", &FakeDaemon::onBrowse, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD("ResolveService", "iisssiu", "iissssisqaayu", &FakeDaemon::onResolve,
                    SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END};

  const std::vector<Announcement> announcements_;
  const bool tellsAll_;
  test::BusService service_;
};

const Announcement desk{"Küche", "_quorl._tcp", "desk.local", "10.0.0.2", 47900};
const Announcement lab{"lab", "_quorl._tcp", "lab.local", "fe80::1", 47905};

class DiscoveryTest : public testing::Test {
 protected:
  PrivateBus bus_;
  Waiter waiter_;
};

TEST_F(DiscoveryTest, findsTheHostsOfTheDaemon) {
  const FakeDaemon daemon(bus_.address(), {desk, lab});
  const auto hosts = discoverHosts(waiter_, within(std::chrono::seconds(10)));
  ASSERT_TRUE(hosts) << hosts.error().what;
  EXPECT_EQ(*hosts, (std::vector<DiscoveredHost>{{"Küche", "desk.local", "10.0.0.2", 47900},
                                                 {"lab", "lab.local", "fe80::1", 47905}}));
}

TEST_F(DiscoveryTest, skipsUnresolvableAndForeignServices) {
  auto gone = lab;
  gone.resolves = false;
  const FakeDaemon daemon(bus_.address(),
                          {gone, {"printer", "_ipp._tcp", "printer.local", "10.0.0.3", 631}, desk});
  const auto hosts = discoverHosts(waiter_, within(std::chrono::seconds(10)));
  ASSERT_TRUE(hosts);
  ASSERT_EQ(hosts->size(), 1U);
  EXPECT_EQ(hosts->front().name, "Küche");
}

TEST_F(DiscoveryTest, endsAtTheDeadlineWithWhatIsKnown) {
  const FakeDaemon daemon(bus_.address(), {desk}, false);
  const auto hosts = discoverHosts(waiter_, within(std::chrono::milliseconds(500)));
  ASSERT_TRUE(hosts);
  EXPECT_EQ(hosts->size(), 1U);
}

TEST_F(DiscoveryTest, reportsAMissingDaemon) {
  const auto hosts = discoverHosts(waiter_, within(std::chrono::seconds(10)));
  ASSERT_FALSE(hosts);
  EXPECT_NE(hosts.error().advice.find("avahi-daemon"), std::string::npos);
}

TEST(Discovery, reportsAMissingBus) {
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  Waiter waiter;
  const auto hosts = discoverHosts(waiter, within(std::chrono::seconds(10)));
  ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  ASSERT_FALSE(hosts);
  EXPECT_NE(hosts.error().what.find("mDNS daemon"), std::string::npos);
}

}  // namespace
}  // namespace quorl::client
