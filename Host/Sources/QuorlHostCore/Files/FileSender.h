// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/UserFiles.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/BufferPool.h>
#include <QuorlKit/Foundation/Digest.h>
#include <QuorlKit/Foundation/SecureRandom.h>

namespace quorl {

/// Sends files to one client: offer, pieces, and the hash of what was sent. The sink decides when the next
/// piece goes and how large it is. A read error ends the file like its end.
///
/// *Queue*: "quorl.files.send"; every operation may be called from any thread.
/// *Blocking*: none for callers. The queue waits for the disk.
/// *Ownership*: the client's `FileTransfer`; holds sinks weakly.
/// *Lifetime*: after `abortAll` nothing is sent.
class FileSender : public std::enable_shared_from_this<FileSender> {
 public:
  static constexpr std::size_t readSize = 262'144;  // bytes
  /// Files that are sent side by side; more wait for their turn, in order.
  static constexpr std::size_t mostAtOnce = 8;
  /// Each waiting file holds a descriptor. A request beyond this gets the answer of an unreadable file.
  static constexpr std::size_t mostWaiting = 1'000;

  FileSender(Scheduler& scheduler, std::shared_ptr<SecureRandom> random);

  void send(std::string path, std::unique_ptr<UserPlace> place, std::weak_ptr<StreamOutputSink> to);
  void abortAll();

 private:
  struct Request {
    std::string path;
    std::unique_ptr<UserPlace> place;
    std::weak_ptr<StreamOutputSink> to;
  };
  struct Outgoing {
    std::unique_ptr<OutgoingFile> file;
    std::weak_ptr<StreamOutputSink> to;
    UUID id;
    std::uint64_t offset = 0;
    SHA256 digest;
  };

  void begin(Request request) QUORL_REQUIRES(queue_);
  void beginWaiting() QUORL_REQUIRES(queue_);
  void stepLater(std::shared_ptr<Outgoing> outgoing);
  void step(const std::shared_ptr<Outgoing>& outgoing) QUORL_REQUIRES(queue_);
  void end(const std::shared_ptr<Outgoing>& outgoing) QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<SecureRandom> random_;

  std::shared_ptr<BufferPool> buffers_ QUORL_GUARDED_BY(queue_);  // while files are sent
  std::set<std::shared_ptr<Outgoing>> active_ QUORL_GUARDED_BY(queue_);
  std::deque<Request> waiting_ QUORL_GUARDED_BY(queue_);
  bool isAborted_ QUORL_GUARDED_BY(queue_) = false;
};

}  // namespace quorl
