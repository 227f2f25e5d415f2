// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Menu/DisplaySocket.h>

#include <charconv>
#include <cstring>
#include <filesystem>

#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace quorl {

namespace {

bool acceptsAt(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.data(), path.size());
  const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  return socket.isOpen() && ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), length) == 0;
}

}  // namespace

std::optional<unsigned> localDisplayNumber(std::string_view display) {
  const auto colon = display.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const std::string_view host = display.substr(0, colon);
  if (!host.empty() && host != "unix") return std::nullopt;
  const std::string_view rest = display.substr(colon + 1);
  unsigned number = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  const bool isWhole = end == rest.data() + rest.size() || *end == '.';
  return error == std::errc() && isWhole ? std::optional(number) : std::nullopt;
}

DisplaySocket::DisplaySocket(std::string display, std::string folder) : folder_(std::move(folder)) {
  const auto number = localDisplayNumber(display);
  if (!number) return;
  name_ = "X" + std::to_string(*number);
  watch_ = Descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  watchFolder();
}

bool DisplaySocket::accepts() const {
  if (name_.empty()) return true;
  const std::string path = folder_ + "/" + name_;
  return acceptsAt(path) || acceptsAt(std::string(1, '\0') + path);
}

// The first server of the machine creates the folder.
void DisplaySocket::watchFolder() {
  if (!watch_.isOpen() || watchesFolder_) return;
  constexpr std::uint32_t arrivals = IN_CREATE | IN_MOVED_TO;
  watchesFolder_ = ::inotify_add_watch(watch_.get(), folder_.c_str(), arrivals) >= 0;
  if (watchesFolder_) return;
  const std::string parent = std::filesystem::path(folder_).parent_path();
  ::inotify_add_watch(watch_.get(), parent.c_str(), arrivals);
}

bool DisplaySocket::readEvents() {
  const std::string folderName = std::filesystem::path(folder_).filename();
  bool found = false;
  alignas(inotify_event) char buffer[4096];
  for (;;) {
    const ssize_t count = ::read(watch_.get(), buffer, sizeof buffer);
    if (count <= 0) break;
    for (ssize_t offset = 0; offset < count;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
      offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      if ((event->mask & IN_Q_OVERFLOW) != 0) found = true;
      if ((event->mask & IN_IGNORED) != 0) watchesFolder_ = false;
      if (event->len == 0) continue;
      const std::string_view name(event->name);
      if (name == name_ || name == folderName) found = true;
    }
  }
  if (!watchesFolder_) watchFolder();
  return found;
}

}  // namespace quorl
