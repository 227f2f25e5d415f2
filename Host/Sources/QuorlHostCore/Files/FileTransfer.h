// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Files/FileSender.h>
#include <QuorlHostCore/Files/RunningDigest.h>
#include <QuorlHostCore/Ports/UserFiles.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/SecureRandom.h>
#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Protocol/MediaPackets.h>

namespace quorl {

/// Receives one client's files into the Downloads folder, and sends files to it.
///
/// A file that arrives is not in the folder under any name until it is complete; then it appears in one step.
/// It is complete when the client says so (`fileDone`), also if its hash is wrong: the client compares the
/// hashes. After a write error the part that was received appears, so that the user can find it. A transfer
/// that the client leaves, that exceeds its size, or that a crash of the host ends leaves nothing.
///
/// *Queue*: every operation may be called from any thread. Received files belong to "quorl.files", sent ones
/// to "quorl.files.send".
/// *Blocking*: none for callers. Both queues wait for the disk.
/// *Ownership*: its connection's; holds sinks weakly.
/// *Lifetime*: after `abortAll` nothing is received or sent.
class FileTransfer : public std::enable_shared_from_this<FileTransfer> {
 public:
  /// Bytes of messages that wait for the disk. Above this the connection stops reading, so that a disk slower
  /// than the network costs bounded memory; it goes on reading at half of it.
  static constexpr std::size_t mostWaiting = 8'388'608;
  /// Unfinished files of one client. Each holds a descriptor.
  static constexpr std::size_t mostIncoming = 512;

  FileTransfer(Scheduler& scheduler, std::shared_ptr<UserFiles> files, std::shared_ptr<SecureRandom> random);

  void handleOffer(FileOffer offer, std::weak_ptr<StreamOutputSink> from);
  /// The payload of a frame of type `file`. One that cannot be decoded is ignored.
  void handleChunk(Bytes payload);
  void handleDone(FileDone done, std::weak_ptr<StreamOutputSink> from);
  /// The session has ended.
  void abortAll();

  /// Sends a file that was found at `path`. Answers with an error if it cannot be read.
  void sendFile(std::string path, std::unique_ptr<UserPlace> place, std::weak_ptr<StreamOutputSink> to);

  /// Whether fewer than `mostWaiting` bytes wait for the disk. Does not wait.
  bool hasRoom() const { return waitingBytes_.load() <= mostWaiting; }
  /// Called on "quorl.files" when there is room again. Set before any other call.
  void onRoom(std::function<void()> callback) { onRoom_ = std::move(callback); }

 private:
  struct Transfer {
    std::unique_ptr<IncomingFile> file;
    std::string folder;
    std::string name;  // that it will get, if it is still free
    std::uint64_t expectedBytes = 0;
    std::uint64_t receivedBytes = 0;
    std::string fileName;  // as offered
    std::weak_ptr<StreamOutputSink> from;
    RunningDigest digest;
  };
  using Transfers = std::map<UUID, Transfer>;

  void accept(const FileOffer& offer, const std::weak_ptr<StreamOutputSink>& from) QUORL_REQUIRES(queue_);
  std::expected<Transfer, PortError> begin(const FileOffer& offer) QUORL_REQUIRES(queue_);
  void write(const FileChunkView& chunk) QUORL_REQUIRES(queue_);
  void finish(const FileDone& done, const std::weak_ptr<StreamOutputSink>& from) QUORL_REQUIRES(queue_);
  std::expected<std::string, PortError> freeName(const std::string& folder, const std::string& offered)
      QUORL_REQUIRES(queue_);
  std::expected<void, PortError> keep(Transfer& transfer) QUORL_REQUIRES(queue_);
  std::string downloads() const;
  void wrote(std::size_t bytes);

  const SerialQueue queue_;
  const std::shared_ptr<UserFiles> files_;
  const std::shared_ptr<SecureRandom> random_;
  const std::shared_ptr<FileSender> sender_;
  std::function<void()> onRoom_;
  std::atomic<std::size_t> waitingBytes_{0};
  std::atomic<bool> hasEnded_{false};  // ends work of the queue that takes long

  Transfers transfers_ QUORL_GUARDED_BY(queue_);
  bool isAborted_ QUORL_GUARDED_BY(queue_) = false;
};

}  // namespace quorl
