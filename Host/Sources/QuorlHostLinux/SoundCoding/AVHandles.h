// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

namespace quorl {

// Owners of the libraries' objects, for the sources of this folder.

struct AVCloser {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
  void operator()(SwrContext* context) const { swr_free(&context); }
};

using AVCodecContextHandle = std::unique_ptr<AVCodecContext, AVCloser>;
using AVFrameHandle = std::unique_ptr<AVFrame, AVCloser>;
using AVPacketHandle = std::unique_ptr<AVPacket, AVCloser>;
using AVAudioFifoHandle = std::unique_ptr<AVAudioFifo, AVCloser>;
using SwrContextHandle = std::unique_ptr<SwrContext, AVCloser>;

}  // namespace quorl
