// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <quorl-client/Video/Decoder.h>
#include <quorl-client/Video/VideoReceiver.h>

namespace quorl::viewer {

/// Decodes the pictures of one stream at a time.
///
/// *Queue*: the decode thread. *Blocking*: as long as a picture takes. *Ownership*: the decode thread's.
class PictureDecoder {
 public:
  struct Result {
    std::vector<client::DecodedPicture> pictures;
    bool isDamaged = false;  // the unit could not be decoded; the following ones build on it
  };

  virtual ~PictureDecoder() = default;
  virtual client::Outcome<void> configure(const client::DecoderConfig& config) = 0;
  virtual Result decode(const client::EncodedPicture& picture) = 0;
  /// Why the last key frame could not be decoded, if the reason is known.
  virtual client::ClientError failure() const = 0;
  /// For people: "H.264, software" or "HEVC, VA-API".
  virtual std::string path() const = 0;
};

/// With libavcodec: in software, or with a device.
std::unique_ptr<PictureDecoder> makeSoftwareDecoder();
std::unique_ptr<PictureDecoder> makeDeviceDecoder(std::shared_ptr<client::DecodeDevice> device);

/// The first device of a folder that works; an error names what is missing.
/// *Blocking*: as `DecodeDevice::open`.
client::Outcome<std::shared_ptr<client::DecodeDevice>> findDecodeDevice(
    const std::filesystem::path& folder = "/dev/dri");

/// Decodes with a device until that fails, then in software for good. A failure shows as a configuration that
/// is refused, or as a key frame without a picture, and costs nothing but that key frame's second decoding.
/// A damaged picture between key frames does not count against the device; the next key frame decides.
class FallbackDecoder : public PictureDecoder {
 public:
  /// `notice` is called once, on the decode thread, with what is missing.
  FallbackDecoder(std::unique_ptr<PictureDecoder> device, std::unique_ptr<PictureDecoder> software,
                  std::function<void(const client::ClientError&)> notice);

  client::Outcome<void> configure(const client::DecoderConfig& config) override;
  Result decode(const client::EncodedPicture& picture) override;
  client::ClientError failure() const override;
  std::string path() const override;

 private:
  const PictureDecoder& current() const { return device_ ? *device_ : *software_; }
  client::Outcome<void> giveUpDevice(const client::ClientError& reason);

  std::unique_ptr<PictureDecoder> device_;  // null after its failure
  std::unique_ptr<PictureDecoder> software_;
  std::function<void(const client::ClientError&)> notice_;
  client::DecoderConfig config_;
};

/// Makes its decoder with the first configuration, because the search for a device takes long.
class DeferredDecoder : public PictureDecoder {
 public:
  using Make = std::function<std::unique_ptr<PictureDecoder>()>;

  /// `make` is called once, on the decode thread.
  explicit DeferredDecoder(Make make) : make_(std::move(make)) {}

  client::Outcome<void> configure(const client::DecoderConfig& config) override;
  Result decode(const client::EncodedPicture& picture) override;
  client::ClientError failure() const override;
  std::string path() const override;

 private:
  Make make_;
  std::unique_ptr<PictureDecoder> decoder_;
};

/// A decoder with the device of `folder`. If there is none, `notice` is called at once with the reason.
std::unique_ptr<PictureDecoder> makeBestDecoder(std::function<void(const client::ClientError&)> notice,
                                                const std::filesystem::path& folder = "/dev/dri");

}  // namespace quorl::viewer
