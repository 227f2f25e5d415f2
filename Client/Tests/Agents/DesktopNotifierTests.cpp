// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Notifications/DesktopNotifier.h>

#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include <Linux/System/ChildProgram.h>
#include <gtest/gtest.h>

#include "../Support/BusService.h"

namespace quorl::client {
namespace {

using quorl::test::ChildProgram;

// A private session bus that the process uses during its lifetime.
class SessionBus {
 public:
  SessionBus() : daemon_({"dbus-daemon", "--session", "--nofork", "--print-address=1"}) {
    EXPECT_TRUE(daemon_.waitForOutput("\n"));
    address_ = daemon_.output().substr(0, daemon_.output().find('\n'));
    ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  }
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;
  ~SessionBus() { ::unsetenv("DBUS_SESSION_BUS_ADDRESS"); }

  const std::string& address() const { return address_; }

 private:
  ChildProgram daemon_;
  std::string address_;
};

// A notification service. Queue: its methods run on the service's thread.
class FakeDesktop {
 public:
  FakeDesktop(const std::string& address, bool hasMarkup)
      : hasMarkup_(hasMarkup),
        service_(address,
                 {"org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                  "org.freedesktop.Notifications"},
                 methods, this) {}

  std::vector<std::string> shown() const {
    const std::scoped_lock guard(lock_);
    return shown_;
  }

 private:
  static int onCapabilities(sd_bus_message* call, void* self, sd_bus_error*) {
    const bool hasMarkup = static_cast<FakeDesktop*>(self)->hasMarkup_;
    return sd_bus_reply_method_return(call, "as", 2, "body", hasMarkup ? "body-markup" : "actions");
  }
  static int onNotify(sd_bus_message* call, void* self, sd_bus_error*) {
    const char* application = nullptr;
    std::uint32_t replaces = 0;
    const char* icon = nullptr;
    const char* title = nullptr;
    const char* body = nullptr;
    if (sd_bus_message_read(call, "susss", &application, &replaces, &icon, &title, &body) < 0) return -EINVAL;
    auto* const desktop = static_cast<FakeDesktop*>(self);
    {
      const std::scoped_lock guard(desktop->lock_);
      desktop->shown_.push_back(std::string(application) + "|" + title + "|" + body);
    }
    return sd_bus_reply_method_return(call, "u", 1U);
  }

  static constexpr sd_bus_vtable methods[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("GetCapabilities", "", "as", &FakeDesktop::onCapabilities, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", &FakeDesktop::onNotify, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END};

  const bool hasMarkup_;
  mutable std::mutex lock_;
  std::vector<std::string> shown_;
  test::BusService service_;
};

TEST(DesktopNotifier, doesNothingWithoutABus) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
  DesktopNotifier notifier;
  EXPECT_FALSE(notifier.isConnected());
  EXPECT_FALSE(notifier.show("title", "body"));
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

TEST(DesktopNotifier, doesNothingWithoutANotificationService) {
  const SessionBus bus;
  DesktopNotifier notifier;
  EXPECT_TRUE(notifier.isConnected());
  EXPECT_FALSE(notifier.show("title", "body"));
}

TEST(DesktopNotifier, showsTitleAndBody) {
  const SessionBus bus;
  const FakeDesktop desktop(bus.address(), false);
  DesktopNotifier notifier;
  EXPECT_TRUE(notifier.show("website", "proceed? <y/n> & more"));
  EXPECT_EQ(desktop.shown(), (std::vector<std::string>{"Quorl|website|proceed? <y/n> & more"}));
}

TEST(DesktopNotifier, escapesMarkup) {
  const SessionBus bus;
  const FakeDesktop desktop(bus.address(), true);
  DesktopNotifier notifier;
  EXPECT_TRUE(notifier.show("website", "<b>bold</b> & more"));
  EXPECT_EQ(desktop.shown(), (std::vector<std::string>{"Quorl|website|&lt;b&gt;bold&lt;/b&gt; &amp; more"}));
}

}  // namespace
}  // namespace quorl::client
