// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/ImageFiles.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace quorl {

namespace {

struct Free {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Context = std::unique_ptr<AVCodecContext, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Scaler = std::unique_ptr<SwsContext, Free>;

/// What is wrong with a file is no matter for standard error. The level belongs to the whole process.
void silenceLibrary() {
  static const bool isSilent = [] {
    av_log_set_level(AV_LOG_QUIET);
    return true;
  }();
  (void)isSilent;
}

Context openDecoder() {
  const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_TIFF);
  Context context(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
  if (!context) return nullptr;
  context->max_pixels = ImageFiles::mostPixels;
  context->thread_count = 1;
  return avcodec_open2(context.get(), codec, nullptr) == 0 ? std::move(context) : nullptr;
}

Frame decode(ByteView tiff) {
  const Context context = openDecoder();
  Packet packet(av_packet_alloc());
  Frame frame(av_frame_alloc());
  if (!context || !packet || !frame || tiff.size() > INT32_MAX / 2) return nullptr;
  // av_new_packet zeroes the padding after the data, which the decoder may read.
  if (av_new_packet(packet.get(), static_cast<int>(tiff.size())) != 0) return nullptr;
  std::memcpy(packet->data, tiff.data(), tiff.size());
  if (avcodec_send_packet(context.get(), packet.get()) != 0) return nullptr;
  if (avcodec_receive_frame(context.get(), frame.get()) != 0) return nullptr;
  const bool isPossible = frame->width > 0 && frame->height > 0 && frame->width <= ImageFiles::longestSide &&
                          frame->height <= ImageFiles::longestSide &&
                          std::int64_t{frame->width} * frame->height <= ImageFiles::mostPixels;
  return isPossible ? std::move(frame) : nullptr;
}

/// What the PNG encoder takes as it is.
constexpr std::array pngFormats{
    AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_RGB48BE,  AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_PAL8,
    AV_PIX_FMT_GRAY8, AV_PIX_FMT_YA8,  AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_YA16BE,   AV_PIX_FMT_MONOBLACK};

bool isPNGFormat(int format) {
  return std::ranges::find(pngFormats, format) != pngFormats.end();
}

bool hasAlpha(int format) {
  const auto* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  return description != nullptr && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
}

/// The picture with eight bits a channel.
Frame converted(const Frame& from) {
  Frame to(av_frame_alloc());
  if (!to || sws_isSupportedInput(static_cast<AVPixelFormat>(from->format)) == 0) return nullptr;
  to->format = hasAlpha(from->format) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
  to->width = from->width;
  to->height = from->height;
  if (av_frame_get_buffer(to.get(), 0) != 0) return nullptr;
  const Scaler scaler(sws_getContext(from->width, from->height, static_cast<AVPixelFormat>(from->format),
                                     to->width, to->height, static_cast<AVPixelFormat>(to->format),
                                     SWS_POINT | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
  if (!scaler) return nullptr;
  const int rows =
      sws_scale(scaler.get(), from->data, from->linesize, 0, from->height, to->data, to->linesize);
  return rows == from->height ? std::move(to) : nullptr;
}

std::optional<Bytes> encode(const Frame& frame) {
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

}  // namespace

std::optional<Bytes> ImageFiles::pngFromTIFF(ByteView tiff) {
  silenceLibrary();
  Frame picture = decode(tiff);
  if (picture && !isPNGFormat(picture->format)) picture = converted(picture);
  return picture ? encode(picture) : std::nullopt;
}

}  // namespace quorl
