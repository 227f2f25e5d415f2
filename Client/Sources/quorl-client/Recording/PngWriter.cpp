// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Recording/PngWriter.h>

#include <cstring>

#include <QuorlUnix/AtomicFile.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quorl::client {
namespace {

struct Encoder {
  AVCodecContext* context = nullptr;
  AVFrame* frame = av_frame_alloc();
  AVPacket* packet = av_packet_alloc();

  Encoder() = default;
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;
  ~Encoder() {
    avcodec_free_context(&context);
    av_frame_free(&frame);
    av_packet_free(&packet);
  }

  bool open(PixelSize size) {
    const AVCodec* const png = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (png == nullptr || frame == nullptr || packet == nullptr) return false;
    context = avcodec_alloc_context3(png);
    if (context == nullptr) return false;
    frame->width = context->width = size.width;
    frame->height = context->height = size.height;
    frame->format = context->pix_fmt = AV_PIX_FMT_RGB24;
    context->time_base = {1, 1};
    return avcodec_open2(context, png, nullptr) == 0 && av_frame_get_buffer(frame, 0) == 0;
  }
};

}  // namespace

Outcome<Bytes> encodePNG(const DecodedPicture& picture) {
  const auto size = picture.size();
  const auto pixels = picture.rgb();
  Encoder encoder;
  if (pixels.empty() || !encoder.open(size))
    return failed(ExitCode::failure, "this machine's media library cannot write PNG",
                  "Install libavcodec with its PNG encoder.");
  const auto stride = static_cast<std::size_t>(size.width) * 3;
  for (int row = 0; row < size.height; ++row)
    std::memcpy(encoder.frame->data[0] + static_cast<std::ptrdiff_t>(row) * encoder.frame->linesize[0],
                pixels.data() + static_cast<std::size_t>(row) * stride, stride);
  if (avcodec_send_frame(encoder.context, encoder.frame) < 0 ||
      avcodec_send_frame(encoder.context, nullptr) < 0 ||
      avcodec_receive_packet(encoder.context, encoder.packet) < 0)
    return failed(ExitCode::failure, "the picture could not be written as PNG");
  return Bytes(encoder.packet->data, encoder.packet->data + encoder.packet->size);
}

Outcome<void> writePNG(const DecodedPicture& picture, const std::filesystem::path& path) {
  const auto encoded = encodePNG(picture);
  if (!encoded) return std::unexpected(encoded.error());
  if (const auto written = writeFileAtomically(path, *encoded, FileAccess::byUmask); !written)
    return cannotWrite(path, written.error().message());
  return {};
}

}  // namespace quorl::client
