// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Codec/PacketDecoder.h>

#include <cstring>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace quorl::client {

PacketDecoder::PacketDecoder() : packet_(av_packet_alloc()) {}

PacketDecoder::~PacketDecoder() {
  avcodec_free_context(&codec_);
  av_packet_free(&packet_);
}

Outcome<std::unique_ptr<PacketDecoder>> PacketDecoder::open(
    const AVCodec* decoder, ByteView configuration, const std::function<void(AVCodecContext&)>& adjust,
    const Texts& texts) {
  std::unique_ptr<PacketDecoder> opened(new PacketDecoder);
  if (decoder == nullptr || (opened->codec_ = avcodec_alloc_context3(decoder)) == nullptr)
    return failed(ExitCode::failure, std::string(texts.missing), std::string(texts.missingAdvice));
  AVCodecContext& context = *opened->codec_;
  if (adjust) adjust(context);
  context.extradata =
      static_cast<std::uint8_t*>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
  if (context.extradata == nullptr) return failed(ExitCode::failure, "out of memory");
  std::memcpy(context.extradata, configuration.data(), configuration.size());
  context.extradata_size = static_cast<int>(configuration.size());
  if (avcodec_open2(&context, decoder, nullptr) < 0)
    return failed(ExitCode::failure, std::string(texts.refused));
  return opened;
}

bool PacketDecoder::send(ByteView packet, std::int64_t pts) {
  if (packet.empty() || av_new_packet(packet_, static_cast<int>(packet.size())) < 0) return false;
  std::memcpy(packet_->data, packet.data(), packet.size());
  packet_->pts = pts;
  const int status = avcodec_send_packet(codec_, packet_);
  av_packet_unref(packet_);
  return status >= 0;
}

void PacketDecoder::sendEnd() {
  avcodec_send_packet(codec_, nullptr);
}

bool PacketDecoder::receive(AVFrame& frame) {
  return avcodec_receive_frame(codec_, &frame) == 0;
}

}  // namespace quorl::client
