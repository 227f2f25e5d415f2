// SPDX-License-Identifier: GPL-3.0-or-later
#include "Program.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;  // NOLINT: POSIX

namespace quorl::bench {

namespace {

// Includes its child processes, such as a server that a wrapper script starts.
double cpuSecondsOf(pid_t pid) {
  const std::string folder = "/proc/" + std::to_string(pid);
  // proc(5): fields 14 and 15, counted from the last parenthesis of the name.
  std::ifstream file(folder + "/stat");
  std::stringstream text;
  text << file.rdbuf();
  const std::string line = text.str();
  const auto nameEnd = line.rfind(')');
  if (nameEnd == std::string::npos) return 0;
  std::istringstream fields(line.substr(nameEnd + 2));
  std::string skipped;
  for (int field = 3; field < 14; ++field) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  double seconds = (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
  std::ifstream children(folder + "/task/" + std::to_string(pid) + "/children");
  for (pid_t child = 0; children >> child;) seconds += cpuSecondsOf(child);
  return seconds;
}

// Some servers are slow to react to SIGTERM or ignore it.
void end(pid_t pid) {
  if (pid <= 0) return;
  kill(pid, SIGTERM);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (std::chrono::steady_clock::now() < limit) {
    if (waitpid(pid, nullptr, WNOHANG) != 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
                 const std::string& logPath) {
  std::vector<std::string> merged = environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::string key = text.substr(0, text.find('=') + 1);
    bool replaced = false;
    for (const auto& given : environment) replaced = replaced || given.starts_with(key);
    if (!replaced) merged.push_back(text);
  }
  std::vector<char*> argv;
  for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  std::vector<char*> envp;
  for (const auto& entry : merged) envp.push_back(const_cast<char*>(entry.c_str()));
  envp.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  const int status = posix_spawnp(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (status != 0) throw std::runtime_error("cannot start " + arguments.front());
}

Program::~Program() {
  end(pid_);
}

double Program::cpuSeconds() const {
  return cpuSecondsOf(pid_);
}

VirtualScreen::VirtualScreen(int width, int height) {
  int channel[2];
  if (pipe(channel) != 0) throw std::runtime_error("cannot create a pipe");
  const std::string size = std::to_string(width) + "x" + std::to_string(height) + "x24";
  pid_ = fork();
  if (pid_ == 0) {
    dup2(channel[1], 7);
    close(channel[0]);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, 2);
    execlp("Xvfb", "Xvfb", "-displayfd", "7", "-screen", "0", size.c_str(), "-nolisten", "tcp", "-noreset",
           static_cast<char*>(nullptr));
    _exit(127);
  }
  close(channel[1]);
  char digit = 0;
  std::string number;
  while (read(channel[0], &digit, 1) == 1 && digit != '\n') number += digit;
  close(channel[0]);
  if (number.empty()) throw std::runtime_error("Xvfb did not start");
  display_ = ":" + number;
}

VirtualScreen::~VirtualScreen() {
  end(pid_);
}

double VirtualScreen::cpuSeconds() const {
  return cpuSecondsOf(pid_);
}

AwakeProcessors::AwakeProcessors() {
  for (unsigned processor = 0; processor < std::thread::hardware_concurrency(); ++processor) {
    threads_.emplace_back([processor](const std::stop_token& stop) {
      const sched_param none{};
      sched_setscheduler(0, SCHED_IDLE, &none);
      cpu_set_t set;
      CPU_ZERO(&set);
      CPU_SET(processor, &set);
      sched_setaffinity(0, sizeof(set), &set);
      while (!stop.stop_requested()) {
      }
    });
  }
}

std::uint16_t freePort() {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  bind(descriptor, reinterpret_cast<sockaddr*>(&address), length);
  getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
  close(descriptor);
  return ntohs(address.sin_port);
}

}  // namespace quorl::bench
