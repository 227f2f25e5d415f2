// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include <QuorlHostCore/Shared/ClientStream.h>

namespace quorl {

/// The picture streams of one connection by their stream IDs, which the client chooses.
///
/// *Queue*: its connection's.
/// *Blocking*: none.
/// *Ownership*: shares the streams, and stops each one that it removes.
class StreamTable {
 public:
  static constexpr std::size_t maxStreams = 8;

  enum class Started : std::uint8_t { yes, limitReached };

  /// Replaces a stream with the same ID, which does not count towards the limit.
  Started start(const StartStream& request, const ClientStreamFactory& factory,
                std::weak_ptr<StreamOutputSink> sink);
  void stop(std::uint32_t streamID);
  void stopAll();

  /// Null for an unknown ID.
  ClientStream* find(std::uint32_t streamID) const;
  std::size_t size() const { return streams_.size(); }

 private:
  std::map<std::uint32_t, std::shared_ptr<ClientStream>> streams_;
};

}  // namespace quorl
