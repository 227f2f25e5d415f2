// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Files/FileSender.h>

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

void refuse(const std::weak_ptr<StreamOutputSink>& to, const std::string& path) {
  if (const auto sink = to.lock())
    sink->sendControl(message::Error{WireError{"file.read", fmt::format("cannot read {}", path)}});
}

}  // namespace

FileSender::FileSender(Scheduler& scheduler, std::shared_ptr<SecureRandom> random)
    : queue_(scheduler, "quorl.files.send", QueueRank::service), random_(std::move(random)) {}

void FileSender::send(std::string path, std::unique_ptr<UserPlace> place,
                      std::weak_ptr<StreamOutputSink> to) {
  Request request{std::move(path), std::move(place), std::move(to)};
  queue_.async([self = shared_from_this(), request = std::move(request)]() mutable {
    self->queue_.assertCurrent();
    if (self->isAborted_) return;
    if (self->active_.size() < mostAtOnce) return self->begin(std::move(request));
    if (self->waiting_.size() >= mostWaiting) return refuse(request.to, request.path);
    self->waiting_.push_back(std::move(request));
  });
}

void FileSender::begin(Request request) {
  std::expected<std::unique_ptr<OutgoingFile>, PortError> file;
  queue_.scheduler().blocking([&] { file = request.place->openForReading(); });
  const auto sink = request.to.lock();
  if (!sink) return;
  if (!file) return refuse(request.to, request.path);
  const auto outgoing = std::make_shared<Outgoing>(Outgoing{
      .file = std::move(*file), .to = request.to, .id = UUID::random(*random_), .offset = 0, .digest = {}});
  sink->sendControl(message::FileOffer{{.transferID = outgoing->id,
                                        .fileName = std::string(lastPathComponent(request.path)),
                                        .byteCount = outgoing->file->size()}});
  active_.insert(outgoing);
  stepLater(outgoing);
}

// Later: other work of the queue comes between two pieces.
void FileSender::stepLater(std::shared_ptr<Outgoing> outgoing) {
  queue_.async([weak = weak_from_this(), outgoing = std::move(outgoing)] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->step(outgoing);
  });
}

void FileSender::step(const std::shared_ptr<Outgoing>& outgoing) {
  const auto sink = outgoing->to.lock();
  if (!sink || isAborted_) return end(outgoing);
  const FileTurn turn = sink->admitFile([weak = weak_from_this(), outgoing] {
    if (const auto self = weak.lock()) self->stepLater(outgoing);
  });
  if (turn.kind == FileTurn::Kind::ended) return end(outgoing);
  if (turn.kind == FileTurn::Kind::wait) return;

  if (!buffers_) buffers_ = std::make_shared<BufferPool>();
  const auto piece = buffers_->take(std::min(turn.bytes, readSize));
  std::expected<std::size_t, PortError> count;
  queue_.scheduler().blocking([&] { count = outgoing->file->read(outgoing->offset, *piece); });
  if (!count || *count == 0) {
    const SHA256Digest digest = outgoing->digest.finish();
    sink->sendControl(
        message::FileDone{{.transferID = outgoing->id, .sha256 = {digest.begin(), digest.end()}}});
    return end(outgoing);
  }
  piece->resize(*count);
  outgoing->digest.update(*piece);
  sink->sendFrame(OutgoingFrame::file({outgoing->id, outgoing->offset, piece}), Droppable::no);
  outgoing->offset += *count;
  stepLater(outgoing);
}

void FileSender::end(const std::shared_ptr<Outgoing>& outgoing) {
  active_.erase(outgoing);
  beginWaiting();
  if (active_.empty()) buffers_.reset();
}

void FileSender::beginWaiting() {
  while (!waiting_.empty() && active_.size() < mostAtOnce) {
    Request next = std::move(waiting_.front());
    waiting_.pop_front();
    begin(std::move(next));
  }
}

void FileSender::abortAll() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->isAborted_ = true;
    self->waiting_.clear();
    self->active_.clear();
    self->buffers_.reset();
  });
}

}  // namespace quorl
