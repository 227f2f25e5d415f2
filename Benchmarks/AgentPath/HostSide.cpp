// SPDX-License-Identifier: GPL-3.0-or-later
#include "HostSide.h"

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace quorl::bench {

HostSide::HostSide(std::string hostProgram, std::string clientProgram)
    : clientProgram_(std::move(clientProgram)) {
  std::string pattern = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot create a temporary folder");
  folder_ = pattern;
  host_ = std::make_unique<Program>(
      std::vector<std::string>{std::move(hostProgram), "--pin", pin_},
      std::vector<std::string>{"HOME=" + folder_, "XDG_DATA_HOME=" + folder_ + "/data",
                               "DISPLAY=", "QUORL_HOST_PORT=" + std::to_string(port_)},
      folder_ + "/host.log");
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (!output({"pair", "127.0.0.1:" + std::to_string(port_), "--pin", pin_}).empty()) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  throw std::runtime_error("the host does not answer");
}

HostSide::~HostSide() {
  host_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::vector<std::string> HostSide::clientEnvironment() const {
  return {"XDG_CONFIG_HOME=" + folder_ + "/config", "HOME=" + folder_, "TERM=xterm-256color"};
}

// Runs the client and returns its standard output; empty if the command failed.
std::string HostSide::output(const std::vector<std::string>& words) const {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("cannot create a pipe");
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[0]);
    ::close(ends[1]);
    std::ofstream log(folder_ + "/client.log", std::ios::app);
    for (const auto& entry : clientEnvironment()) {
      const auto equals = entry.find('=');
      ::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
    }
    std::vector<char*> pointers{const_cast<char*>(clientProgram_.c_str())};
    for (const auto& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    ::close(STDERR_FILENO);
    ::execv(pointers[0], pointers.data());
    ::_exit(127);
  }
  ::close(ends[1]);
  std::string text;
  char buffer[4096];
  for (ssize_t count = 0; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(count));
  ::close(ends[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  return status == 0 ? text : std::string();
}

std::string HostSide::spawn(const std::string& command) const {
  const auto text = output({"spawn", "--", command});
  if (text.size() < 36) throw std::runtime_error("the host did not start " + command);
  return text.substr(0, 36);
}

double HostSide::memory(const std::string& field) const {
  std::ifstream file("/proc/" + std::to_string(host_->pid()) + "/status");
  for (std::string line; std::getline(file, line);)
    if (line.starts_with(field)) return std::stod(line.substr(field.size())) * 1024 / 1e6;
  return 0;
}

// proc(5), clear_refs: 5 resets the peak.
void HostSide::resetPeak() const {
  std::ofstream("/proc/" + std::to_string(host_->pid()) + "/clear_refs") << "5";
}

}  // namespace quorl::bench
