// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/Decoder.h>

#include <utility>

#include <quorl-client/Video/DecoderConfig.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/hwcontext.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace quorl::client {
namespace {

std::optional<PlaneFormat> formatOf(int format) {
  switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
      return PlaneFormat::i420;
    case AV_PIX_FMT_NV12:
      return PlaneFormat::nv12;
    case AV_PIX_FMT_YUV420P10:
      return PlaneFormat::i010;
    case AV_PIX_FMT_P010:
      return PlaneFormat::p010;
  }
  return std::nullopt;
}

ColourMatrix matrixOf(const AVFrame& frame) {
  if (frame.colorspace == AVCOL_SPC_BT709) return ColourMatrix::bt709;
  const bool is2020 = frame.colorspace == AVCOL_SPC_BT2020_NCL || frame.colorspace == AVCOL_SPC_BT2020_CL;
  return is2020 ? ColourMatrix::bt2020 : ColourMatrix::bt601;
}

ColourRange rangeOf(const AVFrame& frame) {
  const bool isFull = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P;
  return isFull ? ColourRange::full : ColourRange::limited;
}

}  // namespace

struct DecodedPicture::Planes {
  AVFrame* frame = av_frame_alloc();

  Planes() = default;
  Planes(const Planes&) = delete;
  Planes& operator=(const Planes&) = delete;
  ~Planes() { av_frame_free(&frame); }
};

DecodedPicture::DecodedPicture(std::unique_ptr<Planes> planes) : planes_(std::move(planes)) {}
DecodedPicture::~DecodedPicture() = default;
DecodedPicture::DecodedPicture(DecodedPicture&&) noexcept = default;
DecodedPicture& DecodedPicture::operator=(DecodedPicture&&) noexcept = default;

PixelSize DecodedPicture::size() const {
  return {planes_->frame->width, planes_->frame->height};
}

std::uint64_t DecodedPicture::ptsMicros() const {
  return static_cast<std::uint64_t>(planes_->frame->pts);
}

std::optional<PicturePlanes> DecodedPicture::planes() const {
  const auto& frame = *planes_->frame;
  const auto format = formatOf(frame.format);
  if (!format) return std::nullopt;
  return PicturePlanes{.format = *format,
                       .matrix = matrixOf(frame),
                       .range = rangeOf(frame),
                       .size = size(),
                       .planes = {frame.data[0], frame.data[1], frame.data[2]},
                       .strides = {frame.linesize[0], frame.linesize[1], frame.linesize[2]}};
}

std::uint8_t DecodedPicture::luma(int x, int y) const {
  const auto* frame = planes_->frame;
  return frame->data[0][static_cast<std::ptrdiff_t>(y) * frame->linesize[0] + x];
}

DecodedPicture::Sample DecodedPicture::sample(int x, int y) const {
  const auto* frame = planes_->frame;
  const bool isPlanar420 = frame->format == AV_PIX_FMT_YUV420P || frame->format == AV_PIX_FMT_YUVJ420P;
  if (!isPlanar420 || x < 0 || y < 0 || x >= frame->width || y >= frame->height) return {};
  const auto chroma = [&](int plane) {
    return frame->data[plane][static_cast<std::ptrdiff_t>(y / 2) * frame->linesize[plane] + x / 2];
  };
  return {luma(x, y), chroma(1), chroma(2)};
}

Bytes DecodedPicture::rgb() const {
  const auto* frame = planes_->frame;
  const auto format = static_cast<AVPixelFormat>(frame->format);
  SwsContext* scaler =
      sws_getContext(frame->width, frame->height, format, frame->width, frame->height, AV_PIX_FMT_RGB24,
                     SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr);
  if (scaler == nullptr) return {};
  const int space = frame->colorspace == AVCOL_SPC_UNSPECIFIED ? SWS_CS_ITU601 : frame->colorspace;
  const int isFullRange = frame->color_range == AVCOL_RANGE_JPEG ? 1 : 0;
  sws_setColorspaceDetails(scaler, sws_getCoefficients(space), isFullRange,
                           sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
  const auto stride = static_cast<std::size_t>(frame->width) * 3;
  // The scaler may write a few bytes past the end of a row.
  Bytes pixels(stride * static_cast<std::size_t>(frame->height) + 64);
  std::uint8_t* const rows[] = {pixels.data()};
  const int strides[] = {static_cast<int>(stride)};
  sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, rows, strides);
  sws_freeContext(scaler);
  pixels.resize(stride * static_cast<std::size_t>(frame->height));
  return pixels;
}

// What the decoder's callbacks decide and report.
struct Decoder::Negotiation {
  std::shared_ptr<DecodeDevice> device;
  bool isDeviceUnfit = false;
  std::optional<PixelSize> refusedSize;

