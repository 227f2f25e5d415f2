// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/VideoBackends.h>

#include <array>

#include <QuorlHostLinux/Media/X264Compressor.h>
#include <QuorlHostLinux/Media/X265Compressor.h>

namespace quorl {

namespace {

bool always() {
  return true;
}

// Clients ask for 60 pictures per second; at 30 this leaves half of the machine to the programs that draw
// them. Where HEVC takes longer, H.264 is the better choice: a fifth of the time for at most a third more
// bits.
constexpr std::chrono::microseconds sixtiethOfASecond{16'667};

}  // namespace

// A hardware encoder comes before the software encoder of its codec, with a probe for its device.
std::span<const VideoBackend> videoBackends() {
  static const std::array<VideoBackend, 2> backends{{
      {"x265", VideoCodec::hevc, always, makeX265Compressor, sixtiethOfASecond},
      {"x264", VideoCodec::h264, always, makeX264Compressor},
  }};
  return backends;
}

}  // namespace quorl
