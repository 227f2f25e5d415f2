// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/SharedImage.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

constexpr std::uint32_t allPlanes = ~0U;
constexpr std::size_t smallestBand = std::size_t{1} << 20;  // in bytes

PortError gone() {
  return {.description = "the captured pixels can no longer be read"};
}

}  // namespace

std::expected<std::unique_ptr<SharedImage>, PortError> SharedImage::make(X11Connection& connection,
                                                                         PixelSize size) {
  if (!connection.hasBGRXPixels()) {
    return std::unexpected(PortError{.description = "the display does not have 32-bit BGRX pixels"});
  }
  std::unique_ptr<SharedImage> image(new SharedImage(connection, size));
  if (auto done = image->allocate(); !done) return std::unexpected(done.error());
  return image;
}

SharedImage::~SharedImage() {
  if (segment_ != 0) xcb_shm_detach(connection_.xcb(), segment_);
  if (memory_ != nullptr) ::munmap(memory_, length_);
}

std::expected<void, PortError> SharedImage::allocate() {
  const std::size_t image = stride() * static_cast<std::size_t>(size_.height);
  scratch_ = image + stride();
  length_ = scratch_ + image;
  const int descriptor = ::memfd_create("quorl-capture", MFD_CLOEXEC);
  if (descriptor < 0) return std::unexpected(PortError{std::strerror(errno), errno});
  if (::ftruncate(descriptor, static_cast<off_t>(length_)) != 0) {
    const int error = errno;
    ::close(descriptor);
    return std::unexpected(PortError{std::strerror(error), error});
  }
  void* mapped = ::mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  if (mapped == MAP_FAILED) {
    const int error = errno;
    ::close(descriptor);
    return std::unexpected(PortError{std::strerror(error), error});
  }
  memory_ = static_cast<std::uint8_t*>(mapped);
  if (!connection_.extensions().shm.present) {
    ::close(descriptor);
    return {};
  }
  const std::uint32_t segment = xcb_generate_id(connection_.xcb());
  // XCB owns the descriptor and closes it after sending. A server on another machine refuses.
  const XcbReply<xcb_generic_error_t> refused(xcb_request_check(
      connection_.xcb(), xcb_shm_attach_fd_checked(connection_.xcb(), segment, descriptor, 0)));
  if (!refused && connection_.isAlive()) segment_ = segment;
  return {};
}

std::vector<SharedImage::Piece> SharedImage::layOut(std::span<const PixelRect> rects) const {
  std::vector<Piece> pieces;
  std::size_t next = scratch_;
  for (const auto& rect : rects) {
    const std::size_t need =
        static_cast<std::size_t>(rect.width) * static_cast<std::size_t>(rect.height) * bytesPerPixel;
    // The extension writes an image without gaps between its rows, so only whole rows arrive in place. Past
    // half of the width they cost less than a copy.
    if (rect.width * 2 > size_.width || next + need > length_) {
      addBands(pieces, {0, rect.y, size_.width, rect.height});
    } else {
      pieces.push_back({.rect = rect, .offset = next, .inPlace = false});
      next += need;
    }
  }
  std::ranges::sort(pieces, {}, [](const Piece& piece) { return piece.rect.y; });
  return pieces;
}

// Each band is half of the rest: the next arrives while one is used, and there are few requests.
void SharedImage::addBands(std::vector<Piece>& pieces, const PixelRect& rect) const {
  const int fewest = std::max(1, static_cast<int>(smallestBand / stride()));
  for (int top = 0; top < rect.height;) {
    const int left = rect.height - top;
    const int rows = left <= fewest ? left : std::max(left / 2, fewest);
    const PixelRect band{rect.x, rect.y + top, rect.width, rows};
    pieces.push_back({.rect = band, .offset = static_cast<std::size_t>(band.y) * stride(), .inPlace = true});
    top += rows;
  }
}

void SharedImage::request(std::uint32_t drawable, int x, int y, std::span<const PixelRect> rects) {
  isComplete_ = true;
  if (segment_ == 0) {
    for (const auto& rect : rects) isComplete_ = copyOverConnection(drawable, x, y, rect) && isComplete_;
    return;
  }
  arriving_ = layOut(rects);
  arrived_ = 0;
  // No client may draw between two pieces, or the picture would be torn where they meet.
  const bool isInPieces = arriving_.size() > 1;
  if (isInPieces) xcb_grab_server(connection_.xcb());
  for (auto& piece : arriving_) {
    piece.sequence =
        xcb_shm_get_image(connection_.xcb(), drawable, static_cast<std::int16_t>(x + piece.rect.x),
                          static_cast<std::int16_t>(y + piece.rect.y),
                          static_cast<std::uint16_t>(piece.rect.width),
                          static_cast<std::uint16_t>(piece.rect.height), allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
                          segment_, static_cast<std::uint32_t>(piece.offset))
            .sequence;
  }
  if (isInPieces) xcb_ungrab_server(connection_.xcb());
  xcb_flush(connection_.xcb());
}

void SharedImage::awaitRows(int bottom) {
  while (arrived_ < arriving_.size() && arriving_[arrived_].rect.y < bottom) receive(arriving_[arrived_++]);
}

std::expected<void, PortError> SharedImage::awaitAll() {
  awaitRows(size_.height);
  if (!isComplete_) return std::unexpected(gone());
  return {};
}

void SharedImage::receive(const Piece& piece) {
  xcb_generic_error_t* error = nullptr;
  const XcbReply<xcb_shm_get_image_reply_t> reply(
      xcb_shm_get_image_reply(connection_.xcb(), {piece.sequence}, &error));
  const XcbReply<xcb_generic_error_t> owned(error);
  if (!reply) {
    isComplete_ = false;
  } else if (!piece.inPlace) {
    copyRows(piece.rect, memory_ + piece.offset);
  }
}

bool SharedImage::copyOverConnection(std::uint32_t drawable, int x, int y, const PixelRect& rect) {
  const XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
      connection_.xcb(),
      xcb_get_image(connection_.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable,
                    static_cast<std::int16_t>(x + rect.x), static_cast<std::int16_t>(y + rect.y),
                    static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height),
                    allPlanes),
      nullptr));
  const auto need =
      static_cast<std::size_t>(rect.width) * static_cast<std::size_t>(rect.height) * bytesPerPixel;
  if (!reply || static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) < need) return false;
  copyRows(rect, xcb_get_image_data(reply.get()));
  return true;
}

void SharedImage::copyRows(const PixelRect& rect, const std::uint8_t* from) {
  const std::size_t row = static_cast<std::size_t>(rect.width) * bytesPerPixel;
  std::uint8_t* to = memory_ + static_cast<std::size_t>(rect.y) * stride() +
                     static_cast<std::size_t>(rect.x) * bytesPerPixel;
  for (int i = 0; i < rect.height; ++i, to += stride(), from += row) std::memcpy(to, from, row);
}

}  // namespace quorl
