// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/X265Compressor.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <libyuv/planar_functions.h>
#include <x265.h>

#include <QuorlHostLinux/Media/CodecLevel.h>
#include <QuorlHostLinux/Media/HevcConfigurationRecord.h>
#include <QuorlHostLinux/Media/NalUnits.h>
#include <QuorlHostLinux/Media/SoftwareCompressor.h>

namespace quorl {

namespace {

constexpr int middleQuantizer = 26;  // of a range that the library requires
constexpr int coarsestQuantizer = 51;
constexpr int smallestSide = 64;  // no picture may be smaller than a coding tree unit
// ISO/IEC 23008-2, annex E: matrix of BT.601, primaries and transfer of BT.709.
constexpr int matrixSMPTE170M = 6;
constexpr int primariesAndTransferBT709 = 1;
constexpr int chromaInTheMiddle = 1;  // of four luma samples, as the conversion averages them

struct EncoderCloser {
  void operator()(x265_encoder* encoder) const { x265_encoder_close(encoder); }
};
struct ParameterFreer {
  void operator()(x265_param* parameters) const { x265_param_free(parameters); }
};
struct PictureFreer {
  void operator()(x265_picture* picture) const { x265_picture_free(picture); }
};

class X265Compressor final : public SoftwareCompressor {
 public:
  X265Compressor(const CompressorSpecification& specification, Output output)
      : SoftwareCompressor(specification, std::move(output), coarsestQuantizer),
        size_(specification.size),
        cb_(chromaPlaneSize()),
        cr_(chromaPlaneSize()) {}

  bool open() {
    encoder_.reset();
    parameters_.reset(x265_param_alloc());
    if (!parameters_ || x265_param_default_preset(parameters_.get(), "ultrafast", "zerolatency") < 0)
      return false;
    setParameters();
    encoder_.reset(x265_encoder_open(parameters_.get()));
    picture_.reset(x265_picture_alloc());
    return encoder_ && picture_ && readConfiguration();
  }

  void completeAndInvalidate() override { encoder_.reset(); }

 private:
  std::size_t chromaPlaneSize() const {
    return static_cast<std::size_t>(size_.width / 2) * static_cast<std::size_t>(size_.height / 2);
  }

  void setParameters() {
    x265_param& parameters = *parameters_;
    parameters.logLevel = X265_LOG_NONE;
    parameters.sourceWidth = size_.width;
    parameters.sourceHeight = size_.height;
    parameters.internalCsp = X265_CSP_I420;
    parameters.fpsNum = declaredFrameRate;
    parameters.fpsDenom = 1;
    // Faster for text by a fifth and for motion by a half; slower for photographs.
    parameters.rdLevel = 1;
    parameters.frameNumThreads = 1;
    x265_param_parse(&parameters, "pools", fmt::to_string(encodingThreads()).c_str());
    parameters.bHighTier = 1;
    parameters.keyframeMax = specification().maxKeyFrameInterval;
    parameters.bOpenGOP = 0;
    parameters.scenecutThreshold = 0;
    parameters.bframes = 0;
    parameters.bAnnexB = 0;
    parameters.bRepeatHeaders = 0;
    parameters.bEmitInfoSEI = 0;
    parameters.vui.bEnableVideoSignalTypePresentFlag = 1;
    parameters.vui.bEnableColorDescriptionPresentFlag = 1;
    parameters.vui.bEnableVideoFullRangeFlag = 0;
    parameters.vui.matrixCoeffs = matrixSMPTE170M;
    parameters.vui.colorPrimaries = primariesAndTransferBT709;
    parameters.vui.transferCharacteristics = primariesAndTransferBT709;
    parameters.vui.bEnableChromaLocInfoPresentFlag = 1;
    parameters.vui.chromaSampleLocTypeTopField = chromaInTheMiddle;
    parameters.vui.chromaSampleLocTypeBottomField = chromaInTheMiddle;
    // Each picture's quantiser is chosen here; the library's rate control counts pictures, not time. The
    // library then derives the level: it treats a given one as a limit of the rate.
    parameters.rc.rateControlMode = X265_RC_CQP;
    parameters.rc.qp = middleQuantizer;
  }

