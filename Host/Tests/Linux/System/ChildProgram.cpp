// SPDX-License-Identifier: GPL-3.0-or-later
#include <Linux/System/ChildProgram.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Support/Eventually.h>

namespace quorl::test {

namespace {

[[noreturn]] void become(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment, int output) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  for (const auto& entry : environment) {
    const auto equals = entry.find('=');
    if (equals == std::string::npos)
      ::unsetenv(entry.c_str());
    else
      ::setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
  }
  std::vector<char*> pointers;
  for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  ::execvp(pointers[0], pointers.data());
  ::_exit(127);
}

}  // namespace

ChildProgram::ChildProgram(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return;
  pipe_ = Descriptor(ends[0]);
  ::fcntl(pipe_.get(), F_SETFL, O_NONBLOCK);
  const Descriptor writeEnd(ends[1]);
  pid_ = ::fork();
  if (pid_ == 0) become(arguments, environment, writeEnd.get());
}

ChildProgram::~ChildProgram() {
  if (pid_ < 0 || !isRunning()) return;
  ::kill(pid_, SIGKILL);
  waitForExit();
}

void ChildProgram::signal(int number) {
  if (isRunning()) ::kill(pid_, number);
}

std::optional<int> ChildProgram::waitForExit(std::chrono::milliseconds limit) {
  if (status_ || pid_ < 0) return status_.value_or(127);
  eventually(
      [&] {
        readOutput();  // a full pipe would keep it from ending
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) != pid_) return false;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return true;
      },
      limit);
  readOutput();
  return status_;
}

void ChildProgram::readOutput() {
  char buffer[4096];
  for (;;) {
    const ssize_t count = ::read(pipe_.get(), buffer, sizeof buffer);
    if (count <= 0) return;
    output_.append(buffer, static_cast<std::size_t>(count));
  }
}

const std::string& ChildProgram::output() {
  readOutput();
  return output_;
}

bool ChildProgram::waitForOutput(const std::string& text, std::chrono::milliseconds limit) {
  return eventually([&] { return output().find(text) != std::string::npos; }, limit);
}

std::string outputOf(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
  ChildProgram program(arguments, environment);
  program.waitForExit();
  return program.output();
}

bool hasProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path ? path : "");
  for (std::string folder; std::getline(folders, folder, ':');)
    if (::access((folder + "/" + name).c_str(), X_OK) == 0) return true;
  return false;
}

}  // namespace quorl::test
