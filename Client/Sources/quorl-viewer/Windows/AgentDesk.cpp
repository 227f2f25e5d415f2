// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/AgentDesk.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

#include <quorl-viewer/Windows/DetachedProgram.h>

namespace quorl::viewer {

namespace {

constexpr int mostWaiting = 8;
constexpr std::size_t mostShown = 8;  // in `shownTime`
constexpr std::chrono::seconds shownTime(10);
const QString terminalName = QStringLiteral("x-terminal-emulator");

// Beside this program, as in a build tree, or where programs are installed.
QString clientProgram() {
  QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/quorl_client");
  if (QFileInfo(beside).isExecutable()) return beside;
  return QStandardPaths::findExecutable(QStringLiteral("quorl_client"));
}

}  // namespace

void AgentDesk::notify(const AgentNotice& notice) {
  // The desktop may take seconds to answer, and a broken host may call without end.
  const auto now = std::chrono::steady_clock::now();
  while (!shown_.empty() && now - shown_.front() > shownTime) shown_.pop_front();
  if (waiting_ >= mostWaiting || shown_.size() >= mostShown) return;
  shown_.push_back(now);
  ++waiting_;
  worker_.start([this, notice] {
    client::DesktopNotifier().show(notice.title, notice.body);
    --waiting_;
  });
}

QString AgentDesk::openTerminal(const UUID& agent) const {
  const QString client = clientProgram();
  if (client.isEmpty())
    return QStringLiteral("quorl_client is not installed. Install the package quorl-client.");
  const QString terminal = QStandardPaths::findExecutable(terminalName);
  if (terminal.isEmpty())
    return QStringLiteral("There is no x-terminal-emulator. Install a terminal program, such as xterm.");
  const QStringList arguments{QStringLiteral("-e"),     client,
                              QStringLiteral("attach"), QString::fromStdString(agent.text()),
                              QStringLiteral("--host"), QString::fromStdString(host_)};
  if (startDetached(terminal, arguments)) return {};
  return QStringLiteral("%1 cannot be started").arg(terminal);
}

}  // namespace quorl::viewer
