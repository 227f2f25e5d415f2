// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/TaggedUnion.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

// Plain values: comparable, hashable with RecordHash, and coded as JSON objects with the field names as keys,
// in declared order (Protocol/RecordCoding.h). A field that is not optional is required on decoding.

struct DisplayInfo {
  std::uint32_t id = 0;  // the one in StreamTarget
  std::string name;
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  double scale = 0;  // pixels per point
  bool isMain = false;

  bool operator==(const DisplayInfo&) const = default;
};
BOOST_DESCRIBE_STRUCT(DisplayInfo, (), (id, name, pixelWidth, pixelHeight, scale, isMain))

struct WindowInfo {
  std::uint32_t id = 0;  // the one in StreamTarget
  std::string title;
  std::optional<std::string> appBundleID;
  std::string appName;
  PointRect frame;  // points, global
  bool isOnScreen = false;

  bool operator==(const WindowInfo&) const = default;
};
BOOST_DESCRIBE_STRUCT(WindowInfo, (), (id, title, appBundleID, appName, frame, isOnScreen))

struct RunningAppInfo {
  std::string bundleID;
  std::string name;
  std::int32_t pid = 0;
  std::int64_t windowCount = 0;
  std::optional<Bytes> iconPNG;

  const std::string& id() const { return bundleID; }

  bool operator==(const RunningAppInfo&) const = default;
};
BOOST_DESCRIBE_STRUCT(RunningAppInfo, (), (bundleID, name, pid, windowCount, iconPNG))

struct SystemMetrics {
  double cpuUsage = 0;
  std::uint64_t memoryUsedBytes = 0;
  std::uint64_t memoryTotalBytes = 0;
  double uptimeSeconds = 0;
  std::int64_t thermalState = 0;

  bool operator==(const SystemMetrics&) const = default;
};
BOOST_DESCRIBE_STRUCT(SystemMetrics, (),
                      (cpuUsage, memoryUsedBytes, memoryTotalBytes, uptimeSeconds, thermalState))

struct HostState {
  std::vector<DisplayInfo> displays;
  std::vector<WindowInfo> windows;
  std::vector<RunningAppInfo> apps;
  SystemMetrics metrics;

  bool operator==(const HostState&) const = default;
};
BOOST_DESCRIBE_STRUCT(HostState, (), (displays, windows, apps, metrics))

enum class VideoCodec : std::uint8_t { hevc, h264 };
BOOST_DESCRIBE_ENUM(VideoCodec, hevc, h264)

namespace streamTarget {

struct Display {
  static constexpr std::string_view key = "display";
  std::uint32_t id = 0;

  bool operator==(const Display&) const = default;
};
BOOST_DESCRIBE_STRUCT(Display, (), (id))

using Unified = PlainCase<"unified">;

struct Window {
  static constexpr std::string_view key = "window";
  std::uint32_t id = 0;

  bool operator==(const Window&) const = default;
};
BOOST_DESCRIBE_STRUCT(Window, (), (id))

struct App {
  static constexpr std::string_view key = "app";
  std::string bundleID;

  bool operator==(const App&) const = default;
};
BOOST_DESCRIBE_STRUCT(App, (), (bundleID))

}  // namespace streamTarget

using StreamTarget =
    std::variant<streamTarget::Display, streamTarget::Unified, streamTarget::Window, streamTarget::App>;

struct StreamConfig {
  std::int64_t maxDimension = 0;  // upper bound of the encoded picture's longer side, in pixels
  std::int64_t maxFPS = 0;
  VideoCodec codec = VideoCodec::hevc;
  double quality = 0;        // 0 to 1
  bool showsCursor = false;  // draw the pointer into the picture

  bool operator==(const StreamConfig&) const = default;
};
BOOST_DESCRIBE_STRUCT(StreamConfig, (), (maxDimension, maxFPS, codec, quality, showsCursor))

struct StartStream {
  std::uint32_t streamID = 0;  // chosen by the client, one per stream on the connection
  StreamTarget target;
  StreamConfig config;
  std::optional<double> clientPointWidth;  // the client's view, in points
  std::optional<double> clientPointHeight;

