// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdlib>
#include <memory>

namespace quorl {

struct FreeReply {
  void operator()(void* memory) const { std::free(memory); }
};

/// What XCB hands out with malloc: replies, events and errors.
template <class T>
using XcbReply = std::unique_ptr<T, FreeReply>;

}  // namespace quorl
