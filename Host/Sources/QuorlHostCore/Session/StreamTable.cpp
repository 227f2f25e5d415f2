// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/StreamTable.h>

#include <utility>

namespace quorl {

StreamTable::Started StreamTable::start(const StartStream& request, const ClientStreamFactory& factory,
                                        std::weak_ptr<StreamOutputSink> sink) {
  if (ClientStream* old = find(request.streamID)) {
    old->stop();
  } else if (streams_.size() >= maxStreams) {
    return Started::limitReached;
  }
  auto stream = factory(request, std::move(sink));
  streams_[request.streamID] = stream;
  stream->start();
  return Started::yes;
}

void StreamTable::stop(std::uint32_t streamID) {
  const auto entry = streams_.find(streamID);
  if (entry == streams_.end()) return;
  const auto stream = std::move(entry->second);
  streams_.erase(entry);
  stream->stop();
}

void StreamTable::stopAll() {
  const auto streams = std::exchange(streams_, {});
  for (const auto& [streamID, stream] : streams) stream->stop();
}

ClientStream* StreamTable::find(std::uint32_t streamID) const {
  const auto entry = streams_.find(streamID);
  return entry == streams_.end() ? nullptr : entry->second.get();
}

}  // namespace quorl
