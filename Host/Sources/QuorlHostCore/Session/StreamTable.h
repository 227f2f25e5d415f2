// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include <QuorlHostCore/Shared/ClientStream.h>

namespace quorl {

/// The picture streams of one connection, by the numbers that the client gave them.
///
/// *Queue*: its connection's. *Ownership*: holds the streams; one that leaves the table is stopped.
class StreamTable {
 public:
  static constexpr std::size_t maxStreams = 8;

  enum class Started : std::uint8_t { yes, limitReached };

  /// A stream of the same number is replaced and does not count towards the limit.
  Started start(const StartStream& request, const ClientStreamFactory& factory,
                std::weak_ptr<StreamOutputSink> sink);
  void stop(std::uint32_t streamID);
  void stopAll();

  /// Nothing for an unknown number.
  ClientStream* find(std::uint32_t streamID) const;
  std::size_t size() const { return streams_.size(); }

 private:
  std::map<std::uint32_t, std::shared_ptr<ClientStream>> streams_;
};

}  // namespace quorl
