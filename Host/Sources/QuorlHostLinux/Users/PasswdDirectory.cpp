// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Users/PasswdDirectory.h>

#include <cerrno>
#include <mutex>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QuorlHostLinux/System/Bus.h>
#include <QuorlHostLinux/System/SystemFile.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

std::string textOf(const char* text) {
  return text != nullptr ? text : "";
}

PasswdEntry entryOf(const passwd& record) {
  return {textOf(record.pw_name), record.pw_uid, textOf(record.pw_gecos), textOf(record.pw_dir),
          textOf(record.pw_shell)};
}

// The database has one position and one record for the whole process.
std::mutex& databaseMutex() {
  static std::mutex mutex;
  return mutex;
}

std::vector<PasswdEntry> allEntries() {
  const std::lock_guard lock(databaseMutex());
  std::vector<PasswdEntry> entries;
  ::setpwent();
  while (const passwd* record = ::getpwent()) entries.push_back(entryOf(*record));
  ::endpwent();
  return entries;
}

std::optional<PasswdEntry> entryNamed(const std::string& name) {
  const std::lock_guard lock(databaseMutex());
  const passwd* record = ::getpwnam(name.c_str());
  return record != nullptr ? std::optional(entryOf(*record)) : std::nullopt;
}

// The file that the accounts service names. It is asked only if it runs.
std::optional<std::string> iconFileOf(const std::string& username) {
  const auto bus = openSystemBus();
  if (!bus || sd_bus_get_name_creds(bus.get(), "org.freedesktop.Accounts", 0, nullptr) < 0)
    return std::nullopt;
  const BusObject accounts{"org.freedesktop.Accounts", "/org/freedesktop/Accounts",
                           "org.freedesktop.Accounts"};
  const auto found = callMethod(bus.get(), accounts, "FindUserByName", "s", username.c_str());
  const char* path = nullptr;
  if (!found || sd_bus_message_read(found->get(), "o", &path) < 0) return std::nullopt;
  return readString(bus.get(), {accounts.service, path, "org.freedesktop.Accounts.User"}, "IconFile");
}

}  // namespace

PasswdDirectory::Sources PasswdDirectory::Sources::ofThisSystem() {
  Sources sources;
  sources.entries = allEntries;
  sources.find = entryNamed;
  return sources;
}

std::uint32_t PasswdDirectory::firstLoginUID() {
  return loginRangeOf(systemFileText(sources_.loginDefs).value_or("")).first;
}

std::vector<UserEntry> PasswdDirectory::entries() {
  return loginEntries(sources_.entries(), loginRangeOf(systemFileText(sources_.loginDefs).value_or("")));
}

void PasswdDirectory::offerPictures(const std::string& username, const std::function<bool(ByteView)>& take) {
  const auto offer = [&](const std::string& path) {
    const auto content = pictureFile(path, pictureMaximum);
    return content && take(*content);
  };
  const auto entry = sources_.find(username);
  if (entry && !entry->home.empty())
    for (const char* name : {"/.face", "/.face.icon"})
      if (offer(entry->home + name)) return;
  // A name with a slash would leave the folder.
  if (username.find('/') == std::string::npos && offer(sources_.accountIcons + "/" + username)) return;
  if (const auto path = iconFileOf(username); path && !path->empty()) offer(*path);
}

std::optional<Bytes> pictureFile(const std::string& path, std::size_t maximum) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status{};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  if (status.st_size <= 0 || static_cast<std::uintmax_t>(status.st_size) > maximum) return std::nullopt;
  Bytes content(static_cast<std::size_t>(status.st_size));
  std::size_t filled = 0;
  while (filled < content.size()) {
    const ssize_t count = ::read(file.get(), content.data() + filled, content.size() - filled);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    filled += static_cast<std::size_t>(count);
  }
  content.resize(filled);
  return content;
}

}  // namespace quorl
