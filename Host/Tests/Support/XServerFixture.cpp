// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/XServerFixture.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include <Support/Eventually.h>

namespace quorl::test {

namespace {

struct Pipe {
  int read = -1;
  int write = -1;

  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read = ends[0];
    write = ends[1];
  }
  ~Pipe() {
    ::close(read);
    closeWrite();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void closeWrite() {
    if (write >= 0) ::close(std::exchange(write, -1));
  }
  std::string readAll() const {
    std::string all;
    std::array<char, 65'536> block{};
    for (;;) {
      const auto got = ::read(read, block.data(), block.size());
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return all;
      all.append(block.data(), static_cast<std::size_t>(got));
    }
  }
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (auto& text : texts) result.push_back(text.data());
  result.push_back(nullptr);
  return result;
}

constexpr int passedNumber = 7;

}  // namespace

HelperProgram::HelperProgram(const std::vector<std::string>& command, const Options& options) {
  std::vector<std::string> arguments = command;
  std::vector<std::string> environment = options.environment;
  for (char** variable = environ; *variable != nullptr; ++variable) environment.emplace_back(*variable);
  auto argv = pointers(arguments);
  auto envp = pointers(environment);
  const pid_t parent = ::getpid();
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error("no process");
  if (pid_ > 0) return;
  // In the child, between fork and exec: only async-signal-safe calls.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(127);
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  ::dup2(nothing, 0);
  ::dup2(options.output >= 0 ? options.output : nothing, 1);
  ::dup2(nothing, 2);
  if (options.passedDescriptor == passedNumber) {
    ::fcntl(passedNumber, F_SETFD, 0);
  } else if (options.passedDescriptor >= 0) {
    ::dup2(options.passedDescriptor, passedNumber);
  }
  ::execvpe(argv[0], argv.data(), envp.data());
  ::_exit(127);
}

HelperProgram::~HelperProgram() {
  kill();
}

void HelperProgram::kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  wait();
}

void HelperProgram::terminate() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGTERM);
  wait();
}

int HelperProgram::wait() {
  int status = -1;
  if (pid_ > 0) {
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
  }
  pid_ = -1;
  return status;
}

XServer::XServer() : XServer(Options{}) {}

XServer::XServer(const Options& options) {
  Pipe number;
  const std::string screen = std::to_string(options.width) + "x" + std::to_string(options.height) + "x24";
  std::vector<std::string> command{"Xvfb",      "-displayfd", std::to_string(passedNumber),
                                   "-screen",   "0",          screen,
                                   "-nolisten", "tcp",        "-noreset"};
  for (const auto& extension : options.withoutExtensions) {
    command.emplace_back("-extension");
    command.push_back(extension);
  }
  server_.emplace(command, HelperProgram::Options{.passedDescriptor = number.write});
  number.closeWrite();
  std::string text;
  char digit = 0;
  while (::read(number.read, &digit, 1) == 1 && digit != '\n') text.push_back(digit);
  if (text.empty()) throw std::runtime_error("Xvfb did not start");
  display_ = ":" + text;
  if (options.windowManager == WindowManager::openbox) startWindowManager();
}

XServer::~XServer() {
  resume();
  windowManager_.reset();
  // Also removes its lock file and its socket.
  server_->terminate();
}

void XServer::restartWindowManager() {
  const std::string configuration = folder() + "/openbox.xml";
  std::ofstream(configuration) << "<openbox_config xmlns=\"http://openbox.org/3.4/rc\">"
                                  "<theme><name>Clearlooks</name><animateIconify>no</animateIconify></theme>"
                                  "<desktops><number>1</number></desktops></openbox_config>";
  windowManager_.emplace(start({"openbox", "--sm-disable", "--config-file", configuration}));
}

void XServer::startWindowManager() {
  restartWindowManager();
  // openbox announces itself before it reads events, and misses windows that are mapped in between. It is
  // ready once it has managed one.
  const auto manages = [this](bool any) {
    const auto list = run({"xprop", "-root", "_NET_CLIENT_LIST"});
    return list.find("window id") != std::string::npos && (list.find("0x") != std::string::npos) == any;
  };
  const bool isReady = eventually(
      [&] {
        const HelperProgram probe = start({"xlogo"});
        return eventually([&] { return manages(true); }, std::chrono::seconds(2));
      },
      std::chrono::seconds(30));
  if (!isReady || !eventually([&] { return manages(false); }))
    throw std::runtime_error("openbox did not start");
}

HelperProgram XServer::start(const std::vector<std::string>& command) const {
  return {command, {.environment = {"DISPLAY=" + display_, "HOME=" + folder()}}};
}

std::string XServer::run(const std::vector<std::string>& command) const {
  std::vector<std::string> limited{"timeout", "60"};
  limited.insert(limited.end(), command.begin(), command.end());
  Pipe output;
  HelperProgram program(limited,
                        {.environment = {"DISPLAY=" + display_, "HOME=" + folder()}, .output = output.write});
  output.closeWrite();
  std::string text = output.readAll();
  program.wait();
  return text;
}

void XServer::pause() const {
  ::kill(server_->pid(), SIGSTOP);
}

void XServer::resume() const {
  if (server_->pid() > 0) ::kill(server_->pid(), SIGCONT);
}

void XServer::kill() {
  server_->kill();
}

void XServer::killWindowManager() {
  windowManager_.reset();
}

}  // namespace quorl::test
