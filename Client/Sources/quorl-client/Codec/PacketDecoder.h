// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>
#include <quorl-client/Base/ClientError.h>

struct AVCodec;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace quorl::client {

/// A decoder of libavcodec for whole packets.
///
/// *Queue*: one at a time. *Ownership*: the caller's.
class PacketDecoder {
 public:
  /// What to report when there is no decoder, or none for this configuration.
  struct Texts {
    std::string_view missing;
    std::string_view missingAdvice;
    std::string_view refused;
  };

  /// `configuration` is the codec's extradata; `adjust` may change the context before it is opened. `decoder`
  /// may be null: this machine has none.
  static Outcome<std::unique_ptr<PacketDecoder>> open(const AVCodec* decoder, ByteView configuration,
                                                      const std::function<void(AVCodecContext&)>& adjust,
                                                      const Texts& texts);
  ~PacketDecoder();
  PacketDecoder(const PacketDecoder&) = delete;
  PacketDecoder& operator=(const PacketDecoder&) = delete;

  /// False if the decoder refuses the packet.
  bool send(ByteView packet, std::int64_t pts = 0);
  /// Ends the input, so that held frames can be received.
  void sendEnd();
  /// False when there is no further frame.
  bool receive(AVFrame& frame);

 private:
  PacketDecoder();

  AVCodecContext* codec_ = nullptr;
  AVPacket* packet_;
};

}  // namespace quorl::client
