// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

class FileBrowser;
class FileTransfer;
struct HostServices;

/// One client's files: passes its messages and chunks to a transfer and a browser, which are created on first
/// use. Does nothing on a platform without files.
///
/// *Queue*: its connection's, for all operations.
/// *Blocking*: none.
/// *Ownership*: its connection's; owns the transfer and the browser.
/// *Lifetime*: after `close` messages are dropped.
class FileDesk {
 public:
  /// Called on any thread when `hasRoom` has become true again, also after the end of the desk; it may only
  /// post. Set before any other call.
  void onRoom(std::function<void()> callback) { whenRoom_ = std::move(callback); }

  void offer(const HostServices& services, FileOffer offer, std::weak_ptr<StreamOutputSink> sink);
  void chunk(Bytes payload);
  void done(FileDone done, std::weak_ptr<StreamOutputSink> sink);
  void requestDirectory(const HostServices& services, std::string path, std::weak_ptr<StreamOutputSink> sink);
  void requestFile(const HostServices& services, std::string path, std::weak_ptr<StreamOutputSink> sink);

  /// Whether more may be read from the client: chunks and requests that wait for the disk are bounded.
  bool hasRoom() const;
  void close();

 private:
  FileTransfer* transfer(const HostServices& services);
  FileBrowser* browser(const HostServices& services);

  std::function<void()> whenRoom_;
  std::shared_ptr<FileTransfer> transfer_;
  std::shared_ptr<FileBrowser> browser_;
  bool isClosed_ = false;
};

}  // namespace quorl
