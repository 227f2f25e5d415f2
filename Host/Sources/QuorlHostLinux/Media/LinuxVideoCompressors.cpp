// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include <QuorlHostLinux/Media/X264Compressor.h>
#include <QuorlHostLinux/Media/X265Compressor.h>

namespace quorl {

namespace {

using MakeCompressor = std::expected<std::unique_ptr<VideoCompressor>, PortError> (*)(
    const CompressorSpecification&, VideoCompressor::Output);

/// One kind of encoder. The first of a codec that is there is the one that is used.
struct Backend {
  std::string_view name;
  VideoCodec codec;
  bool (*isThere)();
  MakeCompressor make;
};

bool always() {
  return true;
}

// A hardware encoder goes in front of the software one of its codec, with a probe for its device.
constexpr std::array<Backend, 2> backends{{
    {"x265", VideoCodec::hevc, always, makeX265Compressor},
    {"x264", VideoCodec::h264, always, makeX264Compressor},
}};

const Backend* choose(VideoCodec codec) {
  for (const Backend& backend : backends)
    if (backend.codec == codec && backend.isThere()) return &backend;
  return nullptr;
}

class LinuxVideoCompressors final : public VideoCompressorFactory {
 public:
  LinuxVideoCompressors() : hevc_(choose(VideoCodec::hevc)), h264_(choose(VideoCodec::h264)) {}

  std::expected<std::unique_ptr<VideoCompressor>, PortError> make(
      const CompressorSpecification& specification, VideoCompressor::Output output) override {
    const Backend* backend = specification.codec == VideoCodec::hevc ? hevc_ : h264_;
    if (!backend) return std::unexpected(PortError{"no encoder for this codec", ENODEV});
    return backend->make(specification, std::move(output));
  }

 private:
  const Backend* const hevc_;
  const Backend* const h264_;
};

}  // namespace

std::shared_ptr<VideoCompressorFactory> makeLinuxVideoCompressors() {
  return std::make_shared<LinuxVideoCompressors>();
}

}  // namespace quorl
