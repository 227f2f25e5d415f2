// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileMove.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <stdexcept>
#include <vector>

#include <fmt/format.h>

namespace quorl::bench {

namespace {

constexpr std::size_t fileSize = std::size_t{256} << 20;

void writeRandomFile(const std::filesystem::path& path) {
  std::ofstream file(path, std::ios::binary);
  std::vector<std::uint64_t> block(1 << 17);
  std::mt19937_64 random(7);
  for (std::size_t written = 0; written < fileSize; written += block.size() * sizeof block[0]) {
    std::ranges::generate(block, random);
    file.write(reinterpret_cast<const char*>(block.data()),
               static_cast<std::streamsize>(block.size() * sizeof block[0]));
  }
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

}  // namespace

FileMove::FileMove(LimitedLink& link, Direction direction, const std::string& client,
                   const std::string& folder, std::uint16_t port, const std::string& pin)
    : link_(link),
      direction_(direction),
      target_(folder + (direction == Direction::upload ? "/Downloads" : "/pulled")) {
  const std::string source = folder + "/large.bin";
  if (!std::filesystem::exists(source)) writeRandomFile(source);
  std::filesystem::create_directories(target_);
  const std::string address = fmt::format("{}:{}", LimitedLink::hostAddress, port);
  const std::vector<std::string> environment{"HOME=" + folder, "XDG_CONFIG_HOME=" + folder + "/client"};
  link.clientSide().command(
      fmt::format("{} XDG_CONFIG_HOME={}/client {} pair {} --pin {} --timeout 60 >/dev/null", environment[0],
                  folder, client, address, pin));
  std::vector<std::string> words{client, "push", source, "--timeout", "60"};
  if (direction == Direction::download)
    words = {client, "pull", "large.bin", "--to", target_.string(), "--timeout", "60"};
  else
    link_.limitUploads();
  link.clientSide().run(
      [&] { program_ = std::make_unique<Program>(words, environment, folder + "/move.log"); });
}

FileMove::~FileMove() {
  program_.reset();
  link_.unlimitUploads();
  std::filesystem::remove_all(target_);
}

std::uint64_t FileMove::movedBytes() const {
  if (direction_ == Direction::upload) return link_.uploadedBytes();
  std::uint64_t bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(target_)) bytes += entry.file_size();
  return bytes;
}

}  // namespace quorl::bench
