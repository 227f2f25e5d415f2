// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Files/FileExchange.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include <QuorlKit/Foundation/BufferPool.h>
#include <QuorlKit/Protocol/MediaPackets.h>
#include <quorl-client/Base/Printable.h>
#include <quorl-client/Files/BackgroundDigest.h>
#include <quorl-client/Files/UploadPace.h>

namespace quorl::client {
namespace {

constexpr std::size_t largestPiece = 262'144;

std::unexpected<ClientError> hostError(const WireError& error) {
  return failed(ExitCode::failure, fmt::format("the host did not do it: {} ({})", printable(error.message),
                                               printable(error.code)));
}

std::unexpected<ClientError> noAnswer() {
  return failed(ExitCode::timedOut, "the host did not answer in time",
                "It may be busy; try a longer --timeout.");
}

bool isAboutFiles(const WireError& error) {
  return error.code.starts_with("file.");
}

// Messages that arrived while a file was sent. Nothing if none of them is about files.
Outcome<void> checkMessages(Session& session) {
  while (const auto frame = session.takeFrame()) {
    const auto message = session.decodeControl(*frame);
    const auto* error = message ? std::get_if<message::Error>(&*message) : nullptr;
    if (error != nullptr && isAboutFiles(error->_0)) return hostError(error->_0);
  }
  return {};
}

// The first message of this case that belongs to the transfer.
template <class Message>
Outcome<Message> answerFor(Session& session, const UUID& transfer, Deadline deadline) {
  for (;;) {
    const auto received = session.nextControl(deadline);
    if (!received) return std::unexpected(received.error());
    if (!*received) return noAnswer();
    if (const auto* answer = std::get_if<Message>(&**received); answer && answer->_0.transferID == transfer)
      return *answer;
    const auto* error = std::get_if<message::Error>(&**received);
    if (error != nullptr && isAboutFiles(error->_0)) return hostError(error->_0);
  }
}

std::unexpected<ClientError> stalledUpload() {
  return failed(ExitCode::timedOut, "the host takes no more bytes");
}

// Waits until everything was given to the kernel, and looks at the host's messages also without waiting: an
// interruption or an error of the host ends the transfer.
Outcome<void> flush(Session& session, const MoveLimits& limits) {
  do {
    const auto before = session.unsentBytes();
    const auto ready = before > 0 ? session.waitUntilSent(within(limits.stall)) : session.wait(Clock::now());
    if (!ready) return std::unexpected(ready.error());
    if (auto fine = checkMessages(session); !fine) return fine;
    if (before > 0 && *ready == Waiter::Ready::deadline && session.unsentBytes() == before)
      return stalledUpload();
  } while (session.unsentBytes() > 0);
  return {};
}

// The size of the next piece, once the pace admits one. The kernel does not report acknowledgements, so a
// full window is looked at again after a quarter of a round trip.
Outcome<std::size_t> admitPiece(Session& session, UploadPace& pace, const MoveLimits& limits) {
  using namespace std::chrono_literals;
  auto deadline = within(limits.stall);
  std::size_t least = SIZE_MAX;
  for (;;) {
    const auto path = pathStateOf(session.descriptor());
    if (!path) return largestPiece;
    const auto now = Clock::now();
    pace.observe(*path, now);
    if (pace.mayStart(*path))
      return std::clamp(pace.window() / 4, UploadPace::smallestWindow / 2, largestPiece);
    if (path->bytesUnderWay < least) deadline = now + limits.stall;
    least = std::min(least, path->bytesUnderWay);
    if (now >= deadline) return stalledUpload();
    const auto pause = std::clamp<Clock::duration>(path->roundTrip / 4, 1ms, 20ms);
    if (const auto ready = session.wait(now + pause); !ready) return std::unexpected(ready.error());
    if (auto fine = checkMessages(session); !fine) return std::unexpected(fine.error());
  }
}

Outcome<void> sendContent(Session& session, LocalSource& source, const UUID& id, BackgroundDigest& digest,
                          std::uint64_t& sent, const MoveLimits& limits, const MoveProgress& progress) {
  const auto buffers = std::make_shared<BufferPool>();
  UploadPace pace;
  // More than was announced would be refused by the host; a growing file is sent as it was.
  while (sent < source.size()) {
    const auto piece = admitPiece(session, pace, limits);
    if (!piece) return std::unexpected(piece.error());
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(*piece, source.size() - sent));
    const auto bytes = buffers->take(size);
    if (auto read = source.read(*bytes, size); !read) return read;
    if (bytes->empty()) return {};
    digest.add(bytes);
    if (auto done = session.send(OutgoingFrame::file({id, sent, bytes})); !done) return done;
    sent += bytes->size();
    progress(sent, source.size());
    if (auto flushed = flush(session, limits); !flushed) return flushed;
  }
  return {};
}

struct Arriving {
  FileOffer offer;
  LocalTarget target;
  BackgroundDigest digest{};
  std::uint64_t received = 0;
};

Outcome<void> take(Arriving& file, Frame frame) {
  const auto chunk = FileChunkView::decode(frame.payload);
  if (!chunk || chunk->transferID != file.offer.transferID) return {};
  if (chunk->offset != file.received)
    return failed(ExitCode::failure, "the host sent the pieces of the file in a wrong order");
  if (auto written = file.target.write(file.received, chunk->data); !written) return written;
  file.received += chunk->data.size();
  const SharedBytes payload = shareBytes(std::move(frame.payload));
  file.digest.add(payload, ByteView(*payload).subspan(FileChunkView::fixedSize));
  return {};
}

Outcome<PulledFile> verified(Arriving& file, const FileDone& done) {
  const SHA256Digest digest = file.digest.finish();
  if (!std::ranges::equal(digest, done.sha256))
    return failed(ExitCode::failure, "the file arrived damaged: its hash is not that of the host");
  if (file.received < file.offer.byteCount)
    return failed(ExitCode::failure, fmt::format("the host could read only {} of {} bytes", file.received,
                                                 file.offer.byteCount));
  if (auto kept = file.target.keep(); !kept) return std::unexpected(kept.error());
  return PulledFile{file.target.path(), {file.received, digest}};
}

Outcome<FileOffer> requestedOffer(Session& session, const std::string& path, Deadline deadline) {
  if (auto sent = session.send(ControlMessage(message::RequestFile{path})); !sent)
    return std::unexpected(sent.error());
  for (;;) {
    const auto received = session.nextControl(deadline);
    if (!received) return std::unexpected(received.error());
    if (!*received) return noAnswer();
    if (const auto* offer = std::get_if<message::FileOffer>(&**received)) return offer->_0;
    const auto* error = std::get_if<message::Error>(&**received);
    if (error != nullptr && isAboutFiles(error->_0)) return hostError(error->_0);
  }
}

Outcome<PulledFile> receive(Session& session, Arriving& file, const MoveLimits& limits,
                            const MoveProgress& progress) {
  for (;;) {
    const auto ready = session.wait(within(limits.stall));
    if (!ready) return std::unexpected(ready.error());
    if (*ready == Waiter::Ready::deadline) return failed(ExitCode::timedOut, "the host sends no more bytes");
    while (auto frame = session.takeFrame()) {
      if (frame->type == FrameType::file) {
        if (auto taken = take(file, std::move(*frame)); !taken) return std::unexpected(taken.error());
        progress(file.received, file.offer.byteCount);
        continue;
      }
      const auto message = session.decodeControl(*frame);
      const auto* done = message ? std::get_if<message::FileDone>(&*message) : nullptr;
      if (done != nullptr && done->_0.transferID == file.offer.transferID) return verified(file, done->_0);
    }
  }
}

}  // namespace

