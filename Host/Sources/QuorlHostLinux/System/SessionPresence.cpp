// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/SessionPresence.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <utility>

namespace quorl {

namespace {

constexpr const char* busName = "dev.vek.quorl.host";
constexpr const char* objectPath = "/dev/vek/quorl/host";

bool hasSessionBus() {
  const auto isSet = [](const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
  };
  if (isSet("DBUS_SESSION_BUS_ADDRESS")) return true;
  std::error_code ignored;
  return isSet("XDG_RUNTIME_DIR") &&
         std::filesystem::exists(std::filesystem::path(std::getenv("XDG_RUNTIME_DIR")) / "bus", ignored);
}

SessionPresence::Claim claimOn(sd_bus* bus) {
  if (bus == nullptr) return SessionPresence::Claim::unavailable;
  const int result = sd_bus_request_name(bus, busName, 0);
  if (result >= 0 || result == -EALREADY) return SessionPresence::Claim::first;
  if (result != -EEXIST) return SessionPresence::Claim::unavailable;
  sd_bus_message* answer = nullptr;
  const int asked = sd_bus_call_method(bus, busName, objectPath, busName, "Show", nullptr, &answer, "");
  const MessagePointer owned(answer);
  int isShown = 0;
  // The owner may have ended, or hangs.
  if (asked < 0 || sd_bus_message_read(answer, "b", &isShown) < 0) return SessionPresence::Claim::unavailable;
  return isShown != 0 ? SessionPresence::Claim::shownByOther : SessionPresence::Claim::heldByOther;
}

void sendNote(sd_bus* bus, const std::string& title, const std::string& text) {
  if (bus == nullptr) return;
  constexpr std::uint32_t replacesNothing = 0;
  constexpr std::int32_t serversTimeout = -1;
  sd_bus_call_method_async(bus, nullptr, "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                           "org.freedesktop.Notifications", "Notify", nullptr, nullptr, "susssasa{sv}i",
                           "Quorl Host", replacesNothing, "", title.c_str(), text.c_str(), 0, 0,
                           serversTimeout);
}

}  // namespace

struct SessionPresence::State {
  explicit State(std::string hostVersion) : version(std::move(hostVersion)) {}

  const std::string version;
  std::atomic<bool> ownsName = false;
  std::mutex mutex;  // guards all below
  std::function<bool()> show;
  bool wantsShow = false;

  bool requestShow() {
    const std::scoped_lock lock(mutex);
    wantsShow = !show;
    return !show || show();
  }

  static int handleShow(sd_bus_message* call, void* state, sd_bus_error* /*error*/) {
    return sd_bus_reply_method_return(call, "b", static_cast<int>(static_cast<State*>(state)->requestShow()));
  }

  static int readVersion(sd_bus* /*bus*/, const char* /*path*/, const char* /*interface*/,
                         const char* /*property*/, sd_bus_message* reply, void* state,
                         sd_bus_error* /*error*/) {
    return sd_bus_message_append(reply, "s", static_cast<State*>(state)->version.c_str());
  }

  static const sd_bus_vtable* members() {
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Show", "", "b", handleShow, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_PROPERTY("Version", "s", readVersion, 0, SD_BUS_VTABLE_PROPERTY_CONST), SD_BUS_VTABLE_END};
    return table;
  }
};

SessionPresence::SessionPresence(std::string version) : state_(std::make_shared<State>(std::move(version))) {
  if (!hasSessionBus()) return;
  BusLoop::Handlers handlers;
  handlers.connected = [state = state_](sd_bus* bus) {
    sd_bus_add_object_vtable(bus, nullptr, objectPath, busName, State::members(), state.get());
    // The bus was restarted.
    if (state->ownsName) sd_bus_request_name(bus, busName, 0);
  };
  handlers.disconnected = [] {};
  loop_ = std::make_unique<BusLoop>(std::move(handlers), openSessionBus);
}

SessionPresence::~SessionPresence() = default;

SessionPresence::Claim SessionPresence::claim() {
  if (!loop_) return Claim::unavailable;
  const auto answer = std::make_shared<std::promise<Claim>>();
  auto claimed = answer->get_future();
  loop_->post([answer, state = state_](sd_bus* bus) {
    const Claim claim = claimOn(bus);
    state->ownsName = claim == Claim::first;
    answer->set_value(claim);
  });
  if (claimed.wait_for(claimLimit) != std::future_status::ready) return Claim::unavailable;
  return claimed.get();
}

void SessionPresence::onShow(std::function<bool()> show) {
  const std::scoped_lock lock(state_->mutex);
  state_->show = std::move(show);
  if (state_->show && std::exchange(state_->wantsShow, false)) state_->show();
}

void SessionPresence::notify(const std::string& title, const std::string& text) {
  if (!loop_) return;
  loop_->post([title, text](sd_bus* bus) { sendNote(bus, title, text); });
}

}  // namespace quorl
