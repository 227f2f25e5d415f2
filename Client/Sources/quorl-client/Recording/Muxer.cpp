// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Recording/Muxer.h>

#include <algorithm>

namespace quorl::client {
namespace {

constexpr std::int64_t shortestDuration = 1'000;
// Times of packets are rounded; a larger overlap is one.
constexpr std::chrono::microseconds rounding{50};

}  // namespace

Outcome<std::unique_ptr<Muxer>> Muxer::create(const std::filesystem::path& path, const DecoderConfig& config,
                                              PixelSize size, const std::optional<AudioConfig>& sound) {
  std::unique_ptr<Muxer> muxer(new Muxer(path));
  muxer->file_.addPictures(config, size);
  if (sound) muxer->file_.addSound(*sound);
  if (auto begun = muxer->file_.begin(); !begun) return std::unexpected(begun.error());
  return muxer;
}

Outcome<void> Muxer::write(EncodedPicture picture) {
  if (!pending_ && pictures_ == 0) {
    if (!picture.isKeyframe) return {};
    firstPts_ = picture.ptsMicros;
    pendingTime_ = 0;
    pending_ = std::move(picture);
    return {};
  }
  // The file must stay valid if the host's clock stops or goes back.
  const auto time = static_cast<std::int64_t>(picture.ptsMicros - firstPts_);
  const auto duration = std::max(time - pendingTime_, shortestDuration);
  if (auto written = writePending(duration); !written) return written;
  pendingTime_ += duration;
  pending_ = std::move(picture);
  return {};
}

Outcome<void> Muxer::writePending(std::int64_t durationMicros) {
  const std::chrono::microseconds begin(pendingTime_);
  const std::chrono::microseconds duration(durationMicros);
  if (auto written = file_.writePicture({pending_->data, begin, begin + duration, pending_->isKeyframe});
      !written)
    return written;
  ++pictures_;
  return {};
}

Outcome<void> Muxer::writeSound(ByteView packet, Clock::duration begin, Clock::duration length) {
  if (begin + rounding < soundEnd_) return {};
  begin = std::max(begin, soundEnd_);
  soundEnd_ = begin + length;
  return file_.writeSound({packet, begin, soundEnd_});
}

Outcome<void> Muxer::finish(Clock::duration shown) {
  if (!pending_) return failed(ExitCode::failure, "no picture came, so no file was written");
  const auto end = std::chrono::duration_cast<std::chrono::microseconds>(shown).count();
  if (auto written = writePending(std::max(end - pendingTime_, shortestDuration)); !written) return written;
  pending_.reset();
  return file_.finish();
}

}  // namespace quorl::client
