// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/PictureHeader.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace quorl {

namespace {

std::uint32_t bigEndian32(ByteView bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
         bytes[3];
}

std::uint32_t bigEndian16(ByteView bytes) {
  return std::uint32_t{bytes[0]} << 8 | bytes[1];
}

// PNG (Third Edition), section 5: a signature, then chunks of length, type, data and checksum.
constexpr std::string_view pngSignature = "\x89PNG\r\n\x1A\n";
constexpr std::size_t chunkFrame = 12;

std::optional<PictureHeader> pngHeader(ByteView file) {
  constexpr std::size_t end = 24;  // of width and height in IHDR, the first chunk
  if (file.size() < end || textViewOf(file.subspan(12, 4)) != "IHDR") return std::nullopt;
  return PictureHeader{PictureFormat::png, bigEndian32(file.subspan(16)), bigEndian32(file.subspan(20))};
}

// ITU-T T.81, annex B: markers of 0xFF and a code, most with a length of two bytes that counts itself.
constexpr std::uint8_t startOfImage = 0xD8;
constexpr std::uint8_t endOfImage = 0xD9;
constexpr std::uint8_t startOfScan = 0xDA;

bool isStartOfFrame(std::uint8_t code) {
  // Between them are the markers of tables (C4, CC) and a reserved one (C8).
  return code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC;
}

bool hasLength(std::uint8_t code) {
  constexpr std::uint8_t temporary = 0x01;
  const bool isRestart = code >= 0xD0 && code <= 0xD7;
  return code != 0 && code != temporary && !isRestart && code != startOfImage;
}

std::optional<PictureHeader> jpegHeader(ByteView file) {
  std::optional<PictureHeader> header;
  int scans = 0;
  for (std::size_t at = 2; at + 1 < file.size();) {
    // The data of a scan have 0xFF only before a zero or a restart marker.
    if (file[at] != 0xFF || file[at + 1] == 0xFF || !hasLength(file[at + 1])) {
      ++at;
      continue;
    }
    const std::uint8_t code = file[at + 1];
    if (code == endOfImage) break;
    if (at + 4 > file.size()) break;
    if (code == startOfScan && ++scans > mostScans) return std::nullopt;
    if (isStartOfFrame(code)) {
      // A second frame would be another size than the one that is judged.
      if (header || at + 9 > file.size()) return std::nullopt;
      header = PictureHeader{PictureFormat::jpeg, bigEndian16(file.subspan(at + 7)),
                             bigEndian16(file.subspan(at + 5))};
    }
    at += 2 + std::max<std::size_t>(bigEndian16(file.subspan(at + 2)), 2);
  }
  return scans > 0 ? header : std::nullopt;
}

}  // namespace

std::optional<PictureHeader> pictureHeader(ByteView file) {
  if (textViewOf(file).starts_with(pngSignature)) return pngHeader(file);
  if (textViewOf(file).starts_with("\xFF\xD8\xFF")) return jpegHeader(file);
  return std::nullopt;
}

std::optional<Bytes> essentialPNG(ByteView png) {
  constexpr std::array<std::string_view, 5> essential{"IHDR", "PLTE", "tRNS", "IDAT", "IEND"};
  Bytes kept(png.begin(), png.begin() + std::min(png.size(), pngSignature.size()));
  for (auto rest = png.subspan(kept.size()); !rest.empty();) {
    if (rest.size() < chunkFrame || bigEndian32(rest) > rest.size() - chunkFrame) return std::nullopt;
    const auto chunk = rest.first(chunkFrame + bigEndian32(rest));
    const auto type = textViewOf(chunk.subspan(4, 4));
    if (std::ranges::find(essential, type) != essential.end())
      kept.insert(kept.end(), chunk.begin(), chunk.end());
    if (type == "IEND") return kept;
    rest = rest.subspan(chunk.size());
  }
  return std::nullopt;
}

}  // namespace quorl