Outcome<MovedFile> pushFile(Session& session, LocalSource& source, const MoveLimits& limits,
                            const MoveProgress& progress) {
  const UUID id = UUID::random();
  const message::FileOffer offer{
      {.transferID = id, .fileName = source.path().filename().string(), .byteCount = source.size()}};
  if (auto sent = session.send(ControlMessage(offer)); !sent) return std::unexpected(sent.error());
  const auto accept = answerFor<message::FileAccept>(session, id, within(limits.answer));
  if (!accept) return std::unexpected(accept.error());
  if (!accept->_0.accepted)
    return failed(ExitCode::failure, "the host refused the file",
                  "Its folder for downloads may be read-only or full, or the name too long for it.");

  BackgroundDigest digest;
  std::uint64_t sent = 0;
  if (auto moved = sendContent(session, source, id, digest, sent, limits, progress); !moved)
    return std::unexpected(moved.error());
  const SHA256Digest own = digest.finish();
  if (auto done = session.send(ControlMessage(message::FileDone{{id, {own.begin(), own.end()}}})); !done)
    return std::unexpected(done.error());
  const auto answer = answerFor<message::FileDone>(session, id, within(limits.stall));
  if (!answer) return std::unexpected(answer.error());
  if (!std::ranges::equal(own, answer->_0.sha256))
    return failed(ExitCode::failure, "the file arrived damaged: the host has another hash",
                  "The damaged copy is in the host's folder for downloads. Send the file again.");
  if (sent < source.size())
    return failed(ExitCode::failure, fmt::format("the file became shorter while it was sent: {} of {} bytes",
                                                 sent, source.size()));
  return MovedFile{sent, own};
}

Outcome<PulledFile> pullFile(Session& session, const std::string& remotePath,
                             const std::filesystem::path& folder, LocalTarget::Existing existing,
                             const MoveLimits& limits, const MoveProgress& progress) {
  // Before the request: once the host has begun, only the end of the session stops it.
  if (const auto expected = localName(std::filesystem::path(remotePath).filename().string()))
    if (auto free = LocalTarget::check(folder / *expected, existing); !free)
      return std::unexpected(free.error());
  auto offer = requestedOffer(session, remotePath, within(limits.answer));
  if (!offer) return std::unexpected(offer.error());
  const auto name = localName(offer->fileName);
  if (!name) return std::unexpected(name.error());
  auto target = LocalTarget::create(folder / *name, existing);
  if (!target) return std::unexpected(target.error());
  Arriving file{.offer = std::move(*offer), .target = std::move(*target)};
  return receive(session, file, limits, progress);
}

Outcome<DirectoryListing> listFolder(Session& session, const std::string& remotePath, Deadline deadline) {
  if (auto sent = session.send(ControlMessage(message::RequestDirectory{remotePath})); !sent)
    return std::unexpected(sent.error());
  for (;;) {
    const auto received = session.nextControl(deadline);
    if (!received) return std::unexpected(received.error());
    if (!*received) return noAnswer();
    const auto* answer = std::get_if<message::DirectoryListing>(&**received);
    if (answer == nullptr || answer->_0.requestedPath != remotePath) continue;
    if (answer->_0.error) return failed(ExitCode::failure, printable(*answer->_0.error));
    return answer->_0;
  }
}

}  // namespace quorl::client
