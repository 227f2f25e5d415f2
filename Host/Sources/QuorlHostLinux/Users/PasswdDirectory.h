// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/UserDirectory.h>
#include <QuorlHostLinux/Users/PasswdEntries.h>

namespace quorl {

/// The accounts of the password database and their pictures: ~/.face, ~/.face.icon, and what AccountsService
/// keeps (org.freedesktop.Accounts).
///
/// *Queue*: any thread. *Blocking*: reads files and asks the name service, which may use a network.
class PasswdDirectory final : public UserDirectory {
 public:
  /// Of a picture's file. Larger ones are left out.
  static constexpr std::size_t pictureMaximum = 8 << 20;

  struct Sources {
    std::string loginDefs = "/etc/login.defs";
    std::string accountIcons = "/var/lib/AccountsService/icons";
    std::function<std::vector<PasswdEntry>()> entries;
    std::function<std::optional<PasswdEntry>(const std::string& name)> find;
    /// Of the entries, by the system's name service.
    static Sources ofThisSystem();
  };

  explicit PasswdDirectory(Sources sources = Sources::ofThisSystem()) : sources_(std::move(sources)) {}

  std::uint32_t firstLoginUID() override;
  std::vector<UserEntry> entries() override;
  void offerPictures(const std::string& username, const std::function<bool(ByteView)>& take) override;

 private:
  const Sources sources_;
};

/// The content of a regular file of at most `maximum` bytes; nothing for anything else. Does not wait for a
/// FIFO or a device.
std::optional<Bytes> pictureFile(const std::string& path, std::size_t maximum);

}  // namespace quorl
