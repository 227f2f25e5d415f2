// SPDX-License-Identifier: GPL-3.0-or-later
#include <Linux/System/PrivateBus.h>

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <Support/Eventually.h>

namespace quorl::test {

namespace {

constexpr const char* busConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=@FOLDER@/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";

constexpr const char* login1 = "org.freedesktop.login1";

struct SystemBus {
  SystemBus() { sd_bus_open_system(&bus); }
  SystemBus(const SystemBus&) = delete;
  SystemBus& operator=(const SystemBus&) = delete;
  ~SystemBus() { sd_bus_flush_close_unref(bus); }
  sd_bus* bus = nullptr;
};

bool nameIsOwned(const char* name) {
  const SystemBus connection;
  return connection.bus && sd_bus_get_name_creds(connection.bus, name, 0, nullptr) >= 0;
}

std::string sessionPath(const std::string& id) {
  return "/org/freedesktop/login1/session/" + id;
}

std::string seatPath(const std::string& seat) {
  return "/org/freedesktop/login1/seat/" + seat;
}

void setNamedObject(const std::string& object, const char* interface, const char* property,
                    const std::string& name, const std::string& path) {
  const SystemBus connection;
  EXPECT_GE(sd_bus_set_property(connection.bus, login1, object.c_str(), interface, property, nullptr, "(so)",
                                name.c_str(), path.c_str()),
            0);
}

}  // namespace

PrivateBus::PrivateBus() {
  std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
  std::string text = busConfiguration;
  const std::string mark = "@FOLDER@";
  text.replace(text.find(mark), mark.size(), folder_.path().string());
  std::ofstream(folder_ / "bus.conf") << text;
  daemon_ = std::make_unique<ChildProgram>(std::vector<std::string>{
      "dbus-daemon", "--nofork", "--config-file=" + folder_.file("bus.conf"), "--print-address"});
  if (!daemon_->waitForOutput("\n")) return;
  address_ = "unix:path=" + folder_.file("bus");
  ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
  ::unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  daemon_.reset();
}

LogindMock::LogindMock()
    : mock_(std::make_unique<ChildProgram>(
          std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock", "--system", "-t", "logind"})) {
  running_ = eventually([] { return nameIsOwned(login1); }, std::chrono::seconds(30));
}

void LogindMock::addSession(const std::string& id, const std::string& seat, unsigned uid,
                            const std::string& user) {
  const SystemBus connection;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  EXPECT_GE(sd_bus_call_method(connection.bus, login1, "/org/freedesktop/login1", "org.freedesktop.DBus.Mock",
                               "AddSession", &error, nullptr, "ssusb", id.c_str(), seat.c_str(), uid,
                               user.c_str(), 1),
            0)
      << error.message;
  sd_bus_error_free(&error);
}

void LogindMock::activate(const std::string& seat, const std::string& id) {
  setNamedObject(seatPath(seat), "org.freedesktop.login1.Seat", "ActiveSession", id,
                 id.empty() ? "/" : sessionPath(id));
}

void LogindMock::setSessionClass(const std::string& id, const std::string& sessionClass) {
  setSession(id, "Class", sessionClass);
}

void LogindMock::setSession(const std::string& id, const std::string& property, const std::string& value) {
  const SystemBus connection;
  EXPECT_GE(
      sd_bus_set_property(connection.bus, login1, sessionPath(id).c_str(), "org.freedesktop.login1.Session",
                          property.c_str(), nullptr, "s", value.c_str()),
      0);
}

void LogindMock::setLocked(const std::string& id, bool isLocked) {
  const SystemBus connection;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  EXPECT_GE(
      sd_bus_set_property(connection.bus, login1, sessionPath(id).c_str(), "org.freedesktop.login1.Session",
                          "LockedHint", &error, "b", isLocked ? 1 : 0),
      0)
      << error.message;
  sd_bus_error_free(&error);
}

std::vector<LogindMock::Inhibitor> LogindMock::inhibitors() const {
  const SystemBus connection;
  sd_bus_message* reply = nullptr;
  std::vector<Inhibitor> found;
  if (sd_bus_call_method(connection.bus, login1, "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                         "ListInhibitors", nullptr, &reply, "") >= 0 &&
      sd_bus_message_enter_container(reply, 'a', "(ssssuu)") >= 0) {
    const char* texts[4] = {};
    unsigned uid = 0;
    unsigned pid = 0;
    while (sd_bus_message_read(reply, "(ssssuu)", &texts[0], &texts[1], &texts[2], &texts[3], &uid, &pid) > 0)
      found.push_back({texts[0], texts[1], texts[2], texts[3]});
  }
  sd_bus_message_unref(reply);
  return found;
}

ServiceMock::ServiceMock(std::string name, std::string path, std::string interface)
    : name_(std::move(name)),
      path_(std::move(path)),
      interface_(std::move(interface)),
      mock_(std::make_unique<ChildProgram>(std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock",
                                                                    "--system", name_, path_, interface_})) {
  running_ = eventually([this] { return nameIsOwned(name_.c_str()); }, std::chrono::seconds(30));
}

void ServiceMock::addMethod(const std::string& method, const std::string& in, const std::string& out,
                            const std::string& code) {
  const SystemBus connection;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  EXPECT_GE(sd_bus_call_method(connection.bus, name_.c_str(), path_.c_str(), "org.freedesktop.DBus.Mock",
                               "AddMethod", &error, nullptr, "sssss", interface_.c_str(), method.c_str(),
                               in.c_str(), out.c_str(), code.c_str()),
            0)
      << error.message;
  sd_bus_error_free(&error);
}

void LogindMock::setSeatOfSession(const std::string& id, const std::string& seat) {
  setNamedObject(sessionPath(id), "org.freedesktop.login1.Session", "Seat", seat,
                 seat.empty() ? "/" : seatPath(seat));
}

}  // namespace quorl::test
