// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Recording/MediaFile.h>

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fmt/format.h>

extern "C" {
#include <libavformat/avformat.h>
}

namespace quorl::client {
namespace {

constexpr AVRational nanoseconds{1, 1'000'000'000};

std::string describe(int status) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(status, text, sizeof text);
  return text;
}

}  // namespace

struct MediaFile::File {
  AVFormatContext* format = nullptr;
  AVPacket* packet = av_packet_alloc();
  int pictures = -1;  // numbers of the tracks
  int sound = -1;
  int status = 0;  // of what was done before `begin`

  File() = default;
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (format != nullptr) avio_closep(&format->pb);
    avformat_free_context(format);
    av_packet_free(&packet);
  }

  AVStream* addTrack(AVRational timeBase, ByteView configuration) {
    AVStream* const track = status >= 0 ? avformat_new_stream(format, nullptr) : nullptr;
    if (track == nullptr || packet == nullptr) {
      if (status >= 0) status = AVERROR(ENOMEM);
      return nullptr;
    }
    track->time_base = timeBase;
    auto* const parameters = track->codecpar;
    parameters->extradata =
        static_cast<std::uint8_t*>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (parameters->extradata == nullptr) {
      status = AVERROR(ENOMEM);
      return nullptr;
    }
    std::memcpy(parameters->extradata, configuration.data(), configuration.size());
    parameters->extradata_size = static_cast<int>(configuration.size());
    return track;
  }
};

MediaFile::MediaFile(std::filesystem::path path, Kind kind)
    : path_(std::move(path)), temporary_(path_), file_(std::make_unique<File>()) {
  temporary_ += ".part";
  file_->status = avformat_alloc_output_context2(&file_->format, nullptr, kind == Kind::m4a ? "ipod" : "mp4",
                                                 temporary_.c_str());
}

MediaFile::~MediaFile() {
  if (!file_) return;
  const bool wasOpened = file_->format != nullptr && file_->format->pb != nullptr;
  file_.reset();
  if (wasOpened) ::unlink(temporary_.c_str());
}

void MediaFile::addPictures(const DecoderConfig& config, PixelSize size) {
  AVStream* const track = file_->addTrack({1, 90'000}, config.record);
  if (track == nullptr) return;
  file_->pictures = track->index;
  auto* const parameters = track->codecpar;
  const bool isHEVC = config.codec == VideoCodec::hevc;
  parameters->codec_type = AVMEDIA_TYPE_VIDEO;
  parameters->codec_id = isHEVC ? AV_CODEC_ID_HEVC : AV_CODEC_ID_H264;
  // Sample entries with their parameter sets in the configuration record (ISO/IEC 14496-15).
  parameters->codec_tag = isHEVC ? MKTAG('h', 'v', 'c', '1') : MKTAG('a', 'v', 'c', '1');
  parameters->width = size.width;
  parameters->height = size.height;
}

void MediaFile::addSound(const AudioConfig& config) {
  const int rate =
      config.sampleRate >= 1 && config.sampleRate <= 768'000 ? static_cast<int>(config.sampleRate) : 48'000;
  AVStream* const track = file_->addTrack({1, rate}, config.magicCookie);
  if (track == nullptr) return;
  file_->sound = track->index;
  auto* const parameters = track->codecpar;
  parameters->codec_type = AVMEDIA_TYPE_AUDIO;
  parameters->codec_id = AV_CODEC_ID_AAC;
  parameters->codec_tag = MKTAG('m', 'p', '4', 'a');
  parameters->sample_rate = rate;
  parameters->frame_size = 1'024;  // samples a packet
  av_channel_layout_default(&parameters->ch_layout, config.channels == 1 ? 1 : 2);
}

bool MediaFile::hasSound() const {
  return file_->sound >= 0;
}

Outcome<void> MediaFile::begin() {
  int status = file_->status;
  if (status >= 0) status = avio_open(&file_->format->pb, temporary_.c_str(), AVIO_FLAG_WRITE);
  if (status >= 0) status = avformat_write_header(file_->format, nullptr);
  if (status < 0) return cannotWrite(path_, describe(status));
  return {};
}

Outcome<void> MediaFile::writePicture(const Piece& piece) {
  return write(file_->pictures, piece);
}

Outcome<void> MediaFile::writeSound(const Piece& piece) {
  return write(file_->sound, piece);
}

Outcome<void> MediaFile::write(int track, const Piece& piece) {
  auto* const packet = file_->packet;
  if (av_new_packet(packet, static_cast<int>(piece.data.size())) < 0)
    return failed(ExitCode::failure, "out of memory");
  std::memcpy(packet->data, piece.data.data(), piece.data.size());
  const auto timeBase = file_->format->streams[track]->time_base;
  packet->stream_index = track;
  packet->pts = packet->dts = av_rescale_q(piece.begin.count(), nanoseconds, timeBase);
  packet->duration = av_rescale_q(piece.end.count(), nanoseconds, timeBase) - packet->pts;
  if (piece.isKey) packet->flags |= AV_PKT_FLAG_KEY;
  const int status = av_write_frame(file_->format, packet);
  av_packet_unref(packet);
  if (status < 0) return cannotBeWritten(describe(status));
  return {};
}

Outcome<void> MediaFile::finish() {
  int status = av_write_trailer(file_->format);
  if (const int closed = avio_closep(&file_->format->pb); status >= 0) status = closed;
  if (status < 0) {
    ::unlink(temporary_.c_str());
    return cannotBeWritten(describe(status));
  }
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    const int error = errno;
    ::unlink(temporary_.c_str());
    return cannotBeWritten(std::strerror(error));
  }
  file_.reset();
  return {};
}

std::unexpected<ClientError> MediaFile::cannotBeWritten(const std::string& why) const {
  return failed(ExitCode::failure, fmt::format("{} cannot be written: {}", path_.string(), why));
}

}  // namespace quorl::client
