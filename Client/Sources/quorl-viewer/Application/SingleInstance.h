// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QLocalServer>

#include <QuorlKit/Foundation/UUID.h>
#include <QuorlUnix/Descriptor.h>

#include <quorl-client/Base/ClientError.h>

namespace quorl::viewer {

/// One viewer a host: the first holds a lock and listens on a socket beside it; a later one hands over its
/// words and ends. Both are in a folder of 0700, and words of another user are refused.
///
/// *Queue*: the GUI thread. *Ownership*: the application's. *Lifetime*: the lock ends with it, also after a
/// crash.
class SingleInstance {
 public:
  /// `folder`: of the user's runtime files; nothing means that every viewer is the first.
  SingleInstance(std::optional<std::filesystem::path> folder, const UUID& host);

  /// $XDG_RUNTIME_DIR/quorl, made with 0700 if it is absent. Nothing if it is not the user's own.
  static std::optional<std::filesystem::path> defaultFolder();

  enum class Role : std::uint8_t { first, later };
  /// False if this one ends: the later one becomes the first then.
  using Received = std::function<bool(const std::vector<std::string>&)>;

  /// The first gets the words of later ones from then on, in order. A later one gives `words` to the first,
  /// and takes its place if that is ending. Waits three seconds at most.
  client::Outcome<Role> becomeFirst(Received received, const std::vector<std::string>& words);

  static constexpr std::size_t longestMessage = 65'536;

 private:
  bool lock();
  void listen();
  void accept();
  bool handOver(const QByteArray& message, int limit) const;  // ms
  QString socketPath() const;

  const std::optional<std::filesystem::path> folder_;
  const std::string name_;
  Descriptor lock_;
  QLocalServer server_;
  Received received_;
};

}  // namespace quorl::viewer
