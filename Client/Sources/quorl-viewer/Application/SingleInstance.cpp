// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Application/SingleInstance.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include <QByteArray>
#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QThread>

namespace quorl::viewer {
namespace {

constexpr int patience = 3'000;  // ms
constexpr int retryPause = 20;   // ms

// Each word ends with a NUL, the message with another one. A word has no NUL: it came from a command line.
QByteArray encoded(const std::vector<std::string>& words) {
  QByteArray message;
  for (const auto& word : words) message.append(word.c_str(), static_cast<qsizetype>(word.size()) + 1);
  // Without words a lone NUL would be an empty word.
  return message.append('\0');
}

std::vector<std::string> decoded(const QByteArray& message) {
  std::vector<std::string> words;
  for (const auto& word : message.first(message.size() - 1).split('\0'))
    if (!word.isEmpty()) words.push_back(word.toStdString());
  return words;
}

bool isWhole(const QByteArray& message) {
  return message == QByteArray(1, '\0') || message.endsWith(QByteArray(2, '\0'));
}

bool isOwnUser(const QLocalSocket& socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_PEERCRED, &peer, &size) ==
             0 &&
         peer.uid == ::geteuid();
}

}  // namespace

SingleInstance::SingleInstance(std::optional<std::filesystem::path> folder, const UUID& host)
    : folder_(std::move(folder)), name_("viewer-" + host.text()) {}

std::optional<std::filesystem::path> SingleInstance::defaultFolder() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || runtime[0] != '/') return std::nullopt;
  auto folder = std::filesystem::path(runtime) / "quorl";
  ::mkdir(folder.c_str(), 0700);
  struct stat status{};
  const bool isPrivate = ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
                         status.st_uid == ::geteuid() && (status.st_mode & 0077) == 0;
  return isPrivate ? std::optional(std::move(folder)) : std::nullopt;
}

QString SingleInstance::socketPath() const {
  return QString::fromStdString((*folder_ / (name_ + ".socket")).string());
}

client::Outcome<SingleInstance::Role> SingleInstance::becomeFirst(Received received,
                                                                  const std::vector<std::string>& words) {
  received_ = std::move(received);
  if (!folder_) return Role::first;
  const auto message = encoded(words);
  const QDeadlineTimer deadline(patience);
  // The first one may still be starting, or end just now.
  for (;;) {
    if (lock()) {
      listen();
      return Role::first;
    }
    if (handOver(message, static_cast<int>(deadline.remainingTime()))) return Role::later;
    if (deadline.hasExpired())
      return client::failed(client::ExitCode::timedOut, "the window of this host is open but does not answer",
                            "Close it, or end its process quorl_viewer, and try again.");
    QThread::msleep(retryPause);
  }
}

// True also where nothing can be locked: a second window is better than none.
bool SingleInstance::lock() {
  const auto path = *folder_ / (name_ + ".lock");
  lock_ = Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  return !lock_.isOpen() || ::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0;
}

void SingleInstance::listen() {
  // A crash leaves the socket, and the lock says that nobody uses it.
  QLocalServer::removeServer(socketPath());
  server_.setSocketOptions(QLocalServer::UserAccessOption);
  QObject::connect(&server_, &QLocalServer::newConnection, &server_, [this] { accept(); });
  server_.listen(socketPath());
}

void SingleInstance::accept() {
  while (auto* socket = server_.nextPendingConnection()) {
    QObject::connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    if (!isOwnUser(*socket)) {
      socket->abort();
      continue;
    }
    // No more than a message fits, so a peer that never ends one costs no memory.
    socket->setReadBufferSize(longestMessage);
    QObject::connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
      const auto begun = socket->peek(longestMessage);
      if (!isWhole(begun)) {
        if (begun.size() >= static_cast<qsizetype>(longestMessage)) socket->abort();
        return;
      }
      if (received_(decoded(socket->readAll()))) socket->write("ok\n");
      socket->disconnectFromServer();
    });
  }
}

// False if the first does not listen yet, has ended, or does not answer in time.
bool SingleInstance::handOver(const QByteArray& message, int limit) const {
  const QDeadlineTimer deadline(limit);
  const auto remaining = [&] { return static_cast<int>(deadline.remainingTime()); };
  QLocalSocket socket;
  socket.connectToServer(socketPath());
  if (!socket.waitForConnected(remaining())) return false;
  socket.write(message);
  while (!socket.canReadLine() && socket.waitForReadyRead(remaining())) {
  }
  return socket.readAll() == "ok\n";
}

}  // namespace quorl::viewer
