// SPDX-License-Identifier: GPL-3.0-or-later
#include <mutex>

#include <Linux/System/PrivateSessionBus.h>

#include "../../Support/BusService.h"
#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

// A notification service on a bus of its own. Its methods run on the service's thread.
class Notifications {
 public:
  Notifications()
      : service_(bus_.address(),
                 {"org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                  "org.freedesktop.Notifications"},
                 methods, this) {}
  Notifications(const Notifications&) = delete;
  Notifications& operator=(const Notifications&) = delete;

  std::vector<std::string> shown() const {
    const std::scoped_lock guard(lock_);
    return shown_;
  }

 private:
  static int onCapabilities(sd_bus_message* call, void*, sd_bus_error*) {
    return sd_bus_reply_method_return(call, "as", 2, "body", "body-markup");
  }
  static int onNotify(sd_bus_message* call, void* self, sd_bus_error*) {
    const char* application = nullptr;
    std::uint32_t replaces = 0;
    const char* icon = nullptr;
    const char* title = nullptr;
    const char* body = nullptr;
    if (sd_bus_message_read(call, "susss", &application, &replaces, &icon, &title, &body) < 0) return -EINVAL;
    auto* const desktop = static_cast<Notifications*>(self);
    {
      const std::scoped_lock guard(desktop->lock_);
      desktop->shown_.push_back(std::string(title) + "|" + body);
    }
    return sd_bus_reply_method_return(call, "u", 1U);
  }
  static constexpr sd_bus_vtable methods[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("GetCapabilities", "", "as", &Notifications::onCapabilities, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", &Notifications::onNotify, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END};

  quorl::test::PrivateSessionBus bus_;
  mutable std::mutex lock_;
  std::vector<std::string> shown_;
  client::test::BusService service_;
};

class WindowAgentTest : public WindowTest {};

TEST_F(WindowAgentTest, anAgentThatCallsIsOneNotificationWithoutMarkup) {
  const Notifications desktop;
  open();
  const auto id = UUID::random();
  const AgentDescriptor agent{
      .id = id, .name = "review", .detail = "claude", .status = AgentStatus::waitingInput};
  host_->push(ControlMessage(message::AgentEvent{AgentEvent(agentEvent::Updated{agent})}));
  host_->push(ControlMessage(
      message::AgentEvent{AgentEvent(agentEvent::Attention{id, "review", "Apply <b>this</b>?\x1b[2J"})}));
  ASSERT_TRUE(spinUntil([&] { return !desktop.shown().empty(); }));
  EXPECT_EQ(desktop.shown(), (std::vector<std::string>{"review|Apply &lt;b&gt;this&lt;/b&gt;?\\x1b[2J"}));
  EXPECT_TRUE(part<TargetButton>().accessibleDescription().endsWith("one agent waits for you"));
  EXPECT_FALSE(spinUntil([&] { return desktop.shown().size() > 1; }, std::chrono::milliseconds(500)));
}

TEST_F(WindowAgentTest, aHostThatCallsWithoutEndIsShownAFewTimes) {
  const Notifications desktop;
  open();
  for (int call = 0; call < 30; ++call) {
    host_->push(ControlMessage(message::AgentEvent{
        AgentEvent(agentEvent::Attention{UUID::random(), "call", std::to_string(call)})}));
    ASSERT_TRUE(spinUntil([&] { return desktop.shown().size() >= std::min<std::size_t>(call + 1, 8); }));
  }
  EXPECT_FALSE(spinUntil([&] { return desktop.shown().size() > 8; }, std::chrono::milliseconds(500)));
}

}  // namespace
}  // namespace quorl::viewer::test
