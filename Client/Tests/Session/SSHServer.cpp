// SPDX-License-Identifier: GPL-3.0-or-later
#include "SSHServer.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>

namespace quorl::client::test {
namespace {

using quorl::test::ChildProgram;
using quorl::test::outputOf;
namespace fs = std::filesystem;

constexpr auto program = "/usr/sbin/sshd";

}  // namespace

bool SSHServer::isInstalled() {
  return fs::exists(program);
}

SSHServer::SSHServer(fs::path folder, const std::string& passphrase)
    : folder_(std::move(folder)), oldPath_(std::getenv("PATH")) {
  for (const char* key : {"server-key", "user-key", "other-key"})
    outputOf({"ssh-keygen", "-q", "-t", "ed25519", "-N", key == std::string("user-key") ? passphrase : "",
              "-f", path(key)});
  fs::copy_file(path("user-key.pub"), path("authorized"));
  write("sshd_config", fmt::format("Port {}\nListenAddress 127.0.0.1\nHostKey {}\nAuthorizedKeysFile {}\n"
                                   "StrictModes no\nUsePAM no\nPidFile none\nPasswordAuthentication no\n"
                                   "KbdInteractiveAuthentication no\n",
                                   port_, path("server-key"), path("authorized")));
  useKey("user-key");
  fs::create_directories(folder_ / "bin");
  write("bin/ssh", fmt::format("#!/bin/sh\nexec /usr/bin/ssh -F {} \"$@\"\n", path("ssh_config")));
  fs::permissions(folder_ / "bin" / "ssh", fs::perms::owner_all);
  ::setenv("PATH", (path("bin") + ":" + oldPath_).c_str(), 1);
  // sshd needs it when it runs as root; a service manager makes it otherwise.
  if (::geteuid() == 0) ::mkdir("/run/sshd", 0755);
  server_ = std::make_unique<ChildProgram>(
      std::vector<std::string>{program, "-D", "-e", "-f", path("sshd_config")}, std::vector<std::string>{});
  if (!server_->waitForOutput("Server listening", std::chrono::seconds(30)))
    throw std::runtime_error(server_->output());
}

SSHServer::~SSHServer() {
  ::setenv("PATH", oldPath_.c_str(), 1);
}

void SSHServer::useKey(const std::string& key) const {
  write("ssh_config",
        fmt::format("IdentityFile {}\nIdentitiesOnly yes\nIdentityAgent none\nUserKnownHostsFile {}\n"
                    "GlobalKnownHostsFile none\nStrictHostKeyChecking accept-new\n",
                    path(key), path("known")));
}

std::string SSHServer::addressFor(std::uint16_t sshPort, std::uint16_t hostPort) {
  return fmt::format("ssh://{}@127.0.0.1:{}?port={}", ::getpwuid(::getuid())->pw_name, sshPort, hostPort);
}

void SSHServer::trust(const std::string& key) const {
  std::ifstream file(path(key + ".pub"));
  std::string type;
  std::string text;
  file >> type >> text;
  write("known", fmt::format("[127.0.0.1]:{} {} {}\n", port_, type, text));
}

std::vector<pid_t> SSHServer::tunnels() const {
  std::vector<pid_t> found;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    std::ifstream file(entry.path() / "cmdline", std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    if (text.str().starts_with("/usr/bin/ssh") && text.str().contains(path("ssh_config")))
      found.push_back(std::stoi(entry.path().filename()));
  }
  return found;
}

void SSHServer::write(const std::string& name, const std::string& text) const {
  std::ofstream(folder_ / name) << text;
}

}  // namespace quorl::client::test
