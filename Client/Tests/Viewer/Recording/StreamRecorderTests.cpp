// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Recording/RecordingTap.h>

#include <future>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>
#include "../../Support/SampleVideo.h"

namespace quorl::viewer::test {
namespace {

using client::test::outputOfTool;
using client::test::SampleVideo;
using quorl::test::TemporaryFolder;

class StreamRecorderTest : public testing::Test {
 protected:
  using Result = client::Outcome<Recorded>;

  void start(const std::filesystem::path& path) {
    recorder_.emplace(path, [this](const Result& result) { result_.set_value(result); });
  }
  void begin(const SampleVideo& clip) {
    StreamStarted started{};
    started.pixelWidth = static_cast<std::uint32_t>(clip.size.width);
    started.pixelHeight = static_cast<std::uint32_t>(clip.size.height);
    recorder_->take(client::VideoEvent(started));
    recorder_->take(client::VideoEvent(client::DecoderConfig{clip.config, VideoCodec::h264}));
  }
  void add(const SampleVideo& clip, std::size_t first = 0) {
    for (std::size_t at = first; at < clip.pictures.size(); ++at) {
      const auto& picture = clip.pictures[at];
      recorder_->take(client::VideoEvent(
          client::EncodedPicture{picture.isKeyframe, picture.ptsMicros, picture.data, client::Clock::now()}));
    }
  }
  Result ended() {
    auto future = result_.get_future();
    if (future.wait_for(std::chrono::seconds(30)) != std::future_status::ready)
      return client::failed(client::ExitCode::failure, "the recording did not end");
    return future.get();
  }
  std::filesystem::path path() const { return folder_.path() / "screen.mp4"; }

  TemporaryFolder folder_;
  std::promise<Result> result_;
  std::optional<StreamRecorder> recorder_;
};

TEST_F(StreamRecorderTest, writesEveryPictureToAFileThatPlays) {
  const auto& clip = SampleVideo::shortClip();
  start(path());
  begin(clip);
  add(clip);
  recorder_->stop();
  const auto result = ended();
  ASSERT_TRUE(result) << result.error().what;
  EXPECT_EQ(result->end, Recorded::End::stopped);
  EXPECT_EQ(result->pictures, clip.pictures.size());
  EXPECT_FALSE(result->hasSound);
  const auto counted =
      outputOfTool("ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 '" +
                   path().string() + "'");
  EXPECT_EQ(std::stoul(counted), clip.pictures.size());
}

TEST_F(StreamRecorderTest, endsWhenTheFormatChangesAndKeepsWhatCameBefore) {
  const auto& clip = SampleVideo::shortClip();
  const auto other = SampleVideo::encode(VideoCodec::h264, "testsrc2=size=640x480:rate=30", 3);
  start(path());
  begin(clip);
  add(clip);
  begin(other);
  add(other);
  const auto result = ended();
  ASSERT_TRUE(result) << result.error().what;
  EXPECT_EQ(result->end, Recorded::End::formatChanged);
  EXPECT_EQ(result->pictures, clip.pictures.size());
}

TEST_F(StreamRecorderTest, leavesNoFileWithoutAPicture) {
  start(path());
  begin(SampleVideo::shortClip());
  recorder_->stop();
  const auto result = ended();
  ASSERT_FALSE(result);
  EXPECT_FALSE(result.error().what.empty());
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(StreamRecorderTest, reportsAFolderThatIsMissing) {
  const auto& clip = SampleVideo::shortClip();
  start(folder_.path() / "missing" / "screen.mp4");
  begin(clip);
  add(clip);
  recorder_->stop();
  EXPECT_FALSE(ended());
}

TEST_F(StreamRecorderTest, isFinishedByItsDestruction) {
  const auto& clip = SampleVideo::shortClip();
  start(path());
  begin(clip);
  add(clip);
  recorder_.reset();
  const auto result = ended();
  ASSERT_TRUE(result) << result.error().what;
  EXPECT_EQ(result->pictures, clip.pictures.size());
}

TEST_F(StreamRecorderTest, endsWhenTheDiskIsTooSlow) {
  const auto& clip = SampleVideo::shortClip();
  start(path());
  begin(clip);
  add(clip);
  // More at once than may wait.
  client::EncodedPicture huge{false, clip.pictures.back().ptsMicros + 10'000, {}, client::Clock::now()};
  huge.data.resize(StreamRecorder::mostWaiting + 1);
  recorder_->take(client::VideoEvent(std::move(huge)));
  const auto result = ended();
  ASSERT_TRUE(result) << result.error().what;
  EXPECT_EQ(result->end, Recorded::End::tooSlow);
  EXPECT_EQ(result->pictures, clip.pictures.size());
}

TEST_F(StreamRecorderTest, joinsAStreamInTheMiddle) {
  const auto& clip = SampleVideo::shortClip();
  constexpr RecordingTap::Stream watched = 7;
  constexpr RecordingTap::Stream other = 8;
  RecordingTap tap;
  tap.watch(watched);
  const auto feed = [&](RecordingTap::Stream stream) {
    for (const auto& picture : clip.pictures)
      tap.take(stream, client::EncodedPicture{picture.isKeyframe, picture.ptsMicros, picture.data,
                                              client::Clock::now()});
  };
  StreamStarted started{};
  started.pixelWidth = static_cast<std::uint32_t>(clip.size.width);
  started.pixelHeight = static_cast<std::uint32_t>(clip.size.height);
  tap.take(watched, client::VideoEvent(started));
  tap.take(watched, client::VideoEvent(client::DecoderConfig{clip.config, VideoCodec::h264}));
  feed(watched);
  // As a small picture of the list of windows.
  tap.take(other, client::VideoEvent(started));
  auto recorder =
      std::make_shared<StreamRecorder>(path(), [this](const Result& result) { result_.set_value(result); });
  tap.record(watched, recorder);
  feed(other);
  feed(watched);
  tap.record(0, nullptr);
  feed(watched);
  recorder.reset();
  const auto result = ended();
  ASSERT_TRUE(result) << result.error().what;
  EXPECT_EQ(result->pictures, clip.pictures.size());
}

}  // namespace
}  // namespace quorl::viewer::test
