// SPDX-License-Identifier: GPL-3.0-or-later
#include "SoundServer.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

#include <QuorlKit/Foundation/Check.h>
#include <Support/Eventually.h>
#include <fmt/format.h>

namespace quorl::test {

namespace {

// Without "norewinds" a null output loses data.
std::string nullOutput(const std::string& name) {
  return "module-null-sink sink_name=" + name + " rate=48000 channels=2 norewinds=1";
}

}  // namespace

SoundServer::SoundServer() {
  if (const char* before = std::getenv("PULSE_SERVER")) before_ = before;
  ::setenv("PULSE_SERVER", address().c_str(), 1);
}

SoundServer::~SoundServer() {
  server_.reset();
  if (before_)
    ::setenv("PULSE_SERVER", before_->c_str(), 1);
  else
    ::unsetenv("PULSE_SERVER");
}

std::string SoundServer::environment() const {
  return "PULSE_SERVER=" + address();
}

void SoundServer::start() {
  const auto folder = folder_.path().string();
  server_ = std::make_unique<ChildProgram>(
      std::vector<std::string>{
          "pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1", "--realtime=no",
          "--high-priority=no", "-L",
          "module-native-protocol-unix socket=" + folder_.file("native") + " auth-anonymous=1", "-L",
          nullOutput("first")},
      std::vector<std::string>{"DISPLAY", "DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent",
                               "XDG_RUNTIME_DIR=" + folder, "HOME=" + folder});
  const bool answers =
      eventually([this] { return control({"info"}).find("Default Sink: first") != std::string::npos; },
                 std::chrono::seconds(30));
  QUORL_CHECK(answers, "the sound server starts");
}

void SoundServer::kill() {
  server_->signal(SIGKILL);
  server_->waitForExit();
  server_.reset();
  std::error_code ignored;
  std::filesystem::remove(folder_.file("native"), ignored);
}

std::string SoundServer::control(const std::vector<std::string>& words) const {
  std::vector<std::string> arguments{"pactl"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  return outputOf(arguments, {environment(), "DISPLAY", "LC_ALL=C"});
}

void SoundServer::addOutput(const std::string& name) {
  control(
      {"load-module", "module-null-sink", "sink_name=" + name, "rate=48000", "channels=2", "norewinds=1"});
}

void SoundServer::removeOutput(const std::string& name) {
  const std::string modules = control({"list", "short", "modules"});
  const auto at = modules.find("sink_name=" + name + " ");
  QUORL_CHECK(at != std::string::npos, "the output exists");
  const auto line = modules.rfind('\n', at) + 1;
  control({"unload-module", modules.substr(line, modules.find('\t', line) - line)});
}

void SoundServer::setDefaultOutput(const std::string& name) {
  control({"set-default-sink", name});
}

void SoundServer::playTone(int frequency, const std::string& output) {
  control(
      {"load-module", "module-sine", "sink=" + output, fmt::format("frequency={}", frequency), "rate=48000"});
}

std::string SoundServer::recordedDevices() const {
  // Columns of both lists: an index, then the source's name or index.
  std::map<std::string, std::string> sources;
  std::istringstream sourceList(control({"list", "short", "sources"}));
  for (std::string line; std::getline(sourceList, line);) {
    std::istringstream columns(line);
    std::string index;
    std::string name;
    columns >> index >> name;
    sources[index] = name;
  }
  std::string devices;
  std::istringstream recordings(control({"list", "short", "source-outputs"}));
  for (std::string line; std::getline(recordings, line);) {
    std::istringstream columns(line);
    std::string index;
    std::string source;
    columns >> index >> source;
    devices += sources[source] + "\n";
  }
  return devices;
}

std::size_t SoundServer::playbacks() const {
  return static_cast<std::size_t>(std::ranges::count(control({"list", "short", "sink-inputs"}), '\n'));
}

std::string SoundServer::volumes(const std::string& output) const {
  return control({"get-sink-volume", output});
}

std::string SoundServer::volume(const std::string& output) const {
  const auto text = volumes(output);
  const auto end = text.find('%');
  const auto start = text.rfind(' ', end);
  return end == std::string::npos ? "" : text.substr(start + 1, end - start);
}

bool SoundServer::isMuted(const std::string& output) const {
  return control({"get-sink-mute", output}).find("yes") != std::string::npos;
}

void SoundServer::mute(const std::string& output) const {
  control({"set-sink-mute", output, "1"});
}

void SoundServer::setVolumes(const std::string& left, const std::string& right) const {
  control({"set-sink-volume", "first", left, right});
}

std::size_t SoundServer::clients() const {
  const auto lines =
      static_cast<std::size_t>(std::ranges::count(control({"list", "short", "clients"}), '\n'));
  return lines == 0 ? 0 : lines - 1;
}

}  // namespace quorl::test
