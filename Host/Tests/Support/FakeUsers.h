// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/CredentialAuthority.h>
#include <QuorlHostCore/Ports/PictureScaler.h>
#include <QuorlHostCore/Ports/UserDirectory.h>

namespace quorl::test {

/// Accounts and pictures that a test sets.
///
/// *Queue*: the simulation's one thread.
class FakeUserDirectory final : public UserDirectory {
 public:
  std::uint32_t firstLoginUID() override { return 501; }
  std::vector<UserEntry> entries() override { return users; }
  void offerPictures(const std::string& username, const std::function<bool(ByteView)>& take) override {
    for (const Bytes& file : files[username]) {
      ++offered;
      if (take(file)) return;
    }
  }

  std::vector<UserEntry> users;
  std::map<std::string, std::vector<Bytes>> files;
  int offered = 0;
};

/// Reads a "picture" as the number of bytes of its PNG; nothing for other bytes.
class FakePictureScaler final : public PictureScaler {
 public:
  std::optional<Bytes> scaledPNG(ByteView file, int longestSide) override {
    lastSide = longestSide;
    if (file.size() != 4) return std::nullopt;
    std::size_t size = 0;
    for (const std::uint8_t byte : file) size = size << 8 | byte;
    return Bytes(size, 'P');
  }
  static Bytes pictureOf(std::size_t size) {
    return {static_cast<std::uint8_t>(size >> 24), static_cast<std::uint8_t>(size >> 16),
            static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size)};
  }

  int lastSide = 0;
};

/// Knows one password.
class FakeCredentials final : public CredentialAuthority {
 public:
  bool verify(const std::string& username, const SecretText& password) override {
    checks.push_back(username);
    return username == "anna" && password.view() == "right";
  }

  std::vector<std::string> checks;
};

}  // namespace quorl::test
