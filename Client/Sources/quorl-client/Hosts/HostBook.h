// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/UUID.h>

#include <quorl-client/Base/ClientError.h>
#include <quorl-client/Session/HostAddress.h>

namespace quorl::client {

/// One pairing. The token alone gives access to the host.
struct PairedHost {
  std::string name;
  std::string address;  // a name, a numeric address or "ssh://[user@]host[:port]"
  std::uint16_t port = 0;
  UUID deviceID;  // the host's
  Bytes token;

  HostAddress endpoint() const;

  bool operator==(const PairedHost&) const = default;
};
BOOST_DESCRIBE_STRUCT(PairedHost, (), (name, address, port, deviceID, token))

struct HostBookContents {
  UUID deviceID;  // this client's, generated once
  std::vector<PairedHost> hosts;

  /// By address, way and port, then by name ignoring case, then by address alone if only one host has it.
  const PairedHost* find(std::string_view text) const;

  bool operator==(const HostBookContents&) const = default;
};
BOOST_DESCRIBE_STRUCT(HostBookContents, (), (deviceID, hosts))

/// The paired hosts on disk: `hosts.json`, 0600, in a folder of 0700.
///
/// *Queue*: any; several processes may use the same book, and a change locks the folder. *Ownership*: a
/// value.
class HostBook {
 public:
  explicit HostBook(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// $XDG_CONFIG_HOME/quorl if that is an absolute path, else ~/.config/quorl.
  static Outcome<std::filesystem::path> defaultFolder();

  /// An absent file is an empty book with a nil device. A damaged file is an error and is never overwritten:
  /// it may contain tokens that can be recovered.
  Outcome<HostBookContents> load() const;

  /// Reads, changes and replaces the file under a lock. Generates the device identity if there is none.
  Outcome<HostBookContents> update(const std::function<void(HostBookContents&)>& change);

  std::filesystem::path path() const { return folder_ / "hosts.json"; }

 private:
  Outcome<void> makeFolder() const;

  std::filesystem::path folder_;
};

}  // namespace quorl::client
