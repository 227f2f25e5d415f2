// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/Sound.h>

namespace quorl {

/// The sound of the default output, from its monitor, by the native protocol of PulseAudio, which PipeWire's
/// server speaks too. The server is the one that the library finds (PULSE_SERVER, client.conf, the runtime
/// folder); none is started.
///
/// A stream that starts without a server waits for one; its start is answered when the recording begins. A
/// server that ends interrupts the sound, and nothing else.
///
/// *Queue*: any thread. *Blocking*: `makeStream` none; destruction waits for the adapter's thread.
/// *Lifetime*: streams may outlive it. The thread starts with the first stream that starts; there is a
/// connection only while a stream runs.
class PulseSoundCapture final : public SoundCapture {
 public:
  PulseSoundCapture();
  ~PulseSoundCapture() override;
  std::expected<std::unique_ptr<SoundStream>, PortError> makeStream(const PCMFormat& wanted,
                                                                    SerialQueue queue,
                                                                    SoundStream::Handlers handlers) override;

 private:
  class Recorders;
  class Stream;
  std::shared_ptr<Recorders> recorders_;
};

}  // namespace quorl
