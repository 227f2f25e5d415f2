// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/X264Compressor.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

extern "C" {
#include <x264.h>
}

#include <QuorlHostLinux/Media/AvcConfigurationRecord.h>
#include <QuorlHostLinux/Media/CodecLevel.h>
#include <QuorlHostLinux/Media/NalUnits.h>
#include <QuorlHostLinux/Media/PictureDetail.h>
#include <QuorlHostLinux/Media/SoftwareCompressor.h>

namespace quorl {

namespace {

constexpr int macroblockSide = 16;
// The library derives the range that a picture's quantiser may have from these: 29 and a factor of a
// hundredth for key frames and for pictures between others make it 0 to 69. Above 51, the coarsest of the
// standard, it also drops the weaker detail of a picture.
constexpr int rangeQuantizer = 29;
constexpr float rangeFactor = 0.01F;
constexpr int coarsestQuantizer = 69;
// ISO/IEC 14496-10, annex E: matrix of BT.601, primaries and transfer of BT.709.
constexpr int matrixSMPTE170M = 6;
constexpr int primariesAndTransferBT709 = 1;
constexpr int chromaInTheMiddle = 1;  // of four luma samples, as the conversion averages them

struct EncoderCloser {
  void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};
using EncoderHandle = std::unique_ptr<x264_t, EncoderCloser>;

class X264Compressor final : public SoftwareCompressor {
 public:
  X264Compressor(const CompressorSpecification& specification, Output output)
      : SoftwareCompressor(specification, std::move(output), coarsestQuantizer),
        size_(specification.size),
        macroblockColumns_((size_.width + macroblockSide - 1) / macroblockSide),
        macroblockRows_((size_.height + macroblockSide - 1) / macroblockSide),
        unchanged_(static_cast<std::size_t>(macroblockColumns_) * static_cast<std::size_t>(macroblockRows_)) {
    setParameters(specification);
  }

  bool open() {
    encoder_.reset(x264_encoder_open(&parameters_));
    if (!encoder_) return false;
    // As adjusted by the library: later changes start from these.
    x264_encoder_parameters(encoder_.get(), &parameters_);
    return readConfiguration();
  }

  void completeAndInvalidate() override { encoder_.reset(); }

 private:
  void setParameters(const CompressorSpecification& specification) {
    x264_param_default_preset(&parameters_, "ultrafast", "zerolatency");
    parameters_.i_log_level = X264_LOG_NONE;
    parameters_.i_width = size_.width;
    parameters_.i_height = size_.height;
    parameters_.i_csp = X264_CSP_NV12;
    parameters_.i_threads = encodingThreads();
    parameters_.i_fps_num = declaredFrameRate;
    parameters_.i_fps_den = 1;
    parameters_.i_level_idc = avcLevel(size_).value_or(62);
    parameters_.i_keyint_max = specification.maxKeyFrameInterval;
    parameters_.i_scenecut_threshold = 0;
    parameters_.b_vfr_input = 0;  // 1 would delay each picture until the next gives its duration
    parameters_.b_annexb = 0;
    parameters_.b_repeat_headers = 0;
    parameters_.vui.b_fullrange = 0;
    parameters_.vui.i_colmatrix = matrixSMPTE170M;
    parameters_.vui.i_colorprim = primariesAndTransferBT709;
    parameters_.vui.i_transfer = primariesAndTransferBT709;
    parameters_.vui.i_chroma_loc = chromaInTheMiddle;
    parameters_.analyse.b_mb_info = 1;
    // Each picture's quantiser is chosen here. The library's own rate control would first analyse the picture
    // at half its size, for a third of the time of a small change.
    parameters_.rc.i_rc_method = X264_RC_CQP;
    parameters_.rc.i_qp_constant = rangeQuantizer;
    parameters_.rc.f_ip_factor = rangeFactor;
    parameters_.rc.f_pb_factor = rangeFactor;
  }

  bool readConfiguration() {
    x264_nal_t* units = nullptr;
    int count = 0;
    const int size = x264_encoder_headers(encoder_.get(), &units, &count);
    if (size <= 0 || count <= 0) return false;
    const ByteView bytes(units[0].p_payload, static_cast<std::size_t>(size));
    auto record = avcConfigurationRecord(lengthPrefixedNalUnits(bytes));
    if (!record) return false;
    configuration_ = shareBytes(std::move(*record));
    return true;
  }

