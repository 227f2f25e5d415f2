// SPDX-License-Identifier: GPL-3.0-or-later
#include <Linux/Agents/TerminalChild.h>

#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl::test {

TerminalChild::TerminalChild(const std::vector<std::string>& arguments, const std::string& directory) {
  std::vector<char*> texts;
  for (const std::string& argument : arguments) texts.push_back(const_cast<char*>(argument.c_str()));
  texts.push_back(nullptr);
  char name[128] = {};
  pid_ = forkpty(&master_, name, nullptr, nullptr);
  QUORL_CHECK(pid_ >= 0, "a pseudo-terminal can be had");
  if (pid_ == 0) {
    if (chdir(directory.c_str()) == 0) execv(texts.front(), texts.data());
    _exit(127);
  }
  tty_ = name;
}

TerminalChild::~TerminalChild() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    wait();
  }
  close(master_);
}

int TerminalChild::wait() {
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  return status;
}

}  // namespace quorl::test
