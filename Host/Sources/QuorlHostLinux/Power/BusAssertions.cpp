// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Power/BusAssertions.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include <fcntl.h>

#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostLinux/Power/ScreenSaver.h>
#include <QuorlHostLinux/System/Login1.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

// What users see in the lists of inhibitors.
constexpr const char* program = "Quorl";

/// The inhibitor of the login manager lasts as long as the descriptor is open.
std::expected<Descriptor, BusError> inhibit(sd_bus* bus, const char* what, const std::string& why) {
  const auto reply =
      callMethod(bus, login1::manager(), "Inhibit", "ssss", what, program, why.c_str(), "block");
  if (!reply) return std::unexpected(reply.error());
  int descriptor = -1;
  if (const int result = sd_bus_message_read(reply->get(), "h", &descriptor); result < 0) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    return std::unexpected(takeError(error, result));
  }
  // The message owns its descriptor.
  return Descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
}

BusInhibitor::Service sleepInhibitor(const std::string& name) {
  const auto held = std::make_shared<Descriptor>();
  const auto take = [held, name](sd_bus* bus) {
    auto taken = inhibit(bus, "idle:sleep", name);
    if (!taken) {
      // A host without a seat may have to be content with a machine that does not count as idle.
      const std::string reason = taken.error().text;
      taken = inhibit(bus, "idle", name);
      if (taken) Log::app.info("sleep is inhibited only while the machine is idle: " + reason);
    }
    *held = taken ? std::move(*taken) : Descriptor();
    return held->isOpen();
  };
  return {.open = openSystemBus, .name = login1::service, .take = take, .drop = [held](sd_bus*) {
            *held = Descriptor();
          }};
}

BusInhibitor::Service displayInhibitor(const std::string& name) {
  const auto cookie = std::make_shared<std::optional<std::uint32_t>>();
  const auto take = [cookie, name](sd_bus* bus) {
    cookie->reset();
    const auto reply = callMethod(bus, screenSaver::object(), "Inhibit", "ss", program, name.c_str());
    std::uint32_t number = 0;
    if (reply && sd_bus_message_read(reply->get(), "u", &number) >= 0) *cookie = number;
    return cookie->has_value();
  };
  const auto drop = [cookie](sd_bus* bus) {
    if (bus == nullptr || !*cookie) return;
    // Its failure changes nothing: the connection ends too.
    static_cast<void>(callMethod(bus, screenSaver::object(), "UnInhibit", "u", **cookie));
  };
  return {.open = openSessionBus, .name = screenSaver::service, .take = take, .drop = drop};
}

}  // namespace

PowerAssertions::ID BusAssertions::create(PowerAssertion kind, const std::string& name) {
  auto inhibitor = std::make_unique<BusInhibitor>(
      kind == PowerAssertion::preventIdleSystemSleep ? sleepInhibitor(name) : displayInhibitor(name));
  if (!inhibitor->wasTaken()) return none;
  held_[++last_] = std::move(inhibitor);
  return last_;
}

PowerAssertions::ID BusAssertions::declareUserActivity(const std::string& /*name*/) {
  const auto bus = openSessionBus();
  if (!bus || !callMethod(bus.get(), screenSaver::object(), "SimulateUserActivity", "")) return none;
  held_[++last_] = nullptr;
  return last_;
}

}  // namespace quorl
