// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>

#include <cerrno>
#include <vector>

namespace quorl {

namespace {

class LinuxVideoCompressors final : public VideoCompressorFactory {
 public:
  explicit LinuxVideoCompressors(std::span<const VideoBackend> backends) {
    for (const VideoBackend& backend : backends)
      if (backend.isThere()) present_.push_back(backend);
  }

  // A device that is there may still be busy or know no pictures of this size: then the next one is tried.
  std::expected<std::unique_ptr<VideoCompressor>, PortError> make(
      const CompressorSpecification& specification, VideoCompressor::Output output) override {
    PortError error{"no encoder for this codec", ENODEV};
    for (const VideoBackend& backend : present_) {
      if (backend.codec != specification.codec) continue;
      auto made = backend.make(specification, output);
      if (made) return made;
      error = made.error();
    }
    return std::unexpected(error);
  }

 private:
  std::vector<VideoBackend> present_;
};

}  // namespace

std::shared_ptr<VideoCompressorFactory> makeVideoCompressors(std::span<const VideoBackend> backends) {
  return std::make_shared<LinuxVideoCompressors>(backends);
}

std::shared_ptr<VideoCompressorFactory> makeLinuxVideoCompressors() {
  return makeVideoCompressors(videoBackends());
}

}  // namespace quorl
