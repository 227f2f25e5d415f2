// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/Check.h>

#include <cstdio>
#include <cstdlib>

namespace quorl::detail {

void checkFailed(const char* file, int line, const char* condition, const char* text) {
  std::fprintf(stderr, "%s:%d: %s (%s)\n", file, line, text, condition);
  std::abort();
}

}  // namespace quorl::detail
