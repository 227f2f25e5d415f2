// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/IconFolder.h>

#include <algorithm>
#include <array>
#include <system_error>

#include <fmt/format.h>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlUnix/AtomicFile.h>

namespace quorl::client {
namespace {

constexpr std::size_t maxNameLength = 100;

bool isSafe(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '.' || character == '_' || character == '-';
}

}  // namespace

std::string iconFileName(std::string_view bundleID) {
  std::string name(bundleID.substr(0, maxNameLength));
  std::ranges::replace_if(name, [](char character) { return !isSafe(character); }, '_');
  if (name.empty() || name.front() == '.' || name.front() == '-') name.insert(name.begin(), '_');
  return name;
}

bool isPNG(ByteView bytes) {
  constexpr std::array<std::uint8_t, 8> signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  return bytes.size() > signature.size() && std::ranges::equal(bytes.first(signature.size()), signature);
}

Outcome<IconFolder> IconFolder::open(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (!error && !std::filesystem::is_directory(path, error) && !error)
    error = std::make_error_code(std::errc::not_a_directory);
  if (error) return cannotWrite(path, error.message());
  return IconFolder(path);
}

std::string IconFolder::freeName(std::string_view bundleID) const {
  const std::string name = iconFileName(bundleID);
  std::string candidate = name;
  for (int number = 2; taken_.contains(loweredASCII(candidate)); ++number)
    candidate = fmt::format("{}-{}", name, number);
  return candidate;
}

Outcome<void> IconFolder::save(const HostState& state) {
  for (const RunningAppInfo& app : state.apps) {
    if (!app.iconPNG || !isPNG(*app.iconPNG) || names_.contains(app.bundleID)) continue;
    const std::string name = freeName(app.bundleID);
    const auto path = path_ / (name + ".png");
    if (const auto written = writeFileAtomically(path.string(), *app.iconPNG, FileAccess::byUmask); !written)
      return cannotWrite(path, written.error().message());
    taken_.insert(loweredASCII(name));
    names_[app.bundleID] = name;
  }
  return {};
}

}  // namespace quorl::client
