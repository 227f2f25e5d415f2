// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/SharedImage.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/XcbReply.h>

namespace quorl {

namespace {

constexpr std::uint32_t allPlanes = ~0U;

PortError gone() {
  return {.description = "what was captured cannot be read any more"};
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
  // XCB takes the descriptor over and closes it once it is sent. A server that is not on this machine
  // refuses.
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
    // The extension writes an image without gaps between its rows, so only whole rows land in place; past
    // half of the width these are cheaper than a copy.
    if (rect.width * 2 > size_.width || next + need > length_) {
      const PixelRect rows{0, rect.y, size_.width, rect.height};
      pieces.push_back({rows, static_cast<std::size_t>(rect.y) * stride(), true, 0});
    } else {
      pieces.push_back({rect, next, false, 0});
      next += need;
    }
  }
  return pieces;
}

std::expected<void, PortError> SharedImage::grab(std::uint32_t drawable, int x, int y,
                                                 std::span<const PixelRect> rects) {
  if (segment_ == 0) return grabOverConnection(drawable, x, y, rects);
  auto pieces = layOut(rects);
  for (auto& piece : pieces) {
    piece.sequence =
        xcb_shm_get_image(connection_.xcb(), drawable, static_cast<std::int16_t>(x + piece.rect.x),
                          static_cast<std::int16_t>(y + piece.rect.y),
                          static_cast<std::uint16_t>(piece.rect.width),
                          static_cast<std::uint16_t>(piece.rect.height), allPlanes, XCB_IMAGE_FORMAT_Z_PIXMAP,
                          segment_, static_cast<std::uint32_t>(piece.offset))
            .sequence;
  }
  bool complete = true;
  for (const auto& piece : pieces) {
    xcb_generic_error_t* error = nullptr;
    const XcbReply<xcb_shm_get_image_reply_t> reply(
        xcb_shm_get_image_reply(connection_.xcb(), {piece.sequence}, &error));
    const XcbReply<xcb_generic_error_t> owned(error);
    complete = complete && reply;
    if (reply && !piece.inPlace) copyRows(piece.rect, memory_ + piece.offset);
  }
  if (!complete) return std::unexpected(gone());
  return {};
}

std::expected<void, PortError> SharedImage::grabOverConnection(std::uint32_t drawable, int x, int y,
                                                               std::span<const PixelRect> rects) {
  for (const auto& rect : rects) {
    const XcbReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        connection_.xcb(),
        xcb_get_image(connection_.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable,
                      static_cast<std::int16_t>(x + rect.x), static_cast<std::int16_t>(y + rect.y),
                      static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height),
                      allPlanes),
        nullptr));
    const auto need =
        static_cast<std::size_t>(rect.width) * static_cast<std::size_t>(rect.height) * bytesPerPixel;
    if (!reply || static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) < need) {
      return std::unexpected(gone());
    }
    copyRows(rect, xcb_get_image_data(reply.get()));
  }
  return {};
}

void SharedImage::copyRows(const PixelRect& rect, const std::uint8_t* from) {
  const std::size_t row = static_cast<std::size_t>(rect.width) * bytesPerPixel;
  std::uint8_t* to = memory_ + static_cast<std::size_t>(rect.y) * stride() +
                     static_cast<std::size_t>(rect.x) * bytesPerPixel;
  for (int i = 0; i < rect.height; ++i, to += stride(), from += row) std::memcpy(to, from, row);
}

}  // namespace quorl
