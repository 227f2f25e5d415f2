// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Settings/HostSettings.h>

#include <cmath>
#include <string_view>
#include <vector>

#include <QuorlKit/Protocol/RecordCoding.h>

#include <quorl-viewer/Settings/ViewerAddress.h>

namespace quorl::viewer {
namespace {

constexpr double smallestScale = 0.05;
constexpr double largestScale = 20;
constexpr double largestSide = 100'000;

bool isUsable(const PointRect& rect) {
  const auto isWithin = [](double value) { return std::isfinite(value) && std::abs(value) <= largestSide; };
  return isWithin(rect.origin.x) && isWithin(rect.origin.y) && isWithin(rect.size.width) &&
         isWithin(rect.size.height) && rect.size.width >= 1 && rect.size.height >= 1;
}

struct Member {
  std::string key;
  std::string value;  // JSON
};

/// The members of an object that are no fields of the settings.
std::vector<Member> unknownMembers(ByteView json) {
  std::vector<Member> members;
  JsonReader reader(json);
  if (!reader.beginObject()) return members;
  JsonReader::Walk walk;
  std::string_view key;
  while (reader.nextKey(walk, key) == JsonReader::Step::item) {
    Member member{std::string(key), {}};
    reader.peek();
    const auto* begin = reader.mark().position;
    if (!reader.skipValue()) return {};
    member.value.assign(begin, reader.mark().position);
    bool isKnown = false;
    boost::mp11::mp_for_each<boost::describe::describe_members<HostSettings, boost::describe::mod_public>>(
        [&](auto descriptor) { isKnown = isKnown || member.key == descriptor.name; });
    if (!isKnown) members.push_back(std::move(member));
  }
  if (reader.hasFailed()) return {};
  return members;
}

std::string quoted(std::string_view text) {
  JsonWriter writer;
  writer.writeString(text);
  return std::string(textViewOf(writer.take()));
}

}  // namespace

std::optional<HostSettings> decodeSettings(ByteView json) {
  auto settings = decodeRecord<HostSettings>(json);
  if (!settings) return std::nullopt;
  const HostSettings defaults;
  if (!parseTarget(settings->target)) settings->target = defaults.target;
  if (!std::isfinite(settings->scaleFactor) || settings->scaleFactor < smallestScale ||
      settings->scaleFactor > largestScale)
    settings->scaleFactor = defaults.scaleFactor;
  if (settings->window && !isUsable(*settings->window)) settings->window.reset();
  return std::move(*settings);
}

Bytes encodeSettings(const HostSettings& settings, ByteView previous) {
  auto encoded = encodeRecord(settings, JsonStyle::prettySorted);
  if (!encoded) encoded = encodeRecord(HostSettings{}, JsonStyle::prettySorted);
  std::string text = quorl::textOf(*encoded);
  const auto members = unknownMembers(previous);
  if (members.empty()) return bytesOf(text);
  while (!text.empty() && text.back() != '}') text.pop_back();
  text.pop_back();
  while (!text.empty() && text.back() == '\n') text.pop_back();
  for (const auto& [key, value] : members) text += ",\n  " + quoted(key) + ": " + value;
  return bytesOf(text + "\n}\n");
}

}  // namespace quorl::viewer
