// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Power/SystemControl.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

constexpr const char* sessionName = "Quorl session active";
constexpr const char* wakeName = "Quorl remote wake";

void logFailure(const SystemResult& result) {
  if (result) return;
  Log::app.error(fmt::format("system command failed ({}): {}", result.error().tool, result.error().reason));
}

// Runs `work` with the port.
template <class Port, class Work>
void run(Scheduler& scheduler, const std::shared_ptr<Port>& port, const char* command, Work work) {
  if (!port) return logFailure(std::unexpected(SystemFailure{command, "not available on this system"}));
  SystemResult result;
  scheduler.blocking([&] { result = work(*port); });
  logFailure(result);
}

}  // namespace

int volumePercent(double value) {
  if (std::isnan(value)) return 0;
  return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 100));
}

SystemControl::SystemControl(Scheduler& scheduler, Ports ports)
    : queue_(scheduler, "quorl.system", QueueRank::service), ports_(std::move(ports)) {}

SystemControl::SystemControl(const Platform& platform)
    : SystemControl(*platform.scheduler, {.assertions = platform.powerAssertions,
                                          .displays = platform.displayPower,
                                          .lock = platform.screenLock,
                                          .volume = platform.volume}) {}

void SystemControl::handle(const SystemCommand& command) {
  if (waiting_ >= mostWaiting)
    return Log::app.error("a system command was dropped: too many wait for the system");
  ++waiting_;
  queue_.async([self = shared_from_this(), command] {
    self->queue_.assertCurrent();
    --self->waiting_;
    self->carryOut(command);
  });
}

void SystemControl::carryOut(const SystemCommand& command) {
  Scheduler& scheduler = queue_.scheduler();
  if (const auto* caffeinate = std::get_if<systemCommand::Caffeinate>(&command)) {
    setCaffeinated(caffeinate->on);
  } else if (const auto* volume = std::get_if<systemCommand::SetVolume>(&command)) {
    run(scheduler, ports_.volume, "setVolume",
        [&](OutputVolume& port) { return port.setVolume(volumePercent(volume->_0)); });
  } else if (std::holds_alternative<systemCommand::SleepDisplays>(command)) {
    run(scheduler, ports_.displays, "sleepDisplays", [](DisplayPower& port) { return port.sleepDisplays(); });
  } else if (std::holds_alternative<systemCommand::WakeDisplays>(command)) {
    wakeDisplays();
  } else {
    run(scheduler, ports_.lock, "lockScreen", [](ScreenLock& port) { return port.lock(); });
  }
}

void SystemControl::setCaffeinated(bool on) {
  if (on == caffeinated_) return;
  caffeinated_ = on;
  if (on && ports_.assertions) {
    queue_.scheduler().blocking([this] {
      queue_.assertCurrent();
      systemAssertion_ = ports_.assertions->create(PowerAssertion::preventIdleSystemSleep, sessionName);
      displayAssertion_ = ports_.assertions->create(PowerAssertion::preventIdleDisplaySleep, sessionName);
    });
  } else if (!on) {
    release(systemAssertion_);
    release(displayAssertion_);
  }
  Log::app.info(on ? "caffeinate on" : "caffeinate off");
}

void SystemControl::wakeDisplays() {
  release(wakeAssertion_);
  if (!ports_.assertions) return;
  queue_.scheduler().blocking([this] {
    queue_.assertCurrent();
    wakeAssertion_ = ports_.assertions->declareUserActivity(wakeName);
  });
}

void SystemControl::release(PowerAssertions::ID& assertion) {
  if (assertion == PowerAssertions::none) return;
  const auto held = std::exchange(assertion, PowerAssertions::none);
  queue_.scheduler().blocking([&] { ports_.assertions->release(held); });
}

void SystemControl::releaseAll() {
  queue_.sync([this] {
    queue_.assertCurrent();
    release(systemAssertion_);
    release(displayAssertion_);
    release(wakeAssertion_);
    caffeinated_ = false;
  });
}

bool SystemControl::isCaffeinated() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return caffeinated_;
  });
}

}  // namespace quorl
