// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/DetachedProgram.h>

#include <csignal>

#include <QProcess>

namespace quorl::viewer {

bool startDetached(const QString& program, const QStringList& arguments) {
  QProcess process;
  process.setProgram(program);
  process.setArguments(arguments);
  // Between fork and exec.
  process.setChildProcessModifier([] {
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
  });
  return process.startDetached();
}

}  // namespace quorl::viewer
