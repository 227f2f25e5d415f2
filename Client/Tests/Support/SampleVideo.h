// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

namespace quorl::client::test {

/// A short encoded clip in the form a host sends: a configuration record and length-prefixed units.
struct SampleVideo {
  struct Picture {
    bool isKeyframe = false;
    std::uint64_t ptsMicros = 0;
    Bytes data;
  };

  Bytes config;
  PixelSize size;
  std::vector<Picture> pictures;

  /// How a clip is coded, in ffmpeg's words.
  struct Coding {
    std::string matrix;  // "bt709", "smpte170m", "bt2020nc"; none: no colour description
    std::string range;   // "tv" or "pc"
    std::string pixelFormat = "yuv420p";
    int keyframeInterval = 1'000;
  };

  /// `source` is a source of ffmpeg's "lavfi" with size and rate, such as "testsrc2=size=320x240:rate=30".
  /// Only the first picture is a key frame, unless the coding says otherwise.
  static SampleVideo encode(VideoCodec codec, const std::string& source, int pictures) {
    return encode(codec, source, pictures, Coding{});
  }
  static SampleVideo encode(VideoCodec codec, const std::string& source, int pictures, const Coding& coding);

  /// 30 pictures of 320x240 as H.264, 10 ms apart; encoded once per program.
  static const SampleVideo& shortClip();
};

/// The standard output of a tool. Aborts the program if the tool fails.
std::string outputOfTool(const std::string& command);

/// The first picture of a file, as ffmpeg decodes it: 3 bytes per pixel.
Bytes decodedByTool(const std::string& path);

}  // namespace quorl::client::test