  bool readConfiguration() {
    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    if (x265_encoder_headers(encoder_.get(), &units, &count) <= 0) return false;
    const Bytes bytes = joined(units, count);
    auto record = hevcConfigurationRecord(lengthPrefixedNalUnits(bytes));
    if (!record) return false;
    if (!configuration_ || *configuration_ != *record) configuration_ = shareBytes(std::move(*record));
    return true;
  }

  static Bytes joined(const x265_nal* units, std::uint32_t count) {
    std::size_t size = 0;
    for (std::uint32_t index = 0; index < count; ++index) size += units[index].sizeBytes;
    Bytes bytes;
    bytes.reserve(size);
    for (std::uint32_t index = 0; index < count; ++index)
      bytes.insert(bytes.end(), units[index].payload, units[index].payload + units[index].sizeBytes);
    return bytes;
  }

  bool isOpen() const override { return encoder_ != nullptr; }

  std::optional<CompressedPicture> compress(const CompressionRequest& request, PictureType type,
                                            int quantizer) override {
    const PictureBuffer& image = *request.image;
    const int halfWidth = size_.width / 2;
    libyuv::SplitUVPlane(image.chroma, static_cast<int>(image.chromaStride), cb_.data(), halfWidth,
                         cr_.data(), halfWidth, halfWidth, size_.height / 2);
    x265_picture& picture = *picture_;
    x265_picture_init(parameters_.get(), &picture);
    picture.bitDepth = 8;
    picture.colorSpace = X265_CSP_I420;
    picture.sliceType = type == PictureType::key ? X265_TYPE_IDR : X265_TYPE_AUTO;
    picture.forceqp = quantizer + 1;
    picture.pts = pictureCount_++;
    // The library takes writable pointers and only reads.
    picture.planes[0] = const_cast<std::uint8_t*>(image.luma);
    picture.planes[1] = cb_.data();
    picture.planes[2] = cr_.data();
    picture.stride[0] = static_cast<int>(image.lumaStride);
    picture.stride[1] = halfWidth;
    picture.stride[2] = halfWidth;

    x265_nal* units = nullptr;
    std::uint32_t count = 0;
    x265_picture* out = outPicture();
    if (x265_encoder_encode(encoder_.get(), &units, &count, &picture, out) <= 0 || count == 0)
      return std::nullopt;
    CompressedPicture result;
    result.data = shareBytes(joined(units, count));
    result.isKeyFrame = out->sliceType == X265_TYPE_IDR;
    result.configurationRecord = configuration_;
    return result;
  }

  x265_picture* outPicture() {
    if (!out_) out_.reset(x265_picture_alloc());
    return out_.get();
  }

  const PixelSize size_;
  std::unique_ptr<x265_param, ParameterFreer> parameters_;
  std::unique_ptr<x265_encoder, EncoderCloser> encoder_;
  std::unique_ptr<x265_picture, PictureFreer> picture_;
  std::unique_ptr<x265_picture, PictureFreer> out_;
  SharedBytes configuration_;
  Bytes cb_;
  Bytes cr_;
  std::int64_t pictureCount_ = 0;
};

}  // namespace

std::expected<std::unique_ptr<VideoCompressor>, PortError> makeX265Compressor(
    const CompressorSpecification& specification, VideoCompressor::Output output) {
  const PixelSize size = specification.size;
  const bool isEncodable = size.width >= smallestSide && size.height >= smallestSide && size.width % 2 == 0 &&
                           size.height % 2 == 0 && hevcLevel(size).has_value();
  if (!isEncodable) return std::unexpected(PortError{"no HEVC level holds pictures of this size", EINVAL});
  auto compressor = std::make_unique<X265Compressor>(specification, std::move(output));
  if (!compressor->open()) return std::unexpected(PortError{"x265 does not open", ENOMEM});
  return compressor;
}

}  // namespace quorl
