// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PendingSends.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <sys/socket.h>
#include <sys/uio.h>

#include <QuorlHostPosix/SystemError.h>

namespace quorl {

namespace {

// Pieces of one gathered write; each frame is at most two.
constexpr std::size_t maxPieces = 128;

// The part of `bytes` after `offset`, which is reduced by the skipped bytes.
void addPiece(std::array<iovec, maxPieces>& pieces, std::size_t& count, ByteView bytes, std::size_t& offset) {
  const std::size_t passed = std::min(offset, bytes.size());
  offset -= passed;
  const ByteView rest = bytes.subspan(passed);
  if (rest.empty()) return;
  pieces[count++] = {const_cast<std::uint8_t*>(rest.data()), rest.size()};
}

}  // namespace

ByteView PendingSends::Item::prefix() const {
  const auto* frame = std::get_if<OutgoingFrame>(&content);
  return frame ? frame->prefix() : ByteView();
}

ByteView PendingSends::Item::body() const {
  if (const auto* frame = std::get_if<OutgoingFrame>(&content)) return frame->body();
  return *std::get<SharedBytes>(content);
}

std::optional<PortError> PendingSends::write(int descriptor, Completions& written) {
  while (!items_.empty()) {
    std::array<iovec, maxPieces> pieces;
    std::size_t count = 0;
    std::size_t offset = firstOffset_;
    for (const Item& item : items_) {
      if (count + 2 > maxPieces) break;
      addPiece(pieces, count, item.prefix(), offset);
      addPiece(pieces, count, item.body(), offset);
    }
    msghdr message{};
    message.msg_iov = pieces.data();
    message.msg_iovlen = count;
    const ssize_t sent = ::sendmsg(descriptor, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return std::nullopt;
    if (sent < 0) return systemError(errno);
    advance(static_cast<std::size_t>(sent), written);
  }
  return std::nullopt;
}

void PendingSends::advance(std::size_t count, Completions& written) {
  written_ += count;
  firstOffset_ += count;
  while (!items_.empty() && firstOffset_ >= items_.front().size()) {
    firstOffset_ -= items_.front().size();
    written.push_back(std::move(items_.front().completion));
    items_.pop_front();
  }
}

PendingSends::Completions PendingSends::drop() {
  Completions dropped;
  for (Item& item : items_) dropped.push_back(std::move(item.completion));
  items_.clear();
  return dropped;
}

}  // namespace quorl
