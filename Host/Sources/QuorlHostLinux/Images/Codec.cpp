// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/Codec.h>

#include <algorithm>
#include <array>
#include <cstring>

extern "C" {
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace quorl::codec {

namespace {

/// Faults of files do not belong on standard error. The level is that of the whole process.
void silenceLibrary() {
  static const bool isSilent = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
  }();
  (void)isSilent;
}

Context openDecoder(AVCodecID format, std::int64_t mostPixels) {
  const AVCodec* codec = avcodec_find_decoder(format);
  Context context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
  if (!context) return nullptr;
  context->max_pixels = mostPixels;
  context->thread_count = 1;
  return avcodec_open2(context.get(), codec, nullptr) == 0 ? std::move(context) : nullptr;
}

/// What the PNG encoder takes as it is.
constexpr std::array pngFormats{
    AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_RGB48BE,  AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_PAL8,
    AV_PIX_FMT_GRAY8, AV_PIX_FMT_YA8,  AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_YA16BE,   AV_PIX_FMT_MONOBLACK};

bool hasAlpha(int format) {
  const auto* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

}  // namespace

Frame decode(AVCodecID format, ByteView file, const Limits& limits) {
  silenceLibrary();
  const Context context = openDecoder(format, limits.mostPixels);
  Packet packet(av_packet_alloc());
  Frame frame(av_frame_alloc());
  if (!context || !packet || !frame || file.size() > INT32_MAX / 2) return nullptr;
  // av_new_packet zeroes the padding after the data, which the decoder may read.
  if (av_new_packet(packet.get(), static_cast<int>(file.size())) != 0) return nullptr;
  std::memcpy(packet->data, file.data(), file.size());
  if (avcodec_send_packet(context.get(), packet.get()) != 0) return nullptr;
  if (avcodec_receive_frame(context.get(), frame.get()) != 0) return nullptr;
  const bool isPossible = frame->width > 0 && frame->height > 0 && frame->width <= limits.longestSide &&
                          frame->height <= limits.longestSide &&
                          std::int64_t{frame->width} * frame->height <= limits.mostPixels;
  return isPossible ? std::move(frame) : nullptr;
}

Frame converted(const Frame& from, int width, int height, int scaling) {
  Frame to(av_frame_alloc());
  if (!to || sws_isSupportedInput(static_cast<AVPixelFormat>(from->format)) == 0) return nullptr;
  to->format = hasAlpha(from->format) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
  to->width = width;
  to->height = height;
  if (av_frame_get_buffer(to.get(), 0) != 0) return nullptr;
  const Scaler scaler(sws_getContext(from->width, from->height, static_cast<AVPixelFormat>(from->format),
                                     to->width, to->height, static_cast<AVPixelFormat>(to->format),
                                     scaling | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
  if (!scaler) return nullptr;
  const int rows =
      sws_scale(scaler.get(), from->data, from->linesize, 0, from->height, to->data, to->linesize);
  return rows == height ? std::move(to) : nullptr;
}

bool isPNGFormat(int pixelFormat) {
  return std::ranges::find(pngFormats, pixelFormat) != pngFormats.end();
}

std::optional<Bytes> encodePNG(const Frame& frame) {
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
  const Context context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
  Packet packet(av_packet_alloc());
  if (!context || !packet) return std::nullopt;
  context->width = frame->width;
  context->height = frame->height;
  context->pix_fmt = static_cast<AVPixelFormat>(frame->format);
  context->time_base = {1, 1};
  context->thread_count = 1;
  // The filter is chosen for each row: half the size for a photograph.
  av_opt_set(context->priv_data, "pred", "mixed", 0);
  if (avcodec_open2(context.get(), codec, nullptr) != 0) return std::nullopt;
  if (avcodec_send_frame(context.get(), frame.get()) != 0) return std::nullopt;
  if (avcodec_receive_packet(context.get(), packet.get()) != 0) return std::nullopt;
  return Bytes(packet->data, packet->data + packet->size);
}

}  // namespace quorl::codec
