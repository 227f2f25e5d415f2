// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Files/FileArea.h>
#include <QuorlHostCore/Files/FileTransfer.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// Answers one client's requests for folders and files of the browsable area, one at a time and in order.
/// The next request waits until the link has room for the answer.
///
/// *Queue*: "quorl.browser"; every operation may be called from any thread.
/// *Blocking*: none for callers. The queue waits for the disk.
/// *Ownership*: its connection's; shares the connection's transfer and the area. Holds sinks weakly.
/// *Lifetime*: requests that wait at the end of the session are dropped.
class FileBrowser : public std::enable_shared_from_this<FileBrowser> {
 public:
  static constexpr std::size_t mostEntries = 2'000;
  /// Requests that wait, each counted with its path and an overhead. Above this the connection stops reading.
  static constexpr std::size_t mostWaiting = 1'048'576;
  static constexpr std::size_t requestOverhead = 256;

  FileBrowser(Scheduler& scheduler, std::shared_ptr<FileArea> area, std::shared_ptr<FileTransfer> transfer);

  void requestDirectory(std::string path, std::weak_ptr<StreamOutputSink> sink);
  void requestFile(std::string path, std::weak_ptr<StreamOutputSink> sink);

  /// Whether fewer than `mostWaiting` bytes of requests wait. Does not wait.
  bool hasRoom() const { return waitingBytes_.load() <= mostWaiting; }
  /// Called on the queue when there is room again. Set before any other call.
  void onRoom(std::function<void()> callback) { onRoom_ = std::move(callback); }

 private:
  enum class Kind : std::uint8_t { directory, file };
  struct Request {
    Kind kind = Kind::directory;
    std::string path;
    std::weak_ptr<StreamOutputSink> sink;

    std::size_t size() const { return path.size() + requestOverhead; }
  };

  void add(Request request);
  void answerNext() QUORL_REQUIRES(queue_);
  DirectoryListing listing(const std::string& requested) const;
  void list(UserPlace& place, DirectoryListing& listing) const;
  void answerFile(const Request& request);
  void answered(std::size_t bytes);

  const SerialQueue queue_;
  const std::shared_ptr<FileArea> area_;
  const std::shared_ptr<FileTransfer> transfer_;
  std::function<void()> onRoom_;
  std::atomic<std::size_t> waitingBytes_{0};

  std::deque<Request> waiting_ QUORL_GUARDED_BY(queue_);
  bool isWaitingForLink_ QUORL_GUARDED_BY(queue_) = false;
};

}  // namespace quorl
