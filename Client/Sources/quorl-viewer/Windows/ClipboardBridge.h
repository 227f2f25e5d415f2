// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>

#include <QClipboard>
#include <QObject>
#include <QStringList>
#include <QThreadPool>

#include <QuorlKit/Protocol/ControlMessage.h>

#include <quorl-viewer/Clipboard/ClipboardSync.h>

namespace quorl::viewer {

/// Carries out what `ClipboardSync` decides: on this desktop's clipboard and in messages to the host.
/// Pictures are encoded, decoded and compared on a thread of its own.
///
/// *Queue*: the GUI thread, and so are all handlers. *Blocking*: a read waits for the program that owns the
/// clipboard, by the toolkit's rules up to seconds if it hangs. *Ownership*: the window's.
/// *Lifetime*: handlers must outlive it; destruction waits for the picture that is being worked on.
class ClipboardBridge {
 public:
  struct Handlers {
    std::function<void(ControlMessage)> send;
    std::function<void(const QString&)> notice;
  };

  ClipboardBridge(Handlers handlers, ClipboardRules rules);
  ~ClipboardBridge();
  ClipboardBridge(const ClipboardBridge&) = delete;
  ClipboardBridge& operator=(const ClipboardBridge&) = delete;

  void setRules(const ClipboardRules& rules);
  void connected();
  void disconnected();
  void setFocused(bool hasFocus);
  /// True if the message is about the clipboard.
  bool take(const ControlMessage& message);
  /// A large clipboard has reached the host, or cannot.
  void largeSent();

 private:
  void changed(Selection selection);
  void read(Selection selection, std::uint64_t serial);
  void set(const ClipboardItem& item);
  void sendItem(const ClipboardItem& item);
  void perform(const ClipboardActions& actions);
  /// `work` runs on the thread, in order; `done` gets its result here.
  template <class Work, class Done>
  void later(Work work, Done done);

  const Handlers handlers_;
  ClipboardRules rules_;
  ClipboardSync sync_;
  QObject gui_;  // results for it are dropped once it is gone
  QThreadPool worker_;
  std::map<Selection, QStringList> offered_;  // with the last change
  std::uint64_t serial_ = 0;
  std::atomic<std::uint64_t> hostContents_ = 0;  // how many have arrived
  std::uint32_t echo_ = 0;
  bool waitsForLarge_ = false;
};

}  // namespace quorl::viewer
