// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SystemError.h>

#include <system_error>

namespace quorl {

PortError systemError(int number) {
  return {std::generic_category().message(number), number};
}

}  // namespace quorl
