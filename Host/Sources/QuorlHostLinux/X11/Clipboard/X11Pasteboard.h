// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>

#include <QuorlHostCore/Ports/Pasteboard.h>
#include <QuorlHostLinux/X11/Clipboard/ClipboardLimits.h>
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// The CLIPBOARD selection of an X display. PRIMARY, the selection that the middle button pastes, is left to
/// the programs.
///
/// The count counts the server's reports of a new owner (XFIXES), so that also a program that copies the same
/// content again counts. While there is no display, it tries to connect every two seconds; content of ours
/// from before is offered again unless another program has copied meanwhile.
///
/// *Queue*: see `Pasteboard`. Owns a thread with a connection; answers and the handler are called on it.
/// *Blocking*: never; the thread waits for the server, and for other programs within `ClipboardLimits`.
/// *Lifetime*: destruction waits for the thread. Content of ours ends with it.
class X11Pasteboard final : public Pasteboard {
 public:
  explicit X11Pasteboard(X11DisplayName displayName = displayNameFromEnvironment(),
                         const ClipboardLimits& limits = {});
  ~X11Pasteboard() override;

  bool setChangeHandler(ChangeHandler handler) override;
  std::int64_t changeCount() override;
  void read(PasteboardType type, std::size_t limit, ReadAnswer answer) override;
  void replace(PasteboardType type, Bytes content, CountAnswer answer) override;

  /// How often the thread has woken up, for tests of idleness.
  std::uint64_t wakeups() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quorl