  x264_picture_t x264Picture(const PictureBuffer& image, int type, int quantizer) {
    x264_picture_t picture;
    x264_picture_init(&picture);
    picture.i_type = type;
    picture.i_qpplus1 = quantizer + 1;
    picture.i_pts = pictureCount_++;
    picture.img.i_csp = X264_CSP_NV12;
    picture.img.i_plane = 2;
    // The library takes writable pointers and only reads.
    picture.img.plane[0] = const_cast<std::uint8_t*>(image.luma);
    picture.img.plane[1] = const_cast<std::uint8_t*>(image.chroma);
    picture.img.i_stride[0] = static_cast<int>(image.lumaStride);
    picture.img.i_stride[1] = static_cast<int>(image.chromaStride);
    return picture;
  }

  // Marks the macroblocks outside all changed parts. The library skips those that are sharp enough. False
  // when there is nothing to mark.
  bool markUnchanged(const CompressionRequest& request) {
    const bool isAllNew = request.content == PictureContent::changed && request.changed.empty();
    if (isAllNew) return false;
    std::ranges::fill(unchanged_, static_cast<std::uint8_t>(X264_MBINFO_CONSTANT));
    for (const PixelRect& rect : request.changed) markChanged(rect);
    return true;
  }

  void markChanged(const PixelRect& rect) {
    const PixelRect part = rect.intersectionWith(PixelRect::of(size_));
    if (part.isEmpty()) return;
    const int left = part.x / macroblockSide;
    const int right = (part.x + part.width - 1) / macroblockSide;
    const int top = part.y / macroblockSide;
    const int bottom = (part.y + part.height - 1) / macroblockSide;
    for (int row = top; row <= bottom; ++row) {
      const auto start = unchanged_.begin() + static_cast<std::ptrdiff_t>(row) * macroblockColumns_;
      std::fill(start + left, start + right + 1, std::uint8_t{0});
    }
  }

  static int x264Type(PictureType type) {
    switch (type) {
      case PictureType::predicted:
        return X264_TYPE_AUTO;
      case PictureType::fresh:
        return X264_TYPE_I;
      case PictureType::key:
        return X264_TYPE_IDR;
    }
    return X264_TYPE_AUTO;
  }

  bool isOpen() const override { return encoder_ != nullptr; }

  std::optional<CompressedPicture> compress(const CompressionRequest& request, PictureType type,
                                            int quantizer) override {
    x264_picture_t picture = x264Picture(*request.image, x264Type(type), quantizer);
    if (type == PictureType::predicted && markUnchanged(request)) picture.prop.mb_info = unchanged_.data();
    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t out;
    const int size = x264_encoder_encode(encoder_.get(), &units, &count, &picture, &out);
    if (size <= 0 || count <= 0) return std::nullopt;
    CompressedPicture result;
    result.data = std::make_shared<const Bytes>(units[0].p_payload, units[0].p_payload + size);
    result.isKeyFrame = out.b_keyframe != 0;
    result.configurationRecord = configuration_;
    return result;
  }

  const PixelSize size_;
  x264_param_t parameters_{};
  EncoderHandle encoder_;
  SharedBytes configuration_;
  const int macroblockColumns_;
  const int macroblockRows_;
  std::vector<std::uint8_t> unchanged_;  // one byte a macroblock, row by row
  std::int64_t pictureCount_ = 0;
};

}  // namespace

std::expected<std::unique_ptr<VideoCompressor>, PortError> makeX264Compressor(
    const CompressorSpecification& specification, VideoCompressor::Output output) {
  const PixelSize size = specification.size;
  const bool isEncodable = size.width >= 2 && size.height >= 2 && size.width % 2 == 0 &&
                           size.height % 2 == 0 && avcLevel(size).has_value();
  if (!isEncodable) return std::unexpected(PortError{"no H.264 level holds pictures of this size", EINVAL});
  auto compressor = std::make_unique<X264Compressor>(specification, std::move(output));
  if (!compressor->open()) return std::unexpected(PortError{"x264 does not open", ENOMEM});
  return compressor;
}

}  // namespace quorl
