// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/LogindSessions.h>

#include <cstdlib>

#include <unistd.h>

#include <QuorlHostLinux/System/BusLoop.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

namespace {

constexpr const char* login1 = "org.freedesktop.login1";

BusObject manager() {
  return {login1, "/org/freedesktop/login1", "org.freedesktop.login1.Manager"};
}

BusObject session(std::string path) {
  return {login1, std::move(path), "org.freedesktop.login1.Session"};
}

// A manager method that returns an object path.
template <class... Arguments>
std::optional<std::string> askForPath(sd_bus* bus, const char* method, const char* types,
                                      Arguments... arguments) {
  const BusObject object = manager();
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  const int result = sd_bus_call_method(bus, object.service, object.path.c_str(), object.interface, method,
                                        &error, &reply, types, arguments...);
  const MessagePointer owned(reply);
  sd_bus_error_free(&error);
  const char* path = nullptr;
  if (result < 0 || sd_bus_message_read(reply, "o", &path) < 0) return std::nullopt;
  return path;
}

// The graphical session of the user: a host started by the user's service manager has no session of its own.
std::optional<std::string> displaySession(sd_bus* bus) {
  const auto user = askForPath(bus, "GetUser", "u", static_cast<std::uint32_t>(::geteuid()));
  if (!user) return std::nullopt;
  const auto display = readNamedObject(bus, {login1, *user, "org.freedesktop.login1.User"}, "Display");
  if (!display || display->name.empty()) return std::nullopt;
  return display->path;
}

std::optional<std::string> ownSession(sd_bus* bus) {
  // Process 0 is the caller.
  if (auto path = askForPath(bus, "GetSessionByPID", "u", std::uint32_t{0})) return path;
  if (const char* name = std::getenv("XDG_SESSION_ID"))
    if (auto path = askForPath(bus, "GetSession", "s", name)) return path;
  return displaySession(bus);
}

ConsoleFacts readFacts() {
  ConsoleFacts facts;
  facts.ownUser = currentUserName();
  const auto bus = openSystemBus();
  if (!bus) return facts;
  const auto own = ownSession(bus.get());
  if (!own) return facts;
  const auto seat = readNamedObject(bus.get(), session(*own), "Seat");
  if (!seat || seat->name.empty()) return facts;
  const auto active =
      readNamedObject(bus.get(), {login1, seat->path, "org.freedesktop.login1.Seat"}, "ActiveSession");
  if (!active) return facts;  // the seat cannot be read: treated as no seat
  facts.ownSessionHasSeat = true;
  if (active->name.empty()) return facts;
  facts.activeOnOwnSeat =
      ConsoleFacts::ActiveSession{readString(bus.get(), session(active->path), "Name").value_or(""),
                                  readString(bus.get(), session(active->path), "Class").value_or("")};
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
    if (told && now == last) return;
    told = true;
    last = now;
    changed();
  }

  const std::function<void()> changed;
  // On the loop's thread.
  bool told = false;
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

}  // namespace quorl
