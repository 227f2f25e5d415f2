// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Sound/SoundPlayer.h>

#include <dlfcn.h>

#include <bit>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace quorl::client {
namespace {

constexpr const char* libraryName = "libpulse-simple.so.0";

// The parts of pulse/simple.h, pulse/sample.h and pulse/def.h that are used; its values are part of the
// library's binary interface.
constexpr int playbackStream = 1;
constexpr int samplesS16Native = std::endian::native == std::endian::little ? 3 : 4;
struct SampleSpecification {
  int format;
  std::uint32_t rate;
  std::uint8_t channels;
};
struct BufferSizes {
  std::uint32_t maximum;
  std::uint32_t target;
  std::uint32_t before;
  std::uint32_t request;
  std::uint32_t fragment;
};
constexpr std::uint32_t serversChoice = static_cast<std::uint32_t>(-1);
constexpr double targetSeconds = 0.08;

struct Library {
  void* handle = nullptr;
  void* (*open)(const char* server, const char* name, int direction, const char* device,
                const char* streamName, const SampleSpecification*, const void* channelMap,
                const BufferSizes*, int* error) = nullptr;
  int (*write)(void* connection, const void* data, std::size_t byteCount, int* error) = nullptr;
  void (*free)(void* connection) = nullptr;
  const char* (*describe)(int error) = nullptr;

  bool load() {
    handle = ::dlopen(libraryName, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return false;
    // dlsym(3) documents this conversion.
    const auto find = [this]<class Function>(Function*& function, const char* name) {
      function = reinterpret_cast<Function*>(::dlsym(handle, name));
      return function != nullptr;
    };
    return find(open, "pa_simple_new") && find(write, "pa_simple_write") && find(free, "pa_simple_free") &&
           find(describe, "pa_strerror");
  }
};

}  // namespace

// The thread shares it: a server that hangs may keep the thread longer than the player.
struct SoundPlayer::Shared {
  Library library;
  void* connection = nullptr;
  std::size_t mostSamples = 0;

  mutable std::mutex mutex;  // guards all below
  std::condition_variable changed;
  std::deque<std::vector<std::int16_t>> waiting;
  std::size_t waitingSamples = 0;
  std::uint64_t droppedSamples = 0;
  std::string failure;
  bool isOver = false;

  void run() {
    for (;;) {
      std::vector<std::int16_t> samples;
      {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return isOver || !waiting.empty(); });
        if (isOver) break;
        samples = std::move(waiting.front());
        waiting.pop_front();
        waitingSamples -= samples.size();
      }
      int error = 0;
      if (library.write(connection, samples.data(), samples.size() * sizeof samples[0], &error) >= 0)
        continue;
      const std::lock_guard lock(mutex);
      failure = library.describe(error);
      break;
    }
    library.free(connection);
  }
};

Outcome<std::unique_ptr<SoundPlayer>> SoundPlayer::open(int sampleRate, int channels) {
  auto shared = std::make_shared<Shared>();
  if (!shared->library.load())
    return failed(ExitCode::failure, "this machine has no library to play sound",
                  "Install libpulse0, or save the sound with --output FILE.wav.");
  const SampleSpecification format{samplesS16Native, static_cast<std::uint32_t>(sampleRate),
                                   static_cast<std::uint8_t>(channels)};
  const auto target = static_cast<std::uint32_t>(sampleRate * targetSeconds) *
                      static_cast<std::uint32_t>(channels) * static_cast<std::uint32_t>(sizeof(std::int16_t));
  const BufferSizes sizes{serversChoice, target, serversChoice, serversChoice, serversChoice};
  int error = 0;
  shared->connection = shared->library.open(nullptr, "Quorl client", playbackStream, nullptr,
                                            "sound of the host", &format, nullptr, &sizes, &error);
  if (shared->connection == nullptr)
    return failed(ExitCode::failure,
                  std::string("this machine cannot play sound: ") + shared->library.describe(error),
                  "Start a sound server, or save the sound with --output FILE.wav.");
  shared->mostSamples = static_cast<std::size_t>(sampleRate) * static_cast<std::size_t>(channels) / 2;
  std::thread([shared] { shared->run(); }).detach();
  return std::unique_ptr<SoundPlayer>(new SoundPlayer(std::move(shared)));
}

SoundPlayer::~SoundPlayer() {
  const std::lock_guard lock(shared_->mutex);
  shared_->isOver = true;
  shared_->changed.notify_all();
}

void SoundPlayer::play(DecodedSound sound) {
  const std::lock_guard lock(shared_->mutex);
  shared_->waitingSamples += sound.samples.size();
  shared_->waiting.push_back(std::move(sound.samples));
  while (shared_->waitingSamples > shared_->mostSamples) {
    shared_->waitingSamples -= shared_->waiting.front().size();
    shared_->droppedSamples += shared_->waiting.front().size();
    shared_->waiting.pop_front();
  }
  shared_->changed.notify_all();
}

Outcome<void> SoundPlayer::state() const {
  const std::lock_guard lock(shared_->mutex);
  if (shared_->failure.empty()) return {};
  return failed(ExitCode::failure, "this machine's sound server stopped playing: " + shared_->failure);
}

std::uint64_t SoundPlayer::droppedSamples() const {
  const std::lock_guard lock(shared_->mutex);
  return shared_->droppedSamples;
}

}  // namespace quorl::client
