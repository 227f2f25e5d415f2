// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PictureDecoder.h>

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace quorl::viewer {
namespace {

using client::ClientError;
using client::DecodeDevice;
using client::DecoderConfig;
using client::EncodedPicture;
using client::ExitCode;
using client::failed;
using client::Outcome;

std::string nameOf(VideoCodec codec) {
  return codec == VideoCodec::hevc ? "HEVC" : "H.264";
}

class LibraryDecoder : public PictureDecoder {
 public:
  explicit LibraryDecoder(std::shared_ptr<DecodeDevice> device) : device_(std::move(device)) {}

  Outcome<void> configure(const DecoderConfig& config) override {
    codec_ = config.codec;
    return decoder_.configure(config.record, device_);
  }

  Result decode(const EncodedPicture& picture) override {
    const auto failedBefore = decoder_.failedUnits();
    Result result{.pictures = decoder_.decode(picture.data, picture.ptsMicros)};
    // A device that is unfit decodes in software here; the caller's software decoder takes over instead, so
    // that the notice is given.
    result.isDamaged = decoder_.failedUnits() != failedBefore || decoder_.isDeviceUnfit();
    if (decoder_.isDeviceUnfit()) result.pictures.clear();
    std::erase_if(result.pictures, [this](const auto& decoded) {
      const bool isUnknown = !decoded.planes().has_value();
      hasUnknownFormat_ |= isUnknown;
      return isUnknown;
    });
    result.isDamaged |= picture.isKeyframe && result.pictures.empty();
    return result;
  }

  ClientError failure() const override {
    if (const auto size = decoder_.refusedSize())
      return {ExitCode::failure,
              fmt::format("the host's pictures of {}x{} pixels are too large for this program", size->width,
                          size->height),
              "Choose a window or a smaller display."};
    if (decoder_.isDeviceUnfit())
      return {ExitCode::failure,
              fmt::format("the graphics card's driver does not decode this {} stream", nameOf(codec_)),
              "It is decoded in software."};
    if (hasUnknownFormat_)
      return {ExitCode::failure, "the host's pictures are not in the format 4:2:0", "Update the host."};
    return {ExitCode::failure, "the host's pictures cannot be decoded", "Update this program and the host."};
  }

  std::string path() const override { return nameOf(codec_) + (device_ ? ", VA-API" : ", software"); }

 private:
  std::shared_ptr<DecodeDevice> device_;
  client::Decoder decoder_;
  VideoCodec codec_ = VideoCodec::h264;
  bool hasUnknownFormat_ = false;
};

}  // namespace

std::unique_ptr<PictureDecoder> makeSoftwareDecoder() {
  return std::make_unique<LibraryDecoder>(nullptr);
}

std::unique_ptr<PictureDecoder> makeDeviceDecoder(std::shared_ptr<DecodeDevice> device) {
  return std::make_unique<LibraryDecoder>(std::move(device));
}

Outcome<std::shared_ptr<DecodeDevice>> findDecodeDevice(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> nodes;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    if (entry->path().filename().string().starts_with("renderD")) nodes.push_back(entry->path());
  std::ranges::sort(nodes);
  Outcome<std::shared_ptr<DecodeDevice>> result =
      failed(ExitCode::failure, "no device for decoding: there is no " + (folder / "renderD*").string(), "");
  for (const auto& node : nodes) {
    result = DecodeDevice::open(node);
    if (result) break;
  }
  return result;
}

FallbackDecoder::FallbackDecoder(std::unique_ptr<PictureDecoder> device,
                                 std::unique_ptr<PictureDecoder> software,
                                 std::function<void(const ClientError&)> notice)
    : device_(std::move(device)), software_(std::move(software)), notice_(std::move(notice)) {}

Outcome<void> FallbackDecoder::giveUpDevice(const ClientError& reason) {
  device_.reset();
  if (notice_) notice_({reason.code, reason.what + "; pictures are decoded in software", reason.advice});
  return software_->configure(config_);
}

Outcome<void> FallbackDecoder::configure(const DecoderConfig& config) {
  config_ = config;
  if (!device_) return software_->configure(config_);
  if (const auto configured = device_->configure(config_); !configured)
    return giveUpDevice(configured.error());
  return {};
}

PictureDecoder::Result FallbackDecoder::decode(const EncodedPicture& picture) {
  if (!device_) return software_->decode(picture);
  auto result = device_->decode(picture);
  if (!picture.isKeyframe || !result.isDamaged) return result;
  if (!giveUpDevice(device_->failure())) return result;
  return software_->decode(picture);
}

ClientError FallbackDecoder::failure() const {
  return current().failure();
}

std::string FallbackDecoder::path() const {
  return current().path();
}

Outcome<void> DeferredDecoder::configure(const DecoderConfig& config) {
  if (!decoder_) decoder_ = make_();
  return decoder_->configure(config);
}

PictureDecoder::Result DeferredDecoder::decode(const EncodedPicture& picture) {
  return decoder_ ? decoder_->decode(picture) : Result{.pictures = {}, .isDamaged = true};
}

ClientError DeferredDecoder::failure() const {
  return decoder_ ? decoder_->failure() : ClientError{ExitCode::failure, "there is no configuration yet", ""};
}

std::string DeferredDecoder::path() const {
  return decoder_ ? decoder_->path() : std::string();
}

std::unique_ptr<PictureDecoder> makeBestDecoder(std::function<void(const ClientError&)> notice,
                                                const std::filesystem::path& folder) {
  auto device = findDecodeDevice(folder);
  if (device)
    return std::make_unique<FallbackDecoder>(makeDeviceDecoder(*device), makeSoftwareDecoder(), notice);
  if (notice)
    notice({device.error().code, device.error().what + "; pictures are decoded in software",
            device.error().advice});
  return makeSoftwareDecoder();
}

}  // namespace quorl::viewer
