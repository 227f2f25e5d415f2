// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/PictureDecoder.h>

#include <fstream>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

#include "../../Support/SampleVideo.h"

namespace quorl::viewer {
namespace {

using client::ClientError;
using client::DecoderConfig;
using client::EncodedPicture;
using client::ExitCode;
using client::failed;
using client::Outcome;
using client::test::SampleVideo;

/// A device that decodes until it fails.
class FakeDevice : public PictureDecoder {
 public:
  struct Script {
    bool refusesConfiguration = false;
    bool failsPictures = false;
    int pictures = 0;
  };
  explicit FakeDevice(Script& script) : script_(script) {}

  Outcome<void> configure(const DecoderConfig& config) override {
    if (script_.refusesConfiguration)
      return failed(ExitCode::failure, "the driver does not know the profile");
    return inner_->configure(config);
  }
  Result decode(const EncodedPicture& picture) override {
    ++script_.pictures;
    if (script_.failsPictures) return {.pictures = {}, .isDamaged = true};
    return inner_->decode(picture);
  }
  ClientError failure() const override {
    return {ExitCode::failure, "the driver does not know the profile", ""};
  }
  std::string path() const override { return "device"; }

 private:
  Script& script_;
  std::unique_ptr<PictureDecoder> inner_ = makeSoftwareDecoder();
};

class FallbackDecoderTest : public testing::Test {
 protected:
  PictureDecoder::Result decode(std::size_t index) {
    const auto& picture = clip_.pictures[index];
    return decoder_.decode({picture.isKeyframe, picture.ptsMicros, picture.data, {}});
  }
  Outcome<void> configure() { return decoder_.configure({clip_.config, VideoCodec::h264}); }

  const SampleVideo& clip_ = SampleVideo::shortClip();
  FakeDevice::Script script_;
  std::vector<std::string> notices_;
  FallbackDecoder decoder_{std::make_unique<FakeDevice>(script_), makeSoftwareDecoder(),
                           [this](const ClientError& error) { notices_.push_back(error.what); }};
};

TEST_F(FallbackDecoderTest, usesTheDeviceWhileItWorks) {
  ASSERT_TRUE(configure());
  EXPECT_EQ(decode(0).pictures.size(), 1U);
  EXPECT_EQ(script_.pictures, 1);
  EXPECT_EQ(decoder_.path(), "device");
  EXPECT_TRUE(notices_.empty());
}

TEST_F(FallbackDecoderTest, decodesInSoftwareAfterARefusedConfiguration) {
  script_.refusesConfiguration = true;
  ASSERT_TRUE(configure());
  EXPECT_EQ(decode(0).pictures.size(), 1U);
  EXPECT_EQ(script_.pictures, 0);
  EXPECT_EQ(decoder_.path(), "H.264, software");
  EXPECT_EQ(notices_, std::vector<std::string>{
                          "the driver does not know the profile; pictures are decoded in software"});
}

TEST_F(FallbackDecoderTest, decodesTheKeyframeThatFailedInSoftware) {
  script_.failsPictures = true;
  ASSERT_TRUE(configure());
  const auto result = decode(0);
  EXPECT_EQ(result.pictures.size(), 1U);
  EXPECT_FALSE(result.isDamaged);
  EXPECT_EQ(decode(1).pictures.size(), 1U);
  EXPECT_EQ(script_.pictures, 1);
  EXPECT_EQ(notices_.size(), 1U);
}

TEST_F(FallbackDecoderTest, waitsForAKeyframeAfterAFailureInBetween) {
  ASSERT_TRUE(configure());
  decode(0);
  script_.failsPictures = true;
  EXPECT_TRUE(decode(1).isDamaged);
  EXPECT_TRUE(notices_.empty());
  EXPECT_EQ(decode(0).pictures.size(), 1U);
  EXPECT_EQ(notices_.size(), 1U);
}

TEST_F(FallbackDecoderTest, staysInSoftwareForLaterStreams) {
  script_.refusesConfiguration = true;
  ASSERT_TRUE(configure());
  script_.refusesConfiguration = false;
  ASSERT_TRUE(configure());
  EXPECT_EQ(decoder_.path(), "H.264, software");
  EXPECT_EQ(notices_.size(), 1U);
}

TEST(DeferredDecoderTest, isMadeOnceWithItsFirstConfiguration) {
  int made = 0;
  DeferredDecoder decoder([&] {
    ++made;
    return makeSoftwareDecoder();
  });
  const auto& clip = SampleVideo::shortClip();
  EXPECT_TRUE(decoder.decode({true, 0, clip.pictures[0].data, {}}).isDamaged);
  EXPECT_EQ(decoder.path(), "");
  EXPECT_EQ(made, 0);
  ASSERT_TRUE(decoder.configure({clip.config, VideoCodec::h264}));
  ASSERT_TRUE(decoder.configure({clip.config, VideoCodec::h264}));
  EXPECT_EQ(made, 1);
  EXPECT_EQ(decoder.decode({true, 0, clip.pictures[0].data, {}}).pictures.size(), 1U);
  EXPECT_EQ(decoder.path(), "H.264, software");
}

class DeviceSearch : public testing::Test {
 protected:
  void addNode(const char* name) { std::ofstream(folder_.path() / name) << "not a device"; }
  std::string notice() {
    std::string text;
    const auto decoder = makeBestDecoder(
        [&](const ClientError& error) { text = error.what + " | " + error.advice; }, folder_.path());
    const auto& clip = SampleVideo::shortClip();
    EXPECT_TRUE(decoder->configure({clip.config, VideoCodec::h264}));
    EXPECT_EQ(decoder->decode({true, 0, clip.pictures[0].data, {}}).pictures.size(), 1U);
    EXPECT_EQ(decoder->path(), "H.264, software");
    return text;
  }

  quorl::test::TemporaryFolder folder_;
};

TEST_F(DeviceSearch, namesTheMissingDevice) {
  addNode("card0");
  EXPECT_EQ(notice(), "no device for decoding: there is no " + (folder_.path() / "renderD*").string() +
                          "; pictures are decoded in software | ");
}

TEST_F(DeviceSearch, namesTheMissingDriver) {
  addNode("renderD128");
  EXPECT_EQ(notice(), "no VA-API driver works with " + (folder_.path() / "renderD128").string() +
                          "; pictures are decoded in software | Install the driver of the graphics card: "
                          "mesa-va-drivers or intel-media-va-driver.");
}

TEST_F(DeviceSearch, namesANodeThatCannotBeOpened) {
  std::filesystem::create_symlink("missing", folder_.path() / "renderD129");
  EXPECT_EQ(notice(),
            (folder_.path() / "renderD129").string() +
                " cannot be opened: No such file or directory; pictures are decoded in software | ");
}

}  // namespace
}  // namespace quorl::viewer
