// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/LogindSessions.h>

#include <cstdlib>

#include <unistd.h>

#include <QuorlHostLinux/System/BusLoop.h>
#include <QuorlHostLinux/System/Login1.h>
#include <QuorlHostLinux/System/LoginRecords.h>
#include <QuorlHostLinux/System/SessionChoice.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

namespace {

ConsoleFacts readFacts() {
  ConsoleFacts facts;
  facts.ownUser = currentUserName();
  const auto bus = openSystemBus();
  if (!bus) return facts;
  const auto own = login1::ownSession(bus.get());
  if (!own) return facts;
  const auto seat = readNamedObject(bus.get(), login1::session(*own), "Seat");
  if (!seat || seat->name.empty()) return facts;
  const auto active = readNamedObject(bus.get(), {login1::service, seat->path, "org.freedesktop.login1.Seat"},
                                      "ActiveSession");
  if (!active) return facts;  // the seat cannot be read: treated as no seat
  facts.ownSessionHasSeat = true;
  if (active->name.empty()) return facts;
  facts.activeOnOwnSeat =
      ConsoleFacts::ActiveSession{readString(bus.get(), login1::session(active->path), "Name").value_or(""),
                                  readString(bus.get(), login1::session(active->path), "Class").value_or("")};
  return facts;
}

constexpr const char* matches[] = {
    "type='signal',sender='org.freedesktop.login1',path_namespace='/org/freedesktop/login1/seat',"
    "interface='org.freedesktop.DBus.Properties',member='PropertiesChanged'",
    "type='signal',sender='org.freedesktop.login1',interface='org.freedesktop.login1.Manager',"
    "member='SessionNew'",
    "type='signal',sender='org.freedesktop.login1',interface='org.freedesktop.login1.Manager',"
    "member='SessionRemoved'",
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='org.freedesktop.login1'"};

SwitchCandidate candidateOf(sd_bus* bus, const login1::ListedSession& listed) {
  const BusObject object = login1::session(listed.path);
  return {.id = listed.id,
          .seat = listed.seat,
          .sessionClass = readString(bus, object, "Class").value_or(""),
          .type = readString(bus, object, "Type").value_or(""),
          .state = readString(bus, object, "State").value_or("")};
}

// Without a session of the user the login window is shown, where the display manager can do that.
SwitchOutcome showGreeter(sd_bus* bus) {
  const char* own = std::getenv("XDG_SEAT_PATH");
  const BusObject seat{"org.freedesktop.DisplayManager",
                       own != nullptr && own[0] == '/' ? own : "/org/freedesktop/DisplayManager/Seat0",
                       "org.freedesktop.DisplayManager.Seat"};
  const auto called = callMethod(bus, seat, "SwitchToGreeter", "");
  if (called) return switchOutcome::Switched{};
  for (const char* name :
       {SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_UNKNOWN_OBJECT,
        SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_INTERFACE})
    if (called.error().name == name) return switchOutcome::Unavailable{};
  return switchOutcome::Failed{"SwitchToGreeter: " + called.error().text};
}

}  // namespace

struct LogindSessions::Observation {
  explicit Observation(std::function<void()> callback) : changed(std::move(callback)) {}

  static int onSignal(sd_bus_message*, void* self, sd_bus_error*) {
    static_cast<Observation*>(self)->compare();
    return 0;
  }

  void watch(sd_bus* bus) {
    for (const char* match : matches) sd_bus_add_match(bus, nullptr, match, onSignal, this);
    compare();
  }

  void compare() {
    const auto now = consoleUserFor(readFacts());
    if (isReported && now == last) return;
    isReported = true;
    last = now;
    changed();
  }

  const std::function<void()> changed;
  // On the loop's thread.
  bool isReported = false;
  std::optional<std::string> last;
  // Last, so that its thread ends before the members it uses.
  BusLoop loop{{.connected = [this](sd_bus* bus) { watch(bus); }, .disconnected = [this] { compare(); }}};
};

LogindSessions::LogindSessions() = default;
LogindSessions::~LogindSessions() = default;

std::optional<std::string> LogindSessions::consoleUser() {
  return consoleUserFor(readFacts());
}

std::string LogindSessions::ownUserName() {
  return currentUserName();
}

void LogindSessions::observeConsoleUser(std::function<void()> changed) {
  observation_ = std::make_unique<Observation>(std::move(changed));
}

std::uint32_t LogindSessions::ownUserID() {
  return ::getuid();
}

std::set<std::string> LogindSessions::loggedInUsers() {
  const auto bus = openSystemBus();
  const auto sessions = bus ? login1::listSessions(bus.get()) : std::nullopt;
  if (!sessions) return usersInLoginRecords();
  std::set<std::string> users;
  for (const auto& listed : *sessions)
    if (login1::isOfAUser(readString(bus.get(), login1::session(listed.path), "Class").value_or("")))
      users.insert(listed.user);
  return users;
}

SwitchOutcome LogindSessions::switchTo(std::uint32_t uid) {
  const auto bus = openSystemBus();
  const auto sessions = bus ? login1::listSessions(bus.get()) : std::nullopt;
  if (!sessions) return switchOutcome::Unavailable{};
  std::vector<SwitchCandidate> candidates;
  for (const auto& listed : *sessions)
    if (listed.uid == uid) candidates.push_back(candidateOf(bus.get(), listed));
  const auto id = sessionToActivate(candidates);
  if (!id) return showGreeter(bus.get());
  const auto called = callMethod(bus.get(), login1::manager(), "ActivateSession", "s", id->c_str());
  if (called) return switchOutcome::Switched{};
  return switchOutcome::Failed{"ActivateSession: " + called.error().text};
}

// Each session has a display server of its own, and this host drives that of its user.
bool LogindSessions::inputReaches(std::uint32_t uid) {
  return uid == ownUserID();
}

bool LogindSessions::isScreenLocked() {
  const auto bus = openSystemBus();
  const auto own = bus ? login1::ownSession(bus.get()) : std::nullopt;
  return own && readBool(bus.get(), login1::session(*own), "LockedHint").value_or(false);
}

bool LogindSessions::secureInputActive() {
  return false;
}

}  // namespace quorl
