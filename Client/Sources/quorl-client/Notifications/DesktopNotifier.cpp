// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Notifications/DesktopNotifier.h>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <string_view>

namespace quorl::client {
namespace {

constexpr std::uint64_t patienceMicroseconds = 2'000'000;
constexpr const char* destination = "org.freedesktop.Notifications";
constexpr const char* path = "/org/freedesktop/Notifications";
// Shown until dismissed: the person may be away for long.
constexpr int neverExpires = 0;

struct Reply {
  Reply() = default;
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;
  ~Reply() {
    sd_bus_message_unref(message);
    sd_bus_error_free(&error);
  }
  sd_bus_message* message = nullptr;
  sd_bus_error error = SD_BUS_ERROR_NULL;
};

// A service may interpret the body as markup (Desktop Notifications Specification, "Markup").
std::string escaped(std::string_view text) {
  std::string result;
  for (const char letter : text) {
    if (letter == '&')
      result += "&amp;";
    else if (letter == '<')
      result += "&lt;";
    else if (letter == '>')
      result += "&gt;";
    else
      result += letter;
  }
  return result;
}

}  // namespace

void DesktopNotifier::Closer::operator()(sd_bus* bus) const {
  sd_bus_flush_close_unref(bus);
}

DesktopNotifier::DesktopNotifier() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return;
  bus_.reset(bus);
  sd_bus_set_method_call_timeout(bus, patienceMicroseconds);
}

bool DesktopNotifier::understandsMarkup() {
  Reply reply;
  if (sd_bus_call_method(bus_.get(), destination, path, destination, "GetCapabilities", &reply.error,
                         &reply.message, "") < 0)
    return false;
  bool found = false;
  const char* capability = nullptr;
  if (sd_bus_message_enter_container(reply.message, 'a', "s") < 0) return false;
  while (sd_bus_message_read(reply.message, "s", &capability) > 0)
    found |= std::string_view(capability) == "body-markup";
  return found;
}

bool DesktopNotifier::show(const std::string& title, const std::string& body) {
  if (!bus_) return false;
  const auto text = understandsMarkup() ? escaped(body) : body;
  Reply reply;
  const int result = sd_bus_call_method(bus_.get(), destination, path, destination, "Notify", &reply.error,
                                        &reply.message, "susssasa{sv}i", "Quorl", 0U, "", title.c_str(),
                                        text.c_str(), 0U, 1U, "urgency", "y", 1, neverExpires);
  return result >= 0;
}

}  // namespace quorl::client
