// SPDX-License-Identifier: GPL-3.0-or-later
#include "Contenders.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <thread>

namespace quorl::bench {

namespace {

using namespace std::chrono_literals;
using Arguments = std::vector<std::string>;

std::vector<std::string> environmentOf(const Places& places, const std::string& display) {
  return {"DISPLAY=" + display,
          "HOME=" + places.folder,
          "XDG_DATA_HOME=" + places.folder,
          "XDG_CONFIG_HOME=" + places.folder + "/config",
          "XDG_RUNTIME_DIR=" + places.folder,
          "QT_QPA_PLATFORM=xcb"};
}

std::unique_ptr<Program> startOn(const Places& places, const std::string& display, const Arguments& command,
                                 const std::vector<std::string>& more = {}) {
  auto environment = environmentOf(places, display);
  environment.insert(environment.end(), more.begin(), more.end());
  return std::make_unique<Program>(
      command, environment, places.folder + "/" + std::filesystem::path(command.front()).filename().string());
}

std::string besides(const Places& places, const char* program) {
  return (std::filesystem::path(places.host).parent_path() / program).string();
}

bool pair(const Places& places, std::uint16_t port) {
  const std::string command = "HOME='" + places.folder + "' XDG_CONFIG_HOME='" + places.folder +
                              "/config' '" + besides(places, "quorl_client") +
                              "' pair 127.0.0.1:" + std::to_string(port) + " --pin 123456 >/dev/null 2>&1";
  for (int attempt = 0; attempt < 50; ++attempt) {
    if (std::system(command.c_str()) == 0) return true;
    std::this_thread::sleep_for(100ms);
  }
  return false;
}

Contender ours(const Places& places) {
  return {.name = "quorl",
          .serve =
              [=](std::uint16_t port) {
                return startOn(places, places.served, {places.host, "--pin", "123456"},
                               {"QUORL_HOST_PORT=" + std::to_string(port), "QUORL_HOST_MENU="});
              },
          .prepare = [=](std::uint16_t port) { return pair(places, port); },
          .view =
              [=](std::uint16_t port) {
                return startOn(places, places.shown,
                               {besides(places, "quorl_viewer"), "--host",
                                "127.0.0.1:" + std::to_string(port), "--full-screen"});
              }};
}

Contender vnc(const Places& places, std::string name, const Arguments& server, const char* portOption) {
  return {.name = std::move(name),
          .serve =
              [=](std::uint16_t port) {
                Arguments command = server;
                command.insert(command.end(), {"-display", places.served, portOption, std::to_string(port)});
                return startOn(places, places.served, command);
              },
          .prepare =
              [](std::uint16_t) {
                std::this_thread::sleep_for(1s);
                return true;
              },
          .view =
              [=](std::uint16_t port) {
                return startOn(places, places.shown,
                               {"xtigervncviewer", "-FullScreen", "-MenuKey=", "-AlertOnFatalError=0",
                                "127.0.0.1::" + std::to_string(port)});
              }};
}

}  // namespace

std::vector<Contender> contenders(const Places& places) {
  const Arguments scraper{"x0vncserver", "-SecurityTypes", "None", "-localhost"};
  const Arguments library{"x11vnc", "-nopw", "-forever", "-localhost", "-quiet"};
  const auto with = [](Arguments command, const Arguments& more) {
    command.insert(command.end(), more.begin(), more.end());
    return command;
  };
  return {ours(places), vnc(places, "x0vncserver", scraper, "-rfbport"),
          vnc(places, "x0vncserver tuned", with(scraper, {"-FrameRate=500"}), "-rfbport"),
          vnc(places, "x11vnc", library, "-rfbport"),
          vnc(places, "x11vnc tuned", with(library, {"-wait", "5", "-defer", "1"}), "-rfbport")};
}

std::uint64_t sentBytes(std::uint16_t port) {
  const std::string command = "ss -tinOH 'sport = :" + std::to_string(port) + "'";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), &pclose);
  if (!output) return 0;
  std::uint64_t sum = 0;
  std::string text;
  char part[4096];
  while (const auto size = fread(part, 1, sizeof part, output.get())) text.append(part, size);
  constexpr std::string_view key = "bytes_sent:";
  for (auto at = text.find(key); at != std::string::npos; at = text.find(key, at + 1))
    sum += std::strtoull(text.c_str() + at + key.size(), nullptr, 10);
  return sum;
}

}  // namespace quorl::bench
