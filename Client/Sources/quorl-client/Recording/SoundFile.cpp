// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Recording/SoundFile.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include <quorl-client/Recording/MediaFile.h>
#include <quorl-client/Sound/SoundDecoder.h>

namespace quorl::client {
namespace {

class M4AFile final : public SoundFile {
 public:
  explicit M4AFile(const std::filesystem::path& path) : file_(path, MediaFile::Kind::m4a) {}

  Outcome<void> begin(const AudioConfig& config) {
    file_.addSound(config);
    return file_.begin();
  }
  Outcome<void> write(const PlacedSound& sound, Clock::duration length) override {
    if (!start_) start_ = sound.begin;
    const auto begin = std::max(sound.begin - *start_, end_);
    end_ = begin + length;
    return file_.writeSound({sound.packet.data, begin, end_});
  }
  Outcome<void> finish() override { return file_.finish(); }

 private:
  MediaFile file_;
  std::optional<Clock::time_point> start_;
  Clock::duration end_{};
};

// RIFF WAVE with 16-bit linear PCM (Multimedia Programming Interface and Data Specifications 1.0, 1991). The
// samples are written in the byte order of this machine, which is that of the format on every supported one.
constexpr std::size_t headerSize = 44;
constexpr std::uint32_t bytesPerSample = 2;
constexpr std::uint64_t mostBytes = std::numeric_limits<std::uint32_t>::max() - headerSize;

std::array<std::uint8_t, headerSize> header(std::uint32_t sampleRate, std::uint32_t channels,
                                            std::uint32_t byteCount) {
  std::array<std::uint8_t, headerSize> bytes{};
  std::size_t at = 0;
  const auto text = [&](const char* name) {
    std::memcpy(bytes.data() + at, name, 4);
    at += 4;
  };
  const auto number = [&](std::uint32_t value, int size) {
    for (int index = 0; index < size; ++index, value >>= 8U) bytes[at++] = static_cast<std::uint8_t>(value);
  };
  text("RIFF");
  number(byteCount + headerSize - 8, 4);
  text("WAVE");
  text("fmt ");
  number(16, 4);
  number(1, 2);  // linear PCM
  number(channels, 2);
  number(sampleRate, 4);
  number(sampleRate * channels * bytesPerSample, 4);
  number(channels * bytesPerSample, 2);
  number(8 * bytesPerSample, 2);
  text("data");
  number(byteCount, 4);
  return bytes;
}

class WavFile final : public SoundFile {
 public:
  explicit WavFile(std::filesystem::path path) : path_(std::move(path)), temporary_(path_) {
    temporary_ += ".part";
  }
  WavFile(const WavFile&) = delete;
  WavFile& operator=(const WavFile&) = delete;
  ~WavFile() override {
    if (file_ == nullptr) return;
    std::fclose(file_);
    ::unlink(temporary_.c_str());
  }

  Outcome<void> begin(const AudioConfig& config) {
    if (auto configured = decoder_.configure(config); !configured) return configured;
    file_ = std::fopen(temporary_.c_str(), "wbe");
    if (file_ == nullptr) return cannotWrite(path_, std::strerror(errno));
    return put(header(0, 0, 0));
  }

  Outcome<void> write(const PlacedSound& sound, Clock::duration) override {
    const DecodedSound decoded = decoder_.decode(sound.packet.data);
    if (decoded.samples.empty()) return {};
    if (!start_) {
      start_ = sound.begin;
      sampleRate_ = decoded.sampleRate;
      channels_ = decoded.channels;
    }
    if (decoded.sampleRate != sampleRate_ || decoded.channels != channels_) return {};
    if (auto filled = fillUntil(sound.begin); !filled) return filled;
    samples_ += decoded.samples.size();
    return put(decoded.samples);
  }

  Outcome<void> finish() override {
    const auto bytes = header(static_cast<std::uint32_t>(sampleRate_), static_cast<std::uint32_t>(channels_),
                              static_cast<std::uint32_t>(samples_ * bytesPerSample));
    if (std::fseek(file_, 0, SEEK_SET) != 0) return cannotBeWritten();
    if (auto written = put(bytes); !written) return written;
    FILE* const file = std::exchange(file_, nullptr);
    if (std::fclose(file) == 0 && std::rename(temporary_.c_str(), path_.c_str()) == 0) return {};
    const auto error = cannotBeWritten();
    ::unlink(temporary_.c_str());
    return error;
  }

 private:
  // Writes silence up to a time, unless that is less than half a packet.
  Outcome<void> fillUntil(Clock::time_point time) {
    const double seconds = std::chrono::duration<double>(time - *start_).count();
    const double due = std::round(seconds * sampleRate_) * channels_;
    const double missing = due - static_cast<double>(samples_);
    if (missing < 512.0 * channels_) return {};
    const std::vector<std::int16_t> silence(static_cast<std::size_t>(sampleRate_ * channels_));
    for (auto left = static_cast<std::uint64_t>(missing); left > 0;) {
      const auto count = std::min<std::uint64_t>(left, silence.size());
      samples_ += count;
      if (auto written = put(std::span(silence).first(static_cast<std::size_t>(count))); !written)
        return written;
      left -= count;
    }
    return {};
  }

  template <class Values>
  Outcome<void> put(const Values& values) {
    if (samples_ * bytesPerSample > mostBytes)
      return failed(ExitCode::failure, fmt::format("{} has its largest size", path_.string()),
                    "Use FILE.m4a.");
    const auto count = std::size(values);
    if (std::fwrite(std::data(values), sizeof *std::data(values), count, file_) != count)
      return cannotBeWritten();
    return {};
  }
  std::unexpected<ClientError> cannotBeWritten() const { return cannotWrite(path_, std::strerror(errno)); }

  std::filesystem::path path_;
  std::filesystem::path temporary_;
  FILE* file_ = nullptr;
  SoundDecoder decoder_;
  std::optional<Clock::time_point> start_;
  int sampleRate_ = 0;
  int channels_ = 0;
  std::uint64_t samples_ = 0;  // of all channels
};

template <class File>
Outcome<std::unique_ptr<SoundFile>> begun(const std::filesystem::path& path, const AudioConfig& config) {
  auto file = std::make_unique<File>(path);
  if (auto started = file->begin(config); !started) return std::unexpected(started.error());
  return file;
}

}  // namespace

bool SoundFile::canBe(const std::filesystem::path& path) {
  return path.extension() == ".wav" || path.extension() == ".m4a";
}

Outcome<std::unique_ptr<SoundFile>> SoundFile::create(const std::filesystem::path& path,
                                                      const AudioConfig& config) {
  return path.extension() == ".wav" ? begun<WavFile>(path, config) : begun<M4AFile>(path, config);
}

}  // namespace quorl::client
