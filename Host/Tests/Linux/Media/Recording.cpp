// SPDX-License-Identifier: GPL-3.0-or-later
#include "Recording.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>

#include <fmt/format.h>

#include <QuorlHostCore/Display/RateControl.h>
#include <QuorlHostLinux/Media/NalUnits.h>
#include <QuorlHostLinux/Media/X264Compressor.h>
#include <QuorlHostLinux/Media/X265Compressor.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {

namespace {

// The short start code: the first zero of the long one would count as the end of the unit before.
void appendUnit(Bytes& stream, ByteView unit) {
  stream.insert(stream.end(), {0, 0, 1});
  stream.insert(stream.end(), unit.begin(), unit.end());
}

std::size_t read16(const Bytes& bytes, std::size_t at) {
  return (static_cast<std::size_t>(bytes.at(at)) << 8) | bytes.at(at + 1);
}

// Reads `count` units, each after its 16-bit length, from `at`, which advances past them.
void appendSets(Bytes& stream, const Bytes& record, std::size_t& at, std::size_t count) {
  for (std::size_t index = 0; index < count; ++index) {
    const std::size_t length = read16(record, at);
    appendUnit(stream, ByteView(record).subspan(at + 2, length));
    at += 2 + length;
  }
}

Bytes parameterSets(VideoCodec codec, const Bytes& record) {
  Bytes stream;
  if (codec == VideoCodec::h264) {
    std::size_t at = 6;
    appendSets(stream, record, at, record.at(5) & 0x1F);
    const std::size_t ppsCount = record.at(at++);
    appendSets(stream, record, at, ppsCount);
    return stream;
  }
  std::size_t at = 23;
  for (int array = 0; array < record.at(22); ++array) {
    const std::size_t count = read16(record, at + 1);
    at += 3;
    appendSets(stream, record, at, count);
  }
  return stream;
}

}  // namespace

std::string outputOf(const std::string& command) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "re");
  if (pipe == nullptr) return "cannot run " + command;
  std::string output;
  std::array<char, 4096> buffer{};
  while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
    output.append(buffer.data(), count);
  const int status = pclose(pipe);
  return status == 0 ? output : fmt::format("status {}: {}", status, output);
}

Bytes contentOf(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

Recording::Recording(VideoCodec codec, PixelSize size, int fps, double quality) : codec_(codec), size_(size) {
  CompressorSpecification specification;
  specification.size = size;
  specification.codec = codec;
  const auto make = codec == VideoCodec::hevc ? makeX265Compressor : makeX264Compressor;
  auto made = make(specification, [this](CompressedPicture picture) {
    if (picture.data)
      pictures_.push_back(std::move(picture));
    else
      ++dropped_;
  });
  if (!made) return;
  compressor_ = std::move(*made);
  setRates(fps, quality);
  compressor_->prepare();
}

void Recording::encode(std::shared_ptr<const PictureBuffer> image, std::vector<PixelRect> changed,
                       bool forceKeyFrame) {
  compressor_->encode({.image = std::move(image),
                       .presentationTime = time_,
                       .forceKeyFrame = forceKeyFrame,
                       .changed = std::move(changed)});
}

void Recording::encodeAgain(std::shared_ptr<const PictureBuffer> image) {
  compressor_->encode(
      {.image = std::move(image), .presentationTime = time_, .content = PictureContent::repeated});
}

void Recording::setRates(int fps, double quality) {
  const CompressionRates rates = compressionRates(size_, fps, quality);
  averageBitRate_ = rates.averageBitRate;
  compressor_->setRates(rates);
}

std::vector<std::size_t> Recording::keyFrames() const {
  std::vector<std::size_t> indices;
  for (std::size_t index = 0; index < pictures_.size(); ++index)
    if (pictures_[index].isKeyFrame) indices.push_back(index);
  return indices;
}

Bytes Recording::annexB() const {
  Bytes stream;
  SharedBytes record;
  for (const CompressedPicture& picture : pictures_) {
    if (picture.configurationRecord != record) {
      record = picture.configurationRecord;
      const Bytes sets = parameterSets(codec_, *record);
      stream.insert(stream.end(), sets.begin(), sets.end());
    }
    for (const ByteView unit : lengthPrefixedNalUnits(*picture.data)) appendUnit(stream, unit);
  }
  return stream;
}

std::string Recording::writeRaw(const std::string& file) const {
  const Bytes stream = annexB();
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(stream.data()), static_cast<std::streamsize>(stream.size()));
  return codec_ == VideoCodec::h264 ? "h264" : "hevc";
}

std::vector<std::vector<std::uint8_t>> Recording::decoded(std::string* complaints) const {
  const TemporaryFolder folder;
  const std::string format = writeRaw(folder.file("in"));
  const std::string printed =
      outputOf(fmt::format("ffmpeg -v warning -f {} -i {} -fps_mode passthrough -f rawvideo -pix_fmt nv12 {}",
                           format, folder.file("in"), folder.file("out")));
  if (complaints != nullptr) *complaints = printed;
  const Bytes all = contentOf(folder.file("out"));
  const std::size_t pictureSize =
      static_cast<std::size_t>(size_.width) * static_cast<std::size_t>(size_.height) * 3 / 2;
  std::vector<std::vector<std::uint8_t>> pictures;
  for (std::size_t at = 0; at + pictureSize <= all.size(); at += pictureSize)
    pictures.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(at),
                          all.begin() + static_cast<std::ptrdiff_t>(at + pictureSize));
  return pictures;
}

std::int64_t Recording::bitsIn(std::chrono::microseconds from, std::chrono::microseconds length) const {
  std::int64_t bits = 0;
  for (const CompressedPicture& picture : pictures_)
    if (picture.presentationTime >= from && picture.presentationTime < from + length)
      bits += static_cast<std::int64_t>(picture.data->size()) * 8;
  return bits;
}

std::int64_t Recording::mostBitsInASecond() const {
  std::int64_t most = 0;
  for (const CompressedPicture& picture : pictures_)
    most = std::max(most, bitsIn(picture.presentationTime, std::chrono::seconds(1)));
  return most;
}

}  // namespace quorl::test
