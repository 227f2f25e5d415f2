// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Files/FileTransfer.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Files/FileNames.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

constexpr std::size_t hashingReadSize = 1'048'576;
// Others may take the chosen name at the same moment, but hardly this often.
constexpr int namingAttempts = 100;

// Nothing if the file cannot be read, or once its client has left: a sparse file may take years.
std::optional<SHA256Digest> digestOf(IncomingFile& file, const std::atomic<bool>& hasEnded) {
  SHA256 digest;
  Bytes buffer(hashingReadSize);
  for (std::uint64_t offset = 0; !hasEnded;) {
    const auto count = file.read(offset, buffer);
    if (!count) return std::nullopt;
    if (*count == 0) return digest.finish();
    digest.update(ByteView(buffer).first(*count));
    offset += *count;
  }
  return std::nullopt;
}

bool isInRange(const FileChunkView& chunk, std::uint64_t expectedBytes) {
  return chunk.offset <= expectedBytes && chunk.data.size() <= expectedBytes - chunk.offset;
}

void send(const std::weak_ptr<StreamOutputSink>& to, ControlMessage message) {
  if (const auto sink = to.lock()) sink->sendControl(std::move(message));
}

}  // namespace

FileTransfer::FileTransfer(Scheduler& scheduler, std::shared_ptr<UserFiles> files,
                           std::shared_ptr<SecureRandom> random)
    : queue_(scheduler, "quorl.files", QueueRank::service),
      files_(std::move(files)),
      random_(std::move(random)),
      sender_(std::make_shared<FileSender>(scheduler, random_)) {}

// Receiving

void FileTransfer::handleOffer(FileOffer offer, std::weak_ptr<StreamOutputSink> from) {
  const std::size_t size = sizeof offer + offer.fileName.size();
  waitingBytes_ += size;
  queue_.async([self = shared_from_this(), offer = std::move(offer), from = std::move(from), size] {
    self->queue_.scheduler().blocking([&] {
      self->queue_.assertCurrent();
      self->accept(offer, from);
    });
    self->wrote(size);
  });
}

void FileTransfer::accept(const FileOffer& offer, const std::weak_ptr<StreamOutputSink>& from) {
  if (isAborted_) return;
  auto transfer = begin(offer);  // an unfinished file of the same transfer still has its name
  transfers_.erase(offer.transferID);
  if (!transfer) {
    Log::file.error(fmt::format("file offer failed: {}", transfer.error().description));
    return send(from, message::FileAccept{{.transferID = offer.transferID, .accepted = false}});
  }
  transfer->from = from;
  const std::string path = joinedPath(transfer->folder, transfer->name);
  transfers_.emplace(offer.transferID, std::move(*transfer));
  send(from, message::FileAccept{{.transferID = offer.transferID, .accepted = true}});
  Log::file.info(fmt::format("accepting {} ({} bytes) -> {}", offer.fileName, offer.byteCount, path));
}

std::expected<FileTransfer::Transfer, PortError> FileTransfer::begin(const FileOffer& offer) {
  if (transfers_.size() - transfers_.count(offer.transferID) >= mostIncoming)
    return std::unexpected(PortError{fmt::format("more than {} unfinished files", mostIncoming)});
  const std::string folder = downloads();
  // First: in a missing folder every name is free, also one that no folder can have.
  auto file = files_->create(folder);
  if (!file) return std::unexpected(std::move(file.error()));
  auto name = freeName(folder, offer.fileName);
  if (!name) return std::unexpected(std::move(name.error()));
  return Transfer{.file = std::move(*file),
                  .folder = folder,
                  .name = std::move(*name),
                  .expectedBytes = offer.byteCount,
                  .fileName = offer.fileName};
}

std::string FileTransfer::downloads() const {
  return files_->downloadsDirectory().value_or(joinedPath(files_->homeDirectory(), "Downloads"));
}

// A name that neither a file nor another transfer of this client has.
std::expected<std::string, PortError> FileTransfer::freeName(const std::string& folder,
                                                             const std::string& offered) {
  const auto isTaken = [&](const std::string& name) -> std::expected<bool, PortError> {
    queue_.assertCurrent();
    for (const auto& [id, transfer] : transfers_)
      if (transfer.name == name && transfer.folder == folder) return true;
    return files_->isTaken(folder, name);
  };
  return dedupedName(offered, isTaken, [this] { return UUID::random(*random_); });
}

