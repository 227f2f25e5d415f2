// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <Linux/System/ChildProgram.h>
#include <Posix/LoopbackPeer.h>

namespace quorl::client::test {

/// A real ssh server on loopback that accepts one key. The PATH of this process finds an ssh with a
/// configuration of the test, never the person's own.
class SSHServer {
 public:
  static bool isInstalled();

  /// Keys, configuration and programs lie in `folder`. `passphrase`: of the key "user-key".
  explicit SSHServer(std::filesystem::path folder, const std::string& passphrase = {});
  ~SSHServer();
  SSHServer(const SSHServer&) = delete;
  SSHServer& operator=(const SSHServer&) = delete;

  /// "user-key", which the server accepts, or "other-key".
  void useKey(const std::string& key) const;
  /// As a client writes it, for a host behind this server.
  std::string addressFor(std::uint16_t hostPort) const { return addressFor(port_, hostPort); }
  static std::string addressFor(std::uint16_t sshPort, std::uint16_t hostPort);
  /// Lets ssh trust this key of the server from the start.
  void trust(const std::string& key) const;
  std::uint16_t port() const { return port_; }
  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  /// The processes of ssh that use this configuration.
  std::vector<pid_t> tunnels() const;
  std::string output() { return server_->output(); }

 private:
  void write(const std::string& name, const std::string& text) const;

  const std::filesystem::path folder_;
  const std::uint16_t port_ = quorl::test::freePort();
  std::string oldPath_;
  std::unique_ptr<quorl::test::ChildProgram> server_;
};

}  // namespace quorl::client::test
