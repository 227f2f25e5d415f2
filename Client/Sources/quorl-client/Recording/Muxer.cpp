// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Recording/Muxer.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fmt/format.h>

extern "C" {
#include <libavformat/avformat.h>
}

namespace quorl::client {
namespace {

constexpr AVRational microseconds{1, 1'000'000};
constexpr std::int64_t shortestDuration = 1'000;

std::string describe(int status) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(status, text, sizeof text);
  return text;
}

}  // namespace

struct Muxer::File {
  AVFormatContext* format = nullptr;
  AVStream* stream = nullptr;
  AVPacket* packet = av_packet_alloc();

  File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (format != nullptr) avio_closep(&format->pb);
    avformat_free_context(format);
    av_packet_free(&packet);
  }

  int open(const std::filesystem::path& path, const DecoderConfig& config, PixelSize size) {
    if (const int status = avformat_alloc_output_context2(&format, nullptr, "mp4", path.c_str()); status < 0)
      return status;
    stream = avformat_new_stream(format, nullptr);
    if (stream == nullptr || packet == nullptr) return AVERROR(ENOMEM);
    auto* const parameters = stream->codecpar;
    const bool isHEVC = config.codec == VideoCodec::hevc;
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = isHEVC ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
    // Sample entries with their parameter sets in the configuration record (ISO/IEC 14496-15).
    parameters->codec_tag = isHEVC ? MKTAG('h', 'v', 'c', '1') : MKTAG('a', 'v', 'c', '1');
    parameters->width = size.width;
    parameters->height = size.height;
    parameters->extradata =
        static_cast<std::uint8_t*>(av_mallocz(config.record.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters->extradata == nullptr) return AVERROR(ENOMEM);
    std::memcpy(parameters->extradata, config.record.data(), config.record.size());
    parameters->extradata_size = static_cast<int>(config.record.size());
    stream->time_base = {1, 90'000};
    if (const int status = avio_open(&format->pb, path.c_str(), AVIO_FLAG_WRITE); status < 0) return status;
    return avformat_write_header(format, nullptr);
  }
};

Muxer::Muxer(std::filesystem::path path)
    : path_(std::move(path)), temporary_(path_), file_(std::make_unique<File>()) {
  temporary_ += ".part";
}

Muxer::~Muxer() {
  if (!file_) return;
  file_.reset();
  ::unlink(temporary_.c_str());
}

Outcome<std::unique_ptr<Muxer>> Muxer::create(const std::filesystem::path& path, const DecoderConfig& config,
                                              PixelSize size) {
  std::unique_ptr<Muxer> muxer(new Muxer(path));
  if (const int status = muxer->file_->open(muxer->temporary_, config, size); status < 0)
    return cannotWrite(path, describe(status));
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
  auto* const packet = file_->packet;
  if (av_new_packet(packet, static_cast<int>(pending_->data.size())) < 0)
    return failed(ExitCode::failure, "out of memory");
  std::memcpy(packet->data, pending_->data.data(), pending_->data.size());
  const auto timeBase = file_->stream->time_base;
  packet->stream_index = 0;
  packet->pts = packet->dts = av_rescale_q(pendingTime_, microseconds, timeBase);
  packet->duration = av_rescale_q(pendingTime_ + durationMicros, microseconds, timeBase) - packet->pts;
  if (pending_->isKeyframe) packet->flags |= AV_PKT_FLAG_KEY;
  const int status = av_write_frame(file_->format, packet);
  av_packet_unref(packet);
  if (status < 0)
    return failed(ExitCode::failure,
                  fmt::format("{} cannot be written: {}", path_.string(), describe(status)));
  ++pictures_;
  return {};
}

Outcome<void> Muxer::finish(Clock::duration shown) {
  if (!pending_) return failed(ExitCode::failure, "no picture came, so no file was written");
  const auto end = std::chrono::duration_cast<std::chrono::microseconds>(shown).count();
  if (auto written = writePending(std::max(end - pendingTime_, shortestDuration)); !written) return written;
  pending_.reset();
  int status = av_write_trailer(file_->format);
  if (const int closed = avio_closep(&file_->format->pb); status >= 0) status = closed;
  if (status < 0)
    return failed(ExitCode::failure,
                  fmt::format("{} cannot be written: {}", path_.string(), describe(status)));
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0)
    return failed(ExitCode::failure,
                  fmt::format("{} cannot be written: {}", path_.string(), std::strerror(errno)));
  file_.reset();
  return {};
}

}  // namespace quorl::client
