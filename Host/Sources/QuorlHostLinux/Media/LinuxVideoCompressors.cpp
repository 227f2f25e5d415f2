// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>

#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

namespace quorl {

namespace {

class LinuxVideoCompressors final : public VideoCompressorFactory {
 public:
  LinuxVideoCompressors(std::span<const VideoBackend> backends, EncodingPace::Now now)
      : pace_(std::move(now)) {
    for (const VideoBackend& backend : backends)
      if (backend.isThere()) present_.push_back(backend);
  }

  // A present device may be busy or lack this size: then the next one is tried.
  std::expected<std::unique_ptr<VideoCompressor>, PortError> make(
      const CompressorSpecification& specification, VideoCompressor::Output output) override {
    PortError error{"no encoder for this codec", ENODEV};
    for (const VideoBackend& backend : present_) {
      if (backend.codec != specification.codec) continue;
      if (isTooSlow(backend, specification.size)) {
        error = {"too slow on this machine", ETIME};
        continue;
      }
      auto made = backend.make(specification, output);
      if (made) return made;
      error = made.error();
    }
    return std::unexpected(error);
  }

 private:
  bool isTooSlow(const VideoBackend& backend, PixelSize size) {
    if (backend.longestPictureTime.count() == 0) return false;
    const auto time = pace_.pictureTime(backend, size);
    return time && *time > backend.longestPictureTime;
  }

  std::vector<VideoBackend> present_;
  EncodingPace pace_;
};

std::chrono::microseconds steadyNow() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace

std::shared_ptr<VideoCompressorFactory> makeVideoCompressors(std::span<const VideoBackend> backends,
                                                             EncodingPace::Now now) {
  return std::make_shared<LinuxVideoCompressors>(backends, std::move(now));
}

std::shared_ptr<VideoCompressorFactory> makeLinuxVideoCompressors() {
  return makeVideoCompressors(videoBackends(), steadyNow);
}

}  // namespace quorl
