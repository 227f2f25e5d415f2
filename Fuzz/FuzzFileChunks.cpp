// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Files/FileTransfer.h>
#include <QuorlKit/Protocol/Bytes.h>
#include <Support/FakeRandom.h>
#include <Support/FakeUserFiles.h>
#include <Support/LogRecorder.h>
#include <Support/RecordingSink.h>

namespace {

using namespace quorl;
using namespace quorl::test;

void require(bool holds) {
  if (!holds) std::abort();
}

/// What a transfer must do, in the simplest form.
struct Model {
  struct File {
    std::uint64_t expected = 0;
    Bytes content;
  };
  std::map<std::uint8_t, File> open;

  void chunk(std::uint8_t id, std::uint64_t offset, ByteView data) {
    const auto entry = open.find(id);
    if (entry == open.end()) return;
    const __uint128_t end = static_cast<__uint128_t>(offset) + data.size();
    if (end > entry->second.expected) {
      open.erase(entry);
      return;
    }
    if (data.empty()) return;  // a write of nothing does not extend a file
    Bytes& content = entry->second.content;
    content.resize(std::max<std::size_t>(content.size(), static_cast<std::size_t>(end)));
    std::ranges::copy(data, content.begin() + static_cast<std::ptrdiff_t>(offset));
  }
};

struct World {
  LogRecorder log;
  SimulatedScheduler simulation;
  std::shared_ptr<FakeUserFiles> files = std::make_shared<FakeUserFiles>();
  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  std::shared_ptr<FileTransfer> transfer =
      std::make_shared<FileTransfer>(simulation, files, std::make_shared<FakeRandom>());
  Model model;

  void offer(std::uint8_t id, std::uint64_t expected) {
    transfer->handleOffer({UUID{{id}}, "f", expected}, sink);
    model.open[id] = {expected, {}};
  }
  void chunk(std::uint8_t id, std::uint64_t offset, ByteView data) {
    transfer->handleChunk(FileChunk{UUID{{id}}, offset, {data.begin(), data.end()}}.encoded());
    model.chunk(id, offset, data);
  }
  void done(std::uint8_t id) {
    const std::size_t before = sink->messages<message::FileDone>().size();
    transfer->handleDone({UUID{{id}}, {}}, sink);
    simulation.runReady();
    const auto answers = sink->messages<message::FileDone>();
    const auto entry = model.open.find(id);
    require(answers.size() == before + (entry == model.open.end() ? 0 : 1));
    if (entry == model.open.end()) return;
    const SHA256Digest digest = sha256(entry->second.content);
    require(std::ranges::equal(answers.back()._0.sha256, digest));
    model.open.erase(entry);
  }
};

}  // namespace

// The input is a sequence of steps: what, which transfer, and the numbers that it needs.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  World world;
  ByteReader reader({data, size});
  for (int steps = 0; steps < 64; ++steps) {
    const auto step = reader.u8();
    if (!step) break;
    const std::uint8_t id = *step >> 2 & 3;
    const auto number = reader.u16();
    if (!number) break;
    switch (*step & 3) {
      case 0:
        world.offer(id, *step >> 7 ? UINT64_MAX : *number & 0x3FF);
        break;
      case 1: {
        // With the highest bit, the offset is near the largest one.
        const std::uint64_t offset = *step >> 7 ? UINT64_MAX - (*number & 7) : *number & 0x3FF;
        const Bytes content(*number >> 10, static_cast<std::uint8_t>(steps));
        // A file that may have any size would not fit into memory.
        if (*step >> 7 && world.model.open.contains(id) && content.empty()) break;
        if (*step >> 7 && content.size() <= (*number & 7)) break;
        world.chunk(id, offset, content);
        break;
      }
      case 2:
        world.done(id);
        break;
      default:
        // Never a chunk of an offered transfer, whose identities begin with 0 to 3.
        world.transfer->handleChunk(Bytes(*number & 31, 0xFF));
    }
  }
  world.simulation.runReady();
  require(*world.files->open == world.model.open.size());
  world.transfer->abortAll();
  world.simulation.runReady();
  require(*world.files->open == 0);
  return 0;
}
