// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/SoundCoding/AACCompressor.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

#include <fmt/format.h>

#include <QuorlHostLinux/SoundCoding/AVHandles.h>

namespace quorl {

namespace {

constexpr int samplesPerPacket = 1'024;
constexpr int mostChannels = 8;
constexpr int highestRate = 768'000;
// ISO/IEC 14496-3, 1.6.2.1: these hold all of AAC-LC. The library appends the signal of an absent extension.
constexpr int configurationSize = 2;

PortError failure(const char* what, int status) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(status, text, sizeof text);
  return {fmt::format("{}: {}", what, text), status};
}

std::size_t sampleSize(SampleType type) {
  return type == SampleType::int16 ? sizeof(std::int16_t) : sizeof(float);
}

float playable(float sample) {
  return std::isnan(sample) ? 0 : std::clamp(sample, -1.0F, 1.0F);
}

class AACCompressor final : public SoundCompressor {
 public:
  explicit AACCompressor(const PCMFormat& input)
      : inputFrameSize_(static_cast<std::size_t>(input.channels) * sampleSize(input.samples)) {}

  /// 0 or the library's error.
  int open(const PCMFormat& input, const SoundCompression& output) {
    const int opened = openEncoder(output);
    return opened < 0 ? opened : openConverter(input);
  }

  std::expected<CompressedSound, PortError> compress(ByteView samples) override {
    if (samples.size() % inputFrameSize_ != 0)
      return std::unexpected(PortError{
          fmt::format("{} bytes are not whole frames of {} bytes", samples.size(), inputFrameSize_), EINVAL});
    if (const int status = convert(samples); status < 0)
      return std::unexpected(failure("the samples cannot be converted", status));
    CompressedSound sound;
    while (av_audio_fifo_size(waiting_.get()) >= samplesPerPacket)
      if (const int status = encodeFrame(sound); status < 0)
        return std::unexpected(failure("the samples cannot be encoded", status));
    return sound;
  }

  double sampleRate() const override { return encoder_->sample_rate; }
  int channels() const override { return encoder_->ch_layout.nb_channels; }
  Bytes decoderConfiguration() const override {
    return {encoder_->extradata, encoder_->extradata + std::min(encoder_->extradata_size, configurationSize)};
  }

 private:
  int openEncoder(const SoundCompression& output) {
    const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!codec) return AVERROR_ENCODER_NOT_FOUND;
    encoder_.reset(avcodec_alloc_context3(codec));
    frame_.reset(av_frame_alloc());
    packet_.reset(av_packet_alloc());
    if (!encoder_ || !frame_ || !packet_) return AVERROR(ENOMEM);
    encoder_->log_level_offset = AV_LOG_TRACE;  // keeps the library from writing to standard error
    encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder_->sample_rate = output.sampleRate;
    av_channel_layout_default(&encoder_->ch_layout, output.channels);
    encoder_->bit_rate = output.bitRate;
    encoder_->profile = FF_PROFILE_AAC_LOW;
    encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    encoder_->time_base = {1, output.sampleRate};
    if (const int status = avcodec_open2(encoder_.get(), codec, nullptr); status < 0) return status;
    waiting_.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, output.channels, samplesPerPacket));
    return waiting_ ? prepareFrame() : AVERROR(ENOMEM);
  }

  int prepareFrame() {
    frame_->format = encoder_->sample_fmt;
    frame_->nb_samples = samplesPerPacket;
    frame_->sample_rate = encoder_->sample_rate;
    const int status = av_channel_layout_copy(&frame_->ch_layout, &encoder_->ch_layout);
    return status < 0 ? status : av_frame_get_buffer(frame_.get(), 0);
  }

  int openConverter(const PCMFormat& input) {
    const auto type = input.samples == SampleType::int16 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_FLT;
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, input.channels);
    SwrContext* converter = nullptr;
    int status = swr_alloc_set_opts2(&converter, &encoder_->ch_layout, AV_SAMPLE_FMT_FLTP,
                                     encoder_->sample_rate, &layout, type, input.sampleRate, 0, nullptr);
    converter_.reset(converter);
    // By default the library plays one channel on two at half the power each.
    const double everywhere[mostChannels] = {1, 1, 1, 1, 1, 1, 1, 1};
    if (status >= 0 && input.channels == 1) status = swr_set_matrix(converter_.get(), everywhere, 1);
    return status < 0 ? status : swr_init(converter_.get());
  }

  // Appends the samples to those that wait, in the encoder's format.
  int convert(ByteView samples) {
    const int frames = static_cast<int>(samples.size() / inputFrameSize_);
    const int most = swr_get_out_samples(converter_.get(), frames);
    if (most <= 0) return most;
    const auto planes = static_cast<std::size_t>(channels());
    converted_.resize(planes * static_cast<std::size_t>(most));
    std::uint8_t* out[mostChannels] = {};
    for (std::size_t plane = 0; plane < planes; ++plane)
      out[plane] =
          reinterpret_cast<std::uint8_t*>(converted_.data() + plane * static_cast<std::size_t>(most));
    const std::uint8_t* in[] = {samples.data()};
    const int count = swr_convert(converter_.get(), out, most, in, frames);
    if (count <= 0) return count;
    for (float& sample : converted_) sample = playable(sample);
    const int written = av_audio_fifo_write(waiting_.get(), reinterpret_cast<void**>(out), count);
    return written < 0 ? written : 0;
  }

  int encodeFrame(CompressedSound& sound) {
    if (const int status = av_frame_make_writable(frame_.get()); status < 0) return status;
    av_audio_fifo_read(waiting_.get(), reinterpret_cast<void**>(frame_->extended_data), samplesPerPacket);
    frame_->pts = encodedSamples_;
    encodedSamples_ += samplesPerPacket;
    if (const int status = avcodec_send_frame(encoder_.get(), frame_.get()); status < 0) return status;
    while (avcodec_receive_packet(encoder_.get(), packet_.get()) == 0) {
      const auto size = static_cast<std::size_t>(packet_->size);
      sound.packets.push_back({sound.data.size(), size});
      ++sound.packetCount;
      sound.data.insert(sound.data.end(), packet_->data, packet_->data + size);
      av_packet_unref(packet_.get());
    }
    return 0;
  }

  const std::size_t inputFrameSize_;  // in bytes
  AVCodecContextHandle encoder_;
  AVFrameHandle frame_;
  AVPacketHandle packet_;
  SwrContextHandle converter_;
  AVAudioFifoHandle waiting_;
  std::vector<float> converted_;  // one plane after the other
  std::int64_t encodedSamples_ = 0;
};

class AACCompressors final : public SoundCompressorFactory {
 public:
  std::expected<std::unique_ptr<SoundCompressor>, PortError> make(const PCMFormat& input,
                                                                  const SoundCompression& output) override {
    const auto isChannelCount = [](int count) { return count >= 1 && count <= mostChannels; };
    if (!isChannelCount(input.channels) || !isChannelCount(output.channels) || input.sampleRate < 1 ||
        input.sampleRate > highestRate)
      return std::unexpected(PortError{
          fmt::format("no sound of {} channels at {} Hz", input.channels, input.sampleRate), EINVAL});
    auto compressor = std::make_unique<AACCompressor>(input);
    if (const int status = compressor->open(input, output); status < 0)
      return std::unexpected(failure("the AAC encoder does not open", status));
    return compressor;
  }
};

}  // namespace

std::shared_ptr<SoundCompressorFactory> makeAACCompressors() {
  return std::make_shared<AACCompressors>();
}

}  // namespace quorl
