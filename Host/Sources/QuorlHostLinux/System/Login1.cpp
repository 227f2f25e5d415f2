// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/Login1.h>

#include <cstdlib>

#include <unistd.h>

namespace quorl::login1 {

namespace {

// A manager method that returns an object path.
template <class... Arguments>
std::optional<std::string> askForPath(sd_bus* bus, const char* method, const char* types,
                                      Arguments... arguments) {
  const auto reply = callMethod(bus, manager(), method, types, arguments...);
  const char* path = nullptr;
  if (!reply || sd_bus_message_read(reply->get(), "o", &path) < 0) return std::nullopt;
  return path;
}

std::optional<std::string> displaySession(sd_bus* bus) {
  const auto user = askForPath(bus, "GetUser", "u", static_cast<std::uint32_t>(::geteuid()));
  if (!user) return std::nullopt;
  const auto display = readNamedObject(bus, {service, *user, "org.freedesktop.login1.User"}, "Display");
  if (!display || display->name.empty()) return std::nullopt;
  return display->path;
}

}  // namespace

BusObject manager() {
  return {service, "/org/freedesktop/login1", "org.freedesktop.login1.Manager"};
}

BusObject session(std::string path) {
  return {service, std::move(path), "org.freedesktop.login1.Session"};
}

std::optional<std::string> ownSession(sd_bus* bus) {
  // Process 0 is the caller.
  if (auto path = askForPath(bus, "GetSessionByPID", "u", std::uint32_t{0})) return path;
  if (const char* name = std::getenv("XDG_SESSION_ID"))
    if (auto path = askForPath(bus, "GetSession", "s", name)) return path;
  return displaySession(bus);
}

std::optional<std::vector<ListedSession>> listSessions(sd_bus* bus) {
  const auto reply = callMethod(bus, manager(), "ListSessions", "");
  if (!reply || sd_bus_message_enter_container(reply->get(), 'a', "(susso)") < 0) return std::nullopt;
  std::vector<ListedSession> sessions;
  const char* id = nullptr;
  std::uint32_t uid = 0;
  const char* user = nullptr;
  const char* seat = nullptr;
  const char* path = nullptr;
  while (sd_bus_message_read(reply->get(), "(susso)", &id, &uid, &user, &seat, &path) > 0)
    sessions.push_back({id, uid, user, seat, path});
  return sessions;
}

bool isOfAUser(const std::string& sessionClass) {
  return sessionClass.starts_with("user");
}

}  // namespace quorl::login1