  bool operator==(const StartStream&) const = default;
};
BOOST_DESCRIBE_STRUCT(StartStream, (), (streamID, target, config, clientPointWidth, clientPointHeight))

struct StreamStarted {
  std::uint32_t streamID = 0;
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  PointRect contentRect;  // points, global

  bool operator==(const StreamStarted&) const = default;
};
BOOST_DESCRIBE_STRUCT(StreamStarted, (), (streamID, pixelWidth, pixelHeight, contentRect))

struct UpdateStream {
  std::uint32_t streamID = 0;
  StreamConfig config;

  bool operator==(const UpdateStream&) const = default;
};
BOOST_DESCRIBE_STRUCT(UpdateStream, (), (streamID, config))

struct AudioConfig {
  double sampleRate = 0;
  std::int64_t channels = 0;
  Bytes magicCookie;

  bool operator==(const AudioConfig&) const = default;
};
BOOST_DESCRIBE_STRUCT(AudioConfig, (), (sampleRate, channels, magicCookie))

namespace clipboardContent {

using Text = UnlabelledCase<"text", std::string>;
using Image = UnlabelledCase<"image", Bytes>;

}  // namespace clipboardContent

using ClipboardContent = std::variant<clipboardContent::Text, clipboardContent::Image>;

struct ClipboardPayload {
  ClipboardContent content;

  bool operator==(const ClipboardPayload&) const = default;
};
BOOST_DESCRIBE_STRUCT(ClipboardPayload, (), (content))

struct LaunchApp {
  std::string identifier;
  bool soloStream = false;

  bool operator==(const LaunchApp&) const = default;
};
BOOST_DESCRIBE_STRUCT(LaunchApp, (), (identifier, soloStream))

struct FileOffer {
  UUID transferID;
  std::string fileName;
  std::uint64_t byteCount = 0;

  bool operator==(const FileOffer&) const = default;
};
BOOST_DESCRIBE_STRUCT(FileOffer, (), (transferID, fileName, byteCount))

struct FileAccept {
  UUID transferID;
  bool accepted = false;

  bool operator==(const FileAccept&) const = default;
};
BOOST_DESCRIBE_STRUCT(FileAccept, (), (transferID, accepted))

struct FileDone {
  UUID transferID;
  Bytes sha256;

  bool operator==(const FileDone&) const = default;
};
BOOST_DESCRIBE_STRUCT(FileDone, (), (transferID, sha256))

struct RemoteFileEntry {
  std::string name;
  std::string path;
  bool isDirectory = false;
  std::uint64_t byteCount = 0;
  Date modified;
  std::optional<std::string> kind;

  const std::string& id() const { return path; }

  bool operator==(const RemoteFileEntry&) const = default;
};
BOOST_DESCRIBE_STRUCT(RemoteFileEntry, (), (name, path, isDirectory, byteCount, modified, kind))

struct DirectoryListing {
  std::string path;  // the directory listed
  std::optional<std::string> parent;
  std::vector<RemoteFileEntry> entries;
  std::optional<std::string> error;
  std::string requestedPath;  // as the client asked for it

  bool operator==(const DirectoryListing&) const = default;
};
BOOST_DESCRIBE_STRUCT(DirectoryListing, (), (path, parent, entries, error, requestedPath))

template <>
inline constexpr std::array defaultedFields<DirectoryListing> = {std::string_view("requestedPath")};

namespace systemCommand {

struct Caffeinate {
  static constexpr std::string_view key = "caffeinate";
  bool on = false;

  bool operator==(const Caffeinate&) const = default;
};
BOOST_DESCRIBE_STRUCT(Caffeinate, (), (on))

using SleepDisplays = PlainCase<"sleepDisplays">;
using WakeDisplays = PlainCase<"wakeDisplays">;
using LockScreen = PlainCase<"lockScreen">;
using SetVolume = UnlabelledCase<"setVolume", double>;

}  // namespace systemCommand

using SystemCommand =
    std::variant<systemCommand::Caffeinate, systemCommand::SleepDisplays, systemCommand::WakeDisplays,
                 systemCommand::LockScreen, systemCommand::SetVolume>;

}  // namespace quorl
