// SPDX-License-Identifier: GPL-3.0-or-later
#include "SampleVideo.h"

#include <cstdio>

#include <QuorlKit/Foundation/Check.h>
#include <Support/TemporaryFolder.h>
#include <fmt/format.h>

extern "C" {
#include <libavformat/avformat.h>
}

namespace quorl::client::test {

std::string outputOfTool(const std::string& command) {
  FILE* const pipe = ::popen(command.c_str(), "r");
  QUORL_CHECK(pipe != nullptr, "the shell starts");
  std::string output;
  char chunk[65'536];
  for (std::size_t count; (count = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;)
    output.append(chunk, count);
  QUORL_CHECK(::pclose(pipe) == 0, "the tool succeeds");
  return output;
}

Bytes decodedByTool(const std::string& path) {
  return bytesOf(outputOfTool(
      fmt::format("ffmpeg -v error -nostdin -i '{}' -frames:v 1 -f rawvideo -pix_fmt rgb24 -", path)));
}

const SampleVideo& SampleVideo::shortClip() {
  static const SampleVideo video = encode(VideoCodec::h264, "testsrc2=size=320x240:rate=100", 30);
  return video;
}

namespace {

// Nearly without loss, so that colours can be compared.
std::string colourOptions(const SampleVideo::Coding& coding) {
  if (coding.matrix.empty()) return "";
  return fmt::format(
      "-vf 'scale=out_color_matrix={0}:out_range={1}:flags=accurate_rnd+full_chroma_int' -colorspace {0} "
      "-color_range {1} -color_primaries bt709 -color_trc bt709 -crf 1",
      coding.matrix, coding.range);
}

}  // namespace

SampleVideo SampleVideo::encode(VideoCodec codec, const std::string& source, int count,
                                const Coding& coding) {
  const quorl::test::TemporaryFolder folder;
  const auto file = folder.file("sample.mp4");
  const bool isHEVC = codec == VideoCodec::hevc;
  outputOfTool(fmt::format(
      "ffmpeg -v error -nostdin -f lavfi -i '{}' -frames:v {} {} -pix_fmt {} -bf 0 -g {} {} '{}'", source,
      count, colourOptions(coding), coding.pixelFormat, coding.keyframeInterval,
      isHEVC ? "-c:v libx265 -preset ultrafast -tune zerolatency -x265-params log-level=none -tag:v hvc1"
             : "-c:v libx264 -preset ultrafast -tune zerolatency",
      file));
  AVFormatContext* format = nullptr;
  QUORL_CHECK(avformat_open_input(&format, file.c_str(), nullptr, nullptr) == 0, "the sample can be read");
  const auto* const stream = format->streams[0];
  const auto* const parameters = stream->codecpar;
  SampleVideo sample;
  sample.config.assign(parameters->extradata, parameters->extradata + parameters->extradata_size);
  sample.size = {parameters->width, parameters->height};
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(format, packet) == 0) {
    const auto micros = av_rescale_q(packet->pts, stream->time_base, {1, 1'000'000});
    sample.pictures.push_back({(packet->flags & AV_PKT_FLAG_KEY) != 0, static_cast<std::uint64_t>(micros),
                               Bytes(packet->data, packet->data + packet->size)});
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&format);
  QUORL_CHECK(static_cast<int>(sample.pictures.size()) == count, "the sample is whole");
  return sample;
}

}  // namespace quorl::client::test