void FileTransfer::handleChunk(Bytes payload) {
  const std::size_t size = payload.size();
  waitingBytes_ += size;
  queue_.async([self = shared_from_this(), payload = std::move(payload), size]() mutable {
    self->queue_.assertCurrent();
    if (const auto chunk = FileChunkView::decode(payload);
        chunk && self->transfers_.contains(chunk->transferID))
      self->queue_.scheduler().blocking([&] {
        self->queue_.assertCurrent();
        self->write(*chunk);
      });
    payload = {};
    self->wrote(size);
  });
}

void FileTransfer::wrote(std::size_t bytes) {
  constexpr std::size_t resumeAt = mostWaiting / 2;
  const std::size_t before = waitingBytes_.fetch_sub(bytes);
  if (before > resumeAt && before - bytes <= resumeAt && onRoom_) onRoom_();
}

void FileTransfer::write(const FileChunkView& chunk) {
  const auto entry = transfers_.find(chunk.transferID);
  if (entry == transfers_.end()) return;
  Transfer& transfer = entry->second;
  if (!isInRange(chunk, transfer.expectedBytes)) {
    Log::file.error(fmt::format("rejecting out-of-range chunk for {} (offset {}, len {}, expected {})",
                                transfer.fileName, chunk.offset, chunk.data.size(), transfer.expectedBytes));
    transfers_.erase(entry);
    return;
  }
  if (const auto written = transfer.file->write(chunk.offset, chunk.data); !written) {
    Log::file.error(fmt::format("chunk write failed: {}", written.error().description));
    send(transfer.from,
         message::Error{WireError{"file.write", fmt::format("cannot write {}: {}", transfer.fileName,
                                                            written.error().description)}});
    Transfer broken = std::move(transfer);
    transfers_.erase(entry);
    keep(broken);
    return;
  }
  transfer.digest.written(chunk.offset, chunk.data);
  transfer.receivedBytes += chunk.data.size();
}

void FileTransfer::handleDone(FileDone done, std::weak_ptr<StreamOutputSink> from) {
  const std::size_t size = sizeof done + done.sha256.size();
  waitingBytes_ += size;
  queue_.async([self = shared_from_this(), done = std::move(done), from = std::move(from), size] {
    self->queue_.scheduler().blocking([&] {
      self->queue_.assertCurrent();
      self->finish(done, from);
    });
    self->wrote(size);
  });
}

void FileTransfer::finish(const FileDone& done, const std::weak_ptr<StreamOutputSink>& from) {
  const auto entry = transfers_.find(done.transferID);
  if (entry == transfers_.end()) return;
  Transfer transfer = std::move(entry->second);
  transfers_.erase(entry);

  auto digest = transfer.digest.finish();
  if (!digest) digest = digestOf(*transfer.file, hasEnded_);
  // A file that gets no name is lost, so its client must not find its hash in the answer.
  const bool isKept = keep(transfer).has_value();
  const bool isChecked = digest || !hasEnded_;
  if (!isKept) digest.reset();
  const Bytes sha256 = digest ? Bytes(digest->begin(), digest->end()) : Bytes();
  if (isKept && !isChecked)
    Log::file.info(
        fmt::format("received {} without a check of its hash: its client has left", transfer.fileName));
  else if (isKept && sha256 == done.sha256)
    Log::file.info(fmt::format("received {} OK", transfer.fileName));
  else
    Log::file.error(fmt::format("hash mismatch for {}", transfer.fileName));
  send(from, message::FileDone{{.transferID = done.transferID, .sha256 = sha256}});
}

std::expected<void, PortError> FileTransfer::keep(Transfer& transfer) {
  const auto failed = [&](const PortError& error) {
    Log::file.error(fmt::format("cannot keep {}: {}", transfer.fileName, error.description));
    return std::unexpected(error);
  };
  for (int attempt = 0; attempt < namingAttempts; ++attempt) {
    const auto kept = transfer.file->keep(transfer.name);
    if (!kept) return failed(kept.error());
    if (*kept == IncomingFile::Kept::yes) return {};
    auto name = freeName(transfer.folder, transfer.fileName);
    if (!name) return failed(name.error());
    transfer.name = std::move(*name);
  }
  return failed({"its name is always taken"});
}

void FileTransfer::abortAll() {
  hasEnded_ = true;
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->isAborted_ = true;
    // Closing a large file that has no name may take long: its blocks are freed.
    self->queue_.scheduler().blocking([&] {
      self->queue_.assertCurrent();
      self->transfers_.clear();
    });
  });
  sender_->abortAll();
}

// Sending

void FileTransfer::sendFile(std::string path, std::unique_ptr<UserPlace> place,
                            std::weak_ptr<StreamOutputSink> to) {
  sender_->send(std::move(path), std::move(place), std::move(to));
}

}  // namespace quorl
