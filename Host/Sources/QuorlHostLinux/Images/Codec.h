// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl::codec {

// Decoding and encoding of single pictures by libavcodec, for the sources of this folder.

struct Free {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Context = std::unique_ptr<AVCodecContext, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Scaler = std::unique_ptr<SwsContext, Free>;

struct Limits {
  std::int64_t mostPixels;
  int longestSide;
};

/// Null for a file that is no such picture or exceeds the limits. The size is checked before the decoder
/// allocates the picture.
Frame decode(AVCodecID format, ByteView file, const Limits& limits);

/// The picture in that size, with eight bits a channel, as RGB, and with alpha if it has alpha. Null if it
/// cannot be converted.
Frame converted(const Frame& from, int width, int height, int scaling);

/// Whether `encodePNG` takes the pixels as they are.
bool isPNGFormat(int pixelFormat);
std::optional<Bytes> encodePNG(const Frame& frame);

}  // namespace quorl::codec