  static Negotiation& of(AVCodecContext* context) { return *static_cast<Negotiation*>(context->opaque); }

  // Called again without the device's format if the device cannot be set up for the stream.
  static AVPixelFormat chooseFormat(AVCodecContext* context, const AVPixelFormat* offered) {
    auto& negotiation = of(context);
    auto software = AV_PIX_FMT_NONE;
    for (; *offered != AV_PIX_FMT_NONE; ++offered) {
      if (*offered == AV_PIX_FMT_VAAPI && negotiation.device) return *offered;
      const bool isSoftware = (av_pix_fmt_desc_get(*offered)->flags & AV_PIX_FMT_FLAG_HWACCEL) == 0;
      if (isSoftware && software == AV_PIX_FMT_NONE) software = *offered;
    }
    negotiation.isDeviceUnfit = negotiation.device != nullptr;
    return software;
  }

  static int allocate(AVCodecContext* context, AVFrame* frame, int flags) {
    if (static_cast<std::int64_t>(frame->width) * frame->height > mostPixels) {
      of(context).refusedSize = {frame->width, frame->height};
      return AVERROR(EINVAL);
    }
    return avcodec_default_get_buffer2(context, frame, flags);
  }

  void apply(AVCodecContext& context) {
    context.opaque = this;
    context.get_format = &chooseFormat;
    context.get_buffer2 = &allocate;
    // Bounds the decoder's own tables. Sizes in between are refused with their size.
    context.max_pixels = 4 * mostPixels;
    if (device) context.hw_device_ctx = av_buffer_ref(device->context());
  }
};

Decoder::Decoder() : negotiation_(std::make_unique<Negotiation>()) {}
Decoder::~Decoder() = default;

std::optional<PixelSize> Decoder::refusedSize() const {
  return negotiation_->refusedSize;
}

bool Decoder::isDeviceUnfit() const {
  return negotiation_->isDeviceUnfit;
}

Outcome<void> Decoder::configure(ByteView record, std::shared_ptr<DecodeDevice> device) {
  decoder_.reset();
  *negotiation_ = {.device = std::move(device)};
  const auto codec = codecOfConfigRecord(record);
  if (!codec) return failed(ExitCode::failure, "the host's decoder configuration cannot be read");
  auto opened = PacketDecoder::open(
      avcodec_find_decoder(*codec == VideoCodec::hevc ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264), record,
      [this](AVCodecContext& context) {
        negotiation_->apply(context);
        context.flags |= AV_CODEC_FLAG_LOW_DELAY;
        // Frame threads would delay pictures; slice threads do not.
        context.thread_type = FF_THREAD_SLICE;
        context.thread_count = 2;
        context.pkt_timebase = {1, 1'000'000};
      },
      {.missing = "this machine's media library has no decoder for the stream",
       .missingAdvice = "Install libavcodec with H.264 and HEVC.",
       .refused = "the decoder refuses the host's configuration"});
  if (!opened) return std::unexpected(opened.error());
  decoder_ = std::move(*opened);
  return {};
}

std::vector<DecodedPicture> Decoder::decode(ByteView unit, std::uint64_t ptsMicros) {
  const bool isTaken = decoder_ && decoder_->send(unit, static_cast<std::int64_t>(ptsMicros));
  if (!isTaken) ++failedUnits_;
  return decoder_ ? receive() : std::vector<DecodedPicture>();
}

std::vector<DecodedPicture> Decoder::drain() {
  if (!decoder_) return {};
  decoder_->sendEnd();
  return receive();
}

std::vector<DecodedPicture> Decoder::receive() {
  std::vector<DecodedPicture> pictures;
  for (;;) {
    auto planes = std::make_unique<DecodedPicture::Planes>();
    if (planes->frame == nullptr || !decoder_->receive(*planes->frame)) return pictures;
    // A picture with concealed errors is not shown.
    if ((planes->frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || planes->frame->decode_error_flags != 0) {
      ++failedUnits_;
      continue;
    }
    if (!fetchFromDevice(*planes)) {
      ++failedUnits_;
      continue;
    }
    pictures.emplace_back(std::move(planes));
  }
}

// The picture of a device is copied to memory that the processor reads fast.
bool Decoder::fetchFromDevice(DecodedPicture::Planes& planes) {
  if (planes.frame->format != AV_PIX_FMT_VAAPI) return true;
  DecodedPicture::Planes fetched;
  if (fetched.frame == nullptr || av_hwframe_transfer_data(fetched.frame, planes.frame, 0) < 0 ||
      av_frame_copy_props(fetched.frame, planes.frame) < 0)
    return false;
  std::swap(planes.frame, fetched.frame);
  return true;
}

void silenceMediaLibraries() {
  av_log_set_level(AV_LOG_QUIET);
}

}  // namespace quorl::client
